// SPDX-License-Identifier: MIT OR GPL-2.0
// Rules for tests: short ways to write them, random ones, and their meaning, independent of the library.
#pragma once

#include "ifc/records/fields.h"
#include "ruleset/ruleset.h"
#include "tests/engine/random.h"

#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

namespace rules
{

inline ifc_rule_condition equal(unsigned field, uint64_t key, uint64_t mask)
{
    return {static_cast<uint8_t>(field), IFC_COMPARE_EQUAL, 0, 0, mask, key};
}

inline ifc_rule_condition equal(unsigned field, uint64_t key)
{
    return equal(field, key, ifc::fieldOnes(field));
}

inline ifc_rule_condition compared(unsigned field, ifc_compare compare, uint64_t key, uint64_t mask)
{
    return {static_cast<uint8_t>(field), static_cast<uint8_t>(compare), 0, 0, mask, key};
}

inline ifc_rule_condition compared(unsigned field, ifc_compare compare, uint64_t key)
{
    return compared(field, compare, key, ifc::fieldOnes(field));
}

inline ifc_rule_condition range(unsigned field, unsigned first, unsigned last)
{
    return {static_cast<uint8_t>(field), IFC_COMPARE_RANGE,           static_cast<uint16_t>(last), 0,
            ifc::fieldOnes(field),       static_cast<uint64_t>(first)};
}

inline ifc_rule rule(std::initializer_list<ifc_rule_condition> conditions)
{
    ifc_rule made = {};
    for (const ifc_rule_condition &c : conditions)
        made.condition[made.count++] = c;
    return made;
}

inline ifc_rule ruleOf(const std::vector<ifc_rule_condition> &conditions)
{
    ifc_rule made = {};
    for (const ifc_rule_condition &c : conditions)
        made.condition[made.count++] = c;
    return made;
}

// What the comparisons mean.
inline bool passes(const ifc_rule_condition &c, uint64_t value)
{
    const uint64_t masked = value & c.mask;
    return (c.compare == IFC_COMPARE_EQUAL && masked == c.key) ||
           (c.compare == IFC_COMPARE_NOT_EQUAL && masked != c.key) ||
           (c.compare == IFC_COMPARE_AT_LEAST && masked >= c.key) ||
           (c.compare == IFC_COMPARE_AT_MOST && masked <= c.key) ||
           (c.compare == IFC_COMPARE_RANGE && value >= c.key && value <= c.key_last);
}

inline bool fits(const ifc_rule &rule, const engine::FieldImage &fields)
{
    for (unsigned n = 0; n < rule.count; ++n) {
        const ifc_rule_condition &c = rule.condition[n];
        if (!engine::hasField(fields, c.field) || !passes(c, engine::fieldValue(fields, c.field)))
            return false;
    }
    return true;
}

// One run of ones from one end of the width.
inline uint64_t runMask(Random &random, unsigned width)
{
    const uint64_t ones = (uint64_t{1} << width) - 1;
    const unsigned count = 1 + random.below(width);
    return random.oneIn(2) ? ones >> (width - count) : ones & ones << (width - count);
}

inline uint64_t randomMask(Random &random, unsigned field)
{
    const uint64_t ones = ifc::fieldOnes(field);
    switch (random.below(6)) {
    case 0:
        return random.wide() & ones;
    case 1:
        return runMask(random, ifc::fieldWidth(field));
    case 2:
        return random.oneIn(4) ? 0 : uint64_t{1} << random.below(ifc::fieldWidth(field));
    case 3: // of MAC addresses: one half
        return field <= IFC_LAST_MAC_FIELD ? (random.oneIn(2) ? 0xFFFFFFFF : 0xFFFF00000000)
                                           : runMask(random, ifc::fieldWidth(field));
    default:
        return ones;
    }
}

// A well-formed condition; keys come from the values that frames of tests have.
inline ifc_rule_condition randomCondition(Random &random, unsigned field)
{
    const uint64_t ones = ifc::fieldOnes(field);
    if (field > IFC_LAST_WORD_FIELD && random.oneIn(5)) {
        const auto a = static_cast<unsigned>(likelyValue(random) & ones);
        const auto b = static_cast<unsigned>(likelyValue(random) & ones);
        return range(field, a < b ? a : b, a < b ? b : a);
    }
    const uint64_t mask = randomMask(random, field);
    const unsigned compares = field > IFC_LAST_WORD_FIELD ? 4 : 2;
    return compared(field, static_cast<ifc_compare>(random.oneIn(2) ? 0 : random.below(compares)),
                    likelyValue(random) & mask, mask);
}

// Up to `most` conditions. Accepted by ifc_rule_check().
inline ifc_rule randomRule(Random &random, unsigned most, bool userDefined = true)
{
    ifc_rule made = {};
    do {
        made.count = random.below(most + 1);
        for (unsigned n = 0; n < made.count; ++n) {
            const unsigned fields = userDefined ? IFC_LUT1_FIELDS : IFC_LUT0_FIELDS;
            unsigned field = 1 + random.below(random.oneIn(6) ? fields : IFC_LUT0_FIELDS);
            if (random.oneIn(6))
                field = 1 + random.below(2);
            made.condition[n] = randomCondition(random, field);
        }
    } while (ifc_rule_check(&made, nullptr) != IFC_RULESET_OK);
    return made;
}

// The same conditions for automatic placement. Ranges have no command there; the caller leaves them out.
inline orva_ifc_param requestOf(const ifc_rule &rule)
{
    orva_ifc_param request = {};
    for (unsigned n = 0; n < rule.count; ++n) {
        const ifc_rule_condition &c = rule.condition[n];
        request.fieldIdx[n] = c.field;
        request.command[n] = c.compare;
        request.mask_low[n] = static_cast<uint32_t>(c.mask);
        request.mask_high[n] = static_cast<uint32_t>(c.mask >> 32);
        request.key_low[n] = static_cast<uint32_t>(c.key);
        request.key_high[n] = static_cast<uint32_t>(c.key >> 32);
    }
    return request;
}

inline std::string describe(const ifc_rule &rule)
{
    std::ostringstream text;
    text << std::hex;
    for (unsigned n = 0; n < rule.count; ++n) {
        const ifc_rule_condition &c = rule.condition[n];
        text << " field " << +c.field << " compare " << +c.compare << " mask " << c.mask << " key " << c.key
             << '-' << c.key_last << ';';
    }
    return text.str();
}

} // namespace rules
