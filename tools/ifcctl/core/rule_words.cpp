// SPDX-License-Identifier: MIT OR GPL-2.0
#include "rule_words.h"

#include "match_words.h"

#include "ifc/records/fields.h"

namespace ifcctl
{

ifc_rule readRule(WordReader &words, int revision)
{
    ifc_rule rule{};
    readMatch(words, rule);
    if (words.skip(kActionWord))
        rule.action = readAction(words, revision);
    return rule;
}

std::string ruleText(const ifc_rule &rule, int revision)
{
    const std::string action = actionText(rule.action, revision);
    return matchText(rule) + (action.empty() ? "" : ' ' + kActionWord + ' ' + action);
}

std::string ruleWordsHelp()
{
    return "MATCH: KEY [eq|ne|!|ge|le] VALUE[/MASK], KEY FIRST-LAST, KEY any; or any alone\n";
}

} // namespace ifcctl
