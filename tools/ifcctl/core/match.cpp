// SPDX-License-Identifier: MIT OR GPL-2.0
#include "match.h"

#include "ifc/records/narrow_record.h"

#include <algorithm>

namespace ifcctl
{

bool sameComparison(const Condition &one, const Condition &other)
{
    return one.field == other.field && one.command == other.command && one.mask == other.mask &&
           one.key == other.key;
}

const char *commandName(unsigned command)
{
    static const char *const names[] = {"eq", "ne", "ge", "le"};
    return names[command & 3];
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
