// SPDX-License-Identifier: MIT OR GPL-2.0
// Where the rule layer would place a request. It does not roll back what it cannot finish, so everything that
// it would refuse midway is refused here, before the first write.
#pragma once

#include "match.h"

namespace ifcctl
{

struct Plan {
    bool lut0;
    std::string place;
};

// Throws Error when the request cannot be placed.
Plan planPlacement(const Match &match, bool force);

// How many more rules of this shape fit.
unsigned countFits(const Match &match);

struct FreeSpace {
    unsigned lut0;
    std::vector<unsigned> runs; // lengths of the free runs of LUT1, in order
};
FreeSpace freeSpace();

} // namespace ifcctl
