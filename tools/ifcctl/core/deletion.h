// SPDX-License-Identifier: MIT OR GPL-2.0
// Rules that the rule layer's automatic deletion cannot find.
#pragma once

#include "match.h"

#include <string>

namespace ifcctl
{

enum class DeletionGap {
    None,
    UnknownField,  // it does not support IPv6 words and the flow label
    TwoMacs,       // LUT1: two MAC conditions
    AfterMac,      // LUT1: a condition follows the MAC
    OneEntryMac,   // LUT1: a MAC mask that takes one entry
    MacStoredWider // LUT1: a MAC mask that is stored wider than asked
};

struct Deletability {
    DeletionGap gap = DeletionGap::None;
    Condition condition; // the cause
};

// Why the automatic deletion cannot find this rule in the given table.
Deletability deletability(const Match &match, bool lut0);

std::string describe(const Deletability &why); // "" for DeletionGap::None

} // namespace ifcctl
