// SPDX-License-Identifier: MIT OR GPL-2.0
// Records what the layer does and prints.
#include "layer.h"
#include "surroundings.h"

namespace support
{

namespace
{

constexpr unsigned kEvents = 16384;
constexpr unsigned kPieces = 8192;
constexpr unsigned kText = 1u << 18;

Event eventList[kEvents];
unsigned eventCount;

struct Piece {
    unsigned begin; // in the text
    unsigned eventsBefore;
};
Piece pieceList[kPieces];
unsigned pieceCount;
char textRoom[kText]; // each piece with its terminating 0
unsigned textUsed;
char joined[kText];

bool deaf; // while the test itself accesses a register

const int *answers;
unsigned answerCount;
void (*printHook)();

bool isNameCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

// The length of a prefix "source.cpp [123]: ", or 0.
unsigned prefixLength(const char *text, unsigned length)
{
    unsigned n = 0;
    const auto follows = [&](const char *part) {
        for (; *part != '\0'; ++part, ++n)
            if (n >= length || text[n] != *part)
                return false;
        return true;
    };
    while (n < length && isNameCharacter(text[n]))
        ++n;
    if (n == 0 || !follows(".cpp [") || n >= length || text[n] < '1' || text[n] > '9')
        return 0;
    while (n < length && text[n] >= '0' && text[n] <= '9')
        ++n;
    return follows("]: ") ? n : 0;
}

// A test that checks the record must check all of it.
bool lost;

// The lock is taken once and released, and the shadow does not change while it is held: no operation of the
// layer edits it there.
struct Shadow {
    IFC_LUT0_Format lut0[8];
    IFC_LUT1_Format lut1[32];
};
bool held;
Shadow whenTaken;

void taken()
{
    if (held)
        Failure(__FILE__, __LINE__, "the lock is taken once");
    held = true;
    __builtin_memcpy(whenTaken.lut0, IFC_LUT0_Rule, sizeof whenTaken.lut0);
    __builtin_memcpy(whenTaken.lut1, IFC_LUT1_Rule, sizeof whenTaken.lut1);
}

void released()
{
    if (!held)
        Failure(__FILE__, __LINE__, "the lock is held when it is released");
    held = false;
    if (__builtin_memcmp(whenTaken.lut0, IFC_LUT0_Rule, sizeof whenTaken.lut0) != 0 ||
        __builtin_memcmp(whenTaken.lut1, IFC_LUT1_Rule, sizeof whenTaken.lut1) != 0)
        Failure(__FILE__, __LINE__, "the shadow stays while the lock is held");
}

void expectAll()
{
    if (lost)
        Failure(__FILE__, __LINE__, "room for all events and pieces since the last forget()");
    lost = false;
}

} // namespace

void forget()
{
    eventCount = 0;
    pieceCount = 0;
    textUsed = 0;
    lost = false;
}

void powerOn(unsigned doneAfter)
{
    surroundings_power_on(doneAfter);
    forget();
}

void setRevision(int revision)
{
    answers = nullptr;
    answerCount = 0;
    surroundings_set_revision(revision);
}

void setRevisions(const int *list, unsigned count)
{
    answers = list;
    answerCount = count;
}

void setLevel(int level)
{
    gpIfcPriv->dbgLevel = static_cast<uint8>(level);
    forget();
}

bool lockIsHeld()
{
    return held;
}

void whenPrinting(void (*hook)())
{
    printHook = hook;
}

engine::Tables &hardware()
{
    return *static_cast<engine::Tables *>(surroundings_tables());
}

void poke(uint32_t reg, uint32_t value)
{
    deaf = true;
    set_frame_engine_data(reg, value);
    deaf = false;
}

uint32_t peek(uint32_t reg)
{
    deaf = true;
    const uint32_t value = get_frame_engine_data(reg);
    deaf = false;
    return value;
}

unsigned events()
{
    expectAll();
    return eventCount;
}

Event event(unsigned n)
{
    return n < eventCount ? eventList[n] : Event{};
}

unsigned count(Kind kind)
{
    expectAll();
    unsigned n = 0;
    for (unsigned i = 0; i < eventCount; ++i)
        n += eventList[i].kind == kind;
    return n;
}

unsigned waited()
{
    expectAll();
    unsigned sum = 0;
    for (unsigned i = 0; i < eventCount; ++i)
        sum += eventList[i].kind == Kind::Wait ? eventList[i].value : 0;
    return sum;
}

unsigned pieces()
{
    expectAll();
    return pieceCount;
}

const char *piece(unsigned n)
{
    return n < pieceCount ? textRoom + pieceList[n].begin : "";
}

unsigned eventsBeforePiece(unsigned n)
{
    return n < pieceCount ? pieceList[n].eventsBefore : ~0u;
}

bool eachPieceIs(const char *expected, unsigned count)
{
    expectAll();
    for (unsigned n = 0; n < pieceCount; ++n)
        if (!sameText(piece(n), expected))
            return false;
    return pieceCount == count;
}

const char *text()
{
    expectAll();
    unsigned used = 0;
    for (unsigned n = 0; n < textUsed; ++n)
        if (textRoom[n] != '\0')
            joined[used++] = textRoom[n];
    joined[used] = '\0';
    return joined;
}

} // namespace support

extern "C" {

using namespace support;

void support_heard(unsigned kind, unsigned reg, unsigned value)
{
    if (static_cast<Kind>(kind) == Kind::Revision && answerCount != 0) {
        surroundings_set_revision(*answers);
        if (answerCount > 1) {
            ++answers;
            --answerCount;
        }
    }
    if (static_cast<Kind>(kind) == Kind::Lock)
        taken();
    if (static_cast<Kind>(kind) == Kind::Unlock)
        released();
    if (deaf)
        return;
    if (eventCount < kEvents)
        eventList[eventCount++] = {static_cast<Kind>(kind), reg, value};
    else
        lost = true;
}

void support_printed(const char *from, unsigned length)
{
    const unsigned skip = prefixLength(from, length);
    if (pieceCount >= kPieces || textUsed + length + 2 > kText) {
        lost = true;
        return;
    }
    pieceList[pieceCount++] = {textUsed, eventCount};
    if (skip != 0)
        textRoom[textUsed++] = '@';
    for (unsigned n = skip; n < length; ++n)
        textRoom[textUsed++] = from[n];
    textRoom[textUsed++] = '\0';
    if (printHook != nullptr)
        printHook();
}
}
