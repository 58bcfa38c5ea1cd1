// SPDX-License-Identifier: MIT OR GPL-2.0
// Directed tests of the rule layer that run on a host and inside a kernel: a few checks over plain functions,
// freestanding like the layer itself. At least one case for each operation.
//
// Each case finds the driver's globals all zero, a chip of revision 0 that was just powered on and answers at
// the first read, and nothing heard yet.
#pragma once

#include "ifc/ifc_regs.h"
#include "ifc/ifc_util.h"

namespace directed
{

struct Case {
    const char *name; // "Subject.WhatHolds"
    void (*run)();
};

struct Group {
    const Case *cases;
    unsigned count;
};

// All of them, by subject.
extern const Group *const kGroups[];
extern const unsigned kGroupCount;

template <unsigned Count>
constexpr Group groupOf(const Case (&cases)[Count])
{
    return {cases, Count};
}

// What the layer did, in order.
enum class Kind : unsigned char { Read, Write, Lock, Unlock, Wait, Revision };
struct Event {
    Kind kind;
    uint32_t reg;   // of reads and writes
    uint32_t value; // of them; of a wait its milliseconds
};

constexpr uint32_t kDone = IFC_RULE_CFG_DONE;

// Follows the events since the last forget().
class Traffic
{
public:
    Traffic(const char *file, int line) : file_(file), line_(line) {}
    ~Traffic(); // nothing else happened
    Traffic(const Traffic &) = delete;
    Traffic &operator=(const Traffic &) = delete;

    Traffic &read(uint32_t reg, uint32_t value) { return next(Kind::Read, reg, value); }
    Traffic &write(uint32_t reg, uint32_t value) { return next(Kind::Write, reg, value); }
    Traffic &lock() { return next(Kind::Lock, 0, 0); }
    Traffic &unlock() { return next(Kind::Unlock, 0, 0); }
    Traffic &wait() { return next(Kind::Wait, 0, 1); }
    Traffic &revision() { return next(Kind::Revision, 0, 0); }
    // A command that shows its done bit at the first read.
    Traffic &transfer(uint32_t index, uint32_t offset, uint32_t sel, uint32_t type);
    // One that never does.
    Traffic &timeOut(uint32_t index, uint32_t offset, uint32_t sel, uint32_t type);
    // All of a full rewrite of the present shadow tables.
    Traffic &rewrite();

private:
    Traffic &next(Kind kind, uint32_t reg, uint32_t value);

    const char *file_;
    int line_;
    unsigned at_ = 0;
    bool failed_ = false;
};

void forget();
void powerOn(unsigned doneAfter, int revision = 0);

// Everything printed since the last forget(); a prefix of source and line reads "@".
const char *text();
bool textIs(const char *expected);
unsigned lines(const char *text);

// How often, since the last forget().
unsigned count(Kind kind);

void failed(const char *file, int line, const char *what, long long got, long long expected);

// A request, condition by condition; MAC values are 48 bits wide.
struct Condition {
    uint32_t field;
    uint32_t command;
    uint64_t mask;
    uint64_t key;
};
// In static memory: a kernel's stack is small. The next one replaces it.
orva_ifc_param *requestOf(const Condition *conditions, unsigned count);
template <unsigned Count>
orva_ifc_param *requestOf(const Condition (&conditions)[Count])
{
    return requestOf(conditions, Count);
}

} // namespace directed

#define DIRECTED_TRUE(condition)                                                     \
    do {                                                                             \
        if (!(condition))                                                            \
            directed::failed(__FILE__, __LINE__, #condition " does not hold", 0, 1); \
    } while (0)
#define DIRECTED_EQ(got, expected)                                                                      \
    do {                                                                                                \
        const long long directedGot = static_cast<long long>(got);                                      \
        const long long directedExpected = static_cast<long long>(expected);                            \
        if (directedGot != directedExpected)                                                            \
            directed::failed(__FILE__, __LINE__, #got " == " #expected, directedGot, directedExpected); \
    } while (0)
#define DIRECTED_TEXT(expected)                                           \
    do {                                                                  \
        if (!directed::textIs(expected))                                  \
            directed::failed(__FILE__, __LINE__, directed::text(), 0, 0); \
    } while (0)
// Follow it by the events that are expected, in order.
#define DIRECTED_TRAFFIC directed::Traffic(__FILE__, __LINE__)

// What the surroundings of the cases provide.
extern "C" {
void directed_power_on(unsigned done_after, int revision);
void directed_forget(void);
const char *directed_printed(void); // since directed_forget()
unsigned directed_events(void);     // how many since directed_forget()
void directed_event(unsigned n, directed::Event *event);
void directed_fail(const char *file, int line, const char *what, long long got, long long expected);
}
