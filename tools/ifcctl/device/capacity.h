// SPDX-License-Identifier: MIT OR GPL-2.0
// How many more rules of each common shape fit.
#pragma once

#include "rule_set.h"

#include <string>
#include <vector>

namespace ifcctl
{

// Rules of one shape. The rules that are counted have different keys, so that no frame fits two of them. Each
// is appended after all others.
struct Capacity {
    const char *name;    // "IPv4 5-tuple"
    const char *pattern; // the rule in words; the word N stands for kFirstNumber, kFirstNumber + 1, ...
    unsigned entries;    // in LUT1
    bool wide;           // LUT0 holds it as well
    unsigned now;        // while no rule in the tables moves
    unsigned moving;     // if rules may move
    unsigned empty;      // in an empty chip of this revision
};
constexpr unsigned kFirstNumber = 10;

// In a fixed order. Throws Error if the tables cannot be read.
std::vector<Capacity> capacities(const RuleSet &set);

} // namespace ifcctl
