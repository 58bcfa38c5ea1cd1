// SPDX-License-Identifier: MIT OR GPL-2.0
#include "rule_words.h"

#include <algorithm>

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

std::string wordLines(const std::vector<WordForm> &forms)
{
    constexpr size_t kColumn = 18;
    std::string text;
    for (const WordForm &form : forms)
        text += "  " + form.word + std::string(kColumn - std::min(kColumn, form.word.size()), ' ') + ' ' +
                form.values + '\n';
    return text;
}

std::string matchWordsHelp()
{
    return wordLines(matchWordForms());
}

std::string actionWordsHelp()
{
    return wordLines(actionWordForms());
}

std::string ruleWordsHelp()
{
    std::string text = "MATCH, all must hold:\n"
                       "  KEY [eq|ne|!|ge|le] VALUE[/MASK]\n"
                       "  KEY FIRST-LAST\n"
                       "  KEY any            the frame has the field\n"
                       "  any                alone: every frame\n"
                       "Keys:\n" +
                       matchWordsHelp() +
                       "Action:\n"
                       "  WORD VALUE, a flag without a value, or WORD off\n"
                       "Words:\n" +
                       actionWordsHelp();
    return text;
}

} // namespace ifcctl
