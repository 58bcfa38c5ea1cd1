// SPDX-License-Identifier: MIT OR GPL-2.0
#include "help.h"

#include "option_table.h"
#include "program_facts.h"
#include "wrap.h"

#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/rule_words.h"

namespace ifcctl
{

namespace
{

constexpr unsigned kWide = 90; // from here on forms and meanings stand in two columns
constexpr unsigned kColumn = 46;

const std::string kHelpWord = "help";
const std::string kHelpOption = "--help";

// "  form    meaning", the meaning in its own column or below the form.
std::string row(const std::string &form, const std::string &meaning, unsigned width, unsigned wideColumn)
{
    const unsigned column = width >= kWide ? wideColumn : 6;
    std::string line = "  " + form;
    if (line.size() + 2 > column) {
        std::string lines = wrapped(line, width, 4);
        return lines + wrapped(std::string(column, ' ') + meaning, width, column);
    }
    line.resize(column, ' ');
    return wrapped(line + meaning, width, column);
}

std::string formOf(const Command &command)
{
    std::string form = command.object;
    for (const char *part : {command.verb, command.arguments})
        if (*part != '\0')
            form += std::string(" ") + part;
    return form;
}

std::string formOf(const Option &option)
{
    std::string form = *option.shortName == '\0' ? "" : std::string(option.shortName) + ", ";
    form += option.longName;
    if (*option.argument != '\0')
        form += (*option.argument == '[' ? "" : " ") + std::string(option.argument);
    return form;
}

bool names(const std::string &arguments, const std::string &placeholder)
{
    constexpr const char *kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    for (size_t at = arguments.find(placeholder); at != std::string::npos;
         at = arguments.find(placeholder, at + 1)) {
        const bool begin = at == 0 || std::string(kLetters).find(arguments[at - 1]) == std::string::npos;
        const size_t end = at + placeholder.size();
        if (begin &&
            (end == arguments.size() || std::string(kLetters).find(arguments[end]) == std::string::npos))
            return true;
    }
    return false;
}

// The commands of an object, or one of them, and what their placeholders stand for.
std::string commandHelp(const HelpSubject &subject, unsigned width)
{
    std::string text;
    std::string arguments;
    for (const Command &command : allCommands()) {
        if (subject.object != command.object || (!subject.verb.empty() && subject.verb != command.verb))
            continue;
        text += row(formOf(command), command.help, width, kColumn);
        arguments += std::string(" ") + command.arguments;
    }
    for (const NamedHelp &placeholder : placeholders())
        if (names(arguments, placeholder.name))
            text += row(placeholder.name, placeholder.help, width, 14);
    const bool match = names(arguments, "MATCH");
    if (!subject.verb.empty() && match && names(arguments, "WORD"))
        text += ruleWordsHelp();
    else if (!subject.verb.empty() && match)
        text += "Keys:\n" + matchWordsHelp();
    else if (!subject.verb.empty() && names(arguments, "WORD"))
        text += "Words:\n" + actionWordsHelp();
    return text;
}

std::string exitCodes()
{
    std::string text;
    for (const NamedHelp &code : exitCodeTable())
        text += (text.empty() ? "" : ", ") + code.name + ' ' + code.help;
    return text;
}

} // namespace

std::string versionText()
{
    return "ifcctl " IFCCTL_VERSION "\n";
}

std::string programHelp(unsigned width)
{
    std::string text =
        wrapped("Programs and queries a packet classifier, simulated or real, through its driver's rule "
                "layer.",
                width, 0) +
        "\nUsage: ifcctl [OPTION...] COMMAND\n       ifcctl [OPTION...] -b FILE\n       ifcctl "
        "[OPTION...]\n\nOptions:\n";
    for (const Option &option : optionTable())
        text += row(formOf(option), option.help, width, 26);
    text += "\nCommands:\n";
    for (const Command &command : allCommands())
        text += row(formOf(command), command.help, width, kColumn);
    for (const NamedHelp &extra : commandsWithoutDevice())
        text += row(extra.name, extra.help, width, kColumn);
    text +=
        wrapped("\nObjects and verbs may be abbreviated: 'rule sh', 'r s'. 'list' and 'ls' mean 'show'. In "
                "a file '#' begins a comment, and '\\' at the end of a line continues it.",
                width, 0);
    text += wrapped("\nWithout a command, on a terminal: a prompt for commands, " + promptKind() + ". " +
                        "'quit', 'exit' or Ctrl-D ends it.",
                    width, 0);
    return text + wrapped("\nExit codes: " + exitCodes() + '.', width, 0);
}

std::optional<HelpSubject> helpWanted(const Words &words)
{
    Words about = words;
    const bool first = about.front() == kHelpWord || about.front() == kHelpOption || about.front() == "-h";
    if (first)
        about.erase(about.begin());
    const bool last = !about.empty() && (about.back() == kHelpWord || about.back() == kHelpOption);
    if (last)
        about.pop_back();
    const bool second = about.size() > 1 && about[1] == kHelpWord;
    if (second)
        about.erase(about.begin() + 1);
    if (!first && !second && !last)
        return std::nullopt;
    if (about.empty())
        return HelpSubject{};
    HelpSubject subject{findObject(about[0]), ""};
    if (subject.object == "op" && (second || words.back() == kHelpWord))
        return std::nullopt; // the command handler's own help
    size_t used = 0;
    if (about.size() > 1)
        subject.verb = findCommand(about, used).verb;
    return subject;
}

std::string helpText(const HelpSubject &subject, unsigned width)
{
    return subject.object.empty() ? programHelp(width) : commandHelp(subject, width);
}

bool printHelp(const Words &words, const Options &options)
{
    const auto subject = helpWanted(words);
    if (!subject)
        return false;
    const std::string text = helpText(*subject, outputWidth());
    Printer(printStyleOf(options)).print(text, {{"help", text}});
    return true;
}

} // namespace ifcctl
