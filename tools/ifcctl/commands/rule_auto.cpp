// SPDX-License-Identifier: MIT OR GPL-2.0
// rule add auto, validate auto, del auto: the rule layer's own automatic placement and deletion. Placement
// looks at the size only, so these commands warn if the place breaks the order.
#include "rule_auto.h"
#include "rule_commands.h"

#include "tools/ifcctl/core/deletion.h"
#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/placement_plan.h"
#include "tools/ifcctl/core/rule_words.h"

#include "ifc/ifc_glb.h"
#include "ifc/records/chip.h"

#include <algorithm>

namespace ifcctl
{

namespace
{

// A note why the automatic deletion cannot find the rule; "" if it can.
std::string deletionNote(const Match &match, bool lut0)
{
    return describe(deletability(match, lut0));
}

Error notFound(const ifc_rule &rule, const Match &match)
{
    const std::string why = describe(deletability(match, false));
    return refused(Reason::NoSuchRule, "rule", matchText(rule),
                   why.empty() ? "no rule holds exactly these conditions"
                               : why + "; see 'rule show' and use 'rule del N'");
}

} // namespace

Match automaticRequest(const ifc_rule &rule)
{
    for (unsigned n = 0; n < rule.count; ++n) {
        const ifc_rule_condition &c = rule.condition[n];
        if (c.compare == IFC_COMPARE_RANGE || c.mask == 0)
            throw refused(Reason::NotForAutomatic, "rule", conditionText(c),
                          "automatic placement takes one comparison a field, no range and no 'any'");
    }
    Match match = requestOf(rule);
    if (match.empty())
        throw refused(Reason::NotForAutomatic, "rule", kAnyWord,
                      "automatic placement takes at least one condition");
    return match;
}

std::vector<PlacedRule> takenByDeletion(Session &session, const Match &match)
{
    const std::string request = requestText(match);
    std::vector<PlacedRule> found;
    for (PlacedRule &rule : placedRules()) {
        const unsigned entries = rule.last - rule.first + 1;
        const bool hit = rule.lut0
                             ? session.call("ifc_match_rule_lut0", match.size(), rule.first, request) == 1
                             : rule.complete && entries == entryCount(match) &&
                                   session.call("ifc_match_rule_lut1", entries, rule.first, request) == 1;
        if (hit)
            found.push_back(rule);
    }
    return found;
}

std::vector<std::string> orderWarnings(const RuleSet &set, unsigned id)
{
    const auto position = set.find(id);
    // Known: the layer fills the shadow of LUT0 even if the chip's LUT0 must not be written.
    if (!position)
        return {"on this revision of the chip LUT0 is not written: the rule does not decide"};
    std::vector<std::string> warnings;
    for (unsigned later = *position + 1; later < set.count(); ++later)
        if (ifc_rule_overlap(&set.rule(*position), &set.rule(later)) != 0)
            warnings.push_back("it decides before " + set.nameOf(later) +
                               ", which stood first: its place breaks the order");
    return warnings;
}

bool sameConditions(const Match &one, const Match &other)
{
    const auto in = [](const Match &match, const Condition &c) {
        return std::any_of(match.begin(), match.end(),
                           [&](const Condition &m) { return sameComparison(c, m); });
    };
    return one.size() == other.size() &&
           std::all_of(one.begin(), one.end(), [&](const Condition &c) { return in(other, c); });
}

void ruleAddAuto(Session &session, WordReader &words)
{
    const ifc_rule rule = ruleFrom(session, words);
    const Match match = automaticRequest(rule);
    const Plan plan = planPlacement(match, session.options().inexact);
    const int id = session.call("ifc_set_lut_rules_auto", requestText(match));
    if (id < 0)
        throw refused(Reason::LayerRefused, "rule", matchText(rule), session.lastMessage());
    session.checkTransfers();

    RuleSet set(session);
    const auto position = set.find(static_cast<unsigned>(id));
    const bool hasAction = std::any_of(std::begin(rule.action.word), std::end(rule.action.word),
                                       [](uint32_t word) { return word != 0; });
    if (position && hasAction) {
        set.replace(*position, rule, IFC_RULESET_ACTION);
        (void)set.apply();
    }
    const auto placed = ruleOf(static_cast<unsigned>(id));
    std::string text = "rule " + std::to_string(id) + ": " + describePlace(*placed) + ", action " +
                       std::to_string(id) + '\n';
    auto json = toJson(*placed);
    for (const std::string &warning : orderWarnings(set, static_cast<unsigned>(id))) {
        text += "  warning: " + warning + '\n';
        json["warnings"].push_back(warning);
    }
    const std::string note = deletionNote(match, plan.lut0);
    if (!note.empty()) {
        text += "  note: " + note + "; delete it with 'rule del " + std::to_string(id) + "'\n";
        json["note"] = note;
    }
    session.print(text, json);
}

void ruleValidateAuto(Session &session, WordReader &words)
{
    const ifc_rule rule = ruleFrom(session, words);
    const Match match = automaticRequest(rule);
    const Plan plan = planPlacement(match, session.options().inexact);
    std::string text =
        "would go to " + plan.place() + ", " + std::to_string(entryCount(match)) + " entries counted\n";
    for (unsigned n = 0; n < rule.count; ++n)
        text += "  " + conditionText(rule.condition[n]) + '\n';
    nlohmann::ordered_json json = {
        {"place", plan.place()}, {"entries", entryCount(match)}, {"conditions", matchJson(rule)}};
    const std::string note = deletionNote(match, plan.lut0);
    if (!note.empty()) {
        text += "  note: " + note + '\n';
        json["note"] = note;
    }
    session.print(text, json);
}

void ruleDeleteAuto(Session &session, WordReader &words)
{
    const ifc_rule rule = ruleFrom(session, words);
    const Match match = automaticRequest(rule);
    // The automatic deletion may compare only the upper 16 bits of a MAC in LUT1, and then deletes other
    // rules too.
    if (!session.options().inexact)
        for (const PlacedRule &taken : takenByDeletion(session, match))
            if (!sameConditions(taken.conditions, match))
                throw refused(
                    Reason::TakesOthersAlong, "rule", matchText(rule),
                    "the automatic deletion would also take rule " + std::to_string(taken.id) +
                        ", whose MAC differs in its lower 32 bits; use 'rule del N' (or --inexact)");
    const auto before = placedRules();
    if (session.call("ifc_del_lut_rules_auto", requestText(match)) != 0)
        throw notFound(rule, match);
    std::string text;
    auto json = nlohmann::ordered_json::array();
    for (const PlacedRule &deleted : before) {
        if (ruleOf(deleted.id))
            continue;
        text += "deleted: rule " + std::to_string(deleted.id) + ", " + describePlace(deleted) + '\n';
        json.push_back(toJson(deleted));
    }
    session.print(text, {{"deleted", json}});
}

} // namespace ifcctl
