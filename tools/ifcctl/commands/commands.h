// SPDX-License-Identifier: MIT OR GPL-2.0
// The commands: OBJECT VERB and what follows them.
#pragma once

#include "tools/ifcctl/core/match.h"
#include "tools/ifcctl/device/session.h"

#include <vector>

namespace ifcctl
{

struct Command {
    const char *object;
    const char *verb; // "" for an object that stands alone
    const char *arguments;
    const char *help;
    // words[at] is the first word behind the verb.
    void (*run)(Session &session, const Words &words, size_t at);
};

// Each source of commands offers a table of its own; these are all of them.
std::vector<Command> allCommands();

std::vector<Command> ruleCommands();
std::vector<Command> explainCommands();
std::vector<Command> chipCommands();
std::vector<Command> tableCommands();
std::vector<Command> frameCommands();

// Runs one line. Throws Error.
void runLine(Session &session, const std::string &line);
void runWords(Session &session, const Words &words);

// For commands: refuses what is left over, reads a number that must be there, picks one of several words.
void expectEnd(const Words &words, size_t at, const char *after);
unsigned expectNumber(const Words &words, size_t &at, const std::string &field, unsigned most);
size_t expectChoice(const Words &words, size_t &at, const std::string &field, const Words &choices);

} // namespace ifcctl
