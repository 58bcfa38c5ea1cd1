// SPDX-License-Identifier: MIT OR GPL-2.0
// rule check.
#include "findings.h"
#include "rule_auto.h"
#include "rule_commands.h"
#include "rule_notes.h"

#include "tools/ifcctl/core/rules.h"

namespace ifcctl
{

Findings ruleFindings(Session &session)
{
    const RuleSet set(session);
    Findings found;
    for (const RuleNote &note : allNotes(set)) {
        const std::string line = describe(set, note);
        nlohmann::ordered_json entry = {{"kind", kindName(note.kind)}, {"rule", set.number(note.position)}};
        if (note.other != note.position)
            entry["other"] = set.number(note.other);
        entry["text"] = line;
        found.add(line, entry);
    }
    for (const PlacedRule &rule : placedRules()) {
        for (const PlacedRule &other : takenByDeletion(session, rule.conditions)) {
            if (other.id == rule.id || sameConditions(other.conditions, rule.conditions))
                continue;
            const std::string line = "the automatic deletion of rule " + std::to_string(rule.id) +
                                     " would also take rule " + std::to_string(other.id);
            found.add(line,
                      {{"kind", "deleted_together"}, {"rule", rule.id}, {"other", other.id}, {"text", line}});
        }
        if (!rule.complete) {
            const std::string line = describePlace(rule) + ": no end flag: never hits";
            found.add(line, {{"kind", "no_end"}, {"rule", rule.id}, {"text", line}});
        }
    }
    return found;
}

void ruleCheck(Session &session, WordReader &words)
{
    words.expectEnd("rule check");
    const Findings found = ruleFindings(session);
    session.print(found.lines.empty() ? "nothing found\n" : found.text(), found.json);
}

} // namespace ifcctl
