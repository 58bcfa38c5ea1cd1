// SPDX-License-Identifier: MIT OR GPL-2.0
// A plain, slow model of the classifier's tables: rules as lists of conditions, masks as sets of bits,
// actions as named numbers. It has no bit images: a test compares it with the decoded image.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace model
{

// The condition of a LUT0 rule on one field. Its values are kept while the field is off.
struct WideField {
    bool enabled = false;
    unsigned command = 0;
    uint64_t mask = 0;
    uint64_t key = 0;
    bool operator==(const WideField &) const = default;
};

struct WideRule {
    bool valid = false;
    std::array<WideField, 32> fields; // by id, 0 unused
    bool operator==(const WideRule &) const = default;
};

// The meaning of a LUT1 entry, without the bits that its type does not use.
struct NarrowEntry {
    bool valid = false;
    bool end = false;
    bool isWord = false;
    unsigned field = 0;
    unsigned command = 0; // one bit of a word entry
    bool fromBottom = false;
    unsigned length = 0; // 1 to 32
    unsigned sel = 0;
    uint32_t mask = 0; // of a halfword entry
    uint32_t key = 0;
    bool operator==(const NarrowEntry &) const = default;
};

// The fields of an action. The first 14 are the enable bits.
enum ActionField {
    kEnable0 = 0,
    kChannel = 14,
    kQueue,
    kFport,
    kNbq,
    kCpu,
    kSpTag,
    kCnt0,
    kCnt1,
    kMtrG,
    kDscp,
    kTc,
    kVpm0,
    kVo0,
    kVp0,
    kVid0,
    kVo1,
    kVp1,
    kVid1,
    kFqos,
    kFast,
    kMc,
    kKeepPcp,
    kOwf,
    kDpi,
    kActionFields
};
using ActionFields = std::array<unsigned, kActionFields>;

struct FieldCondition {
    unsigned field;
    unsigned command;
    uint64_t mask;
    uint64_t key;
};
using Request = std::vector<FieldCondition>;

// A piece of what an operation does with the registers; traffic.h says which accesses it is.
struct Move {
    enum Kind {
        Rewrite,      // of both rule tables
        ReadAction,   // under the lock
        WriteAction,  // under the lock
        ZeroAction,   // under the lock
        ZeroActions,  // all, under one lock
        ZeroCounters, // all, under one lock
        ShowAction,   // read without the lock
        ReadCounter,
        ReadRule,
        ClearHead, // of a LUT0 rule
        ReadRegister,
        WriteRegister,
        Command, // n: the command word
    };
    Kind kind;
    uint32_t n; // of an entry, a register or a word
};

class Tables
{
public:
    std::array<WideRule, 8> wide;
    std::array<NarrowEntry, 32> narrow;
    std::array<WideRule, 8> hardwareWide; // as of the last rewrite
    std::array<NarrowEntry, 32> hardwareNarrow;
    std::array<ActionFields, 40> actions{};
    std::array<std::array<unsigned, 8>, 5> bindings{};
    std::array<std::array<uint32_t, 4>, 40> counters{}; // in the order of the data registers
    uint32_t global = 0;                                // IFC_GLB_CFG
    uint32_t tpid = 0;                                  // FE_TPID_CFG
    int revision = 0;
    bool ppe = false;

    std::vector<Move> moves; // since somebody cleared it

    // The operations, with their results.
    int setLut0(unsigned index, bool on, unsigned field, unsigned command, uint64_t mask, uint64_t key);
    int setLut1(unsigned index, bool on, bool end, unsigned field, unsigned command, uint32_t reduced,
                uint64_t key);
    int freeRun(unsigned wanted) const;
    int place(const Request &request);
    int remove(const Request &request);
    int matchLut1(const FieldCondition &condition) const;
    int setAction(unsigned index, unsigned sub, bool on, const std::array<unsigned, 4> &values);
    int clearAction(unsigned index);
    int bind(unsigned index, unsigned id);
    void rewrite();
    void invalidate(int rule); // one LUT0 rule, or all for a number that is none
    void clearRules();
    void clearActions();
    void clearCounters();
    void switchTo(bool on);
    void showTables(bool lut0, bool lut1); // the dumps
    bool wideHolds(const Request &request, unsigned rule) const;
    bool chainHolds(const Request &request, unsigned entries, unsigned first) const;
    void setSlot(unsigned rule, unsigned slot, uint32_t mask, uint32_t key); // of the codec's arrays
    int vpmOf(unsigned frameWord);
    unsigned tpidOf(unsigned vpm);

    static uint32_t reduce(uint64_t mask, int width);

private:
    bool lut1HasCondition(const FieldCondition &c, unsigned entry) const;
};

} // namespace model
