// SPDX-License-Identifier: MIT OR GPL-2.0
// A list of items or actions in testpmd's words: '/' after each, 'end' after the last.
#pragma once

#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/word_reader.h"

#include <string>

namespace ifcctl
{

// Stands after each item and each action.
inline const std::string kFlowNext = "/";

// Calls readOne() for each, up to 'end'. `key` names the list in messages, `one` one of its elements. Throws
// Error.
template <typename ReadOne>
void readFlowList(WordReader &words, const std::string &key, const std::string &one, ReadOne readOne)
{
    while (!words.skip("end")) {
        readOne();
        if (!words.skip(kFlowNext))
            throw usage(key, words.peek(), "'/' after " + one + ", and 'end' after the last one");
    }
}

// A match or an action of `rule add`, and its value.
inline void addFlowPair(Words &words, const std::string &word, const std::string &value)
{
    words.push_back(word);
    words.push_back(value);
}

} // namespace ifcctl
