// SPDX-License-Identifier: MIT OR GPL-2.0
// What the two comparisons of predictions with results share.
#ifndef IFC_TESTS_TOOL_FORETELL_SUPPORT_H
#define IFC_TESTS_TOOL_FORETELL_SUPPORT_H

#include "ifc/ifc_util.h"

#include <cstdlib>
#include <cstring>

namespace foretell
{

// The number of cases that `variable` names in the environment, else `otherwise`.
inline unsigned caseCount(const char *variable, unsigned otherwise)
{
    const char *text = std::getenv(variable);
    return text == nullptr ? otherwise : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

// A copy of the layer's shadow tables.
struct Shadow {
    IFC_LUT0_Format wide[IFC_LUT0_RULES];
    IFC_LUT1_Format narrow[IFC_LUT1_RULES];

    Shadow()
    {
        std::memcpy(wide, IFC_LUT0_Rule, sizeof wide);
        std::memcpy(narrow, IFC_LUT1_Rule, sizeof narrow);
    }
    bool operator==(const Shadow &other) const
    {
        return std::memcmp(wide, other.wide, sizeof wide) == 0 &&
               std::memcmp(narrow, other.narrow, sizeof narrow) == 0;
    }
    void restore() const
    {
        std::memcpy(IFC_LUT0_Rule, wide, sizeof wide);
        std::memcpy(IFC_LUT1_Rule, narrow, sizeof narrow);
    }
};

} // namespace foretell

#endif
