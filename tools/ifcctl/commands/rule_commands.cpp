// SPDX-License-Identifier: MIT OR GPL-2.0
// rule validate, find, read, clear; the table of all rule commands.
#include "rule_commands.h"
#include "rule_notes.h"
#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/rule_name.h"
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

std::string rulesText(unsigned count)
{
    return std::to_string(count) + (count == 1 ? " rule" : " rules");
}

void ruleFind(Session &session, WordReader &words)
{
    ifc_rule rule{};
    readMatch(words, rule);
    words.expectEnd("rule find");
    const RuleSet set(session);
    std::string text;
    auto json = nlohmann::ordered_json::array();
    for (const unsigned position : positionsOf(set, rule)) {
        text +=
            "rule " + std::to_string(set.number(position)) + ": " + describePlace(set.place(position)) + '\n';
        auto entry = standingJson(set, position, session.device().revision());
        entry["exact"] = true;
        json.push_back(entry);
    }
    if (json.empty())
        throw refused(Reason::NoSuchRule, "rule", matchText(rule),
                      "no rule holds exactly these conditions (see 'rule show')");
    session.print(text, json);
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
    const unsigned id = takeEntry(words, "rule read");
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

// The place of the rule after `rule add`, and the changes that this needs.
void ruleValidate(Session &session, WordReader &words)
{
    if (words.skip("auto")) {
        ruleValidateAuto(session, words);
        return;
    }
    RuleSet set(session);
    set.append(ruleFrom(session, words));
    const unsigned position = set.count() - 1;
    const ifc_rule &rule = set.rule(position);
    const ifc_ruleset_report plan = set.plan();
    const std::string place = describePlace(plan.place[position]);
    std::string text = "would go to " + place;
    if (plan.moved != 0)
        text += ", " + rulesText(plan.moved) + " would move";
    text += ", at most " + std::to_string(plan.accesses) + " register accesses\n";
    for (unsigned n = 0; n < rule.count; ++n)
        text += "  " + conditionText(rule.condition[n]) + '\n';
    nlohmann::ordered_json json = {{"rule", ifc_ruleset_number(plan.place[position])},
                                   {"place", place},
                                   {"entries", plan.place[position].entries},
                                   {"moved", plan.moved},
                                   {"accesses", plan.accesses},
                                   {"conditions", matchJson(rule)}};
    for (const RuleNote &note : notesAround(set, position)) {
        const std::string warning = describe(set, note);
        text += "  warning: " + warning + '\n';
        json["warnings"].push_back(warning);
    }
    session.print(text, json);
}

std::vector<Command> ruleCommands()
{
    return {
        {"rule", "add", "[auto] MATCH... [action WORD...]",
         "add a rule after all others; auto: where the layer's own placement puts it", ruleAdd},
        {"rule", "insert", "[before N] MATCH... [action WORD...]",
         "add a rule before rule N, or before all others", ruleInsert},
        {"rule", "move", "N before M | N last", "let rule N decide before rule M, or after all others",
         ruleMove},
        {"rule", "change", "N action WORD...", "change the named words of a rule's action", ruleChange},
        {"rule", "del", "N | MATCH... | auto MATCH...",
         "delete rule N, or every rule with exactly these conditions; auto: by the layer's own deletion",
         ruleDelete},
        {"rule", "flush", "", "delete all rules", ruleFlush},
        {"rule", "show", "[-s]",
         "the rules in the order in which they decide, as lines of a batch; -s: their packets and bytes",
         ruleShow},
        {"rule", "check", "", "rules that never decide, overlaps, rules that the layer deletes together",
         ruleCheck},
        {"rule", "explain", "[N] HEX|FILE:NUMBER [iface VALUE] [gem_port VALUE]",
         "why rule N, or each rule, hits this frame or not, and which rule decides", ruleExplain},
        {"rule", "validate", "[auto] MATCH... [action WORD...]",
         "where 'rule add' would put it; nothing is changed", ruleValidate},
        {"rule", "find", "MATCH...", "the places of the rules with exactly these conditions", ruleFind},
        {"rule", "read", "N", "an entry of the hardware and of its shadow", ruleRead},
        {"rule", "clear", "", "rewrite the tables without rules and actions", ruleClear},
    };
}

} // namespace ifcctl
