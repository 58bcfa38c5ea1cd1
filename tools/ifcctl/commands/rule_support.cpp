// SPDX-License-Identifier: MIT OR GPL-2.0
#include "rule_commands.h"

#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/rule_name.h"
#include "tools/ifcctl/core/rule_words.h"

#include "ifc/ifc_glb.h"
#include "ifc/records/fields.h"

#include <algorithm>
#include <array>

namespace ifcctl
{

namespace
{

void putMacLast(ifc_rule &rule)
{
    const auto isMac = [](const ifc_rule_condition &c) { return ifc::isMac(c.field); };
    ifc_rule_condition *end = rule.condition + rule.count;
    if (std::count_if(rule.condition, end, isMac) == 1)
        std::stable_partition(rule.condition, end, [&](const ifc_rule_condition &c) { return !isMac(c); });
}

bool sameCondition(const ifc_rule_condition &a, const ifc_rule_condition &b)
{
    return a.field == b.field && a.compare == b.compare && a.mask == b.mask && a.key == b.key &&
           a.key_last == b.key_last;
}

bool sameConditions(const ifc_rule &a, const ifc_rule &b)
{
    return a.count == b.count &&
           std::is_permutation(a.condition, a.condition + a.count, b.condition, sameCondition);
}

// The conditions as read back from a table. False: the table does not hold the rule.
bool asStored(const ifc_rule &rule, bool wide, ifc_rule &stored)
{
    ifc_rule_shape shape{};
    ifc_rule_shape_of(&rule, &shape);
    if (wide) {
        if (shape.wide == 0)
            return false;
        IFC_LUT0_Format image{};
        ifc_rule_encode_wide(&rule, &image);
        ifc_rule_decode_wide(&image, &stored);
        return true;
    }
    if (shape.narrow_entries == 0)
        return false;
    std::array<IFC_LUT1_Format, 16> chain{};
    ifc_rule_encode_narrow(&rule, chain.data());
    return ifc_rule_decode_narrow(chain.data(), shape.narrow_entries, &stored) == 0;
}

} // namespace

ifc_rule ruleFrom(Session &session, WordReader &words)
{
    ifc_rule rule = readRule(words, session.device().revision());
    refuseWithoutPpe(rule.action);
    if (!session.options().keepOrder)
        putMacLast(rule);
    return rule;
}

unsigned takeRuleNumber(const RuleSet &set, WordReader &words, const std::string &field)
{
    std::vector<RulePlace> rules;
    for (unsigned n = 0; n < set.count(); ++n) {
        const ifc_ruleset_place place = set.place(n);
        rules.push_back(
            {set.number(n), place.table == IFC_RULESET_LUT0, place.first, place.first + place.entries - 1u});
    }
    return static_cast<unsigned>(takeRule(words, field, rules));
}

std::vector<unsigned> positionsOf(const RuleSet &set, const ifc_rule &rule)
{
    std::vector<unsigned> positions;
    ifc_rule wide{};
    ifc_rule narrow{};
    const bool inWide = asStored(rule, true, wide);
    const bool inNarrow = asStored(rule, false, narrow);
    for (unsigned n = 0; n < set.count(); ++n) {
        const bool standsWide = set.place(n).table == IFC_RULESET_LUT0;
        if ((standsWide ? inWide : inNarrow) && sameConditions(set.rule(n), standsWide ? wide : narrow))
            positions.push_back(n);
    }
    return positions;
}

nlohmann::ordered_json standingJson(const RuleSet &set, unsigned position, int revision)
{
    const ifc_ruleset_place place = set.place(position);
    const ifc_rule &rule = set.rule(position);
    nlohmann::ordered_json json;
    json["rule"] = set.number(position);
    json["table"] = place.table == IFC_RULESET_LUT0 ? "LUT0" : "LUT1";
    json["first"] = place.first;
    json["last"] = place.first + place.entries - 1;
    json["action"] = set.number(position);
    json["complete"] = true;
    json["match"] = matchText(rule);
    json["conditions"] = matchJson(rule);
    json["actions"] = actionJson(rule.action, revision);
    return json;
}

} // namespace ifcctl
