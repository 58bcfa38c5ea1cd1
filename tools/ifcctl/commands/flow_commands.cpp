// SPDX-License-Identifier: MIT OR GPL-2.0
// flow create, validate, destroy, query, list, flush: the commands of `rule` for users of testpmd.
#include "flow_words.h"
#include "rule_commands.h"

#include <algorithm>

namespace ifcctl
{

namespace
{

void flowCreate(Session &session, WordReader &words)
{
    takeFlowPort(words);
    WordReader rule(ruleWordsOfFlow(words));
    ruleAdd(session, rule);
}

void flowValidate(Session &session, WordReader &words)
{
    takeFlowPort(words);
    WordReader rule(ruleWordsOfFlow(words));
    ruleValidate(session, rule);
}

void flowDestroy(Session &session, WordReader &words)
{
    takeFlowPort(words);
    RuleSet set(session);
    std::vector<unsigned> positions;
    do {
        (void)words.takeChoice("flow destroy", {"rule"});
        positions.push_back(takeRuleNumber(set, words, "flow destroy rule"));
    } while (!words.atEnd());
    std::sort(positions.begin(), positions.end());
    positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
    deleteRules(session, set, positions);
}

void flowQuery(Session &session, WordReader &words)
{
    takeFlowPort(words);
    const RuleSet set(session);
    const unsigned number = set.number(takeRuleNumber(set, words, "flow query"));
    (void)words.takeChoice("flow query", {"count"});
    words.expectEnd("flow query");
    const Counter counter = readCounter(session, number);
    session.print("rule " + std::to_string(number) + ": " + std::to_string(counter.frames) +
                      (counter.frames == 1 ? " frame, " : " frames, ") + std::to_string(counter.bytes) +
                      " bytes\n",
                  {{"rule", number}, {"frames", counter.frames}, {"bytes", counter.bytes}});
}

void flowList(Session &session, WordReader &words)
{
    takeFlowPort(words);
    ruleShow(session, words);
}

void flowFlush(Session &session, WordReader &words)
{
    takeFlowPort(words);
    ruleFlush(session, words);
}

} // namespace

std::vector<Command> flowCommands()
{
    return {
        {"flow", "create", "PORT [ingress] pattern ITEM / end actions ACTION / end",
         "'rule add' in testpmd's words", flowCreate},
        {"flow", "validate", "PORT [ingress] pattern ITEM / end actions ACTION / end",
         "'rule validate' in testpmd's words", flowValidate},
        {"flow", "destroy", "PORT rule N...", "delete rules, all or none", flowDestroy},
        {"flow", "query", "PORT N count", "frames and bytes that a rule decided", flowQuery},
        {"flow", "list", "PORT", "the same as 'rule show'", flowList},
        {"flow", "flush", "PORT", "the same as 'rule flush'", flowFlush},
    };
}

} // namespace ifcctl
