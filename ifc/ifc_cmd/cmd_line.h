// SPDX-License-Identifier: MIT OR GPL-2.0
// Reads a command line: words, numbers, requests, frames. Answers a faulty word with what is accepted.
#pragma once

#include "ifc/ifc_cmd.h"

#include "ifc/ifc_util.h"

namespace ifc::cmd
{

constexpr uint kMostNumbers = 8;
constexpr uint kMostFrameBytes = 2048;

// A word of the line.
struct Word {
    const char *text;
    uint length;
};

// A number that an operation takes, and its range.
struct Param {
    const char *name;
    int64_t least;
    int64_t most;
};

constexpr Param u32(const char *name)
{
    return {name, 0, 0xFFFFFFFF};
}
constexpr Param i32(const char *name)
{
    return {name, -0x80000000LL, 0x7FFFFFFF};
}
constexpr Param upTo(const char *name, int64_t most)
{
    return {name, 0, most};
}

// What may follow the numbers.
enum class Tail : uint8_t { None, Request, Condition, Frame };

// What an operation is called with. Request and frame are in static memory.
struct Arguments {
    int64_t n[kMostNumbers];
    orva_ifc_param *request;
    sk_buff *frame;
    uint u(uint i) const { return static_cast<uint>(n[i]); }
    int i(uint i) const { return static_cast<int>(n[i]); }
};

class Answer
{
public:
    Answer(ifc_cmd_print print, void *user) : print_(print), user_(user) {}
    void say(const char *text) { print_(user_, text); }
    template <typename... Values>
    void say(const char *format, Values... values)
    {
        char text[160];
        (void)snprintf(text, sizeof text, format, values...);
        print_(user_, text);
    }
    // For an operation whose arguments would make it read memory outside the frame.
    void refuse(const char *operation, const char *argument, const char *accepted)
    {
        say("%s: %s: accepted: %s\n", operation, argument, accepted);
        refused_ = true;
    }
    bool refused() const { return refused_; }

private:
    ifc_cmd_print print_;
    void *user_;
    bool refused_ = false;
};

// Takes the next word and moves `line` past it. The word's length is 0 at the end of the line.
Word nextWord(const char *&line);
bool equals(const Word &word, const char *name);
// How many characters of a word an answer repeats.
int printedLength(const Word &word);

// Each reader returns false after it has printed what is accepted.
bool readNumber(Answer &answer, const char *operation, const Param &param, const Word &word, int64_t &value);
// Conditions FIELD:COMMAND:MASK:KEY up to the end of the line. Tail::Condition: exactly one.
bool readRequest(Answer &answer, const char *operation, Tail tail, const char *&line, Arguments &arguments);
// One word of hexadecimal digits.
bool readFrame(Answer &answer, const char *operation, const char *&line, Arguments &arguments);

} // namespace ifc::cmd
