// SPDX-License-Identifier: MIT OR GPL-2.0
// Which file keeps the simulated chip.
#pragma once

#include <optional>
#include <string>

namespace ifcctl
{

// The file that --state names, with the value `option`, or else IFC_STATE. "": a chip that is kept nowhere
// (`none`). Nothing: neither names one.
std::optional<std::string> namedChipPath(const std::string &option);

} // namespace ifcctl
