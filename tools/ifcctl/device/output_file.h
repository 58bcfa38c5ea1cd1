// SPDX-License-Identifier: MIT OR GPL-2.0
// Writes a text file as a whole: nobody sees a part of it.
#pragma once

#include <string>

namespace ifcctl
{

// Writes a new file in the same folder and renames it, so that a failure leaves the old one. A device or a
// pipe is written directly, and then the result is false: it may be the standard output. `command` begins the
// messages. Throws Error: Reason::Usage for a folder, Reason::OutputFailed if the file cannot be written.
bool writeTextFile(const std::string &command, const std::string &path, const std::string &text);

} // namespace ifcctl
