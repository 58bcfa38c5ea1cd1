// SPDX-License-Identifier: MIT OR GPL-2.0
// Conditions as the classifier compares them. Only this header says what a command code means.
#pragma once

#include "engine/field_image.h"
#include "ifc/records/narrow_record.h"
#include "ifc/records/wide_record.h"

namespace engine
{

using ifc::Command;
using ifc::Condition;
using ifc::narrowEnd;
using ifc::narrowValid;
using ifc::wideEnabled;
using ifc::wideValid;

// The condition on `field` (1 to 31) of a LUT0 rule given by its 41 words, whether enabled or not.
// Model: fields 1 to 13 have a one-bit comparator. Their upper command bit is not wired.
Condition wideCondition(const uint32_t *rule, unsigned field);

// The condition of a LUT1 entry given by its 2 words, whether valid or not.
// Model: Sel counts in units of 16 bits from the field's least significant end.
Condition narrowCondition(const uint32_t *entry);

// Model: the comparison itself, of masked values as unsigned numbers.
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
