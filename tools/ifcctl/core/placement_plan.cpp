// SPDX-License-Identifier: MIT OR GPL-2.0
#include "placement_plan.h"

#include "errors.h"
#include "rules.h"
#include "values.h"

#include "ifc/ifc_util.h"

#include <algorithm>

namespace ifcctl
{

namespace
{

constexpr unsigned kLut0From = 9; // entries; smaller requests never go there

int firstFreeLut0()
{
    for (unsigned rule = 0; rule < IFC_LUT0_RULES; ++rule)
        if (!IFC_LUT0_Rule[rule].bits.valid)
            return static_cast<int>(rule);
    return -1;
}

const Condition *conditionOnlyLut1Holds(const Match &match)
{
    for (const Condition &c : match)
        if (c.field > IFC_LUT0_FIELDS)
            return &c;
    return nullptr;
}

enum class MaskFit { Exact, Wider, Impossible };

MaskFit lut1MaskFit(const Condition &c)
{
    if (c.field > IFC_LAST_WORD_FIELD)
        return MaskFit::Exact;
    const uint32_t reduced = reducedMask(c);
    if (reduced == 0xFFFFFFFF)
        return MaskFit::Impossible;
    return expandedMask(c.field, reduced) == c.mask ? MaskFit::Exact : MaskFit::Wider;
}

bool accepted(MaskFit fit, bool force)
{
    return fit == MaskFit::Exact || (fit == MaskFit::Wider && force);
}

void checkLut1Mask(const Condition &c, bool force)
{
    const MaskFit fit = lut1MaskFit(c);
    if (accepted(fit, force))
        return;
    const std::string asked = formatFieldValue(c.field, c.mask);
    if (fit == MaskFit::Impossible)
        throw refused(Reason::MaskNotContiguous, c.word, c.value,
                      "LUT1 holds masks of ones that begin at the first or the last bit of " +
                          fieldName(c.field) + " (or of the address word), and " + asked + " is none");
    const std::string stored = formatFieldValue(c.field, expandedMask(c.field, reducedMask(c)));
    throw refused(Reason::MaskStoredWider, c.word, c.value,
                  "LUT1 would compare the bits " + stored + " instead of " + asked +
                      " (--force places it so)");
}

// Entries that the chain takes: a MAC mask that lies in one half of the address takes one, not two.
unsigned entriesWritten(const Match &match)
{
    unsigned count = 0;
    for (const Condition &c : match) {
        count += 1;
        if (!isMacField(c.field))
            continue;
        const uint64_t mask = expandedMask(c.field, reducedMask(c));
        count += (mask >> 32) != 0 && (mask & lowBits(32)) != 0;
    }
    return count;
}

} // namespace

FreeSpace freeSpace()
{
    FreeSpace space{};
    for (const IFC_LUT0_Format &rule : IFC_LUT0_Rule)
        space.lut0 += !rule.bits.valid;
    unsigned run = 0;
    for (unsigned entry = 0; entry < IFC_LUT1_RULES; ++entry) {
        const bool inUse = IFC_LUT1_Rule[entry].type0.valid;
        if (!inUse)
            ++run;
        if (run != 0 && (inUse || (entry + 1) % IFC_LUT1_SUB_TABLE == 0)) {
            space.runs.push_back(run);
            run = 0;
        }
    }
    return space;
}

Plan planPlacement(const Match &match, bool force)
{
    const unsigned count = entryCount(match);
    const int lut0 = firstFreeLut0();
    if (count >= kLut0From && lut0 >= 0) {
        if (const Condition *c = conditionOnlyLut1Holds(match))
            throw refused(
                Reason::UserFieldInLut0, c->word, c->value,
                "a rule of " + std::to_string(count) +
                    " entries goes to LUT0, which holds no user-defined field; use fewer conditions (at "
                    "most 8 entries, a MAC counts 2)");
        return {true, static_cast<unsigned>(lut0), static_cast<unsigned>(lut0)};
    }
    for (const Condition &c : match)
        checkLut1Mask(c, force);
    const int first = lut1_has_free_rule(count);
    if (first < 0) {
        const FreeSpace space = freeSpace();
        const unsigned longest =
            space.runs.empty() ? 0 : *std::max_element(space.runs.begin(), space.runs.end());
        throw refused(Reason::NoSpace, "rule", match.front().word + " ...",
                      "no space: it needs " + std::to_string(count) +
                          " free LUT1 entries in a row (a MAC counts 2), the longest free run is " +
                          std::to_string(longest) + (count >= kLut0From ? ", and no LUT0 rule is free" : ""));
    }
    return {false, static_cast<unsigned>(first), static_cast<unsigned>(first) + entriesWritten(match) - 1};
}

unsigned countFits(const Match &match, bool force)
{
    const unsigned count = entryCount(match);
    FreeSpace space = freeSpace();
    unsigned fits = 0;
    if (count >= kLut0From && space.lut0 != 0) {
        if (conditionOnlyLut1Holds(match) != nullptr)
            return 0;
        fits += space.lut0;
    }
    for (const Condition &c : match)
        if (!accepted(lut1MaskFit(c), force))
            return fits;
    const unsigned written = entriesWritten(match);
    for (;;) {
        unsigned *best = nullptr;
        for (unsigned &run : space.runs)
            if (run >= count && (best == nullptr || run < *best))
                best = &run;
        if (best == nullptr)
            return fits;
        *best -= written;
        ++fits;
    }
}

} // namespace ifcctl
