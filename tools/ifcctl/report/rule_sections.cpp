// SPDX-License-Identifier: MIT OR GPL-2.0
// The sections about rules: the tables, the list, who decides before whom.
#include "pictures.h"
#include "sections.h"
#include "words.h"

namespace ifcctl::report
{

namespace
{

std::string nameOf(const Rule &rule)
{
    return "Rule " + std::to_string(rule.number);
}

void linkTo(Html &html, const Rule &rule)
{
    html.element("a", {{"href", "#rule-" + std::to_string(rule.number)}}, nameOf(rule));
}

unsigned mostFree(const TableMap &map)
{
    unsigned most = 0;
    for (const MapSegment &segment : map.lut1)
        if (segment.owner == kFree && segment.entries > most)
            most = segment.entries;
    return most;
}

std::string usedText(unsigned size, unsigned free)
{
    return std::to_string(size - free) + " of " + std::to_string(size) + " used, " + std::to_string(free) +
           " free";
}

} // namespace

void tablesSection(Html &html, const Data &data)
{
    const TableMap &map = data.map;
    const unsigned freeWide = map.freeOf(map.lut0);
    const unsigned freeNarrow = map.freeOf(map.lut1);
    openSection(html, "tables", "Tables");
    html.element(
        "p",
        "Where each rule stands. Of all rules that match a frame, the one with the lowest number decides. "
        "LUT0 comes before LUT1.");
    html.element("h3", "LUT0, wide rules");
    html.element("p", {{"class", "soft"}},
                 map.lut0Works
                     ? usedText(IFC_LUT0_RULES, freeWide) + ". Each place holds a rule of up to 31 fields."
                     : "This revision of the chip does not use LUT0.");
    drawTable(html, map, true, IFC_LUT0_RULES, "lut0-wide");
    drawTable(html, map, true, IFC_LUT0_RULES / 2, "lut0-narrow");
    html.element("h3", "LUT1, narrow entries in chains");
    html.element(
        "p", {{"class", "soft"}},
        usedText(IFC_LUT1_RULES, freeNarrow) +
            (freeNarrow == 0 ? "." : "; the longest free run is " + std::to_string(mostFree(map)) + ".") +
            " A rule takes one entry for each condition, and up to two for a MAC address or a range.");
    drawTable(html, map, false, IFC_LUT1_SUB_TABLE, "lut1-wide");
    drawTable(html, map, false, IFC_LUT1_SUB_TABLE / 2, "lut1-narrow");
    html.close();
}

void rulesSection(Html &html, const Data &data)
{
    openSection(html, "rules", "Rules");
    if (data.rules.empty()) {
        html.element("p", "There are no rules.");
        html.close();
        return;
    }
    html.element(
        "p",
        "In the order in which they decide. Rules that no frame can match together are ordered by number.");
    openTable(html, "stack rules", "What each rule matches and does", {"Rule", "Matches", "Action"});
    for (const Rule &rule : data.rules) {
        openRow(html, "rule-" + std::to_string(rule.number));
        openRowHeader(html, "name");
        drawSwatch(html, data.map, rule.number);
        html.text(nameOf(rule)).element("span", {{"class", "place"}}, rule.place);
        html.close();
        openCell(html, "matches", "Matches");
        writeMatch(html, rule.match);
        html.close();
        openCell(html, "action", "Action");
        writeAction(html, rule.action);
        html.close().close();
    }
    closeTable(html);
    html.close();
}

void overlapsSection(Html &html, const Data &data)
{
    openSection(html, "overlaps", "Who decides before whom");
    if (data.overlaps.empty()) {
        html.element("p", "No frame matches two rules that act differently. Their order does not matter.");
        html.close();
        return;
    }
    html.element(
        "p",
        "Some frames match both rules of a pair, and the rules act differently. The first one decides these "
        "frames. Overlaps of rules with the same action are left out.");
    drawOverlaps(html, data);
    openTable(html, "stack overlaps", "Pairs of rules whose order matters",
              {"Decides", "Its action", "Not this rule, with its action"});
    for (unsigned winner = 0; winner < data.rules.size(); ++winner) {
        bool begun = false;
        for (const Overlap &overlap : data.overlaps) {
            if (overlap.winner != winner)
                continue;
            if (!begun) {
                const Rule &rule = data.rules[winner];
                openRow(html);
                openRowHeader(html, "pair");
                linkTo(html, rule);
                html.element("span", {{"class", "place"}}, rule.match);
                html.close();
                openCell(html, "action", "Its action");
                writeAction(html, rule.action);
                html.close();
                openCell(html, "action", "Not this rule, with its action");
                html.open("ul", {{"class", "losers"}});
                begun = true;
            }
            const Rule &loser = data.rules[overlap.loser];
            html.open("li");
            linkTo(html, loser);
            html.element("span", {{"class", "place"}}, loser.match);
            html.open("span", {{"class", "then"}});
            writeAction(html, loser.action);
            html.close();
            html.close();
        }
        if (begun)
            html.close().close().close();
    }
    closeTable(html);
    html.close();
}

} // namespace ifcctl::report
