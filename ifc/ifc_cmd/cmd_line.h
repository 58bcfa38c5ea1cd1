// SPDX-License-Identifier: MIT OR GPL-2.0
// Reading a command line: words, numbers, requests, frames; and the answer that a faulty word gets.
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

constexpr Param U(const char *name)
{
    return {name, 0, 0xFFFFFFFF};
}
constexpr Param I(const char *name)
{
    return {name, -0x80000000LL, 0x7FFFFFFF};
}
constexpr Param Upto(const char *name, int64_t most)
{
    return {name, 0, most};
}

// What may follow the numbers.
enum class Tail : uint8_t { None, Request, Condition, Frame };

// What an operation is called with. Request and frame stand in static memory.
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
    // For an operation that finds its arguments out of range: it would read memory outside of the frame.
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

// The next word of the line, which moves on. Its length is 0 at the end of the line.
Word nextWord(const char *&line);
bool equals(const Word &word, const char *name);
// How much of a word an answer repeats.
int printedLength(const Word &word);

// The readers are false after they have printed what is accepted.
bool readNumber(Answer &answer, const char *operation, const Param &param, const Word &word, int64_t &value);
// Conditions FIELD:COMMAND:MASK:KEY up to the end of the line. Tail::Condition: exactly one.
bool readRequest(Answer &answer, const char *operation, Tail tail, const char *&line, Arguments &arguments);
// One word of hexadecimal digits.
bool readFrame(Answer &answer, const char *operation, const char *&line, Arguments &arguments);

} // namespace ifc::cmd
