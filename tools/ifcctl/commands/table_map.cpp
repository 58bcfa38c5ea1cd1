// SPDX-License-Identifier: MIT OR GPL-2.0
#include "table_map.h"

#include "wrap.h"

#include "tools/ifcctl/core/rule_words.h"
#include "tools/ifcctl/device/rule_set.h"

#include <algorithm>
#include <iterator>

namespace ifcctl
{

namespace
{

constexpr unsigned kIndent = 4;
constexpr unsigned kLeastCell = 3; // columns of a LUT1 entry: two digits and a border
constexpr unsigned kMostCell = 6;

constexpr const char *kOwnerColours[] = {"30;46", "30;43", "30;42", "30;45"};
constexpr const char *kUselessColour = "97;41"; // an owner that never hits
constexpr const char *kFreeColour = "2";

struct Lines {
    const char *dash;
    const char *bar;
    const char *top[3]; // left, between, right
    const char *bottom[3];
    const char *free;
};
constexpr Lines kUnicode = {"─", "│", {"┌", "┬", "┐"}, {"└", "┴", "┘"}, "·"};
constexpr Lines kAscii = {"-", "|", {"+", "+", "+"}, {"+", "+", "+"}, "."};

const char *colourOf(const MapOwner &owner, size_t index)
{
    return owner.state == OwnerState::Rule ? kOwnerColours[index % std::size(kOwnerColours)] : kUselessColour;
}

std::string repeated(const char *text, unsigned count)
{
    std::string all;
    for (unsigned n = 0; n < count; ++n)
        all += text;
    return all;
}

// In the middle; `text` has one column for each character.
std::string centred(const std::string &text, unsigned width)
{
    if (text.size() >= width)
        return text.substr(0, width);
    const size_t before = (width - text.size()) / 2;
    return std::string(before, ' ') + text + std::string(width - before - text.size(), ' ');
}

class Drawing
{
public:
    Drawing(const TableMap &map, const TerminalStyle &style)
        : map_(map), style_(style), lines_(style.unicode ? kUnicode : kAscii)
    {
    }

    // Entries first to first + count - 1 in one box, `cell` columns each.
    std::string row(const std::vector<MapSegment> &table, unsigned first, unsigned count, unsigned cell) const
    {
        std::string numbers(kIndent, ' ');
        for (unsigned n = first; n < first + count; ++n)
            numbers += ' ' + centred(std::to_string(n), cell - 1);
        numbers.erase(numbers.find_last_not_of(' ') + 1);
        std::string top(kIndent, ' ');
        std::string middle = top;
        std::string bottom = top;
        bool left = true;
        for (MapSegment segment : table) {
            const unsigned from = std::max(segment.first, first);
            const unsigned to = std::min(segment.first + segment.entries, first + count);
            if (from >= to)
                continue;
            segment.first = from;
            segment.entries = to - from;
            const unsigned inner = segment.entries * cell - 1;
            top += lines_.top[left ? 0 : 1] + repeated(lines_.dash, inner);
            bottom += lines_.bottom[left ? 0 : 1] + repeated(lines_.dash, inner);
            middle += lines_.bar + content(segment, inner, cell);
            left = false;
        }
        return coloured(style_, kFreeColour, numbers) + '\n' + top + lines_.top[2] + '\n' + middle +
               lines_.bar + '\n' + bottom + lines_.bottom[2] + '\n';
    }

private:
    std::string content(const MapSegment &segment, unsigned inner, unsigned cell) const
    {
        if (segment.owner == kFree) {
            std::string dots;
            for (unsigned n = 0; n < segment.entries; ++n) {
                const unsigned before = (cell - 2) / 2;
                dots += (n == 0 ? "" : " ") + std::string(before, ' ') + lines_.free +
                        std::string(cell - 2 - before, ' ');
            }
            return coloured(style_, kFreeColour, dots);
        }
        const auto index = static_cast<size_t>(segment.owner);
        const MapOwner &owner = map_.owners[index];
        const std::string number = std::to_string(owner.placed.id);
        const char *before = owner.state == OwnerState::Rule ? "rule " : "unused ";
        const std::string label = before + number;
        return coloured(style_, colourOf(owner, index),
                        centred(label.size() + 2 <= inner ? label : number, inner));
    }

