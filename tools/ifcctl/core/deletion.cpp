// SPDX-License-Identifier: MIT OR GPL-2.0
#include "deletion.h"

#include <algorithm>

namespace ifcctl
{

Deletability deletability(const Match &match, bool lut0)
{
    for (const Condition &c : match)
        if (!ifc::isFieldDeletable(c.field))
            return {DeletionGap::UnknownField, c};
    const auto isMac = [](const Condition &c) { return ifc::isMac(c.field); };
    const auto mac = std::find_if(match.begin(), match.end(), isMac);
    if (lut0 || mac == match.end())
        return {};
    if (std::count_if(match.begin(), match.end(), isMac) > 1)
        return {DeletionGap::TwoMacs, *mac};
    if (!isMac(match.back()))
        return {DeletionGap::AfterMac, match.back()};
    const StoredMask stored = storedMask(*mac);
    if (stored.entries == 1)
        return {DeletionGap::OneEntryMac, *mac};
    if (stored.fit != StoredMask::Fit::Exact)
        return {DeletionGap::MacStoredWider, *mac};
    return {};
}

std::string describe(const Deletability &why)
{
    switch (why.gap) {
    case DeletionGap::UnknownField:
        return "the automatic deletion does not know " + std::string(ifc::fieldName(why.condition.field)) +
               " (nor any IPv6 word or the flow label)";
    case DeletionGap::TwoMacs:
        return "the automatic deletion never finds a rule with two MAC conditions in LUT1";
    case DeletionGap::AfterMac:
        return "the automatic deletion never finds a condition after a MAC (" + why.condition.word +
               ") in LUT1";
    case DeletionGap::OneEntryMac:
        return "this MAC mask takes one LUT1 entry, but the automatic deletion counts two";
    case DeletionGap::MacStoredWider:
        return "LUT1 holds this MAC mask wider than asked, and the automatic deletion compares it as asked";
    case DeletionGap::None:
        break;
    }
    return "";
}

} // namespace ifcctl
