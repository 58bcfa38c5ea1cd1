// SPDX-License-Identifier: MIT OR GPL-2.0
// The options of the command line: one table, and the reader that uses it.
#pragma once

#include "terminal.h"

#include "tools/ifcctl/core/word_reader.h"
#include "tools/ifcctl/device/device.h"

#include <string>
#include <vector>

namespace ifcctl
{

struct CommandLine {
    Options options;
    std::string batch;     // its file
    std::string stateFile; // --state as given
    bool isBatch = false;
    bool goesOn = false; // a batch: after an error
    ColourChoice colour = ColourChoice::Auto;
    bool help = false;
    bool version = false;
    Words words; // the command
};

struct Option {
    const char *shortName; // "-b"; "" if there is none
    const char *longName;  // "--batch"
    const char *argument;  // "FILE"; "" for a flag; "[=WHEN]" may be left out
    const char *help;
    bool simulationOnly;
    // Throws Error.
    void (*take)(CommandLine &line, const std::string &value);
};

const std::vector<Option> &optionTable();

// Options stand before the command. They are written apart: -j -p. Long ones have two dashes and take their
// argument after a space or '='. Throws Error.
CommandLine readCommandLine(const Words &arguments);

} // namespace ifcctl
