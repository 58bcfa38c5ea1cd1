// SPDX-License-Identifier: MIT OR GPL-2.0
// The conditions of a rule, and the request that the rule layer takes.
#pragma once

#include "ifc/records/fields.h"
#include "ruleset/ruleset.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ifcctl
{

struct Condition {
    unsigned field = 0;
    unsigned command = 0;
    uint64_t mask = 0;
    uint64_t key = 0;
    std::string word; // as written, for messages
    std::string value;
};

// Do both compare the same field in the same way? How they were written does not matter.
bool sameComparison(const Condition &one, const Condition &other);

using Match = std::vector<Condition>;

// The conditions as automatic placement takes them: a range as two.
Match requestOf(const ifc_rule &rule);

// Moves a MAC condition to the end if it is the only one: the automatic deletion finds it only there.
void putMacLast(Match &match);

// The request as the command handler reads it.
std::string requestText(const Match &match);

unsigned entryCount(const Match &match); // LUT1 entries that the placement reserves

// How LUT1 holds the mask of a condition.
struct StoredMask {
    enum class Fit { Exact, Wider, Impossible };
    Fit fit;
    uint64_t mask;    // that its entries really compare
    unsigned entries; // that it takes, 1 or 2
};
StoredMask storedMask(const Condition &condition);

} // namespace ifcctl
