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

// True: both compare the same field in the same way, however they were written.
bool sameComparison(const Condition &one, const Condition &other);

using Match = std::vector<Condition>;

// The conditions in the form that automatic placement accepts: a range becomes two.
Match requestOf(const ifc_rule &rule);

// Moves a MAC condition to the end if it is the only one: the automatic deletion finds it only there.
void putMacLast(Match &match);

// The request in the command handler's syntax.
std::string requestText(const Match &match);

unsigned entryCount(const Match &match); // LUT1 entries that the placement reserves

// How LUT1 holds the mask of a condition.
struct StoredMask {
    enum class Fit { Exact, Wider, Impossible };
    Fit fit;
    uint64_t mask;    // that its entries compare
    unsigned entries; // its number of entries, 1 or 2
};
StoredMask storedMask(const Condition &condition);

} // namespace ifcctl
