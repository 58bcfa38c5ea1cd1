// SPDX-License-Identifier: MIT OR GPL-2.0
#include "terminal.h"

#include "wrap.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include <unistd.h>

namespace ifcctl
{

namespace
{

std::string variable(const char *name)
{
    const char *value = std::getenv(name);
    return value == nullptr ? "" : value;
}

bool utf8Locale()
{
    for (const char *name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        std::string value = variable(name);
        if (value.empty())
            continue;
        std::transform(value.begin(), value.end(), value.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        return value.find("UTF-8") != std::string::npos || value.find("UTF8") != std::string::npos;
    }
    return false;
}

} // namespace

const Words &colourWords()
{
    static const Words words = {"auto", "always", "never"};
    return words;
}

bool parseColour(WordReader &words, ColourChoice &choice)
{
    if (!words.skip("--color"))
        return false;
    choice = static_cast<ColourChoice>(words.takeChoice("--color", colourWords()));
    return true;
}

TerminalStyle terminalStyle(ColourChoice choice)
{
    const bool automatic =
        isatty(STDOUT_FILENO) != 0 && variable("NO_COLOR").empty() && variable("TERM") != "dumb";
    return {outputWidth(), choice == ColourChoice::Always || (choice == ColourChoice::Auto && automatic),
            utf8Locale()};
}

std::string coloured(const TerminalStyle &style, const char *sgr, const std::string &text)
{
    return style.colour ? std::string("\033[") + sgr + 'm' + text + "\033[0m" : text;
}

} // namespace ifcctl
