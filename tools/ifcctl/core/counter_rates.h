// SPDX-License-Identifier: MIT OR GPL-2.0
// Two readings of a counter and what came in between. In the hardware packets have 56 bits and bytes 64.
#pragma once

#include <optional>
#include <string>

namespace ifcctl
{

// Frames and bytes that the rule with this number decided.
struct Counter {
    unsigned long long frames;
    unsigned long long bytes;
};

// What was counted from one reading to the next. A wrap is taken into account. A counter that seems to have
// grown by half its range or more was reset in between: the later reading is then what it counted since.
Counter growth(const Counter &earlier, const Counter &later);

struct Rates {
    double frames; // per second
    double bytes;
};
// `seconds` between the readings; nothing if that is not more than 0.
std::optional<Rates> ratesOf(const Counter &earlier, const Counter &later, double seconds);

// "0", "3.5", "1200": one decimal below 100.
std::string rateText(double perSecond);

} // namespace ifcctl
