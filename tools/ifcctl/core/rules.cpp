// SPDX-License-Identifier: MIT OR GPL-2.0
#include "rules.h"

#include "rule_words.h"

#include "ifc/records/chip.h"
#include "ifc/records/narrow_runs.h"
#include "ifc/records/wide_record.h"

namespace ifcctl
{

namespace
{

PlacedRule placed(bool lut0, unsigned first, unsigned last, bool complete, const ifc_rule &rule)
{
    return {lut0 ? last : ifc::actionOfEntry(last), lut0, first, last, complete, rule, requestOf(rule)};
}

} // namespace

std::vector<PlacedRule> placedRulesIn(const IFC_LUT0_Format *lut0, const IFC_LUT1_Format *lut1)
{
    std::vector<PlacedRule> rules;
    for (unsigned index = 0; index < IFC_LUT0_RULES; ++index) {
        if (!ifc::wideValid(lut0[index].word))
            continue;
        ifc_rule rule{};
        ifc_rule_decode_wide(&lut0[index], &rule);
        rules.push_back(placed(true, index, index, true, rule));
    }
    ifc::Chain run{};
    for (unsigned from = 0; ifc::nextRun(lut1, from, run); from = run.end + 1) {
        ifc_rule rule{};
        if (ifc_rule_decode_narrow(&lut1[run.first], run.end - run.first + 1, &rule) != 0)
            rule.count = 0;
        rules.push_back(placed(false, run.first, run.end, run.complete, rule));
    }
    return rules;
}

std::vector<PlacedRule> placedRules()
{
    return placedRulesIn(IFC_LUT0_Rule, IFC_LUT1_Rule);
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

nlohmann::ordered_json toJson(const PlacedRule &rule)
{
    nlohmann::ordered_json j;
    j["rule"] = rule.id;
    j["table"] = rule.lut0 ? "LUT0" : "LUT1";
    j["first"] = rule.first;
    j["last"] = rule.last;
    j["action"] = rule.id;
    j["complete"] = rule.complete;
    j["match"] = matchText(rule.rule);
    j["conditions"] = matchJson(rule.rule);
    return j;
}

} // namespace ifcctl
