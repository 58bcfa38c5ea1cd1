// SPDX-License-Identifier: MIT OR GPL-2.0
#include "commands.h"

#include "tools/capture/error.h"
#include "tools/ifcctl/core/nearest_word.h"

#include <iterator>
#include <sstream>

namespace ifcctl
{

std::vector<Command> allCommands()
{
    std::vector<Command> all;
    for (const auto &table : {ruleCommands(), switchCommands(), actionCommands(), operationCommands(),
                              setCommands(), tableCommands(), frameCommands(), reportCommands()})
        all.insert(all.end(), table.begin(), table.end());
    return all;
}

namespace
{

void addWord(std::string &list, const char *word)
{
    if (!list.empty())
        list += ' ';
    list += word;
}

Words split(const std::string &list)
{
    std::istringstream text(list);
    return {std::istream_iterator<std::string>(text), {}};
}

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

} // namespace

void runWords(Session &session, const Words &words)
{
    if (words.empty())
        return;
    std::string objects;
    std::string verbs;
    std::string last;
    for (const Command &command : allCommands()) {
        if (last != command.object)
            addWord(objects, command.object);
        last = command.object;
        if (words[0] != command.object)
            continue;
        const bool alone = *command.verb == '\0';
        if (!alone && (words.size() < 2 || words[1] != command.verb)) {
            addWord(verbs, command.verb);
            continue;
        }
        WordReader reader(words, alone ? 1 : 2);
        try {
            command.run(session, reader);
        } catch (const capture::Error &error) {
            throw errorOf(error);
        }
        session.checkTransfers();
        return;
    }
    if (!verbs.empty())
        throw usage(words[0], words.size() < 2 ? "" : words[1],
                    verbs + (words.size() < 2 ? "" : didYouMean(words[1], split(verbs))));
    throw usage("command", words[0], objects + didYouMean(words[0], split(objects)));
}

void runLine(Session &session, const std::string &line)
{
    runWords(session, splitLine(line));
}

} // namespace ifcctl
