// SPDX-License-Identifier: MIT OR GPL-2.0
// The commands: OBJECT VERB ARGUMENT...
#pragma once

#include "tools/ifcctl/core/rule_words.h"
#include "tools/ifcctl/core/word_reader.h"
#include "tools/ifcctl/device/session.h"

#include <string>
#include <vector>

namespace ifcctl
{

struct Command {
    const char *object;
    const char *verb; // "" for an object without verbs
    const char *arguments;
    const char *help;
    // `words` starts after the verb.
    void (*run)(Session &session, WordReader &words);
};

// Each source of commands has a table; this is the list of them.
std::vector<Command> allCommands();

std::vector<Command> ruleCommands();
std::vector<Command> switchCommands();
std::vector<Command> actionCommands();
std::vector<Command> operationCommands();
std::vector<Command> setCommands();
std::vector<Command> tableCommands();
std::vector<Command> frameCommands();
std::vector<Command> reportCommands();

// Runs one line. Throws Error.
void runLine(Session &session, const std::string &line);
void runWords(Session &session, const Words &words);

// Frames and bytes that the rule with this number decided.
struct Counter {
    unsigned long long frames;
    unsigned long long bytes;
};
Counter readCounter(Session &session, unsigned entry);

// Programs each sub-action of an entry and returns what the rule layer printed. Throws Error if one is
// refused.
std::string programAction(Session &session, unsigned entry, const std::vector<SubAction> &action);

} // namespace ifcctl
