// SPDX-License-Identifier: MIT OR GPL-2.0
// Walks the words of a line. It remembers the last key and its value, so that an error can name both.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ifcctl
{

using Words = std::vector<std::string>;

// The words of a line; '#' begins a comment. Throws Error for a NUL byte: file names and the command
// handler's lines would end there.
Words splitLine(const std::string &line);

// True: the line ends with a backslash and continues in the next one. A comment ends with its line.
bool goesOn(const std::string &line);
// Replaces the backslash by the next line.
void joinLines(std::string &line, const std::string &more);

// Removes the mark that some editors put before the first line of a UTF-8 file.
void dropByteOrderMark(std::string &line);

class WordReader
{
public:
    // Starts at word `at`.
    explicit WordReader(Words words, size_t at = 0);

    bool atEnd() const { return at_ == words_.size(); }
    bool nextIs(std::string_view word) const { return !atEnd() && words_[at_] == word; }
    // The next word, or one that many words later; "" after the last word.
    const std::string &peek(size_t further = 0) const;
    // True: this word is among the unread ones.
    bool holds(std::string_view word) const;
    // The word at which this reader started, "" if there was none.
    const std::string &first() const;

    // The next word becomes the key. There must be one.
    const std::string &takeKey();
    // The next word becomes the value of the key. Throws Error when there is none.
    const std::string &takeValue(const std::string &accepted);
    // The same for a value without a key word; `field` becomes the key.
    const std::string &take(const std::string &field, const std::string &accepted);
    // Skips the next word if it is this one.
    bool skip(std::string_view word);

    // A number, decimal or hexadecimal, from `least` to `most`: the next word, as value of the key or of
    // `field`. Throws Error.
    uint64_t takeNumber(uint64_t least, uint64_t most);
    unsigned takeNumber(const std::string &field, unsigned most);
    // The next word must be one of `choices`; returns its index.
    size_t takeChoice(const std::string &field, const Words &choices);
    // Throws Error if words are left.
    void expectEnd(const std::string &command) const;

    const std::string &key() const { return key_; }
    const std::string &value() const { return value_; }
    // The current value is wrong.
    [[noreturn]] void reject(const std::string &accepted) const;

private:
    Words words_;
    size_t first_;
    size_t at_;
    std::string key_;
    std::string value_;
};

} // namespace ifcctl
