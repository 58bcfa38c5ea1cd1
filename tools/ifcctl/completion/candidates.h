// SPDX-License-Identifier: MIT OR GPL-2.0
// The words that may stand at a place of a form and begin with a partial word.
#pragma once

#include "completion.h"

#include <string>
#include <utility>

namespace ifcctl
{

inline bool begins(const std::string &word, const std::string &with)
{
    return word.compare(0, with.size(), with) == 0;
}

bool holds(const Words &words, const std::string &word);

class Candidates
{
public:
    explicit Candidates(std::string partial) : partial_(std::move(partial)) {}

    // Adds the word if it begins with the partial one and is new. A word that begins with a dash is offered
    // once its dash is written, because it is rarely meant, or by addUnasked().
    void add(const std::string &word);
    void add(const Words &words);
    void addFiles() { found_.files = true; }
    // Offers the words with a dash too, if nothing else fits.
    void addUnasked();
    // The first hint stays.
    void say(const std::string &hint);

    const std::string &partial() const { return partial_; }
    bool empty() const { return found_.words.empty(); }
    const Completion &found() const { return found_; }

private:
    std::string partial_;
    Completion found_;
    Words unasked_;
};

// Adds what may stand in the form after these words of it. `object` is that of the command, "" for an option.
void addFromForm(Candidates &found, const std::string &form, const Words &words, const std::string &object,
                 const RuleNumbers &numbers);

} // namespace ifcctl
