// SPDX-License-Identifier: MIT OR GPL-2.0
// The counters of all rules as a table, with or without rates.
#pragma once

#include "commands.h"

#include "tools/ifcctl/core/metrics_text.h"

#include <nlohmann/json.hpp>

#include <chrono>

namespace ifcctl
{

// The counters of all rules at one time, in the order in which the rules decide.
struct Reading {
    std::chrono::steady_clock::time_point time;
    std::vector<RuleMetrics> rules;
};
// Throws Error, also if a transfer did not complete.
Reading readRuleCounters(Session &session);

// A heading and one line a rule.
std::string counterTable(const Reading &reading);
// The same with rates since the earlier reading; "-" for a rule that was not there, and without one.
std::string counterTable(const Reading &reading, const Reading *earlier);

nlohmann::ordered_json counterJson(const Reading &reading);
// The same with the rates, null where there is none.
nlohmann::ordered_json counterJson(const Reading &reading, const Reading *earlier);

// Seconds between the two readings; 0 without an earlier one.
double secondsSince(const Reading *earlier, const Reading &reading);

} // namespace ifcctl
