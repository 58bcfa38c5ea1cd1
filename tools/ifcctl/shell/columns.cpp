// SPDX-License-Identifier: MIT OR GPL-2.0
#include "columns.h"

#include <algorithm>

namespace ifcctl
{

namespace
{

std::string lastPart(const std::string &word)
{
    const size_t slash = word.size() < 2 ? std::string::npos : word.rfind('/', word.size() - 2);
    return slash == std::string::npos ? word : word.substr(slash + 1);
}

} // namespace

std::string inColumns(const Words &words, unsigned width)
{
    constexpr size_t kGap = 2;
    size_t longest = 0;
    for (const std::string &word : words)
        longest = std::max(longest, lastPart(word).size());
    const size_t columns = std::max<size_t>(1, (width + kGap) / (longest + kGap));
    const size_t lines = (words.size() + columns - 1) / columns;
    std::string text;
    for (size_t line = 0; line < lines; ++line) {
        std::string row;
        for (size_t n = line; n < words.size(); n += lines) {
            row.resize(n / lines * (longest + kGap), ' ');
            row += lastPart(words[n]);
        }
        text += row + '\n';
    }
    return text;
}

} // namespace ifcctl
