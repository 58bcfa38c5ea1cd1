// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/condition.h"

namespace engine
{

namespace
{

Condition effective(Condition condition)
{
    condition.command = ifc::effectiveCommand(condition.field, condition.command);
    return condition;
}

} // namespace

Condition wideCondition(const uint32_t *rule, unsigned field)
{
    return effective(ifc::decodeWide(rule, field));
}

Condition narrowCondition(const uint32_t *entry)
{
    return effective(ifc::decodeNarrow(entry));
}

} // namespace engine
