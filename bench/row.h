// SPDX-License-Identifier: MIT OR GPL-2.0
// One line of the table that `./run bench` prints: what is measured, its figure, the yardstick of the same
// run, the ratio of both, and the bound.
#pragma once

#include <cstdio>
#include <string>

namespace row
{

enum class Bound { None, AtMost, AtLeast };

inline std::string number(double value, const char *unit)
{
    char text[48];
    std::snprintf(text, sizeof text, "%.*f %s", value < 100 ? 2 : 0, value, unit);
    return text;
}

inline void print(const std::string &what, const std::string &figure, const std::string &yardstick,
                  double ratio, Bound kind = Bound::None, double bound = 0)
{
    std::printf("%-46s %14s  %-34s %8.3f", what.c_str(), figure.c_str(), yardstick.c_str(), ratio);
    if (kind != Bound::None) {
        const bool met = kind == Bound::AtMost ? ratio <= bound : ratio >= bound;
        std::printf("  %s %-7g %s", kind == Bound::AtMost ? "<=" : ">=", bound, met ? "ok" : "over");
    }
    std::printf("\n");
}

// A figure whose yardstick is a fixed limit in the same unit.
inline void printLimit(const std::string &what, double value, const char *unit, double limit)
{
    print(what, number(value, unit), "limit " + number(limit, unit), value / limit, Bound::AtMost, 1);
}

// A figure without a yardstick.
inline void printAlone(const std::string &what, double value, const char *unit)
{
    std::printf("%-46s %14s\n", what.c_str(), number(value, unit).c_str());
}

// What cannot be measured here.
inline void printMissing(const std::string &what, const char *why)
{
    std::printf("%-46s %14s  %s\n", what.c_str(), "-", why);
}

} // namespace row
