// SPDX-License-Identifier: MIT OR GPL-2.0
// ifcctl: the operator's tool.
#include "tools/ifcctl/commands/batch.h"
#include "tools/ifcctl/commands/commands.h"
#include "tools/ifcctl/commands/help.h"
#include "tools/ifcctl/commands/option_table.h"
#include "tools/ifcctl/commands/terminal.h"
#include "tools/ifcctl/commands/wrap.h"
#include "tools/ifcctl/core/values.h"
#include "tools/state/state_file.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <optional>

using namespace ifcctl;

namespace
{

// The chip's state file, "" for a fresh chip: --state, else IFC_STATE, else the user's default. A batch
// starts with a fresh chip unless --state or IFC_STATE names a file.
std::string statePath(const std::string &option, bool batch)
{
    const char *variable = std::getenv("IFC_STATE");
    const std::string named = !option.empty() ? option : variable != nullptr ? variable : "";
    if (!named.empty())
        return named == "none" ? "" : named;
    if (batch) {
        std::cerr << "ifcctl: the batch runs on a fresh chip that is not kept; --state FILE keeps it\n";
        return "";
    }
    std::string path = state::defaultPath();
    if (path.empty())
        std::cerr << "ifcctl: neither XDG_STATE_HOME nor HOME names a folder; this runs on a fresh chip that "
                     "is not kept\n";
    return path;
}

ExitCode failed(const Error &error)
{
    std::fflush(stdout);
    std::cerr << "ifcctl: " << printable(error.text()) << '\n';
    return exitCodeOf(error.reason());
}

ExitCode printAlone(const std::string &text)
{
    if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0)
        throw outputFailed("standard output");
    return kExitDone;
}

ExitCode runAll(Session &session, std::optional<Batch> &batch, const CommandLine &line)
{
    try {
        if (batch)
            return batch->run(session, line.goesOn);
        runWords(session, line.words);
        return session.code();
    } catch (const Error &error) {
        return failed(error);
    }
}

// After a failure too: commands that took effect are saved.
ExitCode keepAll(Session &session, ExitCode code)
{
    try {
        session.device().keep();
        const bool done = code == kExitDone || code == kExitDiffers;
        if (std::fflush(stdout) != 0 && done)
            throw outputFailed("standard output");
        if (done)
            session.device().finish();
    } catch (const Error &error) {
        const ExitCode worse = failed(error);
        return code == kExitDone || code == kExitDiffers ? worse : code;
    }
    return code;
}

} // namespace

int main(int argc, char **argv)
{
    try {
        const CommandLine line = readCommandLine(Words(argv + std::min(argc, 1), argv + argc));
        if (line.version || line.help)
            return printAlone(line.version ? versionText() : programHelp(outputWidth()));
        if (line.isBatch && !line.words.empty())
            throw usage("command", line.words.front(), "a command or -b FILE, not both");
        if (!line.isBatch && line.words.empty())
            throw usage("command", "", "a command, or -b FILE; 'ifcctl help' lists the commands");
        Options options = line.options;
        if (options.device == "sim")
            options.state = statePath(line.stateFile, line.isBatch);
        std::optional<Batch> file;
        if (line.isBatch)
            file.emplace(line.batch);
        options.colour = terminalStyle(line.colour).colour;
        options.foldWidth = givenWidth();
        if (options.dryRun)
            std::cerr << "ifcctl: dry run on a copy; nothing is changed\n";
        Session session(options);
        return keepAll(session, runAll(session, file, line));
    } catch (const Error &error) {
        return failed(error);
    }
}
