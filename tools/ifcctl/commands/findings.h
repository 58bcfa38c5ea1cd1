// SPDX-License-Identifier: MIT OR GPL-2.0
// What the checks find, for their own commands and for the report.
#pragma once

#include "commands.h"

#include <string>
#include <vector>

namespace ifcctl
{

struct Findings {
    std::vector<std::string> lines;
    nlohmann::ordered_json json = nlohmann::ordered_json::array(); // one object for each line

    void add(const std::string &line, nlohmann::ordered_json object)
    {
        lines.push_back(line);
        json.push_back(std::move(object));
    }
    std::string text() const // each line with its end
    {
        std::string all;
        for (const std::string &line : lines)
            all += line + '\n';
        return all;
    }
};

Findings ruleFindings(Session &session);  // rule check
Findings tableFindings(Session &session); // table verify
Findings fieldFindings(Session &session); // set verify without a file

} // namespace ifcctl
