// SPDX-License-Identifier: MIT OR GPL-2.0
#include "html.h"

#include <cstdint>
#include <cstring>

namespace ifcctl::report
{

namespace
{

constexpr const char *kReplacement = "\xEF\xBF\xBD"; // U+FFFD

// The length of the UTF-8 character at the start of the text, and its number; 0: it is none.
size_t characterAt(std::string_view text, uint32_t &number)
{
    const auto byte = [&](size_t n) { return static_cast<uint8_t>(text[n]); };
    const uint8_t first = byte(0);
    const size_t length = first < 0x80   ? 1
                          : first < 0xC2 ? 0
                          : first < 0xE0 ? 2
                          : first < 0xF0 ? 3
                          : first < 0xF5 ? 4
                                         : 0;
    if (length == 0 || length > text.size())
        return 0;
    number = length == 1 ? first : first & (0x7Fu >> length);
    for (size_t n = 1; n < length; ++n) {
        if ((byte(n) & 0xC0) != 0x80)
            return 0;
        number = number << 6 | (byte(n) & 0x3Fu);
    }
    constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (number < kLeast[length] || number > 0x10FFFF || (number >= 0xD800 && number <= 0xDFFF))
        return 0;
    return length;
}

bool shown(uint32_t character)
{
    if (character == '\n' || character == '\t')
        return true;
    const bool control = character < 0x20 || (character >= 0x7F && character < 0xA0);
    const bool turns = (character >= 0x202A && character <= 0x202E) ||
                       (character >= 0x2066 && character <= 0x2069) || character == 0x200E ||
                       character == 0x200F;
    const bool noCharacter = (character & 0xFFFE) == 0xFFFE || (character >= 0xFDD0 && character <= 0xFDEF);
    return !control && !turns && !noCharacter;
}

// Elements that begin a line of the file.
bool beginsLine(const char *tag)
{
    for (const char *inLine :
         {"a", "abbr", "b", "bdi", "code", "em", "span", "strong", "title", "desc", "text", "tspan"})
        if (std::strcmp(tag, inLine) == 0)
            return false;
    return true;
}

} // namespace

std::string escaped(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        uint32_t character = 0;
        const size_t length = characterAt(text, character);
        switch (length == 0 ? 0 : character) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&#39;";
            break;
        default:
            if (length == 0 || !shown(character))
                out += kReplacement;
            else
                out += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return out;
}

void Html::start(const char *tag, Attributes attributes)
{
    if (beginsLine(tag) && !out_.empty() && out_.back() != '\n')
        out_ += '\n';
    out_ += '<';
    out_ += tag;
    for (const auto &[name, value] : attributes) {
        out_ += ' ';
        out_ += name;
        out_ += "=\"";
        out_ += escaped(value);
        out_ += '"';
    }
}

Html &Html::open(const char *tag, Attributes attributes)
{
    start(tag, attributes);
    out_ += '>';
    open_.push_back(tag);
    return *this;
}

Html &Html::close()
{
    out_ += "</";
    out_ += open_.back();
    out_ += '>';
    open_.pop_back();
    return *this;
}

Html &Html::element(const char *tag, Attributes attributes, std::string_view text)
{
    return open(tag, attributes).text(text).close();
}

Html &Html::leaf(const char *tag, Attributes attributes)
{
    start(tag, attributes);
    out_ += "/>";
    return *this;
}

Html &Html::text(std::string_view text)
{
    out_ += escaped(text);
    return *this;
}

} // namespace ifcctl::report
