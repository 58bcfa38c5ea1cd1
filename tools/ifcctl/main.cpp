// SPDX-License-Identifier: MIT OR GPL-2.0
// ifcctl: the operator's tool.
#include "tools/ifcctl/commands/batch.h"
#include "tools/ifcctl/commands/commands.h"
#include "tools/ifcctl/core/values.h"
#include "tools/state/state_file.h"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <iostream>
#include <optional>
#include <sstream>

using namespace ifcctl;

namespace
{

std::string listOfCommands()
{
    std::string text = "Commands (one a line in a batch; '#' begins a comment):\n";
    for (const Command &command : allCommands()) {
        std::string line = std::string("  ") + command.object;
        for (const char *part : {command.verb, command.arguments})
            if (*part != '\0')
                line += std::string(" ") + part;
        if (line.size() < 46)
            line.resize(46, ' ');
        else
            line += "\n" + std::string(46, ' ');
        text += line + command.help + "\n";
    }
    return text + "\nExit codes: 0 done, 2 usage, 3 refused by the rule layer, 4 hardware time-out, 5 device "
                  "failed, 6 output failed.";
}

// Prints the option parser's message, which quotes the words that it does not accept.
int explainOptions(const CLI::App &app, const CLI::ParseError &error)
{
    std::ostringstream out;
    std::ostringstream complaint;
    const int code = app.exit(error, out, complaint);
    std::cout << out.str();
    std::istringstream lines(complaint.str());
    for (std::string line; std::getline(lines, line);)
        std::cerr << printable(line) << '\n';
    return code == 0 ? kExitDone : kExitUsage;
}

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
        std::cerr
            << "ifcctl: neither XDG_STATE_HOME nor HOME names a folder: a fresh chip that is not kept\n";
    return path;
}

ExitCode failed(const Error &error)
{
    std::fflush(stdout);
    std::cerr << "ifcctl: " << printable(error.text()) << '\n';
    return exitCodeOf(error.reason());
}

ExitCode runAll(Session &session, std::optional<Batch> &batch, const std::vector<std::string> &words)
{
    try {
        if (batch)
            return batch->run(session);
        runWords(session, words);
        return kExitDone;
    } catch (const Error &error) {
        return failed(error);
    }
}

// After a failure too: commands that took effect are saved.
ExitCode keepAll(Session &session, ExitCode code)
{
    try {
        session.device().keep();
        if (std::fflush(stdout) != 0 && code == kExitDone)
            throw outputFailed("standard output");
        if (code == kExitDone)
            session.device().finish();
    } catch (const Error &error) {
        const ExitCode worse = failed(error);
        return code == kExitDone ? worse : code;
    }
    return code;
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    std::string batch;
    std::vector<std::string> words;
    CLI::App app{"Programs and questions a simulated packet classifier through its driver's rule layer."};
    app.footer(listOfCommands());
    app.add_option("-b,--batch", batch, "file of commands, one a line; - for standard input");
    app.add_flag("-j,--json", options.json, "JSON, one document a listing");
    app.add_flag("--force", options.force, "place a MAC mask that LUT1 stores wider than asked");
    app.add_flag("--strict", options.strict,
                 "refuse a rule that never decides a frame, instead of a warning");
    app.add_flag("--keep-order", options.keepOrder, "do not put a MAC condition last");
    app.add_option(
        "--device", options.device,
        "sim: a driver of its own on a simulated chip (default); debugfs[:FOLDER]: a loaded ifc.ko");
    std::string stateFile;
    const auto *state =
        app.add_option("--state", stateFile,
                       "sim: the file that the chip lives in (else IFC_STATE, else the user's; none: a fresh "
                       "chip, as for a batch)");
    const auto *trace =
        app.add_option("--trace", options.traceFile, "sim: write every register access to this file");
    const auto *revision =
        app.add_option("--revision", options.revision, "sim: the chip's revision (12, 14 and 15 are special)")
            ->check(CLI::Range(0, 255));
    const auto *doneAfter =
        app.add_option("--done-after", options.doneAfter, "sim: the done bit shows at this read; 0 = never")
            ->check(CLI::Range(0, 255));
    app.add_option("--debug", options.debug, "debug level; the rule layer's messages go to standard error")
        ->check(CLI::Range(0, 3));
    app.add_option("command", words, "one command instead of a batch");
    app.positionals_at_end();
    try {
        app.parse(argc, argv);
        if (batch.empty() == words.empty())
            throw CLI::RequiredError("either a batch (-b FILE) or one command");
        if (state->count() != 0 && stateFile.empty())
            throw CLI::ValidationError("--state", "'': accepted: a file, or none");
        for (const CLI::Option *option : {state, trace, revision, doneAfter})
            if (option->count() != 0 && options.device != "sim")
                throw CLI::ValidationError(option->get_name(), "accepted only with --device sim");
    } catch (const CLI::ParseError &error) {
        return explainOptions(app, error);
    }

    try {
        options.revisionGiven = revision->count() != 0;
        if (options.device == "sim")
            options.state = statePath(stateFile, !batch.empty());
        std::optional<Batch> file;
        if (!batch.empty())
            file.emplace(batch);
        Session session(options);
        return keepAll(session, runAll(session, file, words));
    } catch (const Error &error) {
        return failed(error);
    }
}
