// SPDX-License-Identifier: MIT OR GPL-2.0
#include "placement_plan.h"

#include "errors.h"
#include "rules.h"
#include "values.h"

#include "ifc/ifc_util.h"
#include "ifc/records/chip.h"
#include "ifc/records/narrow_runs.h"
#include "ifc/records/wide_record.h"

#include <algorithm>

namespace ifcctl
{

namespace
{

int firstFreeLut0()
{
    for (unsigned rule = 0; rule < IFC_LUT0_RULES; ++rule)
        if (!ifc::wideValid(IFC_LUT0_Rule[rule].word))
            return static_cast<int>(rule);
    return -1;
}

const Condition *conditionOnlyLut1Holds(const Match &match)
{
    for (const Condition &c : match)
        if (!ifc::isWideField(c.field))
            return &c;
    return nullptr;
}

bool accepted(StoredMask::Fit fit, bool inexact)
{
    return fit == StoredMask::Fit::Exact || (fit == StoredMask::Fit::Wider && inexact);
}

void checkLut1Mask(const Condition &c, bool inexact)
{
    const StoredMask stored = storedMask(c);
    if (accepted(stored.fit, inexact))
        return;
    const std::string asked = formatFieldValue(c.field, c.mask);
    if (stored.fit == StoredMask::Fit::Impossible)
        throw refused(Reason::MaskNotContiguous, c.word, c.value,
                      "LUT1 only holds masks of ones that begin at the first or the last bit of " +
                          std::string(ifc::fieldName(c.field)) + " (or of an address word), and " + asked +
                          " is not such a mask");
    throw refused(Reason::MaskStoredWider, c.word, c.value,
                  "LUT1 would compare the bits " + formatFieldValue(c.field, stored.mask) + " instead of " +
                      asked + " (--inexact accepts that)");
}

// Entries that the chain takes: a MAC mask that lies in one half of the address takes one, not two.
unsigned entriesWritten(const Match &match)
{
    unsigned count = 0;
    for (const Condition &c : match)
        count += storedMask(c).entries;
    return count;
}

std::string textOf(const Match &match)
{
    std::string text;
    for (const Condition &c : match)
        text += (text.empty() ? "" : " ") + c.word + ' ' + c.value;
    return text;
}

} // namespace

FreeSpace freeSpace()
{
    FreeSpace space{};
    for (const IFC_LUT0_Format &rule : IFC_LUT0_Rule)
        space.lut0 += !ifc::wideValid(rule.word);
    ifc::FreeRun run{};
    for (unsigned from = 0; ifc::nextFreeRun(IFC_LUT1_Rule, from, run); from = run.first + run.length)
        space.runs.push_back(run.length);
    return space;
}

Plan planPlacement(const Match &match, bool inexact)
{
    const unsigned count = entryCount(match);
    const int lut0 = firstFreeLut0();
    if (count >= ifc::kWideFromCount && lut0 >= 0) {
        if (const Condition *c = conditionOnlyLut1Holds(match))
            throw refused(
                Reason::UserFieldInLut0, c->word, c->value,
                "a rule of " + std::to_string(count) +
                    " entries goes to LUT0, which holds no user-defined field; use fewer conditions (at "
                    "most 8 entries, a MAC counts 2)");
        return {true, static_cast<unsigned>(lut0), static_cast<unsigned>(lut0)};
    }
    for (const Condition &c : match)
        checkLut1Mask(c, inexact);
    const int first = lut1_has_free_rule(count);
    if (first < 0) {
        const FreeSpace space = freeSpace();
        const unsigned longest =
            space.runs.empty() ? 0 : *std::max_element(space.runs.begin(), space.runs.end());
        throw refused(Reason::NoSpace, "rule", textOf(match),
                      "no space: it needs " + std::to_string(count) +
                          " free LUT1 entries in a row (a MAC counts 2), the longest free run is " +
                          std::to_string(longest) +
                          (count >= ifc::kWideFromCount ? ", and no LUT0 rule is free" : ""));
    }
    return {false, static_cast<unsigned>(first), static_cast<unsigned>(first) + entriesWritten(match) - 1};
}

unsigned countFits(const Match &match, bool inexact)
{
    const unsigned count = entryCount(match);
    FreeSpace space = freeSpace();
    unsigned fits = 0;
    if (count >= ifc::kWideFromCount && space.lut0 != 0) {
        if (conditionOnlyLut1Holds(match) != nullptr)
            return 0;
        fits += space.lut0;
    }
    for (const Condition &c : match)
        if (!accepted(storedMask(c).fit, inexact))
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
