// SPDX-License-Identifier: MIT OR GPL-2.0
#include "flow_words.h"

#include "flow_actions.h"
#include "flow_pattern.h"

#include "tools/ifcctl/core/values.h"

namespace ifcctl
{

void takeFlowPort(WordReader &words)
{
    const std::string &port = words.take("port", "0");
    if (parseNumber(port) != 0u)
        words.reject("0; there is one chip");
}

Words ruleWordsOfFlow(WordReader &words)
{
    while (!words.skip("pattern")) {
        const size_t choice = words.takeChoice("flow", {"ingress", "group", "priority", "pattern"});
        if (choice == 0)
            continue;
        const std::string name = choice == 1 ? "group" : "priority";
        const std::string &value = words.take(name, "0");
        if (parseNumber(value) != 0u)
            words.reject(choice == 1 ? "0; there is one table of rules"
                                     : "0; rules decide in their order, see 'rule insert'");
    }
    Words rule = readFlowPattern(words);
    (void)words.takeChoice("flow", {"actions"});
    const Words action = readFlowActions(words);
    words.expectEnd("flow");
    if (!action.empty()) {
        rule.emplace_back("action");
        rule.insert(rule.end(), action.begin(), action.end());
    }
    return rule;
}

} // namespace ifcctl
