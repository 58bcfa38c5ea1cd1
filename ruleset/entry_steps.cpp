// SPDX-License-Identifier: MIT OR GPL-2.0
// The step of an update that moves actions, counters and bindings.
#include "ruleset/rule_bits.h"
#include "ruleset/update_steps.h"

namespace ruleset
{

namespace
{

constexpr Kind kRowKinds[] = {kAction, kCounter};
constexpr uint8_t kSelectors[] = {IFC_SEL_ACTION, IFC_SEL_COUNTER};
constexpr uint32_t kCounterTopWord = 0x00FFFFFF; // the bits of a counter entry in IFC_DATA3

[[gnu::noinline]] bool putEntry(Update &u, Kind kind, unsigned number, const uint32_t *data)
{
    return put(u, {kSelectors[kind], static_cast<uint8_t>(number), 0}, data, IFC_ROW_WORDS);
}

// The action that a rule gets; nullptr: that of the source.
const IFC_Action_Format *givenAction(const Update &u, const UpdateRequest &request, unsigned number)
{
    return u.ruleAt[number] != kUnlisted ? request.rules[u.ruleAt[number]].action : nullptr;
}

// Saves the entry `from` as that of `number`. False: time-out.
bool saveEntry(Update &u, Kind kind, unsigned from, unsigned number)
{
    uint32_t *const saved = u.saved[kind][number];
    const Row row = {kSelectors[kind], static_cast<uint8_t>(from), 0};
    for (unsigned tries = triesOf(u); !readRow(u.port, row, saved);)
        if (--tries == 0)
            return false;
    if (kind == kCounter)
        saved[IFC_ROW_WORDS - 1] &= kCounterTopWord;
    return true;
}

// Everything is read before anything is written: rules may exchange places.
bool readEntries(Update &u, const UpdateRequest &request, Kind kind)
{
    uint64_t needed = 0;
    for (unsigned number = 0; number < kMaxRules; ++number) {
        const auto source = u.source[number];
        if (source != kStays || (kind == kAction && givenAction(u, request, number) != nullptr))
            addRule(needed, number);
        if (source >= 0)
            addRule(needed, static_cast<unsigned>(source));
    }
    for (unsigned number; (number = takeLowest(needed)) != kNoRule;)
        if (!saveEntry(u, kind, number, number))
            return false;
    return true;
}

bool writeEntries(Update &u, const UpdateRequest &request, Kind kind)
{
    for (unsigned number = 0; number < kMaxRules; ++number) {
        const auto source = u.source[number];
        const IFC_Action_Format *const action = kind == kAction ? givenAction(u, request, number) : nullptr;
        if (source == kStays && action == nullptr)
            continue;
        uint32_t data[IFC_ROW_WORDS] = {};
        if (action != nullptr)
            for (unsigned n = 0; n < IFC_ROW_WORDS; ++n)
                data[n] = action->word[IFC_ROW_WORDS - 1 - n];
        else if (source >= 0)
            __builtin_memcpy(data, u.saved[kind][source], sizeof data);
        // A counter that already has its value is marked too: it counts as soon as its rule lives.
        const bool differs = u.port.dry || __builtin_memcmp(data, u.saved[kind][number], sizeof data) != 0;
        if (differs || kind == kCounter)
            mark(u, number, kChanged << kind);
        if (differs && !putEntry(u, kind, number, data))
            return false;
    }
    return true;
}

constexpr unsigned bindingLsb(unsigned number)
{
    return IFC_ACNT_ID_BITS * (number % IFC_ACNT_PER_REGISTER);
}

// The binding register of a number. `known`: bit n: register n has been read.
unsigned bindingsOf(Update &u, unsigned number, unsigned &known)
{
    const unsigned n = number / IFC_ACNT_PER_REGISTER;
    if ((known >> n & 1) == 0)
        u.bindings[n] = readRegister(u.port, IFC_ACNT_CFG + 4 * n);
    known |= 1u << n;
    return n;
}

void moveBindings(Update &u)
{
    unsigned known = 0;
    uint32_t differ[IFC_ACNT_CFG_COUNT] = {};
    unsigned concerned = 0;
    for (unsigned number = 0; number < kMaxRules; ++number) {
        const auto source = u.source[number];
        if (source == kStays)
            continue;
        const unsigned n = bindingsOf(u, number, known);
        const unsigned lsb = bindingLsb(number);
        concerned |= 1u << n;
        uint32_t id = 0;
        if (source >= 0)
            id = u.bindings[bindingsOf(u, static_cast<unsigned>(source), known)] >>
                 bindingLsb(static_cast<unsigned>(source));
        differ[n] |= ((u.bindings[n] >> lsb ^ id) & kSlotMask) << lsb;
    }
    for (unsigned n = 0; n < IFC_ACNT_CFG_COUNT; ++n)
        if (concerned >> n & 1 && (differ[n] != 0 || u.port.dry)) {
            writeRegister(u.port, IFC_ACNT_CFG + 4 * n, u.bindings[n] ^ differ[n]);
            u.bindingsWritten |= static_cast<uint8_t>(1u << n);
        }
}

// The count of a moved rule goes back from its new place, where frames may have hit it. Unless the chip is
// silent it is read once only: afterwards its place gets another count.
void takeCountsBack(Update &u)
{
    for (unsigned number = 0; number < kMaxRules; ++number)
        if (u.source[number] >= 0 && !headUnsure(u, number) &&
            (saveEntry(u, kCounter, number, static_cast<unsigned>(u.source[number])) || !u.port.silent))
            u.source[number] = kStays;
}

} // namespace

bool moveEntries(Update &u, const UpdateRequest &request)
{
    for (const Kind kind : kRowKinds)
        if (!readEntries(u, request, kind))
            return false;
    moveBindings(u);
    for (const Kind kind : kRowKinds)
        if (!writeEntries(u, request, kind))
            return false;
    u.counting = true;
    return true;
}

// If a rule could not be made invalid, it may still use its action: that action stays.
void restoreEntries(Update &u)
{
    if (u.counting)
        takeCountsBack(u);
    for (const Kind kind : kRowKinds)
        for (unsigned number = 0; number < kMaxRules; ++number)
            if (has(u, number, kChanged << kind) && !headUnsure(u, number) &&
                putEntry(u, kind, number, u.saved[kind][number]))
                u.flags[number] &= static_cast<uint8_t>(~(kChanged << kind));
    for (unsigned n = 0; n < IFC_ACNT_CFG_COUNT; ++n)
        if (u.bindingsWritten >> n & 1)
            writeRegister(u.port, IFC_ACNT_CFG + 4 * n, u.bindings[n]);
    u.bindingsWritten = 0;
}

} // namespace ruleset
