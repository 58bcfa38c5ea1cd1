// SPDX-License-Identifier: MIT OR GPL-2.0
// rule add, validate, list, read, clear; the table of all rule commands.
#include "rule_commands.h"
#include "tools/ifcctl/core/action.h"
#include "tools/ifcctl/core/deletion.h"
#include "tools/ifcctl/core/placement_plan.h"
#include "tools/ifcctl/core/rule_words.h"
#include "tools/ifcctl/core/rules.h"
#include "tools/ifcctl/core/values.h"
#include "tools/ifcctl/device/hardware.h"

#include "ifc/ifc_glb.h"

#include <algorithm>

namespace ifcctl
{

namespace
{

// Between the conditions of a rule and its action.
const std::string kAction = "action";

// What stands in the way of the automatic deletion, as a note; "" if nothing does.
std::string deletionNote(const Match &match, bool lut0)
{
    return describe(deletability(match, lut0));
}

// "action WORD...", if the line goes on.
Action optionalAction(WordReader &words)
{
    Action action;
    if (words.skip(kAction))
        action = parseAction(words);
    refuseWithoutPpe(action);
    return action;
}

void ruleAdd(Session &session, WordReader &words)
{
    const Match match = matchOf(session, words);
    const Action action = optionalAction(words);
    const Plan plan = planPlacement(match, session.options().force);

    const int id = session.call("ifc_set_lut_rules_auto", requestText(match));
    if (id < 0)
        throw refused(Reason::LayerRefused, "rule", words.first(), session.lastMessage());
    session.checkTransfers();
    (void)programAction(session, static_cast<unsigned>(id), action);

    const auto rule = ruleOf(static_cast<unsigned>(id));
    std::string text =
        "rule " + std::to_string(id) + ": " + describePlace(*rule) + ", action " + std::to_string(id) + '\n';
    auto json = toJson(*rule);
    const std::string note = deletionNote(match, plan.lut0);
    if (!note.empty()) {
        text += "  note: " + note + "; delete it with 'rule del id " + std::to_string(id) + "'\n";
        json["note"] = note;
    }
    session.print(text, json);
}

void ruleValidate(Session &session, WordReader &words)
{
    const Match match = matchOf(session, words);
    (void)optionalAction(words);
    const Plan plan = planPlacement(match, session.options().force);
    std::string text =
        "would go to " + plan.place() + ", " + std::to_string(entryCount(match)) + " entries counted\n";
    for (const Condition &c : match)
        text += "  " + describeCondition(c) + '\n';
    nlohmann::ordered_json json = {
        {"place", plan.place()}, {"entries", entryCount(match)}, {"conditions", toJson(match)}};
    const std::string note = deletionNote(match, plan.lut0);
    if (!note.empty()) {
        text += "  note: " + note + '\n';
        json["note"] = note;
    }
    session.print(text, json);
}

void ruleList(Session &session, WordReader &words)
{
    words.expectEnd("rule list");
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

// Shows the hardware and the shadow.
void ruleRead(Session &session, WordReader &words)
{
    const unsigned id = words.takeNumber("rule read", IFC_ACTIONS - 1);
    words.expectEnd("rule read");
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

void ruleClear(Session &session, WordReader &words)
{
    words.expectEnd("rule clear");
    session.perform("clear_all_ifc_rules");
    session.perform("clear_all_ifc_actions");
    session.perform("write_all_ifc_rule_to_hw");
    session.print("all rules and actions cleared\n", {{"cleared", true}});
}

} // namespace

Match matchOf(const Session &session, WordReader &words)
{
    Match match = parseMatch(words);
    if (match.empty())
        throw usage("match", kAnyWord, "conditions: automatic placement takes at least one");
    if (!session.options().keepOrder)
        putMacLast(match);
    return match;
}

std::vector<Command> ruleCommands()
{
    return {
        {"rule", "add", "MATCH... [action ...]", "place a rule, program its action", ruleAdd},
        {"rule", "validate", "MATCH... [action ...]", "where it would go, without placing it", ruleValidate},
        {"rule", "del", "MATCH... | id N", "delete every rule that holds exactly this, or by place",
         ruleDelete},
        {"rule", "find", "MATCH...", "where these conditions stand", ruleFind},
        {"rule", "list", "", "all rules, decoded", ruleList},
        {"rule", "read", "N", "a rule as the hardware holds it, beside the shadow", ruleRead},
        {"rule", "clear", "", "delete all rules and actions", ruleClear},
        {"rule", "explain", "[N] HEX|FILE:NUMBER [iface N] [gem_port N]",
         "why rule N, or each rule, hits this frame or not", ruleExplain},
    };
}

} // namespace ifcctl
