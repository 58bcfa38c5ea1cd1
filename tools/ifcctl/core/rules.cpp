// SPDX-License-Identifier: MIT OR GPL-2.0
#include "rules.h"

#include "values.h"

#include "ifc/ifc_util.h"

namespace ifcctl
{

namespace
{

Condition makeCondition(unsigned field, unsigned command, uint64_t mask, uint64_t key)
{
    Condition c;
    c.field = field;
    c.command = command;
    c.mask = mask;
    c.key = key;
    return c;
}

Match lut0Conditions(unsigned index)
{
    const IFC_LUT0_Format &rule = IFC_LUT0_Rule[index];
    uint masks[32];
    uint keys[32];
    get_lut0_mask_key(static_cast<int>(index), masks, keys);
    const auto value = [](const uint *array, unsigned field) -> uint64_t {
        if (field == DMAC)
            return static_cast<uint64_t>(array[1] & 0xFFFF) << 32 | array[0];
        if (field == SMAC)
            return static_cast<uint64_t>(array[2]) << 16 | array[1] >> 16;
        return array[field];
    };
    Match match;
    for (unsigned field = 1; field <= IFC_LUT0_FIELDS; ++field) {
        if ((rule.bits.enable >> (field - 1) & 1) == 0)
            continue;
        const uint64_t commands =
            static_cast<uint64_t>(rule.bits.command_17_31) << 32 | rule.bits.command_1_16;
        match.push_back(makeCondition(field, static_cast<unsigned>(commands >> 2 * (field - 1) & 3),
                                      value(masks, field), value(keys, field)));
    }
    return match;
}

// The halves of a MAC stand side by side and become one condition.
Match lut1Conditions(unsigned first, unsigned last)
{
    Match match;
    for (unsigned entry = first; entry <= last; ++entry) {
        const IFC_LUT1_Format &e = IFC_LUT1_Rule[entry];
        const unsigned field = e.type0.field;
        if (e.type0.type == 0 && e.type0.sel == IFC_LUT1_SEL_MAC_HIGH) {
            const uint64_t mask = static_cast<uint64_t>(e.type0.mask) << 32;
            const uint64_t key = static_cast<uint64_t>(e.type0.key) << 32;
            const bool second = !match.empty() && match.back().field == field && match.back().mask >> 32 == 0;
            if (second) {
                match.back().mask |= mask;
                match.back().key |= key;
            } else {
                match.push_back(makeCondition(field, e.type0.command, mask, key));
            }
        } else if (e.type0.type == 0) {
            match.push_back(makeCondition(field, e.type0.command, e.type0.mask, e.type0.key));
        } else {
            const unsigned length = e.type1.length == 0 ? 32 : e.type1.length;
            const uint64_t mask = e.type1.direction == IFC_LUT1_FROM_TOP ? lowBits(32) & ~lowBits(32 - length)
                                                                         : lowBits(length);
            match.push_back(makeCondition(field, e.type1.command, mask, e.type1.key));
        }
    }
    return match;
}

bool valid(unsigned entry)
{
    return IFC_LUT1_Rule[entry].type0.valid != 0;
}

} // namespace

std::vector<PlacedRule> placedRules()
{
    std::vector<PlacedRule> rules;
    for (unsigned index = 0; index < IFC_LUT0_RULES; ++index)
        if (IFC_LUT0_Rule[index].bits.valid)
            rules.push_back({index, true, index, index, true, lut0Conditions(index)});
    for (unsigned first = 0; first < IFC_LUT1_RULES; ++first) {
        if (!valid(first))
            continue;
        unsigned last = first;
        while (!IFC_LUT1_Rule[last].type0.end && (last + 1) % IFC_LUT1_SUB_TABLE != 0 && valid(last + 1))
            ++last;
        const bool complete = IFC_LUT1_Rule[last].type0.end != 0;
        rules.push_back({IFC_LUT0_RULES + last, false, first, last, complete, lut1Conditions(first, last)});
        first = last;
    }
    return rules;
}

std::optional<PlacedRule> ruleOf(unsigned id)
{
    for (PlacedRule &rule : placedRules())
        if (rule.lut0 ? rule.id == id : id >= IFC_LUT0_RULES + rule.first && id <= IFC_LUT0_RULES + rule.last)
            return rule;
    return std::nullopt;
}

std::string describePlace(bool lut0, unsigned first, unsigned last)
{
    if (lut0)
        return "LUT0 rule " + std::to_string(first);
    if (first == last)
        return "LUT1 entry " + std::to_string(first);
    return "LUT1 entries " + std::to_string(first) + "-" + std::to_string(last);
}

std::string describePlace(const PlacedRule &rule)
{
    return describePlace(rule.lut0, rule.first, rule.last);
}

std::string formatFieldValue(unsigned field, uint64_t value)
{
    if (isMacField(field))
        return formatMac(value);
    if (field == DIPv4 || field == SIPv4)
        return formatIpv4(static_cast<uint32_t>(value));
    return formatHex(value);
}

std::string describeCondition(const Condition &c)
{
    std::string text =
        fieldName(c.field) + ' ' + commandName(c.command) + ' ' + formatFieldValue(c.field, c.key);
    if (c.mask != lowBits(fieldWidth(c.field)))
        text += '/' + formatFieldValue(c.field, c.mask);
    return text;
}

nlohmann::ordered_json toJson(const Match &match)
{
    auto list = nlohmann::ordered_json::array();
    for (const Condition &c : match)
        list.push_back({{"field", fieldName(c.field)},
                        {"id", c.field},
                        {"command", commandName(c.command)},
                        {"key", formatFieldValue(c.field, c.key)},
                        {"mask", formatFieldValue(c.field, c.mask)}});
    return list;
}

nlohmann::ordered_json toJson(const PlacedRule &rule)
{
    nlohmann::ordered_json j;
    j["rule"] = rule.id;
    j["table"] = rule.lut0 ? "LUT0" : "LUT1";
    j["first"] = rule.first;
    j["last"] = rule.last;
    j["action"] = rule.id;
    j["complete"] = rule.complete;
    j["conditions"] = toJson(rule.conditions);
    return j;
}

} // namespace ifcctl
