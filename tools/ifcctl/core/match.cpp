// SPDX-License-Identifier: MIT OR GPL-2.0
#include "match.h"

#include "conditions.h"
#include "rule_words.h"

#include "ifc/records/narrow_record.h"

#include <algorithm>

namespace ifcctl
{

bool sameComparison(const Condition &one, const Condition &other)
{
    return one.field == other.field && one.command == other.command && one.mask == other.mask &&
           one.key == other.key;
}

Match requestOf(const ifc_rule &rule)
{
    Match match;
    const auto add = [&](const ifc_rule_condition &c) {
        const std::string text = conditionText(c);
        const size_t space = text.find(' ');
        match.push_back({c.field, c.compare, c.mask, c.key, text.substr(0, space), text.substr(space + 1)});
    };
    for (unsigned n = 0; n < rule.count; ++n) {
        ifc_rule_condition c = rule.condition[n];
        if (c.compare != IFC_COMPARE_RANGE) {
            add(c);
            continue;
        }
        add(makeCondition(c.field, IFC_COMPARE_AT_LEAST, c.mask, c.key));
        add(makeCondition(c.field, IFC_COMPARE_AT_MOST, c.mask, c.key_last));
    }
    return match;
}

void putMacLast(Match &match)
{
    const auto isMac = [](const Condition &c) { return ifc::isMac(c.field); };
    if (std::count_if(match.begin(), match.end(), isMac) == 1)
        std::stable_partition(match.begin(), match.end(), [&](const Condition &c) { return !isMac(c); });
}

std::string requestText(const Match &match)
{
    std::string text;
    for (const Condition &c : match)
        text += (text.empty() ? "" : " ") + std::to_string(c.field) + ':' + std::to_string(c.command) + ':' +
                std::to_string(c.mask) + ':' + std::to_string(c.key);
    return text;
}

unsigned entryCount(const Match &match)
{
    unsigned count = 0;
    for (const Condition &c : match)
        count += ifc::countedEntries(c.field);
    return count;
}

StoredMask storedMask(const Condition &c)
{
    auto mask = static_cast<uint32_t>(c.mask);
    if (!ifc::isHalf(c.field)) {
        mask = ifc::reduceFieldMask(c.field, c.mask).word;
        if (mask == ifc::kReduceFailed)
            return {StoredMask::Fit::Impossible, 0, 0};
    }
    const uint64_t stored = ifc::expandMask(c.field, mask);
    return {stored == c.mask ? StoredMask::Fit::Exact : StoredMask::Fit::Wider, stored,
            ifc::narrowEntries(c.field, mask)};
}

} // namespace ifcctl
