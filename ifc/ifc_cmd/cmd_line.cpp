// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ifc/ifc_cmd/cmd_line.h"

namespace ifc::cmd
{

namespace
{

constinit orva_ifc_param requestBuffer{};
constinit unsigned char frameBuffer[kMostFrameBytes] = {};
constinit sk_buff frameRecord{};

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

int digit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return 99;
}

// Reads the whole word, or fails. Numbers have at most 62 bits, so that no sum overflows.
bool parseNumber(Word word, int64_t &value)
{
    const bool negative = word.length > 1 && *word.text == '-';
    if (negative)
        ++word.text, --word.length;
    int base = 10;
    if (word.length > 2 && word.text[0] == '0' && (word.text[1] == 'x' || word.text[1] == 'X')) {
        base = 16;
        word.text += 2, word.length -= 2;
    }
    if (word.length == 0 || word.length > 18)
        return false;
    value = 0;
    for (uint n = 0; n < word.length; ++n) {
        const int d = digit(word.text[n]);
        if (d >= base || value >> 58 != 0)
            return false;
        value = value * base + d;
    }
    if (negative)
        value = -value;
    return true;
}

} // namespace

Word nextWord(const char *&line)
{
    while (isBlank(*line))
        ++line;
    const char *first = line;
    while (*line != '\0' && !isBlank(*line))
        ++line;
    return {first, static_cast<uint>(line - first)};
}

bool equals(const Word &word, const char *name)
{
    uint n = 0;
    for (; n < word.length; ++n)
        if (name[n] != word.text[n]) // true at the end of a shorter name, too
            return false;
    return name[n] == '\0';
}

int printedLength(const Word &word)
{
    return static_cast<int>(word.length < 40 ? word.length : 40);
}

bool readNumber(Answer &answer, const char *operation, const Param &param, const Word &word, int64_t &value)
{
    if (!parseNumber(word, value) || value < param.least || value > param.most) {
        answer.say("%s: %s '%.*s': accepted: %lld to %lld\n", operation, param.name, printedLength(word),
                   word.text, static_cast<long long>(param.least), static_cast<long long>(param.most));
        return false;
    }
    return true;
}

namespace
{

constexpr Param kConditionParts[] = {u32("field"), u32("command"), upTo("mask", 0xFFFFFFFFFFFF),
                                     upTo("key", 0xFFFFFFFFFFFF)};

bool readCondition(Answer &answer, const char *operation, const Word &word, uint at)
{
    int64_t parts[4];
    uint part = 0;
    Word rest = word;
    for (; part < 4; ++part) {
        Word piece = {rest.text, 0};
        while (piece.length < rest.length && piece.text[piece.length] != ':')
            ++piece.length;
        const bool last = piece.length == rest.length;
        if (last != (part == 3))
            break;
        if (!readNumber(answer, operation, kConditionParts[part], piece, parts[part]))
            return false;
        if (!last)
            rest = {piece.text + piece.length + 1, rest.length - piece.length - 1};
    }
    if (part != 4) {
        answer.say("%s: condition '%.*s': accepted: FIELD:COMMAND:MASK:KEY\n", operation, printedLength(word),
                   word.text);
        return false;
    }
    requestBuffer.fieldIdx[at] = static_cast<uint32_t>(parts[0]);
    requestBuffer.command[at] = static_cast<uint32_t>(parts[1]);
    requestBuffer.mask_low[at] = static_cast<uint32_t>(parts[2]);
    requestBuffer.mask_high[at] = static_cast<uint32_t>(parts[2] >> 32);
    requestBuffer.key_low[at] = static_cast<uint32_t>(parts[3]);
    requestBuffer.key_high[at] = static_cast<uint32_t>(parts[3] >> 32);
    return true;
}

} // namespace

bool readRequest(Answer &answer, const char *operation, Tail tail, const char *&line, Arguments &arguments)
{
    __builtin_memset(&requestBuffer, 0, sizeof requestBuffer);
    const uint most = tail == Tail::Condition ? 1 : IFC_PARAM_CONDITIONS;
    uint count = 0;
    for (Word word = nextWord(line); word.length != 0; word = nextWord(line), ++count) {
        if (count == most) {
            answer.say("%s: too many conditions: accepted: at most %u\n", operation, most);
            return false;
        }
        if (!readCondition(answer, operation, word, count))
            return false;
    }
    if (tail == Tail::Condition && count == 0) {
        answer.say("%s: no condition: accepted: FIELD:COMMAND:MASK:KEY\n", operation);
        return false;
    }
    arguments.request = &requestBuffer;
    return true;
}

bool readFrame(Answer &answer, const char *operation, const char *&line, Arguments &arguments)
{
    const Word word = nextWord(line);
    bool good = word.length % 2 == 0 && word.length / 2 <= kMostFrameBytes;
    for (uint n = 0; good && n < word.length; n += 2) {
        const int high = digit(word.text[n]);
        const int low = digit(word.text[n + 1]);
        good = high < 16 && low < 16;
        frameBuffer[n / 2] = static_cast<unsigned char>(high << 4 | low);
    }
    if (!good) {
        answer.say("%s: frame '%.*s': accepted: up to %u bytes, two hexadecimal digits each\n", operation,
                   printedLength(word), word.text, kMostFrameBytes);
        return false;
    }
    sk_buff &frame = frameRecord;
    frame = {};
    frame.head = frame.data = frameBuffer;
    frame.end = frameBuffer + kMostFrameBytes;
    frame.len = word.length / 2;
    arguments.frame = &frame;
    return true;
}

} // namespace ifc::cmd
