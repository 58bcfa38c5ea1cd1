// SPDX-License-Identifier: MIT OR GPL-2.0
// Help texts from the tables of commands, options and words.
#pragma once

#include "command_table.h"

#include <optional>
#include <string>

namespace ifcctl
{

std::string versionText();
// Options, commands and exit codes.
std::string programHelp(unsigned width);

// The subject of a request for help.
struct HelpSubject {
    std::string object; // "": all commands
    std::string verb;   // "": all of the object
};

// `help`, `help OBJECT [VERB]`, `OBJECT help [VERB]`, and `help` or `--help` at the end of a command.
// Nothing: the words ask for no help, or for that of the device's command handler. Throws Error for an
// unknown object or verb.
std::optional<HelpSubject> helpWanted(const Words &words);

std::string helpText(const HelpSubject &subject, unsigned width);

// Prints the help that the words of a command ask for. No device is needed. False: they ask for none. Throws
// Error.
bool printHelp(const Words &words, const Options &options);

} // namespace ifcctl
