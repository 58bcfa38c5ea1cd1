// SPDX-License-Identifier: MIT OR GPL-2.0
#include "explain.h"

#include "values.h"

#include "engine/plain_match.h"
#include "ifc/records/chip.h"

#include <algorithm>
#include <array>

namespace ifcctl
{

namespace
{

ConditionVerdict judge(int entry, const engine::Condition &condition, const engine::FieldImage &fields)
{
    std::optional<uint64_t> value;
    if (engine::hasField(fields, condition.field)) {
        value = engine::fieldValue(fields, condition.field) >> condition.part;
        if (ifc::isMac(condition.field) && entry >= 0)
            *value &= UINT32_MAX;
    }
    return {entry, condition, value, engine::holds(condition, fields)};
}

void finish(RuleVerdict &verdict)
{
    verdict.failed = static_cast<unsigned>(std::count_if(verdict.conditions.begin(), verdict.conditions.end(),
                                                         [](const auto &c) { return !c.holds; }));
    verdict.hits = verdict.failed == 0;
}

RuleVerdict explainWide(const engine::Tables &tables, unsigned rule, const engine::FieldImage &fields)
{
    RuleVerdict verdict{rule, describePlace(true, rule, rule), false, 0, {}};
    for (unsigned field = 1; field <= IFC_LUT0_FIELDS; ++field) {
        if ((engine::wideEnabled(tables.lut0[rule]) >> (field - 1) & 1) != 0)
            verdict.conditions.push_back(judge(-1, engine::wideCondition(tables.lut0[rule], field), fields));
    }
    finish(verdict);
    return verdict;
}

RuleVerdict explainChain(const engine::Tables &tables, const engine::Chain &chain,
                         const engine::FieldImage &fields)
{
    RuleVerdict verdict{
        ifc::actionOfEntry(chain.end), describePlace(false, chain.first, chain.end), false, 0, {}};
    for (unsigned n = chain.first; n <= chain.end; ++n)
        verdict.conditions.push_back(
            judge(static_cast<int>(n), engine::narrowCondition(tables.lut1[n]), fields));
    finish(verdict);
    return verdict;
}

// A narrow entry compares a part of a MAC address, which is shown as a number.
bool partOfMac(const ConditionVerdict &c)
{
    return c.entry >= 0 && ifc::isMac(c.condition.field);
}

std::string valueText(const ConditionVerdict &c, uint64_t value)
{
    return partOfMac(c) || c.condition.part != 0 ? formatHex(value)
                                                 : formatFieldValue(c.condition.field, value);
}

nlohmann::ordered_json valueJson(const ConditionVerdict &c, uint64_t value)
{
    return partOfMac(c) || c.condition.part != 0 ? nlohmann::ordered_json(value)
                                                 : fieldJson(c.condition.field, value);
}

std::string conditionField(const ConditionVerdict &c)
{
    const unsigned field = c.condition.field;
    const char *known = ifc::fieldName(field);
    if (known == nullptr)
        return "field " + std::to_string(field);
    const std::string name = known;
    if (c.condition.part != 0)
        return name + '[' + std::to_string(c.condition.part + 15) + ':' + std::to_string(c.condition.part) +
               ']';
    return name + (partOfMac(c) ? "[31:0]" : "");
}

} // namespace

std::optional<RuleVerdict> explainRule(const engine::Tables &tables, unsigned id,
                                       const engine::FieldImage &fields)
{
    if (id < IFC_LUT0_RULES) {
        if (!engine::wideValid(tables.lut0[id]))
            return std::nullopt;
        return explainWide(tables, id, fields);
    }
    const unsigned entry = id - IFC_LUT0_RULES;
    engine::Chain chain{};
    for (unsigned from = 0; engine::nextChain(tables, from, chain); from = chain.end + 1) {
        if (entry >= chain.first && entry <= chain.end)
            return explainChain(tables, chain, fields);
    }
    return std::nullopt;
}

std::vector<RuleVerdict> explainAll(const engine::Tables &tables, const engine::FieldImage &fields)
{
    std::vector<RuleVerdict> all;
    for (unsigned n = 0; n < IFC_LUT0_RULES; ++n) {
        if (engine::wideValid(tables.lut0[n]))
            all.push_back(explainWide(tables, n, fields));
    }
    engine::Chain chain{};
    for (unsigned from = 0; engine::nextChain(tables, from, chain); from = chain.end + 1)
        all.push_back(explainChain(tables, chain, fields));
    std::stable_sort(all.begin(), all.end(),
                     [](const RuleVerdict &a, const RuleVerdict &b) { return a.failed < b.failed; });
    return all;
}

std::optional<unsigned> decidingRule(const std::vector<RuleVerdict> &all)
{
    std::optional<unsigned> lowest;
    for (const RuleVerdict &verdict : all)
        if (verdict.hits && (!lowest || verdict.id < *lowest))
            lowest = verdict.id;
    return lowest;
}

std::string toText(const RuleVerdict &verdict, std::optional<unsigned> decides)
{
    std::string text = "rule " + std::to_string(verdict.id) + " (" + verdict.place + "): ";
    if (verdict.hits && decides == verdict.id)
        text += "hits and decides\n";
    else if (verdict.hits && decides)
        text += "hits, but rule " + std::to_string(*decides) + " decides first\n";
    else if (verdict.hits)
        text += "hits\n";
    else
        text += "misses, " + std::to_string(verdict.failed) + " of " +
                std::to_string(verdict.conditions.size()) + " conditions do not hold\n";

    using Row = std::array<std::string, 7>;
    std::vector<Row> rows = {{"entry", "field", "command", "mask", "key", "frame", "verdict"}};
    for (const ConditionVerdict &c : verdict.conditions)
        rows.push_back({c.entry < 0 ? "-" : std::to_string(c.entry), conditionField(c),
                        compareName(static_cast<unsigned>(c.condition.command)),
                        valueText(c, c.condition.mask), valueText(c, c.condition.key),
                        c.value ? valueText(c, *c.value) : "absent", c.holds ? "holds" : "FAILS"});
    std::array<size_t, 7> widths{};
    for (const Row &row : rows) {
        for (size_t n = 0; n < row.size(); ++n)
            widths[n] = std::max(widths[n], row[n].size());
    }
    for (const Row &row : rows) {
        std::string line = " ";
        for (size_t n = 0; n < row.size(); ++n)
            line += " " + row[n] + std::string(widths[n] - row[n].size(), ' ');
        text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
    }
    return text;
}

nlohmann::ordered_json toJson(const RuleVerdict &verdict, std::optional<unsigned> decides)
{
    nlohmann::ordered_json json = {
        {"rule", verdict.id},       {"place", verdict.place},
        {"hits", verdict.hits},     {"decides", verdict.hits && decides == verdict.id},
        {"failed", verdict.failed}, {"conditions", nlohmann::ordered_json::array()}};
    for (const ConditionVerdict &c : verdict.conditions) {
        nlohmann::ordered_json row;
        if (c.entry >= 0)
            row["entry"] = c.entry;
        row["field"] = conditionField(c);
        row["command"] = compareName(static_cast<unsigned>(c.condition.command));
        row["mask"] = valueJson(c, c.condition.mask);
        row["key"] = valueJson(c, c.condition.key);
        row["frame"] = c.value ? valueJson(c, *c.value) : nlohmann::ordered_json(nullptr);
        row["holds"] = c.holds;
        json["conditions"].push_back(row);
    }
    return json;
}

} // namespace ifcctl
