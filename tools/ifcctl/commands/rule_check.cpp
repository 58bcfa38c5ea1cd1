// SPDX-License-Identifier: MIT OR GPL-2.0
// rule check.
#include "rule_auto.h"
#include "rule_commands.h"
#include "rule_notes.h"

#include "tools/ifcctl/core/rules.h"

namespace ifcctl
{

void ruleCheck(Session &session, WordReader &words)
{
    words.expectEnd("rule check");
    const RuleSet set(session);
    std::string text;
    auto json = nlohmann::ordered_json::array();
    for (const RuleNote &note : allNotes(set)) {
        const std::string line = describe(set, note);
        text += line + '\n';
        nlohmann::ordered_json entry = {{"kind", kindName(note.kind)}, {"rule", set.number(note.position)}};
        if (note.other != note.position)
            entry["other"] = set.number(note.other);
        entry["text"] = line;
        json.push_back(entry);
    }
    for (const PlacedRule &rule : placedRules()) {
        for (const PlacedRule &other : takenByDeletion(session, rule.conditions)) {
            if (other.id == rule.id || sameConditions(other.conditions, rule.conditions))
                continue;
            const std::string line = "the automatic deletion of rule " + std::to_string(rule.id) +
                                     " would also take rule " + std::to_string(other.id);
            text += line + '\n';
            json.push_back(
                {{"kind", "deleted_together"}, {"rule", rule.id}, {"other", other.id}, {"text", line}});
        }
        if (!rule.complete) {
            const std::string line = describePlace(rule) + ": no end flag: never hits";
            text += line + '\n';
            json.push_back({{"kind", "no_end"}, {"rule", rule.id}, {"text", line}});
        }
    }
    session.print(text.empty() ? "nothing found\n" : text, json);
}

} // namespace ifcctl
