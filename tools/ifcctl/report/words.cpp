// SPDX-License-Identifier: MIT OR GPL-2.0
#include "words.h"

#include "tools/ifcctl/core/values.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace ifcctl::report
{

namespace
{

void piece(Html &html, const std::string &key, const std::string &rest)
{
    html.open("span");
    html.element("b", key);
    if (!rest.empty())
        html.text(' ' + rest);
    html.close().text(" ");
}

bool isComparison(const std::string &word)
{
    constexpr std::array<const char *, 5> kComparisons = {"eq", "ne", "!", "ge", "le"};
    return std::find(kComparisons.begin(), kComparisons.end(), word) != kComparisons.end();
}

// Of an action: `cpu` is a word alone, in `dscp ef` and `queue 3` a value follows.
bool isValue(const std::string &before, const std::string &word)
{
    return before == "dscp" || word == "off" || std::isdigit(static_cast<unsigned char>(word[0])) != 0;
}

} // namespace

void writeMatch(Html &html, const std::string &match)
{
    const std::vector<std::string> words = wordsOf(match);
    html.open("span", {{"class", "words"}});
    for (size_t n = 0; n < words.size(); ++n) {
        const std::string &key = words[n];
        std::string rest;
        if (n + 1 < words.size())
            rest = words[++n];
        if (isComparison(rest) && n + 1 < words.size())
            rest += ' ' + words[++n];
        piece(html, key, rest);
    }
    html.close();
}

void writeAction(Html &html, const std::string &action)
{
    html.open("span", {{"class", "words"}});
    if (action.empty())
        html.element("span", {{"class", "none"}}, "no action");
    const std::vector<std::string> words = action.empty() ? std::vector<std::string>() : wordsOf(action);
    for (size_t n = 0; n < words.size(); ++n) {
        const std::string &key = words[n];
        std::string rest;
        if (n + 1 < words.size() && isValue(key, words[n + 1]))
            rest = words[++n];
        piece(html, key, rest);
    }
    html.close();
}

} // namespace ifcctl::report
