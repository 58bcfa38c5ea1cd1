// SPDX-License-Identifier: MIT OR GPL-2.0
#include "nearest_word.h"

#include <algorithm>
#include <cctype>

namespace ifcctl
{

namespace
{

// Optimal string alignment distance.
size_t typingErrors(const std::string &a, const std::string &b)
{
    std::vector<std::vector<size_t>> errors(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) {
        for (size_t k = 0; k <= b.size(); ++k) {
            if (i == 0 || k == 0) {
                errors[i][k] = i + k;
                continue;
            }
            const size_t replaced = errors[i - 1][k - 1] + (a[i - 1] != b[k - 1]);
            errors[i][k] = std::min({errors[i - 1][k] + 1, errors[i][k - 1] + 1, replaced});
            if (i > 1 && k > 1 && a[i - 1] == b[k - 2] && a[i - 2] == b[k - 1])
                errors[i][k] = std::min(errors[i][k], errors[i - 2][k - 2] + 1);
        }
    }
    return errors[a.size()][b.size()];
}

// True: the word has all letters of the other one, in their order.
bool hasLettersOf(const std::string &word, const std::string &letters)
{
    size_t found = 0;
    for (const char letter : word)
        found += found < letters.size() && letter == letters[found];
    return found == letters.size();
}

} // namespace

std::string lowerCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string nearestWord(const std::string &given, const std::vector<std::string> &known)
{
    constexpr size_t kLongest = 32; // no known word is longer; bounds the work
    std::string best;
    size_t fewest = std::max<size_t>(1, given.size() / 3) + 1;
    if (given.size() > kLongest)
        return best;
    const std::string small = lowerCase(given);
    for (const std::string &word : known) {
        const size_t errors = typingErrors(small, lowerCase(word));
        const bool better = errors < fewest || (errors == fewest && !best.empty() &&
                                                !hasLettersOf(best, small) && hasLettersOf(word, small));
        if (better && errors < word.size()) {
            fewest = errors;
            best = word;
        }
    }
    return best;
}

std::string didYouMean(const std::string &given, const std::vector<std::string> &known)
{
    const std::string nearest = nearestWord(given, known);
    return nearest.empty() ? "" : "; did you mean " + nearest + "?";
}

} // namespace ifcctl
