// SPDX-License-Identifier: MIT OR GPL-2.0
// The manual page ifcctl(8), from the tables that the help comes from.
#pragma once

#include <string>

namespace ifcctl
{

// In the language of man(7). Its date is that of SOURCE_DATE_EPOCH, else today.
std::string manualPage();

} // namespace ifcctl
