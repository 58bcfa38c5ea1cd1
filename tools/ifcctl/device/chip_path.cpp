// SPDX-License-Identifier: MIT OR GPL-2.0
#include "chip_path.h"

#include <cstdlib>

namespace ifcctl
{

std::optional<std::string> namedChipPath(const std::string &option)
{
    const char *variable = std::getenv("IFC_STATE");
    const std::string named = !option.empty() ? option : variable != nullptr ? variable : "";
    if (named.empty())
        return std::nullopt;
    return named == "none" ? "" : named;
}

} // namespace ifcctl
