// SPDX-License-Identifier: MIT OR GPL-2.0
#include "pictures.h"

#include <algorithm>

namespace ifcctl::report
{

namespace
{

constexpr unsigned kRow = 26;   // height of a rule
constexpr unsigned kLabel = 92; // width of the rules' names
constexpr unsigned kWidth = 320;
constexpr unsigned kDot = 4;

std::string number(unsigned value)
{
    return std::to_string(value);
}

// An arc from one row to a lower one, wider the further it leads.
std::string arc(unsigned from, unsigned to)
{
    const unsigned x = kLabel + kDot;
    const unsigned bend = std::min(kWidth - kLabel - 10, 30 + (to - from) / 2);
    const std::string out = number(x + bend * 4 / 3 > kWidth + 60 ? kWidth + 60 : x + bend * 4 / 3);
    return "M" + number(x + kDot) + ' ' + number(from) + "C" + out + ' ' + number(from) + ' ' + out + ' ' +
           number(to) + ' ' + number(x + kDot) + ' ' + number(to);
}

} // namespace

void drawOverlaps(Html &html, const Data &data)
{
    // Only rules that are part of a pair have a row.
    std::vector<unsigned> row(data.rules.size(), 0);
    for (const Overlap &overlap : data.overlaps)
        row[overlap.winner] = row[overlap.loser] = 1;
    unsigned rows = 0;
    for (unsigned &at : row)
        at = at == 0 ? 0 : kRow * rows++ + kRow / 2;
    html.open("svg", {{"class", "arcs"},
                      {"viewBox", "0 0 " + number(kWidth) + ' ' + number(rows * kRow)},
                      {"style", "max-width:" + number(kWidth + 40) + "px"},
                      {"role", "img"},
                      {"aria-labelledby", "arcs-title arcs-desc"}});
    html.element("title", {{"id", "arcs-title"}}, "Who decides before whom.");
    html.element("desc", {{"id", "arcs-desc"}},
                 "Arcs lead from a rule that decides to each rule that it decides before. The table lists "
                 "the same pairs.");
    for (const Overlap &overlap : data.overlaps)
        html.leaf("path", {{"class", "arc"}, {"d", arc(row[overlap.winner], row[overlap.loser])}});
    for (unsigned n = 0; n < data.rules.size(); ++n) {
        const bool wins = std::any_of(data.overlaps.begin(), data.overlaps.end(),
                                      [&](const Overlap &o) { return o.winner == n; });
        const bool loses = std::any_of(data.overlaps.begin(), data.overlaps.end(),
                                       [&](const Overlap &o) { return o.loser == n; });
        if (!wins && !loses)
            continue;
        html.element("text", {{"x", "0"}, {"y", number(row[n] + 5)}}, "Rule " + number(data.rules[n].number));
        html.leaf("circle", {{"class", wins ? "wins" : "loses"},
                             {"cx", number(kLabel)},
                             {"cy", number(row[n])},
                             {"r", number(kDot)}});
        // The head of the arrow.
        if (loses) {
            const std::string x = number(kLabel + 2 * kDot - 1);
            html.leaf("path", {{"class", "head"}, {"d", "M" + x + ' ' + number(row[n]) + "l9 -4.5v9z"}});
        }
    }
    html.close();
}

} // namespace ifcctl::report
