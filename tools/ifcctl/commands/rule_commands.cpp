// SPDX-License-Identifier: MIT OR GPL-2.0
// rule add, validate, del, find, list, read, clear.
#include "commands.h"
#include "tools/ifcctl/core/action.h"
#include "tools/ifcctl/core/placement_plan.h"
#include "tools/ifcctl/core/rules.h"
#include "tools/ifcctl/core/values.h"
#include "tools/ifcctl/device/hardware.h"

#include "ifc/ifc_glb.h"

#include <algorithm>

namespace ifcctl
{

namespace
{

const std::string kAction = "action";

Match matchOf(const Session &session, const Words &words, size_t &at)
{
    Match match = parseMatch(words, at, kAction);
    if (match.empty())
        throw usage("match", "", "at least one of: " + knownMatchWords());
    if (!session.options().keepOrder)
        putMacLast(match);
    return match;
}

// Each named sub-action; the lines that the rule layer prints of them are not shown.
void programAction(Session &session, unsigned id, const Action &action)
{
    for (const SubAction &sub : action)
        if (session.call("ifc_set_action", id, sub.actIdx, 1, sub.values[0], sub.values[1], sub.values[2],
                         sub.values[3]) != 0)
            throw refused("action", std::to_string(id), session.lastMessage());
}

std::string noteOf(const Match &match, bool lut0)
{
    std::string why = whyNotDeletable(match);
    // In LUT0 only the fields that the deletion does not know at all stand in its way.
    if (lut0 && why.find("does not know") == std::string::npos)
        why.clear();
    return why;
}

void ruleAdd(Session &session, const Words &words, size_t at)
{
    const Match match = matchOf(session, words, at);
    Action action;
    if (at < words.size())
        action = parseAction(words, ++at);
    refuseWithoutPpe(action);
    const Plan plan = planPlacement(match, session.options().force);

    const int id = session.call("ifc_set_lut_rules_auto", requestText(match));
    if (id < 0)
        throw refused("rule", words[2], session.lastMessage());
    session.checkTransfers();
    programAction(session, static_cast<unsigned>(id), action);

    const auto rule = ruleOf(static_cast<unsigned>(id));
    std::string text =
        "rule " + std::to_string(id) + ": " + describePlace(*rule) + ", action " + std::to_string(id) + '\n';
    auto json = toJson(*rule);
    const std::string note = noteOf(match, plan.lut0);
    if (!note.empty()) {
        text += "  note: " + note + "; delete it with 'rule del id " + std::to_string(id) + "'\n";
        json["note"] = note;
    }
    session.print(text, json);
}

void ruleValidate(Session &session, const Words &words, size_t at)
{
    const Match match = matchOf(session, words, at);
    if (at < words.size())
        refuseWithoutPpe(parseAction(words, ++at));
    const Plan plan = planPlacement(match, session.options().force);
    std::string text =
        "would go to " + plan.place + ", " + std::to_string(entryCount(match)) + " entries counted\n";
    for (const Condition &c : match)
        text += "  " + describeCondition(c) + '\n';
    nlohmann::ordered_json json = {
        {"place", plan.place}, {"entries", entryCount(match)}, {"conditions", toJson(match)}};
    const std::string note = noteOf(match, plan.lut0);
    if (!note.empty()) {
        text += "  note: " + note + '\n';
        json["note"] = note;
    }
    session.print(text, json);
}

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
        return std::any_of(match.begin(), match.end(), [&](const Condition &m) {
            return m.field == c.field && m.command == c.command && m.mask == c.mask && m.key == c.key;
        });
    };
    return one.size() == other.size() &&
           std::all_of(one.begin(), one.end(), [&](const Condition &c) { return in(other, c); });
}

Error notFound(const Words &words, const Match &match)
{
    const std::string why = whyNotDeletable(match);
    return refused("rule", words.size() > 2 ? words[2] : "",
                   why.empty() ? "no rule holds exactly these conditions"
                               : why + "; see 'rule list' and use 'rule del id N'");
}

