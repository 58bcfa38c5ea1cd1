// SPDX-License-Identifier: MIT OR GPL-2.0
// One condition of a rule, as decoded from either rule table or to be encoded for it.
#pragma once

#include "ifc/records/fields.h"

namespace ifc
{

// The 2-bit command codes of the records. The names say what the engine's model compares.
enum class Command : uint8_t {
    Equal = 0,
    NotEqual = 1,
    GreaterOrEqual = 2, // of the masked values, as unsigned numbers
    LessOrEqual = 3,
};

// Holds when (field >> part & mask) compares with (key & mask) as the command says.
struct Condition {
    uint8_t field; // 0 to 63 when decoded; 1 to 47 are fields
    Command command;
    uint8_t part; // lowest bit of the field that is compared: 0, 16, 32 or 48
    uint64_t mask;
    uint64_t key;
};

namespace
{

// The command that the comparator sees: the upper bit is not wired for the fields 1 to 13.
constexpr Command effectiveCommand(uint field, Command command)
{
    return static_cast<Command>(static_cast<uint>(command) & (field <= IFC_LAST_WORD_FIELD ? 1 : 3));
}

} // namespace
} // namespace ifc
