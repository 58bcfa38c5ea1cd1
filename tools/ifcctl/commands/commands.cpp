// SPDX-License-Identifier: MIT OR GPL-2.0
#include "commands.h"

#include "help.h"

#include "tools/capture/error.h"

namespace ifcctl
{

namespace
{

// The tool's error for an error of a capture.
Error errorOf(const capture::Error &error)
{
    const std::string reason = error.what();
    switch (error.fault()) {
    case capture::Fault::OutputPlace:
        return usage("-o", error.path(), "a file that can be written (" + reason + ")");
    case capture::Fault::FrameLength:
        return refused(Reason::FrameTooLong, "-o", error.path(), reason);
    case capture::Fault::OutputWrite:
        return {Reason::OutputFailed, "-o '" + error.path() + "': " + reason};
    case capture::Fault::Input:
        break;
    }
    return {Reason::Usage, reason};
}

// True: besides the device the command writes a file.
bool writesFile(const Command &command, const WordReader &words)
{
    const bool saves = std::string(command.object) == "set" && std::string(command.verb) == "save";
    return saves ? !words.atEnd() && !words.nextIs("-") : words.holds("-o");
}

} // namespace

void runWords(Session &session, const Words &words)
{
    if (words.empty())
        return;
    if (printHelp(words, session.options()))
        return;
    size_t used = 0;
    const Command &command = findCommand(words, used);
    WordReader reader(words, used);
    if (session.options().dryRun && writesFile(command, reader))
        throw usage(command.object, words.back(), "without -n; this command writes a file");
    try {
        command.run(session, reader);
    } catch (const capture::Error &error) {
        throw errorOf(error);
    }
    session.checkTransfers();
}

void runLine(Session &session, const std::string &line)
{
    runWords(session, splitLine(line));
}

} // namespace ifcctl
