// SPDX-License-Identifier: MIT OR GPL-2.0
// The shadow tables read as rules.
#pragma once

#include "match.h"

#include "ifc/ifc_glb.h"

#include <nlohmann/json.hpp>

#include <optional>

namespace ifcctl
{

struct PlacedRule {
    unsigned id; // its action index
    bool lut0;
    unsigned first;   // LUT0: the rule; LUT1: first entry
    unsigned last;    // LUT1: entry with the end flag, or the last of a chain that has none
    bool complete;    // a LUT1 chain without end flag never hits
    ifc_rule rule;    // its conditions; none if an entry names no field: it never hits
    Match conditions; // the same conditions as a request to automatic placement
};

std::vector<PlacedRule> placedRules();
// The same of other tables: IFC_LUT0_RULES rules and IFC_LUT1_RULES entries.
std::vector<PlacedRule> placedRulesIn(const IFC_LUT0_Format *lut0, const IFC_LUT1_Format *lut1);
// The rule with this action index; the index may be that of any entry of its chain.
std::optional<PlacedRule> ruleOf(unsigned id);

std::string describePlace(bool lut0, unsigned first, unsigned last); // "LUT1 entries 0-2"
std::string describePlace(const PlacedRule &rule);
nlohmann::ordered_json toJson(const PlacedRule &rule);

} // namespace ifcctl