void ruleFind(Session &session, const Words &words, size_t at)
{
    const Match match = matchOf(session, words, at);
    expectEnd(words, at, "rule find");
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

// By place: the whole chain, whatever the automatic deletion would find.
void deleteById(Session &session, unsigned id)
{
    const auto rule = ruleOf(id);
    if (!rule)
        throw refused("rule del id", std::to_string(id), "there is no rule at this place (see 'rule list')");
    for (unsigned n = rule->first; n <= rule->last; ++n) {
        session.call(rule->lut0 ? "ifc_delete_lut0" : "ifc_delete_lut1", n);
        session.call("ifc_clear_action", rule->lut0 ? n : IFC_LUT0_RULES + n);
    }
    session.call("write_all_ifc_rule_to_hw");
    session.print("deleted: rule " + std::to_string(rule->id) + ", " + describePlace(*rule) + '\n',
                  {{"deleted", nlohmann::ordered_json::array({toJson(*rule)})}});
}

void ruleDel(Session &session, const Words &words, size_t at)
{
    if (at < words.size() && words[at] == "id") {
        const unsigned id = expectNumber(words, ++at, "rule del id", IFC_ACTIONS - 1);
        expectEnd(words, at, "rule del id");
        deleteById(session, id);
        return;
    }
    const Match match = matchOf(session, words, at);
    expectEnd(words, at, "rule del");
    // The deletion compares a MAC in LUT1 by its upper 16 bits if it must, so it may take other rules along.
    if (!session.options().force)
        for (const PlacedRule &rule : findRules(session, match))
            if (!sameConditions(rule.conditions, match))
                throw refused(
                    "rule", words[2],
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

void ruleList(Session &session, const Words &words, size_t at)
{
    expectEnd(words, at, "rule list");
    std::string text;
    auto json = nlohmann::ordered_json::array();
    for (const PlacedRule &rule : placedRules()) {
        text += "rule " + std::to_string(rule.id) + ": " + describePlace(rule) +
                (rule.complete ? "\n" : ", no end flag: never hits\n");
        for (const Condition &c : rule.conditions)
            text += "  " + describeCondition(c) + '\n';
        auto entry = toJson(rule);
        entry["actions"] = describeAction(readAction(session, rule.id));
        text += "  action " + entry["actions"].dump() + '\n';
        json.push_back(entry);
    }
    session.print(text.empty() ? "no rules\n" : text, json);
}

std::string wordsText(const uint32_t *words, size_t count)
{
    std::string text;
    for (size_t n = 0; n < count; ++n)
        text += (n == 0 ? "" : " ") + formatHex(words[n]);
    return text;
}

// Hardware beside shadow.
void ruleRead(Session &session, const Words &words, size_t at)
{
    const unsigned id = expectNumber(words, at, "rule read", IFC_ACTIONS - 1);
    expectEnd(words, at, "rule read");
    std::string hardware;
    std::string shadow;
    bool same = false;
    if (id < IFC_LUT0_RULES) {
        hardware = session.textOf("ifc_get_rule_from_reg", id);
        shadow = session.textOf("ifc_get_rule_from_hw", id);
        const IFC_LUT0_Format record = readLut0(session, id);
        same = std::equal(record.word, record.word + IFC_LUT0_WORDS, IFC_LUT0_Rule[id].word);
    } else {
        const IFC_LUT1_Format record = readLut1(session, id - IFC_LUT0_RULES);
        const IFC_LUT1_Format &own = IFC_LUT1_Rule[id - IFC_LUT0_RULES];
        hardware = wordsText(record.word, 2) + '\n';
        shadow = wordsText(own.word, 2) + '\n';
        same = std::equal(record.word, record.word + 2, own.word);
    }
    session.print("hardware:\n" + hardware + "shadow:\n" + shadow + (same ? "same\n" : "different\n"),
                  {{"rule", id}, {"hardware", hardware}, {"shadow", shadow}, {"same", same}});
}

void ruleClear(Session &session, const Words &words, size_t at)
{
    expectEnd(words, at, "rule clear");
    session.call("clear_all_ifc_rules");
    session.call("clear_all_ifc_actions");
    session.call("write_all_ifc_rule_to_hw");
    session.print("all rules and actions cleared\n", {{"cleared", true}});
}

} // namespace

std::vector<Command> ruleCommands()
{
    return {
        {"rule", "add", "MATCH... [action ...]", "place a rule, program its action", ruleAdd},
        {"rule", "validate", "MATCH... [action ...]", "where it would go, without placing it", ruleValidate},
        {"rule", "del", "MATCH... | id N", "delete every rule that holds exactly this, or by place", ruleDel},
        {"rule", "find", "MATCH...", "where these conditions stand", ruleFind},
        {"rule", "list", "", "all rules, decoded", ruleList},
        {"rule", "read", "N", "a rule as the hardware holds it, beside the shadow", ruleRead},
        {"rule", "clear", "", "delete all rules and actions", ruleClear},
    };
}

} // namespace ifcctl
