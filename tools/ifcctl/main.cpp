// SPDX-License-Identifier: MIT OR GPL-2.0
// ifcctl: the operator's tool.
#include "tools/ifcctl/commands/batch.h"
#include "tools/ifcctl/commands/commands.h"
#include "tools/ifcctl/commands/help.h"
#include "tools/ifcctl/commands/option_table.h"
#include "tools/ifcctl/commands/terminal.h"
#include "tools/ifcctl/commands/wrap.h"
#include "tools/ifcctl/completion/bash_completion.h"
#include "tools/ifcctl/completion/completion.h"
#include "tools/ifcctl/core/values.h"
#include "tools/ifcctl/device/chip_path.h"
#include "tools/ifcctl/manual/manual.h"
#include "tools/ifcctl/shell/shell.h"
#include "tools/state/state_file.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <optional>

#include <fcntl.h>
#include <unistd.h>

using namespace ifcctl;

namespace
{

// A standard descriptor that was closed gets no file that this program opens: output would end up in it. What
// stands there instead can be neither read nor written.
void occupyStandardDescriptors()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
        if (fcntl(descriptor, F_GETFD) < 0)
            (void)open("/dev/null", O_PATH);
}

// The chip's state file, "" for a fresh chip: --state, else IFC_STATE, else the user's default. A batch
// starts with a fresh chip unless --state or IFC_STATE names a file.
std::string statePath(const std::string &option, bool batch)
{
    if (const auto named = namedChipPath(option))
        return *named;
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

ExitCode flushed()
{
    if (std::fflush(stdout) != 0)
        throw outputFailed("standard output");
    return kExitDone;
}

ExitCode printAlone(const std::string &text)
{
    if (std::fputs(text.c_str(), stdout) < 0)
        throw outputFailed("standard output");
    return flushed();
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

ExitCode runSession(const Options &options, std::optional<Batch> &batch, const CommandLine &line)
{
    Session session(options);
    return keepAll(session, runAll(session, batch, line));
}

// One line of the shell. The terminal may have another width than at the line before.
ExitCode runShellLine(const Options &shell, const std::string &line)
{
    try {
        Options options = shell;
        options.foldWidth = givenWidth();
        std::optional<Batch> none;
        CommandLine command;
        command.words = splitLine(line);
        if (printHelp(command.words, options))
            return flushed();
        return runSession(options, none, command);
    } catch (const Error &error) {
        return failed(error);
    }
}

// The answer to words that need no device; nothing for a command. `complete` and `help man` serve scripts.
std::optional<std::string> answerWithoutDevice(const Words &words)
{
    if (words.size() == 2 && words[0] == "complete")
        return bashAnswer(words[1]);
    if (words == Words{"help", "man"})
        return manualPage();
    if (words.empty() || words[0] != kCompletionWord)
        return std::nullopt;
    if (words != Words{kCompletionWord, "bash"})
        throw usage(kCompletionWord, words.size() < 2 ? "" : words.back(), "bash");
    return bashScript();
}

} // namespace

int main(int argc, char **argv)
{
    occupyStandardDescriptors();
    try {
        const CommandLine line = readCommandLine(Words(argv + std::min(argc, 1), argv + argc));
        if (line.version || line.help)
            return printAlone(line.version ? versionText() : programHelp(outputWidth()));
        if (line.isBatch && !line.words.empty())
            throw usage("command", line.words.front(), "a command or -b FILE, not both");
        const bool asked = line.isBatch || !line.words.empty();
        if (!asked && !onTerminal())
            throw usage("command", "", "a command, or -b FILE; 'ifcctl help' lists the commands");
        if (const auto answer = answerWithoutDevice(line.words))
            return printAlone(*answer);
        Options options = line.options;
        options.colour = terminalStyle(line.colour).colour;
        options.foldWidth = givenWidth();
        if (!line.words.empty() && printHelp(line.words, options))
            return flushed();
        if (options.device == kSimulatedDevice)
            options.state = statePath(line.stateFile, line.isBatch);
        if (!asked)
            return runShell(options, runShellLine);
        std::optional<Batch> file;
        if (line.isBatch)
            file.emplace(line.batch);
        if (options.dryRun)
            std::cerr << "ifcctl: dry run on a copy; nothing is changed\n";
        return runSession(options, file, line);
    } catch (const Error &error) {
        return failed(error);
    }
}
