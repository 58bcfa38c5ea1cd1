// SPDX-License-Identifier: MIT OR GPL-2.0
#include "rules.h"

#include "values.h"

#include "ifc/records/chip.h"
#include "ifc/records/narrow_record.h"
#include "ifc/records/wide_record.h"

namespace ifcctl
{

namespace
{

constexpr unsigned kMacHighPart = 32; // of an entry that compares the upper 16 bits of an address

Condition conditionOf(const ifc::Condition &decoded)
{
    Condition c;
    c.field = decoded.field;
    c.command = static_cast<unsigned>(decoded.command);
    c.mask = decoded.mask;
    c.key = decoded.key;
    return c;
}

Match lut0Conditions(const uint32_t *rule)
{
    Match match;
    for (unsigned field = ifc::nextWideField(rule, 0); field != 0; field = ifc::nextWideField(rule, field))
        match.push_back(conditionOf(ifc::decodeWide(rule, field)));
    return match;
}

// The two entries of a MAC become one condition.
Match lut1Conditions(const ifc::Chain &run)
{
    Match match;
    for (unsigned entry = run.first; entry <= run.end; ++entry) {
        const ifc::Condition decoded = ifc::decodeNarrow(IFC_LUT1_Rule[entry].word);
        Condition c = conditionOf(decoded);
        if (decoded.part == kMacHighPart) {
            c.mask <<= kMacHighPart;
            c.key <<= kMacHighPart;
            if (!match.empty() && match.back().field == c.field && match.back().mask >> kMacHighPart == 0) {
                match.back().mask |= c.mask;
                match.back().key |= c.key;
                continue;
            }
        }
        match.push_back(c);
    }
    return match;
}

} // namespace

std::vector<PlacedRule> placedRules()
{
    std::vector<PlacedRule> rules;
    for (unsigned index = 0; index < IFC_LUT0_RULES; ++index)
        if (const uint32_t *rule = IFC_LUT0_Rule[index].word; ifc::wideValid(rule))
            rules.push_back({index, true, index, index, true, lut0Conditions(rule)});
    ifc::Chain run{};
    for (unsigned from = 0; ifc::nextRun(IFC_LUT1_Rule, from, run); from = run.end + 1)
        rules.push_back(
            {ifc::actionOfEntry(run.end), false, run.first, run.end, run.complete, lut1Conditions(run)});
    return rules;
}

std::optional<PlacedRule> ruleOf(unsigned id)
{
    for (PlacedRule &rule : placedRules())
        if (rule.lut0 ? rule.id == id : id >= ifc::actionOfEntry(rule.first) && id <= rule.id)
            return rule;
    return std::nullopt;
}

std::string describePlace(bool lut0, unsigned first, unsigned last)
{
    if (lut0)
        return "LUT0 rule " + std::to_string(first);
    if (first == last)
        return "LUT1 entry " + std::to_string(first);
    return "LUT1 entries " + std::to_string(first) + "-" + std::to_string(last);
}

std::string describePlace(const PlacedRule &rule)
{
    return describePlace(rule.lut0, rule.first, rule.last);
}

std::string describeCondition(const Condition &c)
{
    std::string text = std::string(ifc::fieldName(c.field)) + ' ' + commandName(c.command) + ' ' +
                       formatFieldValue(c.field, c.key);
    if (c.mask != ifc::fieldOnes(c.field))
        text += '/' + formatFieldValue(c.field, c.mask);
    return text;
}

nlohmann::ordered_json toJson(const Match &match)
{
    auto list = nlohmann::ordered_json::array();
    for (const Condition &c : match)
        list.push_back({{"field", ifc::fieldName(c.field)},
                        {"id", c.field},
                        {"command", commandName(c.command)},
                        {"key", formatFieldValue(c.field, c.key)},
                        {"mask", formatFieldValue(c.field, c.mask)}});
    return list;
}

nlohmann::ordered_json toJson(const PlacedRule &rule)
{
    nlohmann::ordered_json j;
    j["rule"] = rule.id;
    j["table"] = rule.lut0 ? "LUT0" : "LUT1";
    j["first"] = rule.first;
    j["last"] = rule.last;
    j["action"] = rule.id;
    j["complete"] = rule.complete;
    j["conditions"] = toJson(rule.conditions);
    return j;
}

} // namespace ifcctl
