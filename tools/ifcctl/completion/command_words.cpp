// SPDX-License-Identifier: MIT OR GPL-2.0
#include "command_words.h"

namespace ifcctl
{

LineBeginning splitCommandLine(const std::string &line)
{
    constexpr char kNoQuote = '\0';
    LineBeginning read;
    char quote = kNoQuote;
    bool inWord = false;
    for (size_t at = 0; at < line.size(); ++at) {
        const char c = line[at];
        if (quote == kNoQuote && (c == ' ' || c == '\t' || c == '\n')) {
            if (inWord)
                read.before.push_back(read.partial);
            read.partial.clear();
            inWord = false;
            continue;
        }
        inWord = true;
        const bool isQuote = c == '\'' || c == '"';
        if (isQuote && (quote == kNoQuote || quote == c))
            quote = quote == kNoQuote ? c : kNoQuote;
        else if (c == '\\' && quote != '\'' && at + 1 < line.size())
            read.partial += line[++at];
        else
            read.partial += c;
    }
    return read;
}

} // namespace ifcctl
