// SPDX-License-Identifier: MIT OR GPL-2.0
#include "metrics_text.h"

namespace ifcctl
{

namespace
{

struct Family {
    const char *name;
    const char *help;
    unsigned long long Counter::*value;
};

constexpr Family kFamilies[] = {
    {"ifc_rule_packets", "Frames that the rule decided.", &Counter::frames},
    {"ifc_rule_bytes", "Bytes of the frames that the rule decided.", &Counter::bytes},
};
constexpr const char *kSuffix = "_total";

} // namespace

std::string labelValue(const std::string &text)
{
    std::string escaped;
    for (const char c : text) {
        if (c == '\\' || c == '"')
            escaped += '\\';
        if (c == '\n')
            escaped += "\\n";
        else
            escaped += c;
    }
    return escaped;
}

std::string metricsText(const std::vector<RuleMetrics> &rules, MetricsFormat format)
{
    std::string text;
    for (const Family &family : kFamilies) {
        const std::string sample = std::string(family.name) + kSuffix;
        const std::string name = format == MetricsFormat::OpenMetrics ? family.name : sample;
        text += "# HELP " + name + ' ' + family.help + '\n';
        text += "# TYPE " + name + " counter\n";
        for (const RuleMetrics &rule : rules) {
            text += sample + "{rule=\"" + std::to_string(rule.rule) + "\",place=\"" + labelValue(rule.place);
            text += "\",match=\"" + labelValue(rule.match) + "\"} ";
            text += std::to_string(rule.total.*family.value) + '\n';
        }
    }
    return text + "# EOF\n";
}

} // namespace ifcctl
