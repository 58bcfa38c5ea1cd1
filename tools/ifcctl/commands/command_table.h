// SPDX-License-Identifier: MIT OR GPL-2.0
// The table of commands. Help, messages and everything that completes or lists commands come from here.
#pragma once

#include "tools/ifcctl/core/word_reader.h"
#include "tools/ifcctl/device/session.h"

#include <string>
#include <vector>

namespace ifcctl
{

// `arguments` is a form in words that are separated by spaces:
//   word          itself, in lower case or with a dash; UPPER is a placeholder, see placeholders()
//   [...]         may be left out
//   ... | ...     one of them
//   X...          X once or more
// Brackets stand at the word that they enclose: "[before N] MATCH... [action WORD...]".
struct Command {
    const char *object;
    const char *verb; // "" for an object without verbs
    const char *arguments;
    const char *help; // one line
    // `words` starts after the verb. Throws Error.
    void (*run)(Session &session, WordReader &words);
};

// All commands in the order of the help. Commands of one object stand together.
const std::vector<Command> &allCommands();

// A name and its meaning in one line.
struct NamedHelp {
    std::string name;
    std::string help;
};

// The objects, in the order of allCommands().
const std::vector<NamedHelp> &objectTable();

// What the upper-case words of `arguments` stand for.
const std::vector<NamedHelp> &placeholders();

// Other words for verbs: `name` is accepted where an object has the verb `help`.
const std::vector<NamedHelp> &verbAliases();

// The object that the word names or abbreviates. As in `ip`, an abbreviation means the first object that
// begins with it. Throws Error.
std::string findObject(const std::string &word);

// The command that the words name; `used` is how many words that were. A verb may be abbreviated if only one
// fits. Throws Error.
const Command &findCommand(const Words &words, size_t &used);

std::vector<Command> ruleCommands();
std::vector<Command> switchCommands();
std::vector<Command> actionCommands();
std::vector<Command> counterCommands();
std::vector<Command> operationCommands();
std::vector<Command> setCommands();
std::vector<Command> tableCommands();
std::vector<Command> frameCommands();
std::vector<Command> reportCommands();
std::vector<Command> flowCommands();

} // namespace ifcctl
