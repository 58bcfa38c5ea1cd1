// SPDX-License-Identifier: MIT OR GPL-2.0
// rule find, rule del.
#include "rule_commands.h"

#include "tools/ifcctl/core/deletion.h"
#include "tools/ifcctl/core/rules.h"

#include "ifc/records/chip.h"

#include <algorithm>

namespace ifcctl
{

namespace
{

std::vector<PlacedRule> findRules(Session &session, const Match &match)
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

bool sameConditions(const Match &one, const Match &other)
{
    const auto in = [](const Match &match, const Condition &c) {
        return std::any_of(match.begin(), match.end(),
                           [&](const Condition &m) { return sameComparison(c, m); });
    };
    return one.size() == other.size() &&
           std::all_of(one.begin(), one.end(), [&](const Condition &c) { return in(other, c); });
}

Error notFound(const WordReader &words, const Match &match)
{
    const std::string why = describe(deletability(match, false));
    return refused(Reason::NoSuchRule, "rule", words.first(),
                   why.empty() ? "no rule holds exactly these conditions"
                               : why + "; see 'rule list' and use 'rule del id N'");
}

// Deletes the whole chain by its place.
void deleteById(Session &session, unsigned id)
{
    const auto rule = ruleOf(id);
    if (!rule)
        throw refused(Reason::NoSuchRule, "rule del id", std::to_string(id),
                      "there is no rule at this place (see 'rule list')");
    for (unsigned n = rule->first; n <= rule->last; ++n) {
        session.perform(rule->lut0 ? "ifc_delete_lut0" : "ifc_delete_lut1", n);
        session.perform("ifc_clear_action", rule->lut0 ? n : ifc::actionOfEntry(n));
    }
    session.perform("write_all_ifc_rule_to_hw");
    session.print("deleted: rule " + std::to_string(rule->id) + ", " + describePlace(*rule) + '\n',
                  {{"deleted", nlohmann::ordered_json::array({toJson(*rule)})}});
}

} // namespace

void ruleFind(Session &session, WordReader &words)
{
    const Match match = matchOf(session, words);
    words.expectEnd("rule find");
    const auto found = findRules(session, match);
    if (found.empty())
        throw notFound(words, match);
    std::string text;
    auto json = nlohmann::ordered_json::array();
    for (const PlacedRule &rule : found) {
        const bool same = sameConditions(rule.conditions, match);
        text += "rule " + std::to_string(rule.id) + ": " + describePlace(rule) +
                (same ? "\n" : ", by the upper 16 bits of its MAC only\n");
        auto entry = toJson(rule);
        entry["exact"] = same;
        json.push_back(entry);
    }
    session.print(text, json);
}

void ruleDelete(Session &session, WordReader &words)
{
    if (words.skip("id")) {
        const unsigned id = words.takeNumber("rule del id", IFC_ACTIONS - 1);
        words.expectEnd("rule del id");
        deleteById(session, id);
        return;
    }
    const Match match = matchOf(session, words);
    words.expectEnd("rule del");
    // The automatic deletion may compare only the upper 16 bits of a MAC in LUT1, and so delete other rules
    // as well.
    if (!session.options().force)
        for (const PlacedRule &rule : findRules(session, match))
            if (!sameConditions(rule.conditions, match))
                throw refused(
                    Reason::TakesOthersAlong, "rule", words.first(),
                    "the automatic deletion would also take rule " + std::to_string(rule.id) +
                        ", whose MAC differs in its lower 32 bits; use 'rule del id N' (or --force)");
    const auto before = placedRules();
    if (session.call("ifc_del_lut_rules_auto", requestText(match)) != 0)
        throw notFound(words, match);
    std::string text;
    auto json = nlohmann::ordered_json::array();
    for (const PlacedRule &rule : before) {
        if (ruleOf(rule.id))
            continue;
        text += "deleted: rule " + std::to_string(rule.id) + ", " + describePlace(rule) + '\n';
        json.push_back(toJson(rule));
    }
    session.print(text, {{"deleted", json}});
}

} // namespace ifcctl
