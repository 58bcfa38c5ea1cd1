// SPDX-License-Identifier: MIT OR GPL-2.0
#include "roff.h"

namespace ifcctl
{

namespace
{

bool isUpper(char c)
{
    return c >= 'A' && c <= 'Z';
}

bool isWord(char c)
{
    return isUpper(c) || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '=';
}

} // namespace

std::string roff(const std::string &text)
{
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '\\':
            out += "\\e";
            break;
        case '-':
            out += "\\-";
            break;
        case '\'':
            out += "\\(aq";
            break;
        case '`':
            out += "\\(ga";
            break;
        case '^':
            out += "\\(ha";
            break;
        case '~':
            out += "\\(ti";
            break;
        default:
            out += c;
        }
    }
    // A dot at the beginning of a line would be a request.
    const bool request = !out.empty() && out[0] == '.';
    return request ? "\\&" + out : out;
}

std::string roffForm(const std::string &form)
{
    std::string out;
    for (size_t at = 0; at < form.size();) {
        size_t end = at;
        while (end < form.size() && isWord(form[end]))
            ++end;
        if (end == at) {
            out += form[at++];
            continue;
        }
        const std::string word = form.substr(at, end - at);
        out += (isUpper(word[0]) ? "\\fI" : "\\fB") + roff(word) + "\\fR";
        at = end;
    }
    return out;
}

std::string roffTagged(const std::string &tag, const std::string &text)
{
    return ".TP\n" + tag + '\n' + text + '\n';
}

} // namespace ifcctl
