// SPDX-License-Identifier: MIT OR GPL-2.0
// Tests and failed checks as data. The macros are in check.h. Freestanding.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace support
{

struct Case {
    const char *subject;
    const char *behaviour;
    void (*run)();
    const char *file;
    int line;
};

struct Group {
    const Case *cases;
    unsigned count;
};

// All tests of the layer, by subject.
extern const Group *const kGroups[];
extern const unsigned kGroupCount;

// Test n of all of them; nullptr after the last.
const Case *testNumber(unsigned n);

// A number to be noted in hexadecimal.
struct Hex {
    unsigned long long value;
};
constexpr Hex hex(unsigned long long value)
{
    return {value};
}

// A failed check. Its destructor reports it as one line. There is one at a time.
class Failure
{
public:
    Failure(const char *file, int line, const char *what);
    Failure(const char *file, int line, const char *what, long long got, long long expected);
    Failure(const char *file, int line, const char *what, const char *got, const char *expected);
    ~Failure();
    Failure(const Failure &) = delete;
    Failure &operator=(const Failure &) = delete;

    Failure &operator<<(const char *text);
    Failure &operator<<(Hex number);
    Failure &operator<<(long long number);
    Failure &operator<<(int number) { return *this << static_cast<long long>(number); }
    Failure &operator<<(unsigned number) { return *this << static_cast<long long>(number); }
    Failure &operator<<(long number) { return *this << static_cast<long long>(number); }
    Failure &operator<<(unsigned long number) { return *this << static_cast<long long>(number); }
    Failure &operator<<(unsigned long long number) { return *this << static_cast<long long>(number); }

private:
    void put(char c);
    void note();
    void quote(const char *text);

    const char *file_;
    int line_;
    bool noted_ = true; // what follows needs no space in front
};

// Makes a failed check the operand of a return statement.
struct Return {
    void operator=(const Failure &) const {}
};

struct Compared {
    long long got;
    long long expected;
};
struct ComparedText {
    const char *got;
    const char *expected;
};

bool sameText(const char *one, const char *other);
bool contains(const char *text, const char *part);

} // namespace support
