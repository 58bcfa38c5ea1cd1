// SPDX-License-Identifier: MIT OR GPL-2.0
#include "counter_table.h"

#include "tools/ifcctl/core/rule_words.h"
#include "tools/ifcctl/device/rule_set.h"

#include <algorithm>

namespace ifcctl
{

namespace
{

using Row = std::vector<std::string>;

// Columns are as wide as their widest cell. The last two, place and conditions, stand left, the others right.
std::string tableText(const std::vector<Row> &rows)
{
    std::vector<size_t> widths(rows.front().size());
    for (const Row &row : rows)
        for (size_t n = 0; n < row.size(); ++n)
            widths[n] = std::max(widths[n], row[n].size());
    std::string text;
    for (const Row &row : rows) {
        for (size_t n = 0; n < row.size(); ++n) {
            const bool left = n + 2 >= row.size();
            const bool last = n + 1 == row.size();
            const std::string pad(widths[n] - row[n].size(), ' ');
            text += (n == 0 ? "" : "  ") + (left ? row[n] + (last ? "" : pad) : pad + row[n]);
        }
        text += '\n';
    }
    return text;
}

std::optional<Rates> ratesOfRule(const RuleMetrics &rule, const Reading *earlier, double seconds)
{
    if (earlier == nullptr)
        return std::nullopt;
    const auto found =
        std::find_if(earlier->rules.begin(), earlier->rules.end(), [&](const RuleMetrics &other) {
            return other.rule == rule.rule && other.match == rule.match;
        });
    return found == earlier->rules.end() ? std::nullopt : ratesOf(found->total, rule.total, seconds);
}

nlohmann::ordered_json ruleJson(const RuleMetrics &rule)
{
    return {{"rule", rule.rule},
            {"place", rule.place},
            {"match", rule.match},
            {"packets", rule.total.frames},
            {"bytes", rule.total.bytes}};
}

Row rowOf(const RuleMetrics &rule)
{
    return {std::to_string(rule.rule), std::to_string(rule.total.frames), std::to_string(rule.total.bytes),
            rule.place, rule.match};
}

constexpr size_t kPlaceOfRates = 3; // in a row

} // namespace

Reading readRuleCounters(Session &session)
{
    const RuleSet set(session);
    Reading reading;
    reading.time = std::chrono::steady_clock::now();
    for (unsigned n = 0; n < set.count(); ++n)
        reading.rules.push_back({set.number(n), describePlace(set.place(n)), matchText(set.rule(n)),
                                 readCounter(session, set.number(n))});
    session.checkTransfers();
    return reading;
}

double secondsSince(const Reading *earlier, const Reading &reading)
{
    return earlier == nullptr ? 0 : std::chrono::duration<double>(reading.time - earlier->time).count();
}

std::string counterTable(const Reading &reading)
{
    std::vector<Row> rows = {{"rule", "packets", "bytes", "place", "conditions"}};
    for (const RuleMetrics &rule : reading.rules)
        rows.push_back(rowOf(rule));
    return tableText(rows);
}

std::string counterTable(const Reading &reading, const Reading *earlier)
{
    std::vector<Row> rows = {{"rule", "packets", "bytes", "packets/s", "bytes/s", "place", "conditions"}};
    for (const RuleMetrics &rule : reading.rules) {
        const auto rates = ratesOfRule(rule, earlier, secondsSince(earlier, reading));
        Row row = rowOf(rule);
        row.insert(row.begin() + kPlaceOfRates,
                   {rates ? rateText(rates->frames) : "-", rates ? rateText(rates->bytes) : "-"});
        rows.push_back(row);
    }
    return tableText(rows);
}

nlohmann::ordered_json counterJson(const Reading &reading)
{
    auto json = nlohmann::ordered_json::array();
    for (const RuleMetrics &rule : reading.rules)
        json.push_back(ruleJson(rule));
    return json;
}

nlohmann::ordered_json counterJson(const Reading &reading, const Reading *earlier)
{
    auto json = nlohmann::ordered_json::array();
    for (const RuleMetrics &rule : reading.rules) {
        const auto rates = ratesOfRule(rule, earlier, secondsSince(earlier, reading));
        auto entry = ruleJson(rule);
        entry["packets_per_second"] = nullptr;
        entry["bytes_per_second"] = nullptr;
        if (rates) {
            entry["packets_per_second"] = rates->frames;
            entry["bytes_per_second"] = rates->bytes;
        }
        json.push_back(entry);
    }
    return json;
}

} // namespace ifcctl
