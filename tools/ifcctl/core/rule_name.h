// SPDX-License-Identifier: MIT OR GPL-2.0
// How a command names a rule: by its number, which is its action entry, or by a table entry such as LUT1-3.
#pragma once

#include "word_reader.h"

#include <optional>
#include <string>
#include <vector>

namespace ifcctl
{

// Where a rule stands. A LUT0 rule has first == last.
struct RulePlace {
    unsigned number;
    bool lut0;
    unsigned first;
    unsigned last;
};

// "LUT1-3" or "lut1-3" as its action entry, 11. Nothing: no table has such an entry.
std::optional<unsigned> parseTableEntry(const std::string &text);

// True: the word is a number or begins like a table entry.
bool isRuleName(const std::string &word);

// The next word as an action entry: a number, or a table entry. Throws Error.
unsigned takeEntry(WordReader &words, const std::string &field);

// The next word as the index of a rule: its number, or any table entry that it takes. Throws Error.
size_t takeRule(WordReader &words, const std::string &field, const std::vector<RulePlace> &rules);

} // namespace ifcctl
