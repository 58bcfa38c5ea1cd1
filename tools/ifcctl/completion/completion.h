// SPDX-License-Identifier: MIT OR GPL-2.0
// Completes command lines from the tables of commands, options and words.
#pragma once

#include "tools/ifcctl/core/word_reader.h"

#include <functional>
#include <string>

namespace ifcctl
{

// `ifcctl completion bash` prints a script.
inline const std::string kCompletionWord = "completion";

struct Completion {
    Words words;        // that may stand here, whole
    bool files = false; // file names fit as well
    std::string hint;   // what else fits, as text: "a number from 0 to 0xfff"; "" if there is nothing to say
};

// The numbers of the present rules. It is called only if they fit.
using RuleNumbers = std::function<Words()>;

// Completes the word `partial` of a command after the words before it, from the object on.
Completion completeCommand(const Words &before, const std::string &partial, const RuleNumbers &numbers);

// The same for the words after the program's name: options may stand first.
Completion completeProgram(const Words &before, const std::string &partial, const RuleNumbers &numbers);

// The same for the words at the shell's prompt.
Completion completePrompt(const Words &before, const std::string &partial, const RuleNumbers &numbers);

// The words of the prompt besides commands.
const Words &promptWords();

// The longest text with which all words begin.
std::string commonBeginning(const Words &words);

} // namespace ifcctl
