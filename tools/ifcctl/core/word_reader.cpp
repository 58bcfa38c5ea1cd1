// SPDX-License-Identifier: MIT OR GPL-2.0
#include "word_reader.h"

#include "errors.h"
#include "nearest_word.h"
#include "values.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace ifcctl
{

namespace
{

const std::string kNoWord;
constexpr char kContinuation = '\\';

} // namespace

Words splitLine(const std::string &line)
{
    std::istringstream text(line.substr(0, line.find('#')));
    Words words;
    for (std::string word; text >> word;) {
        if (word.find('\0') != std::string::npos)
            throw usage("word", word, "text without NUL bytes");
        words.push_back(word);
    }
    return words;
}

bool goesOn(const std::string &line)
{
    const size_t last = line.find_last_not_of(" \t\r");
    return last != std::string::npos && line[last] == kContinuation && line.find('#') == std::string::npos;
}

void joinLines(std::string &line, const std::string &more)
{
    line.replace(line.rfind(kContinuation), std::string::npos, " " + more);
}

void dropByteOrderMark(std::string &line)
{
    if (line.compare(0, 3, "\xEF\xBB\xBF") == 0)
        line.erase(0, 3);
}

WordReader::WordReader(Words words, size_t at)
    : words_(std::move(words)), first_(std::min(at, words_.size())), at_(first_)
{
}

const std::string &WordReader::peek(size_t further) const
{
    return further < words_.size() - at_ ? words_[at_ + further] : kNoWord;
}

bool WordReader::holds(std::string_view word) const
{
    return std::find(words_.begin() + static_cast<std::ptrdiff_t>(at_), words_.end(), word) != words_.end();
}

const std::string &WordReader::first() const
{
    return first_ < words_.size() ? words_[first_] : kNoWord;
}

const std::string &WordReader::takeKey()
{
    key_ = words_.at(at_++);
    value_.clear();
    return key_;
}

const std::string &WordReader::takeValue(const std::string &accepted)
{
    value_.clear();
    if (atEnd())
        reject(accepted);
    value_ = words_[at_++];
    return value_;
}

const std::string &WordReader::take(const std::string &field, const std::string &accepted)
{
    key_ = field;
    return takeValue(accepted);
}

bool WordReader::skip(std::string_view word)
{
    const bool is = nextIs(word);
    at_ += is;
    return is;
}

uint64_t WordReader::takeNumber(uint64_t least, uint64_t most)
{
    const std::string accepted = "a number from " + std::to_string(least) + " to " + std::to_string(most);
    const auto number = parseNumber(takeValue(accepted));
    if (!number || *number < least || *number > most)
        reject(accepted);
    return *number;
}

unsigned WordReader::takeNumber(const std::string &field, unsigned most)
{
    key_ = field;
    return static_cast<unsigned>(takeNumber(0, uint64_t{most}));
}

size_t WordReader::takeChoice(const std::string &field, const Words &choices)
{
    std::string all;
    for (const std::string &choice : choices)
        all += (all.empty() ? "" : " ") + choice;
    const std::string &word = take(field, all);
    const auto found = std::find(choices.begin(), choices.end(), word);
    if (found == choices.end())
        reject(all + didYouMean(word, choices));
    return static_cast<size_t>(found - choices.begin());
}

void WordReader::expectEnd(const std::string &command) const
{
    if (!atEnd())
        throw usage(command, words_[at_],
                    words_[at_][0] == '-' ? "nothing more; options stand before the command"
                                          : "nothing more");
}

void WordReader::reject(const std::string &accepted) const
{
    throw usage(key_, value_, accepted);
}

} // namespace ifcctl
