// SPDX-License-Identifier: MIT OR GPL-2.0
#include "failure.h"

#include "surroundings.h"

#include "ifc_platform.h"

namespace support
{

namespace
{

// The text of the present failure. In static memory, because a kernel's stack is small.
char message[480];
unsigned used;

} // namespace

Failure::Failure(const char *file, int line, const char *what) : file_(file), line_(line)
{
    used = 0;
    *this << what << " does not hold";
    noted_ = false;
}

Failure::Failure(const char *file, int line, const char *what, long long got, long long expected)
    : file_(file), line_(line)
{
    used = 0;
    *this << what << ": " << got << " (" << hex(static_cast<unsigned long long>(got)) << "), " << expected
          << " (" << hex(static_cast<unsigned long long>(expected)) << ")";
    noted_ = false;
}

Failure::Failure(const char *file, int line, const char *what, const char *got, const char *expected)
    : file_(file), line_(line)
{
    used = 0;
    *this << what << ": got '";
    quote(got);
    *this << "', expected '";
    quote(expected);
    *this << "'";
    noted_ = false;
}

Failure::~Failure()
{
    message[used] = '\0';
    surroundings_fail(file_, line_, message);
}

void Failure::put(char c)
{
    if (used + 1 < sizeof message)
        message[used++] = c;
}

// A space between the check and the first note.
void Failure::note()
{
    if (!noted_)
        put(' ');
    noted_ = true;
}

// A report is one line.
void Failure::quote(const char *text)
{
    for (; *text != '\0'; ++text) {
        if (*text == '\n') {
            put('\\');
            put('n');
        } else {
            put(*text);
        }
    }
}

Failure &Failure::operator<<(const char *text)
{
    note();
    quote(text);
    return *this;
}

Failure &Failure::operator<<(Hex number)
{
    char digits[24];
    (void)snprintf(digits, sizeof digits, "0x%llx", number.value);
    note();
    quote(digits);
    return *this;
}

Failure &Failure::operator<<(long long number)
{
    char digits[24];
    (void)snprintf(digits, sizeof digits, "%lld", number);
    note();
    quote(digits);
    return *this;
}

bool sameText(const char *one, const char *other)
{
    while (*one != '\0' && *one == *other)
        ++one, ++other;
    return *one == *other;
}

bool contains(const char *text, const char *part)
{
    for (;; ++text) {
        unsigned n = 0;
        while (part[n] != '\0' && text[n] == part[n])
            ++n;
        if (part[n] == '\0')
            return true;
        if (*text == '\0')
            return false;
    }
}

} // namespace support
