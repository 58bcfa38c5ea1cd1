// SPDX-License-Identifier: MIT OR GPL-2.0
// Completion in bash. Its script asks the tool: `ifcctl complete LINE`.
#pragma once

#include <string>

namespace ifcctl
{

// The script that `ifcctl completion bash` prints.
std::string bashScript();

// The answer to `ifcctl complete LINE`: one word a line that may end the line, which begins with the name of
// the program; "<file>" says that file names fit as well. Reads the rules' numbers of the device that the
// line names, without its lock.
std::string bashAnswer(const std::string &line);

} // namespace ifcctl
