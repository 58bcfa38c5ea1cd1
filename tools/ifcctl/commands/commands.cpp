// SPDX-License-Identifier: MIT OR GPL-2.0
#include "commands.h"

#include "tools/capture/error.h"
#include "tools/ifcctl/core/values.h"

#include <algorithm>
#include <sstream>

namespace ifcctl
{

std::vector<Command> allCommands()
{
    std::vector<Command> all;
    for (const auto &table :
         {ruleCommands(), explainCommands(), chipCommands(), tableCommands(), frameCommands()})
        all.insert(all.end(), table.begin(), table.end());
    return all;
}

void expectEnd(const Words &words, size_t at, const char *after)
{
    if (at < words.size())
        throw usage(after, words[at], "nothing more");
}

unsigned expectNumber(const Words &words, size_t &at, const std::string &field, unsigned most)
{
    if (at >= words.size())
        throw usage(field, "", "a number from 0 to " + std::to_string(most));
    return static_cast<unsigned>(numberFor(field, words[at++], 0, most));
}

size_t expectChoice(const Words &words, size_t &at, const std::string &field, const Words &choices)
{
    std::string all;
    for (const std::string &choice : choices)
        all += (all.empty() ? "" : " ") + choice;
    if (at >= words.size())
        throw usage(field, "", all);
    const auto found = std::find(choices.begin(), choices.end(), words[at]);
    if (found == choices.end())
        throw usage(field, words[at], all);
    ++at;
    return static_cast<size_t>(found - choices.begin());
}

namespace
{

void addWord(std::string &list, const char *word)
{
    if (!list.empty())
        list += ' ';
    list += word;
}

// A capture's error as the tool's own.
Error errorOf(const capture::Error &error)
{
    const std::string reason = error.what();
    switch (error.fault()) {
    case capture::Fault::OutputPlace:
        return usage("-o", error.path(), "a file that can be written (" + reason + ")");
    case capture::Fault::FrameLength:
        return refused("-o", error.path(), reason);
    case capture::Fault::OutputWrite:
        return {kExitOutput, "-o '" + error.path() + "': " + reason};
    case capture::Fault::Input:
        break;
    }
    return {kExitUsage, reason};
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
        try {
            command.run(session, words, alone ? 1 : 2);
        } catch (const capture::Error &error) {
            throw errorOf(error);
        }
        session.checkTransfers();
        return;
    }
    if (!verbs.empty())
        throw usage(words[0], words.size() < 2 ? "" : words[1], verbs);
    throw usage("command", words[0], objects);
}

void runLine(Session &session, const std::string &line)
{
    std::istringstream text(line.substr(0, line.find('#')));
    Words words;
    for (std::string word; text >> word;)
        words.push_back(word);
    runWords(session, words);
}

} // namespace ifcctl
