// SPDX-License-Identifier: MIT OR GPL-2.0
// Prints the result of a command, as text or as JSON.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace ifcctl
{

struct PrintStyle {
    bool json = false;
    bool pretty = false; // JSON with line ends
    bool colour = false;
    unsigned foldWidth = 0; // columns; 0: lines stay as they are
};

// Lines that are wider are broken at spaces, and inside a word that is wider by itself. The rest of a line is
// indented by four more columns; that of a comment is a comment again. Lines with escape sequences stay.
std::string folded(const std::string &text, unsigned width);

// Comments, warnings and verdicts in colour. Lines with escape sequences stay.
std::string highlighted(const std::string &text);

class Printer
{
public:
    explicit Printer(const PrintStyle &style) : style_(style) {}

    // On standard output: the text, or the document. Throws Error if it cannot be written.
    void print(const std::string &text, const nlohmann::ordered_json &json) const;
    // The same for a text that programs read: its lines stay as they are, except on a terminal.
    void printForPrograms(const std::string &text, const nlohmann::ordered_json &json) const;

private:
    PrintStyle style_;
};

} // namespace ifcctl
