// SPDX-License-Identifier: MIT OR GPL-2.0
// What a test of the rule layer needs besides checks: a recorder of all that the layer does, the expected
// traffic, requests, and the hardware. Freestanding.
//
// Each test finds the driver's globals all zero, a chip of revision 0 after power-on, whose done bit shows at
// the first read, and nothing recorded. The tests' numbers are literals, never the layer's own constants.
#pragma once

#include "failure.h"

#include "engine/register_window.h"
#include "ifc/ifc_util.h"

namespace support
{

// What the layer did, in order. Text that it printed is recorded beside these events.
enum class Kind : uint8_t { Read, Write, Lock, Unlock, Wait, Revision };
struct Event {
    Kind kind;
    uint32_t reg;   // of reads and writes
    uint32_t value; // of reads and writes; of a wait its milliseconds
};

void forget();                        // deletes everything recorded
void powerOn(unsigned doneAfter = 1); // registers and tables all zero, and forget(); the revision stays
void setRevision(int revision);
// Each query for the revision gets the next of these answers, then the last one again.
void setRevisions(const int *answers, unsigned count);
void setLevel(int level);          // the debug level; and forget()
void whenPrinting(void (*hook)()); // called after each piece of text, until the test ends

engine::Tables &hardware();
void poke(uint32_t reg, uint32_t value); // a register write of the test's own, which is not recorded
uint32_t peek(uint32_t reg);             // a register read of the test's own, which is not recorded

// Events since the last forget().
unsigned events();
Event event(unsigned n);
unsigned count(Kind kind);
inline unsigned accesses()
{
    return count(Kind::Read) + count(Kind::Write);
}
unsigned waited(); // milliseconds
bool lockIsHeld();

// Pieces of text (one is one call of printk) since the last forget(). A prefix of source and line reads "@".
unsigned pieces();
const char *piece(unsigned n); // "" after the last
inline const char *lastPiece()
{
    return piece(pieces() - 1);
}
unsigned eventsBeforePiece(unsigned n);
bool eachPieceIs(const char *expected, unsigned count); // `count` pieces, all equal to this one
const char *text();                                     // all pieces

// The command word that moves one row.
constexpr uint32_t command(uint32_t index, uint32_t offset, uint32_t sel, uint32_t type)
{
    return 1u | type << 1 | sel << 4 | offset << 8 | index << 16;
}

// An ordered list of events that a test expects, across all registers. There is one at a time: building the
// next one replaces it.
class Traffic
{
public:
    Traffic();
    Traffic &read(uint32_t reg, uint32_t value) { return next({Kind::Read, reg, value}); }
    Traffic &write(uint32_t reg, uint32_t value) { return next({Kind::Write, reg, value}); }
    Traffic &lock() { return next({Kind::Lock, 0, 0}); }
    Traffic &unlock() { return next({Kind::Unlock, 0, 0}); }
    Traffic &wait() { return next({Kind::Wait, 0, 1}); }
    Traffic &revision() { return next({Kind::Revision, 0, 0}); }
    // A command and its polls, the last of which shows the done bit (if `done`); a wait follows each other
    // one.
    Traffic &transfer(uint32_t command, unsigned reads = 1, bool done = true);
    Traffic &timeOut(uint32_t command) { return transfer(command, 3, false); }
    // The data registers, from the last one down, as actions travel.
    Traffic &readRow(uint32_t data3, uint32_t data2, uint32_t data1, uint32_t data0);
    Traffic &writeRow(uint32_t data3, uint32_t data2, uint32_t data1, uint32_t data0);
    // A row of zeros and its command, as actions and counters are cleared.
    Traffic &zeros(uint32_t index, uint32_t sel, unsigned reads = 1, bool done = true)
    {
        return writeRow(0, 0, 0, 0).transfer(support::command(index, 0, sel, 1), reads, done);
    }
    // All 40 entries of a table cleared, under one lock.
    Traffic &clearTable(uint32_t sel, unsigned reads = 1, bool done = true);
    // All of a full rewrite of the present shadow tables, with lock and queries for the revision.
    Traffic &rewrite();

private:
    Traffic &next(const Event &event);
};

// A condition of a request; MAC values are 48 bits wide.
struct RequestCondition {
    uint32_t field;
    uint32_t command;
    uint64_t mask;
    uint64_t key;
};
// In static memory, because a kernel's stack is small. The last eight requests are kept.
orva_ifc_param &requestOf(const RequestCondition *conditions, unsigned count);
template <unsigned Count>
orva_ifc_param &requestOf(const RequestCondition (&conditions)[Count])
{
    return requestOf(conditions, Count);
}
// Conditions on `count` fields in a row, each with mask 1 and key 1.
orva_ifc_param &requestOnFields(unsigned count, unsigned firstField);

// A packet whose data are these bytes.
sk_buff bufferOf(unsigned char *bytes, unsigned length);

// How much a long test does: less under emulation.
#ifdef __x86_64__
constexpr unsigned workload(unsigned native, unsigned)
{
    return native;
}
#else
constexpr unsigned workload(unsigned, unsigned emulated)
{
    return emulated;
}
#endif

// Numbers that look random, the same in each run.
class Random
{
public:
    explicit constexpr Random(uint32_t seed) : state_(seed * 2654435761u + 1) {}
    constexpr uint32_t operator()()
    {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 17;
        state_ ^= state_ << 5;
        return state_;
    }

private:
    uint32_t state_;
};

// Debug levels: those with a name, and numbers above them, which count as the highest.
constexpr int kLevels[] = {0, 1, 2, 3, 4, 255};

// A list to loop over: for (const int n : list({1, 2, 3})).
template <typename Value, unsigned Count>
struct List {
    Value values[Count];
    constexpr const Value *begin() const { return values; }
    constexpr const Value *end() const { return values + Count; }
};
template <typename Value, unsigned Count>
constexpr List<Value, Count> list(const Value (&values)[Count])
{
    List<Value, Count> copy{};
    for (unsigned n = 0; n < Count; ++n)
        copy.values[n] = values[n];
    return copy;
}

void setTwoMacs(unsigned rule);              // conditions on both MACs of a wide rule: keys 1 and 12_000000ab
void fillShadow();                           // both shadow tables with numbers other than zero
void fillAction(unsigned n, uint32_t value); // each word of the hardware's action
bool shadowIsZero();
bool wideRulesReachedHardware();     // all eight equal the shadow
bool narrowEntriesReachedHardware(); // all 32

constexpr unsigned kFormatRoom = 200;
char *formatRoom();
// A formatted text, in static memory. The last sixteen are kept.
template <typename... Values>
const char *format(const char *how, Values... values)
{
    char *const room = formatRoom();
    (void)snprintf(room, kFormatRoom, how, values...);
    return room;
}

// Shadow and hardware tables now; the next call of changed() compares with them.
void keepTables();
bool changed();

// Expects that these operations change neither the shadow nor the hardware's tables.
template <typename Operation>
void expectNothingChanges(const Operation &operation, const char *file = __builtin_FILE(),
                          int line = __builtin_LINE())
{
    keepTables();
    operation();
    if (changed())
        Failure(file, line, "shadow and hardware tables stay");
}

void compareTraffic(const char *file, int line); // with the Traffic that was built last
void expectNoTraffic(const char *file, int line);
void comparePieces(const char *file, int line, const char *const *expected, unsigned count);

} // namespace support

// All events are these, in order: EXPECT_TRAFFIC(Traffic().write(...).read(...)).
#define EXPECT_TRAFFIC(expected) ((void)(expected), support::compareTraffic(__FILE__, __LINE__))
// No register access, no lock, no wait, no query for the revision.
#define EXPECT_NO_TRAFFIC() support::expectNoTraffic(__FILE__, __LINE__)
// All pieces of text are these, in order.
#define EXPECT_PRINTED(...)                                                     \
    do {                                                                        \
        const char *const expectedPieces[] = {__VA_ARGS__};                     \
        support::comparePieces(__FILE__, __LINE__, expectedPieces,              \
                               sizeof expectedPieces / sizeof *expectedPieces); \
    } while (0)
#define EXPECT_NOTHING_PRINTED() support::comparePieces(__FILE__, __LINE__, nullptr, 0)
// All pieces of text, put together, are this.
#define EXPECT_TEXT(expected) EXPECT_STREQ(support::text(), expected)
