// SPDX-License-Identifier: MIT OR GPL-2.0
// Why a rule does or does not hit a frame, condition by condition, from the tables of the hardware.
#pragma once

#include "rules.h"

#include "engine/condition.h"
#include "engine/register_window.h"

#include <nlohmann/json.hpp>

#include <optional>

namespace ifcctl
{

struct ConditionVerdict {
    int entry; // LUT1 entry, -1 in a LUT0 rule
    engine::Condition condition;
    std::optional<uint64_t> value; // the compared part of the frame's field; none: the field is missing
    bool holds;
};

struct RuleVerdict {
    unsigned id; // action index
    std::string place;
    bool hits;
    unsigned failed; // conditions that do not hold
    std::vector<ConditionVerdict> conditions;
};

// The rule with this action index; the index may be that of any entry of its chain. Nothing: there is no rule
// that could hit.
std::optional<RuleVerdict> explainRule(const engine::Tables &tables, unsigned id,
                                       const engine::FieldImage &fields);

// Every rule that could hit: first those that hit, then the others, fewest missed conditions first.
std::vector<RuleVerdict> explainAll(const engine::Tables &tables, const engine::FieldImage &fields);

// The rule that decides: of all that hit, the one with the lowest number. Nothing: none hits.
std::optional<unsigned> decidingRule(const std::vector<RuleVerdict> &all);

// `decides`: the rule that decides this frame.
std::string toText(const RuleVerdict &verdict, std::optional<unsigned> decides);
nlohmann::ordered_json toJson(const RuleVerdict &verdict, std::optional<unsigned> decides);

} // namespace ifcctl
