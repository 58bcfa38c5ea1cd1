// SPDX-License-Identifier: MIT OR GPL-2.0
#include "completion.h"

#include "candidates.h"

#include "tools/ifcctl/commands/command_table.h"
#include "tools/ifcctl/commands/option_table.h"
#include "tools/ifcctl/core/errors.h"

#include <algorithm>

namespace ifcctl
{

namespace
{

const std::string kHelp = "help";

void addObjects(Candidates &found)
{
    for (const NamedHelp &object : objectTable())
        found.add(object.name);
}

void addVerbs(Candidates &found, const std::string &object)
{
    Words verbs;
    for (const Command &command : allCommands())
        if (object == command.object)
            verbs.emplace_back(command.verb);
    found.add(verbs);
    if (found.empty())
        for (const NamedHelp &alias : verbAliases())
            if (holds(verbs, alias.help))
                found.add(alias.name);
}

bool hasVerbs(const std::string &object)
{
    return std::any_of(allCommands().begin(), allCommands().end(), [&](const Command &command) {
        return object == command.object && *command.verb != '\0';
    });
}

void completeWords(Candidates &found, const Words &before, const RuleNumbers &numbers)
{
    const bool help = !before.empty() && before[0] == kHelp;
    const Words words(before.begin() + (help ? 1 : 0), before.end());
    if (words.empty()) {
        addObjects(found);
        if (!help)
            found.add(kHelp);
        return;
    }
    const std::string object = findObject(words[0]);
    if (words.size() == 1 && hasVerbs(object)) {
        addVerbs(found, object);
        return;
    }
    if (help)
        return;
    size_t used = 0;
    const Command &command = findCommand(words, used);
    const Words arguments(words.begin() + static_cast<std::ptrdiff_t>(used), words.end());
    addFromForm(found, command.arguments, arguments, command.object, numbers);
}

// The value of an option. `prefix` is what stands before it in the same word.
void addOptionValues(Candidates &found, const Option &option, const std::string &prefix)
{
    std::string form = option.argument;
    if (begins(form, "[="))
        form = form.substr(2, form.size() - 3);
    Candidates values("");
    addFromForm(values, form, {}, "", {});
    for (const std::string &value : values.found().words)
        found.add(prefix + value);
    if (values.found().files)
        found.addFiles();
    found.say(option.help);
}

const Option *optionOf(const std::string &word)
{
    const std::string name = word.substr(0, word.find('='));
    for (const Option &option : optionTable())
        if (name == option.longName || (*option.shortName != '\0' && name == option.shortName))
            return &option;
    return nullptr;
}

bool takesNext(const std::string &word)
{
    const Option *option = optionOf(word);
    return option != nullptr && word.find('=') == std::string::npos && *option->argument != '\0' &&
           *option->argument != '[';
}

// Completes an option or its value. False: the words are those of a command, which begins at word `at`.
bool completeOption(Candidates &found, const Words &before, const std::string &partial, size_t &at)
{
    for (at = 0; at < before.size() && before[at].size() > 1 && before[at][0] == '-'; ++at) {
        if (before[at] == "--") {
            ++at;
            return false;
        }
        if (!takesNext(before[at]))
            continue;
        if (++at == before.size()) {
            addOptionValues(found, *optionOf(before[at - 1]), "");
            return true;
        }
    }
    if (at < before.size() || partial.empty() || partial[0] != '-')
        return false;
    const size_t sign = partial.find('=');
    const Option *option = optionOf(partial);
    if (sign != std::string::npos && option != nullptr) {
        addOptionValues(found, *option, partial.substr(0, sign + 1));
        return true;
    }
    for (const Option &known : optionTable()) {
        found.add(known.longName);
        if (*known.shortName != '\0' && partial.size() < 2)
            found.add(known.shortName);
    }
    return true;
}

} // namespace

Completion completeCommand(const Words &before, const std::string &partial, const RuleNumbers &numbers)
{
    Candidates found(partial);
    try {
        completeWords(found, before, numbers);
    } catch (const Error &) {
        return {}; // words that name no command
    }
    return found.found();
}

Completion completeProgram(const Words &before, const std::string &partial, const RuleNumbers &numbers)
{
    Candidates options(partial);
    size_t at = 0;
    if (completeOption(options, before, partial, at))
        return options.found();
    const Words words(before.begin() + static_cast<std::ptrdiff_t>(at), before.end());
    if (words == Words{kCompletionWord}) {
        options.add("bash");
        return options.found();
    }
    Completion found = completeCommand(words, partial, numbers);
    if (words.empty() && begins(kCompletionWord, partial))
        found.words.push_back(kCompletionWord);
    return found;
}

Completion completePrompt(const Words &before, const std::string &partial, const RuleNumbers &numbers)
{
    Completion found = completeCommand(before, partial, numbers);
    if (before.empty())
        for (const std::string &word : promptWords())
            if (begins(word, partial))
                found.words.push_back(word);
    return found;
}

const Words &promptWords()
{
    static const Words words = {"quit", "exit"};
    return words;
}

std::string commonBeginning(const Words &words)
{
    std::string common = words.empty() ? "" : words.front();
    for (const std::string &word : words) {
        size_t same = 0;
        while (same < common.size() && same < word.size() && common[same] == word[same])
            ++same;
        common.resize(same);
    }
    return common;
}

} // namespace ifcctl
