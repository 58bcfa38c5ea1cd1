// SPDX-License-Identifier: MIT OR GPL-2.0
// Counters as text for a monitoring system. Two formats, which differ only in the name of a counter's family:
//
//   Prometheus   # TYPE ifc_rule_packets_total counter     read by textfile collectors and by promtool
//   OpenMetrics  # TYPE ifc_rule_packets counter           the family's name has no _total
//
// The samples and the last line, "# EOF", are the same.
#pragma once

#include "counter_rates.h"

#include <string>
#include <vector>

namespace ifcctl
{

enum class MetricsFormat { Prometheus, OpenMetrics };

struct RuleMetrics {
    unsigned rule;
    std::string place; // "LUT1 entries 0-2"
    std::string match; // its conditions in words
    Counter total;
};

std::string metricsText(const std::vector<RuleMetrics> &rules, MetricsFormat format);

// The value of a label: backslash, quote and line feed are escaped.
std::string labelValue(const std::string &text);

} // namespace ifcctl
