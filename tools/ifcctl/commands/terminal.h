// SPDX-License-Identifier: MIT OR GPL-2.0
// What standard output can show: colour, line-drawing characters.
#pragma once

#include "commands.h"

#include <string>

namespace ifcctl
{

struct TerminalStyle {
    unsigned width; // columns
    bool colour;
    bool unicode; // line-drawing characters; else ASCII
};

// auto: colour on a terminal, unless NO_COLOR is set and not empty, or TERM is "dumb".
enum class ColourChoice { Auto, Always, Never };

// The words for them, in their order.
const Words &colourWords();

// Reads "--color auto|always|never" if it is the next word. Throws Error.
bool parseColour(WordReader &words, ColourChoice &choice);

// Line-drawing characters are used if the locale's character set is UTF-8.
TerminalStyle terminalStyle(ColourChoice choice);

// The text in a colour (the numbers of an SGR sequence, "30;46"), if the style has colour.
std::string coloured(const TerminalStyle &style, const char *sgr, const std::string &text);

} // namespace ifcctl
