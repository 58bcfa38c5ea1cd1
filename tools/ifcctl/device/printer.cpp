// SPDX-License-Identifier: MIT OR GPL-2.0
#include "printer.h"

#include "tools/ifcctl/core/errors.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <utility>

#include <unistd.h>

namespace ifcctl
{

namespace
{

// Characters of a UTF-8 text.
size_t columnsOf(const std::string &text)
{
    return static_cast<size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string eachLine(const std::string &text, const std::function<std::string(const std::string &)> &change)
{
    std::string out;
    for (size_t from = 0; from < text.size();) {
        const size_t end = std::min(text.find('\n', from), text.size());
        const std::string line = text.substr(from, end - from);
        out += line.find('\033') == std::string::npos ? change(line) : line;
        if (end < text.size())
            out += '\n';
        from = end + 1;
    }
    return out;
}

std::string foldedLine(const std::string &line, size_t width)
{
    constexpr size_t kIndent = 4;
    if (columnsOf(line) <= width)
        return line;
    const size_t begin = line.find_first_not_of(' ');
    const bool comment = begin != std::string::npos && line[begin] == '#';
    std::string start(std::min(begin + kIndent, width / 2), ' ');
    if (comment)
        start = line.substr(0, begin) + "#   ";
    std::string out;
    std::string rest = line;
    while (columnsOf(rest) > width) {
        const size_t least = out.empty() ? begin + 1 : start.size();
        size_t cut = rest.rfind(' ', width);
        size_t next = cut + 1;
        if (cut == std::string::npos || cut <= least) {
            cut = width;
            while (cut > least + 1 && (static_cast<unsigned char>(rest[cut]) & 0xC0) == 0x80)
                --cut;
            next = cut;
        }
        out += rest.substr(0, rest.find_last_not_of(' ', cut - 1) + 1) + '\n';
        next = std::min(rest.find_first_not_of(' ', next), rest.size());
        rest.replace(0, next, start);
    }
    return out + rest;
}

// Colours what stands from `at` to `end`.
void colour(std::string &line, size_t at, size_t end, const char *sgr)
{
    line.insert(end, "\033[0m");
    line.insert(at, std::string("\033[") + sgr + 'm');
}

std::string highlightedLine(std::string line)
{
    static const std::pair<const char *, const char *> words[] = {
        {"FAILS", "31"}, {"hits and decides", "32"}, {"warning:", "33"}};
    for (const auto &[word, sgr] : words)
        if (const size_t at = line.find(word); at != std::string::npos) {
            colour(line, at, at + std::string(word).size(), sgr);
            return line;
        }
    const size_t comment = line.rfind('#', 0) == 0 ? 0 : line.find(" # ");
    if (comment != std::string::npos)
        colour(line, comment, line.size(), "2");
    return line;
}

} // namespace

std::string folded(const std::string &text, unsigned width)
{
    bool goesOn = false;
    return eachLine(text, [&](const std::string &line) {
        const bool ofBatch = goesOn || line.rfind("rule add ", 0) == 0;
        goesOn = !line.empty() && line.back() == '\\';
        const bool json = !line.empty() && line.front() == '{'; // one object a line, for programs
        return ofBatch || goesOn || json ? line : foldedLine(line, width);
    });
}

std::string highlighted(const std::string &text)
{
    return eachLine(text, highlightedLine);
}

void Printer::print(const std::string &text, const nlohmann::ordered_json &json) const
{
    std::string out;
    if (style_.json)
        out = json.dump(style_.pretty ? 2 : -1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
    else
        out = style_.foldWidth != 0 ? folded(text, style_.foldWidth) : text;
    if (style_.colour && !style_.json)
        out = highlighted(out);
    if (std::fwrite(out.data(), 1, out.size(), stdout) != out.size())
        throw outputFailed("standard output");
}

void Printer::printForPrograms(const std::string &text, const nlohmann::ordered_json &json) const
{
    PrintStyle style = style_;
    if (isatty(STDOUT_FILENO) == 0) {
        style.foldWidth = 0;
        style.colour = false;
    }
    Printer(style).print(text, json);
}

} // namespace ifcctl
