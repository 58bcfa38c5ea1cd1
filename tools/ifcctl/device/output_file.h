// SPDX-License-Identifier: MIT OR GPL-2.0
// Writes a text file as a whole: nobody sees a part of it.
#pragma once

#include <string>

namespace ifcctl
{

// Writes a new file in the same folder and renames it, so that a failure leaves the old one. `command` begins
// the messages. Throws Error: Reason::Usage if something else than a regular file has this name,
// Reason::OutputFailed if it cannot be written.
void writeTextFile(const std::string &command, const std::string &path, const std::string &text);

} // namespace ifcctl
