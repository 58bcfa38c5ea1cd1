// SPDX-License-Identifier: MIT OR GPL-2.0
// One condition of a rule, decoded from the table images, and whether a frame fulfils it. This is the one
// place that says what a command code means and which bits of a field an entry looks at.
#pragma once

#include "engine/field_image.h"

namespace engine
{

// Model: the command codes. Fields 1 to 13 have a one-bit comparator: their upper command bit is not wired.
enum class Command : uint8_t {
    Equal = 0,
    NotEqual = 1,
    GreaterOrEqual = 2, // of the masked values, as numbers without sign
    LessOrEqual = 3,
};

struct Condition {
    uint8_t field; // 0 to 63; only 1 to 47 are fields
    Command command;
    uint8_t part; // lowest bit of the field that the condition looks at: a multiple of 16
    uint64_t mask;
    uint64_t key;
};

constexpr Command commandOf(unsigned field, unsigned code)
{
    return static_cast<Command>(field <= IFC_LAST_WORD_FIELD ? code & 1 : code & 3);
}

// The condition on `field` (1 to 31) of a LUT0 rule given by its 41 words, whether enabled or not.
Condition wideCondition(const uint32_t *rule, unsigned field);

// The condition of a LUT1 entry given by its 2 words, whether valid or not.
Condition narrowCondition(const uint32_t *entry);

inline bool wideValid(const uint32_t *rule)
{
    return rule[0] >> 31 != 0;
}

// Bit f - 1: field f is compared.
inline uint32_t wideEnabled(const uint32_t *rule)
{
    return rule[0] & 0x7FFFFFFF;
}

inline bool narrowValid(const uint32_t *entry)
{
    return (entry[0] >> 15 & 1) != 0;
}

inline bool narrowEnd(const uint32_t *entry)
{
    return (entry[0] >> 14 & 1) != 0;
}

// The comparison alone, of masked numbers without sign.
constexpr bool compares(Command command, uint64_t value, uint64_t key)
{
    switch (command) {
    case Command::Equal:
        return value == key;
    case Command::NotEqual:
        return value != key;
    case Command::GreaterOrEqual:
        return value >= key;
    default:
        return value <= key;
    }
}

// Model: a condition on a field that the frame does not have is false, whatever its command.
inline bool holds(const Condition &condition, const FieldImage &fields)
{
    const uint64_t value = fieldValue(fields, condition.field) >> condition.part & condition.mask;
    return hasField(fields, condition.field) &&
           compares(condition.command, value, condition.key & condition.mask);
}

} // namespace engine
