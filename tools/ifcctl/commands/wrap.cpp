// SPDX-License-Identifier: MIT OR GPL-2.0
#include "wrap.h"

#include "tools/ifcctl/core/values.h"

#include <cstdlib>

#include <sys/ioctl.h>
#include <unistd.h>

namespace ifcctl
{

namespace
{

constexpr unsigned kLeastWidth = 20;
constexpr unsigned kNoTerminal = 100;

} // namespace

unsigned givenWidth()
{
    if (const char *columns = std::getenv("COLUMNS"))
        if (const auto width = parseNumber(columns); width && *width >= kLeastWidth && *width <= UINT16_MAX)
            return static_cast<unsigned>(*width);
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col >= kLeastWidth)
        return size.ws_col;
    return 0;
}

unsigned outputWidth()
{
    const unsigned width = givenWidth();
    return width != 0 ? width : kNoTerminal;
}

std::string wrapped(const std::string &text, unsigned width, unsigned indent, const std::string &more,
                    const std::string &prefix)
{
    std::string out;
    std::string line;
    const std::string start = prefix + std::string(indent, ' ');
    bool hasWord = false;
    for (size_t from = 0; from < text.size();) {
        size_t to = text.find(' ', from + (text[from] == ' ' ? 1 : 0));
        if (to == std::string::npos)
            to = text.size();
        const std::string word = text.substr(from, to - from); // with the space before it
        if (hasWord && line.size() + word.size() + more.size() > width) {
            out += line + more + '\n';
            line = start + word.substr(word[0] == ' ' ? 1 : 0);
        } else {
            line += word;
        }
        hasWord = true;
        from = to;
    }
    return out + line + '\n';
}

} // namespace ifcctl
