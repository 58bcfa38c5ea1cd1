// SPDX-License-Identifier: MIT OR GPL-2.0
// Prints the result of a command, as text or as JSON.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace ifcctl
{

class Printer
{
public:
    explicit Printer(bool json) : json_(json) {}

    // On standard output: the text, or the document in one line. Throws Error if it cannot be written.
    void print(const std::string &text, const nlohmann::ordered_json &json) const;

private:
    bool json_;
};

} // namespace ifcctl
