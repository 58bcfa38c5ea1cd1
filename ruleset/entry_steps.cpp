// SPDX-License-Identifier: MIT OR GPL-2.0
// The step of an update on actions, counters and bindings.
#include "ruleset/update_steps.h"

namespace ruleset
{

namespace
{

constexpr Kind kRowKinds[] = {kAction, kCounter};
constexpr uint8_t kSelectors[] = {IFC_SEL_ACTION, IFC_SEL_COUNTER};
constexpr uint32_t kCounterTopWord = 0x00FFFFFF; // what a counter entry holds in IFC_DATA3

bool putEntry(Update &u, Kind kind, unsigned number, const uint32_t *data)
{
    return put(u, {kSelectors[kind], static_cast<uint8_t>(number), 0}, data, IFC_ROW_WORDS);
}

// Where the entry of a number comes from: that of another number, or one of these.
enum Source : int { kStays = -1, kZero = -2, kGiven = -3 };

int sourceOf(const Update &u, const UpdateRequest &request, Kind kind, unsigned number)
{
    if (!ruleLives(viewOf(*request.tables), number))
        return ruleLives(shadowView(), number) ? kZero : kStays;
    if (u.ruleAt[number] == kUnlisted)
        return kStays;
    const WantedRule &rule = request.rules[u.ruleAt[number]];
    if ((kind == kAction && rule.action != nullptr) || (kind == kBinding && rule.binding != kBindingKept))
        return kGiven;
    if ((kind == kCounter && rule.counterFromZero) || !placed(rule.oldPlace))
        return kZero;
    const unsigned old = placeNumber(rule.oldPlace);
    return old == number ? kStays : static_cast<int>(old);
}

// All is read before anything is written: rules may have changed places.
bool readEntries(Update &u, const UpdateRequest &request, Kind kind)
{
    for (unsigned number = 0; number < kMaxRules; ++number) {
        const int source = sourceOf(u, request, kind, number);
        if (source != kStays)
            mark(u, number, kNeeded << kind);
        if (source >= 0)
            mark(u, static_cast<unsigned>(source), kNeeded << kind);
    }
    for (unsigned number = 0; number < kMaxRules; ++number) {
        if (!has(u, number, kNeeded << kind))
            continue;
        if (!readRow(u.port, {kSelectors[kind], static_cast<uint8_t>(number), 0}, u.saved[kind][number]))
            return false;
        if (kind == kCounter)
            u.saved[kind][number][IFC_ROW_WORDS - 1] &= kCounterTopWord;
    }
    return true;
}

bool writeEntries(Update &u, const UpdateRequest &request, Kind kind)
{
    for (unsigned number = 0; number < kMaxRules; ++number) {
        const int source = sourceOf(u, request, kind, number);
        if (source == kStays)
            continue;
        uint32_t data[IFC_ROW_WORDS] = {};
        if (source == kGiven)
            for (unsigned n = 0; n < IFC_ROW_WORDS; ++n)
                data[n] = request.rules[u.ruleAt[number]].action->word[IFC_ROW_WORDS - 1 - n];
        else if (source >= 0)
            __builtin_memcpy(data, u.saved[kind][source], sizeof data);
        // A counter that had the right value counts on as soon as its rule lives.
        const bool differs = u.port.dry || __builtin_memcmp(data, u.saved[kind][number], sizeof data) != 0;
        if (differs || kind == kCounter)
            mark(u, number, kChanged << kind);
        if (differs && !putEntry(u, kind, number, data))
            return false;
    }
    return true;
}

void moveBindings(Update &u, const UpdateRequest &request)
{
    unsigned known = 0;
    const auto fetch = [&](unsigned number) {
        const unsigned n = number / IFC_ACNT_PER_REGISTER;
        if ((known >> n & 1) == 0)
            u.bindings[n] = readRegister(u.port, IFC_ACNT_CFG + 4 * n);
        known |= 1u << n;
        return u.bindings[n] >> IFC_ACNT_ID_BITS * (number % IFC_ACNT_PER_REGISTER) & kSlotMask;
    };
    uint32_t wanted[IFC_ACNT_CFG_COUNT];
    unsigned concerned = 0;
    for (unsigned number = 0; number < kMaxRules; ++number) {
        const int source = sourceOf(u, request, kBinding, number);
        if (source == kStays)
            continue;
        const unsigned n = number / IFC_ACNT_PER_REGISTER;
        const unsigned lsb = IFC_ACNT_ID_BITS * (number % IFC_ACNT_PER_REGISTER);
        (void)fetch(number);
        if ((concerned >> n & 1) == 0)
            wanted[n] = u.bindings[n];
        concerned |= 1u << n;
        uint32_t id = 0;
        if (source == kGiven)
            id = request.rules[u.ruleAt[number]].binding;
        else if (source >= 0)
            id = fetch(static_cast<unsigned>(source));
        wanted[n] = (wanted[n] & ~(kSlotMask << lsb)) | id << lsb;
    }
    for (unsigned n = 0; n < IFC_ACNT_CFG_COUNT; ++n)
        if (concerned >> n & 1 && (wanted[n] != u.bindings[n] || u.port.dry)) {
            writeRegister(u.port, IFC_ACNT_CFG + 4 * n, wanted[n]);
            u.bindingsWritten |= static_cast<uint8_t>(1u << n);
        }
}

} // namespace

bool moveEntries(Update &u, const UpdateRequest &request)
{
    for (const Kind kind : kRowKinds)
        if (!readEntries(u, request, kind))
            return false;
    moveBindings(u, request);
    for (const Kind kind : kRowKinds)
        if (!writeEntries(u, request, kind))
            return false;
    return true;
}

// An action that a rule may still use which could not be switched off stays with it.
void restoreEntries(Update &u)
{
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
