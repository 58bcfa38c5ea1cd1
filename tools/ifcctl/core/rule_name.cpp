// SPDX-License-Identifier: MIT OR GPL-2.0
#include "rule_name.h"

#include "errors.h"
#include "rules.h"
#include "values.h"

#include "ifc/ifc_glb.h"
#include "ifc/records/chip.h"

namespace ifcctl
{

namespace
{

const std::string kAccepted =
    "a number from 0 to " + std::to_string(IFC_ACTIONS - 1) + ", or a table entry such as LUT0-2 or LUT1-3";

bool beginsLikeEntry(const std::string &text)
{
    return text.size() > 3 && (text[0] | 0x20) == 'l' && (text[1] | 0x20) == 'u' && (text[2] | 0x20) == 't';
}

std::string numbersOf(const std::vector<RulePlace> &rules)
{
    constexpr size_t kMost = 12;
    if (rules.empty())
        return "; there are no rules";
    std::string text = rules.size() == 1 ? "; there is only " : "; there are ";
    for (size_t n = 0; n < rules.size() && n < kMost; ++n)
        text += (n == 0 ? "" : ", ") + std::to_string(rules[n].number);
    if (rules.size() > kMost)
        text += " and " + std::to_string(rules.size() - kMost) + " more";
    return text;
}

} // namespace

std::optional<unsigned> parseTableEntry(const std::string &text)
{
    if (!beginsLikeEntry(text) || text.size() < 6 || text[4] != '-' || (text[3] != '0' && text[3] != '1') ||
        text.find_first_not_of("0123456789", 5) != std::string::npos)
        return std::nullopt;
    const auto number = parseNumber(text.substr(5));
    const bool lut0 = text[3] == '0';
    if (!number || *number >= (lut0 ? IFC_LUT0_RULES : IFC_LUT1_RULES))
        return std::nullopt;
    const auto entry = static_cast<unsigned>(*number);
    return lut0 ? entry : ifc::actionOfEntry(entry);
}

bool isRuleName(const std::string &word)
{
    return parseNumber(word).has_value() || beginsLikeEntry(word);
}

unsigned takeEntry(WordReader &words, const std::string &field)
{
    const std::string &word = words.take(field, kAccepted);
    if (const auto entry = parseTableEntry(word))
        return *entry;
    const auto number = parseNumber(word);
    if (!number || *number >= IFC_ACTIONS)
        words.reject(kAccepted);
    return static_cast<unsigned>(*number);
}

size_t takeRule(WordReader &words, const std::string &field, const std::vector<RulePlace> &rules)
{
    const unsigned entry = takeEntry(words, field);
    const bool byEntry = parseTableEntry(words.value()).has_value();
    std::string holder;
    for (size_t n = 0; n < rules.size(); ++n) {
        const RulePlace &rule = rules[n];
        if (rule.number == entry)
            return n;
        const bool inside =
            !rule.lut0 && entry >= ifc::actionOfEntry(rule.first) && entry <= ifc::actionOfEntry(rule.last);
        if (inside && byEntry)
            return n;
        if (inside)
            holder = "; " + describePlace(rule.lut0, rule.first, rule.last) + " belong to rule " +
                     std::to_string(rule.number);
    }
    throw refused(Reason::NoSuchRule, field, words.value(),
                  (byEntry ? "no rule stands there" : "no rule has this number") + numbersOf(rules) + holder);
}

} // namespace ifcctl
