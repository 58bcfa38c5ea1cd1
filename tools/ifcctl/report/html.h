// SPDX-License-Identifier: MIT OR GPL-2.0
// Writes HTML and SVG. Texts and values of attributes are always escaped; elements are always closed.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ifcctl::report
{

// The text for use between tags and in attributes. Bytes that are no UTF-8, control characters and characters
// that turn the direction of text become U+FFFD.
std::string escaped(std::string_view text);

// Attributes; an empty value is written as "".
using Attributes = std::initializer_list<std::pair<const char *, std::string>>;

class Html
{
public:
    // An element that lives until close().
    Html &open(const char *tag, Attributes attributes = {});
    Html &close();
    // A whole element with text, or an empty one.
    Html &element(const char *tag, Attributes attributes, std::string_view text);
    Html &element(const char *tag, std::string_view text) { return element(tag, {}, text); }
    // An element without content and end tag, or an SVG shape.
    Html &leaf(const char *tag, Attributes attributes = {});
    Html &text(std::string_view text);
    // A part of the page that is written in this program, never anything from outside.
    template <size_t N>
    Html &fixed(const char (&part)[N])
    {
        out_ += part;
        return *this;
    }

    // The style sheet, another part of this program.
    Html &style(const char *sheet)
    {
        out_ += sheet;
        return *this;
    }

    // All elements must be closed.
    const std::string &done() const { return out_; }
    bool complete() const { return open_.empty(); }

private:
    void start(const char *tag, Attributes attributes);

    std::string out_;
    std::vector<const char *> open_;
};

} // namespace ifcctl::report
