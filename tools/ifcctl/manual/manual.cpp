// SPDX-License-Identifier: MIT OR GPL-2.0
#include "manual.h"

#include "examples.h"
#include "roff.h"

#include "tools/ifcctl/commands/command_table.h"
#include "tools/ifcctl/commands/help.h"
#include "tools/ifcctl/commands/option_table.h"
#include "tools/ifcctl/commands/program_facts.h"
#include "tools/ifcctl/core/rule_words.h"
#include "tools/ifcctl/core/values.h"

#include <cstdlib>
#include <ctime>

namespace ifcctl
{

namespace
{

std::string section(const std::string &name)
{
    return ".SH " + name + '\n';
}

// Paragraphs, one a line.
std::string paragraphs(const std::vector<std::string> &texts)
{
    std::string out;
    for (const std::string &text : texts)
        out += (out.empty() ? "" : ".PP\n") + roff(text) + '\n';
    return out;
}

std::string tagged(const std::vector<NamedHelp> &rows)
{
    std::string out;
    for (const NamedHelp &row : rows)
        out += roffTagged("\\fB" + roff(row.name) + "\\fR", roff(row.help));
    return out;
}

std::string today()
{
    const char *given = std::getenv("SOURCE_DATE_EPOCH");
    const auto epoch = given == nullptr ? std::nullopt : parseNumber(given);
    const std::time_t seconds = epoch ? static_cast<std::time_t>(*epoch) : std::time(nullptr);
    std::tm day{};
    char text[sizeof "2026-11-21"] = "";
    if (gmtime_r(&seconds, &day) != nullptr)
        (void)std::strftime(text, sizeof text, "%Y-%m-%d", &day);
    return text;
}

std::string optionTag(const Option &option)
{
    std::string names = *option.shortName == '\0' ? "" : std::string(option.shortName) + ", ";
    names += option.longName;
    const std::string argument = option.argument;
    if (!argument.empty())
        names += (argument[0] == '[' ? "" : " ") + argument;
    return roffForm(names);
}

std::string options()
{
    std::string out = section("OPTIONS") +
                      paragraphs({"Options stand before the command, each by itself. A long option takes its "
                                  "argument after a space or after '='."});
    for (const Option &option : optionTable())
        out += roffTagged(optionTag(option), roff(option.help));
    return out;
}

std::string commands()
{
    std::string out =
        section("COMMANDS") +
        paragraphs(
            {"A command is an object and a verb, with arguments. Both may be abbreviated: an object to "
             "the first one here that begins so, a verb to what no other verb of the object begins "
             "with."});
    for (const NamedHelp &object : objectTable()) {
        out += ".SS " + roff(object.name) + '\n' + roff(object.help) + '\n';
        for (const Command &command : allCommands()) {
            if (object.name != command.object)
                continue;
            std::string form = command.object;
            for (const char *part : {command.verb, command.arguments})
                form += *part == '\0' ? "" : std::string(" ") + part;
            out += roffTagged(roffForm(form), roff(command.help));
        }
    }
    out += ".SS other commands\n";
    for (const NamedHelp &command : commandsWithoutDevice())
        out += roffTagged(roffForm(command.name), roff(command.help));
    return out;
}

std::string wordSection(const std::string &name, const std::string &text, const std::vector<WordForm> &forms)
{
    std::string out = section(name) + paragraphs({text});
    for (const WordForm &form : forms)
        out += roffTagged("\\fB" + roff(form.word) + "\\fR", roff(form.values));
    return out;
}

std::string words()
{
    std::string arguments = section("ARGUMENTS");
    for (const NamedHelp &row : placeholders())
        arguments += roffTagged(roffForm(row.name), roff(row.help));
    return arguments +
           wordSection("CONDITIONS", "The keys of a match. All conditions of a rule must hold.",
                       matchWordForms()) +
           wordSection("ACTIONS", "The words of an action.", actionWordForms());
}

std::string prompt()
{
    return section("PROMPT") +
           paragraphs(
               {"Without a command and without a batch, and if standard input and output are a terminal, the "
                "program prompts for commands, " +
                    promptKind() + ".",
                "Each command runs as if it were called alone: it reads the state, and writes what it "
                "changed. "
                "A chip without a state file lasts until the prompt ends. A command that fails does not end "
                "the prompt. Ctrl-C drops the line, or ends the command that runs. 'quit', 'exit' or Ctrl-D "
                "ends the prompt with exit status 0. A line that ends with a backslash continues in the next "
                "one."});
}

std::string files()
{
    const std::vector<NamedHelp> rows = {
        {"$XDG_STATE_HOME/ifcctl/chip.state",
         "The simulated chip between two commands, if no other file is named. Without that variable: "
         "~/.local/state/ifcctl/chip.state. FILE.lock beside it is its lock, and FILE.new exists while it is "
         "written."},
        {"$XDG_STATE_HOME/ifcctl/history",
         "The last lines of the prompt, one a line. Only its owner may read it."},
        {"/sys/kernel/debug/ifc", "The files of the kernel module, for --device debugfs."},
        {"~/.editrc", "Settings of line editing for all programs that use libedit."},
    };
    return section("FILES") + tagged(rows);
}

std::string environment()
{
    const std::vector<NamedHelp> rows = {
        {"IFC_STATE", "The state file, or none, if there is no option --state."},
        {"XDG_STATE_HOME", "The folder of the user's state, an absolute path; else ~/.local/state."},
        {"COLUMNS", "The width of the output; else that of the terminal, else 100."},
        {"NO_COLOR", "Not empty: no colour, unless the command line asks for it."},
        {"TERM", "The terminal. With 'dumb' or nothing the prompt reads plain lines, without colour."},
        {"LC_ALL, LC_CTYPE, LANG", "In a UTF-8 locale pictures are drawn with line characters."},
    };
    return section("ENVIRONMENT") + tagged(rows);
}

std::string exampleLines()
{
    std::string out = section("EXAMPLES");
    for (const NamedHelp &example : examples())
        out += (out.back() == '\n' && out.size() > sizeof ".SH EXAMPLES" ? ".PP\n" : "") +
               roff(example.help) + "\n.PP\n.RS\n.EX\n" + roff(example.name) + "\n.EE\n.RE\n";
    return out;
}

} // namespace

std::string manualPage()
{
    return ".\\\" SPDX-License-Identifier: MIT OR GPL-2.0\n.\\\" Written by 'ifcctl help man'.\n.TH IFCCTL "
           "8 " +
           today() + " \"" + versionText().substr(0, versionText().find('\n')) +
           "\" \"System Manager's Manual\"\n" + section("NAME") +
           "ifcctl \\- program and query a packet classifier\n" + section("SYNOPSIS") +
           roffForm("ifcctl [OPTION...] COMMAND") + "\n.br\n" + roffForm("ifcctl [OPTION...] -b FILE") +
           "\n.br\n" + roffForm("ifcctl [OPTION...]") + '\n' + section("DESCRIPTION") +
           paragraphs(
               {"The program writes ordered rules into a packet classifier, shows what its tables hold, "
                "and says why a frame was hit or was not. Of all rules that match a frame, the first "
                "one decides.",
                "By default the classifier is simulated in this program, and a state file keeps it "
                "between two commands. With --device debugfs it is that of a loaded kernel module.",
                "With -b a file of commands runs as a batch, one command a line, up to the first that "
                "fails. '#' begins a comment. A line that ends with a backslash continues in the next "
                "one. A batch starts with a fresh chip unless --state or IFC_STATE names a file."}) +
           options() + commands() + words() + prompt() + section("EXIT STATUS") + tagged(exitCodeTable()) +
           files() + environment() + exampleLines();
}

} // namespace ifcctl