    const TableMap &map_;
    const TerminalStyle &style_;
    const Lines &lines_;
};

std::string counted(unsigned count, const char *what)
{
    return std::to_string(count) + ' ' + what;
}

std::string narrowSummary(const TableMap &map)
{
    std::string runs;
    for (const MapSegment &segment : map.lut1)
        if (segment.owner == kFree)
            runs += (runs.empty() ? "" : " ") + std::to_string(segment.entries);
    const unsigned free = map.freeOf(map.lut1);
    return "LUT1  " + counted(IFC_LUT1_RULES, "narrow entries: ") + counted(IFC_LUT1_RULES - free, "used, ") +
           counted(free, "free") + (runs.empty() ? "" : ", in runs of " + runs);
}

std::string wideSummary(const TableMap &map)
{
    const unsigned free = map.freeOf(map.lut0);
    return "LUT0  " + counted(IFC_LUT0_RULES, "wide rules: ") + counted(IFC_LUT0_RULES - free, "used, ") +
           (map.lut0Works ? counted(free, "free") : "this revision of the chip does not use them");
}

// Breaks what is still wider: a single long word.
std::string folded(const std::string &lines, unsigned width, unsigned indent)
{
    std::string text;
    unsigned column = 0;
    for (const char c : lines) {
        if (c != '\n' && column == width) {
            text += '\n' + std::string(indent, ' ');
            column = indent;
        }
        text += c;
        column = c == '\n' ? 0 : column + 1;
    }
    return text;
}

std::string ownersText(const TableMap &map, const std::vector<std::string> &words, const TerminalStyle &style)
{
    constexpr unsigned kWordsFrom = 24;
    const unsigned indent = style.width < 80 ? 10 : kWordsFrom;
    std::string text;
    for (size_t n = 0; n < map.owners.size(); ++n) {
        const PlacedRule &rule = map.owners[n].placed;
        std::string place = rule.lut0 ? "LUT0 rule " : rule.first == rule.last ? "LUT1 entry " : "LUT1 ";
        place += std::to_string(rule.first);
        if (rule.first != rule.last)
            place += "-" + std::to_string(rule.last);
        place.resize(std::max<size_t>(place.size(), kWordsFrom - 10), ' ');
        const std::string number = std::to_string(rule.id);
        const std::string label = ' ' + std::string(2 - number.size(), ' ') + number + ' ';
        std::string line(kIndent, ' ');
        line.append(label).append("  ").append(place).append(words[n]);
        const std::string lines = folded(wrapped(line, style.width, indent), style.width, indent);
        text += std::string(kIndent, ' ') + coloured(style, colourOf(map.owners[n], n), label) +
                lines.substr(kIndent + label.size());
    }
    return text;
}

} // namespace

std::string drawTables(const TableMap &map, const std::vector<std::string> &words, const TerminalStyle &style)
{
    const Drawing drawing(map, style);
    // A terminal too narrow for a whole sub-table gets a half or a quarter of one in a row.
    unsigned inRow = IFC_LUT1_SUB_TABLE;
    while (style.width < kIndent + 1 + inRow * kLeastCell)
        inRow /= 2;
    const unsigned cell = std::min(kMostCell, (style.width - kIndent - 1) / inRow);
    const unsigned wideInRow = std::min<unsigned>(inRow, IFC_LUT0_RULES);
    std::string text = wrapped(wideSummary(map), style.width, 6);
    for (unsigned first = 0; first < IFC_LUT0_RULES; first += wideInRow)
        text += drawing.row(map.lut0, first, wideInRow, cell * inRow / wideInRow);
    text += wrapped(narrowSummary(map), style.width, 6);
    for (unsigned first = 0; first < IFC_LUT1_RULES; first += inRow) {
        if (first % IFC_LUT1_SUB_TABLE == 0)
            text += wrapped(std::string(kIndent, ' ') + "sub-table " +
                                std::to_string(first / IFC_LUT1_SUB_TABLE) +
                                (first == 0 ? "" : "; chains stay within it"),
                            style.width, kIndent);
        text += drawing.row(map.lut1, first, inRow, cell);
    }
    if (map.owners.empty())
        return text + "no rules\n";
    return text + wrapped("Of all rules that match a frame, the first of these decides:", style.width, 0) +
           ownersText(map, words, style);
}

void tableMapCommand(Session &session, WordReader &words)
{
    ColourChoice colour = session.options().colour ? ColourChoice::Always : ColourChoice::Never;
    while (!words.atEnd())
        if (!parseColour(words, colour))
            (void)words.takeChoice("table map", {"--color"});
    const int revision = session.device().revision();
    const TableMap map = tableMap(revision);
    const RuleSet set(session);
    auto json = toJson(map);
    std::vector<std::string> texts;
    for (size_t n = 0; n < map.owners.size(); ++n) {
        const MapOwner &owner = map.owners[n];
        const auto position = set.find(owner.placed.id);
        if (owner.state != OwnerState::Rule || !position) {
            texts.push_back(std::string(stateName(owner.state)) + ": never hits");
            continue;
        }
        const ifc_rule &rule = set.rule(*position);
        const std::string action = actionText(rule.action, revision);
        texts.push_back(matchText(rule) + " -> " + (action.empty() ? "no action" : action));
        json["rules"][n]["actions"] = actionJson(rule.action, revision);
    }
    session.print(drawTables(map, texts, terminalStyle(colour)), json);
}

} // namespace ifcctl
