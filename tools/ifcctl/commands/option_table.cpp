// SPDX-License-Identifier: MIT OR GPL-2.0
#include "option_table.h"

#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/nearest_word.h"
#include "tools/ifcctl/core/values.h"

#include <algorithm>

namespace ifcctl
{

namespace
{

unsigned numberOf(const char *option, const std::string &value, unsigned most)
{
    const auto number = parseNumber(value);
    if (!number || *number > most)
        throw usage(option, value, "a number from 0 to " + std::to_string(most));
    return static_cast<unsigned>(*number);
}

std::string notEmpty(const char *option, const std::string &value, const char *accepted)
{
    if (value.empty())
        throw usage(option, value, accepted);
    return value;
}

using Line = CommandLine;
using Text = const std::string &;

bool takesValue(const Option &option)
{
    return *option.argument != '\0' && *option.argument != '[';
}

const Option *findOption(const std::string &name)
{
    const auto &table = optionTable();
    const auto found = std::find_if(table.begin(), table.end(), [&](const Option &option) {
        return name == option.longName || (*option.shortName != '\0' && name == option.shortName) ||
               (name == "-color" && option.longName == std::string("--color"));
    });
    return found == table.end() ? nullptr : &*found;
}

[[noreturn]] void refuseUnknown(const std::string &argument)
{
    Words known;
    for (const Option &option : optionTable())
        known.emplace_back(option.longName);
    const bool oneDash = argument.size() > 2 && argument[1] != '-';
    const std::string meant = oneDash ? '-' + argument : argument;
    std::string accepted = "an option that 'ifcctl --help' lists";
    if (oneDash)
        accepted += ", short ones apart, long ones with two dashes";
    throw usage("option", argument,
                accepted + (findOption(meant) != nullptr ? "; did you mean " + meant + "?"
                                                         : didYouMean(meant, known)));
}

} // namespace

const std::vector<Option> &optionTable()
{
    static const std::vector<Option> table = {
        {"-b", "--batch", "FILE", "run the commands of a file, one a line; - for standard input", false,
         [](Line &line, Text value) {
             line.batch = value;
             line.isBatch = true;
         }},
        {"-j", "--json", "", "print JSON, one document for each command", false,
         [](Line &line, Text) { line.options.json = true; }},
        {"-p", "--pretty", "", "with -j: indented JSON", false,
         [](Line &line, Text) { line.options.pretty = true; }},
        {"-s", "--statistics", "", "rule show: packets and bytes in a table; counter show: all entries",
         false, [](Line &line, Text) { line.options.statistics = true; }},
        {"-d", "--details", "", "rule show: by place, a line for each condition", false,
         [](Line &line, Text) { line.options.details = true; }},
        {"-br", "--brief", "", "rule show: a line for each rule; set load, frame replay: only the totals",
         false, [](Line &line, Text) { line.options.brief = true; }},
        {"-c", "--color", "[=WHEN]", "colour: auto (default), always or never; -c alone: always", false,
         [](Line &line, Text value) {
             const Words &choices = colourWords();
             const auto found = std::find(choices.begin(), choices.end(), value.empty() ? choices[1] : value);
             if (found == choices.end())
                 throw usage("--color", value, "auto, always or never");
             line.colour = static_cast<ColourChoice>(found - choices.begin());
         }},
        {"-n", "--dry-run", "", "run on a copy of the chip: nothing is changed or kept", false,
         [](Line &line, Text) { line.options.dryRun = true; }},
        {"-force", "--force", "", "after an error in a batch go on with the next line", false,
         [](Line &line, Text) { line.goesOn = true; }},
        {"", "--strict", "", "refuse a rule that never decides a frame, instead of a warning", false,
         [](Line &line, Text) { line.options.strict = true; }},
        {"", "--keep-order", "", "do not put a MAC condition last", false,
         [](Line &line, Text) { line.options.keepOrder = true; }},
        {"", "--inexact", "",
         "with auto: store a MAC mask wider than asked, and let a deletion take other rules along", false,
         [](Line &line, Text) { line.options.inexact = true; }},
        {"", "--device", "DEVICE",
         "sim: a driver of its own on a simulated chip (default); debugfs[:FOLDER]: a loaded ifc.ko", false,
         [](Line &line, Text value) { line.options.device = value; }},
        {"", "--state", "FILE",
         "the file that keeps the simulated chip, else IFC_STATE, else the user's; none: a fresh chip", true,
         [](Line &line, Text value) { line.stateFile = notEmpty("--state", value, "a file, or none"); }},
        {"", "--trace", "FILE", "write every register access to this file", true,
         [](Line &line, Text value) { line.options.traceFile = value; }},
        {"", "--revision", "N", "the chip's revision, 0 to 255; 12, 14 and 15 are special", true,
         [](Line &line, Text value) {
             line.options.revision = static_cast<int>(numberOf("--revision", value, UINT8_MAX));
             line.options.revisionGiven = true;
         }},
        {"", "--done-after", "N", "the done bit is set at this read of a transfer, 0 to 255; 0: never", true,
         [](Line &line, Text value) { line.options.doneAfter = numberOf("--done-after", value, UINT8_MAX); }},
        {"", "--debug", "0|1|2|3", "debug level; the rule layer's messages go to standard error", false,
         [](Line &line, Text value) { line.options.debug = numberOf("--debug", value, 3); }},
        {"-V", "--version", "", "print the version", false, [](Line &line, Text) { line.version = true; }},
        {"-h", "--help", "", "print options and commands", false, [](Line &line, Text) { line.help = true; }},
    };
    return table;
}

CommandLine readCommandLine(const Words &arguments)
{
    CommandLine line;
    std::vector<const Option *> given;
    size_t at = 0;
    for (; at < arguments.size(); ++at) {
        const std::string &argument = arguments[at];
        if (argument.size() < 2 || argument[0] != '-')
            break;
        if (argument == "--") {
            ++at;
            break;
        }
        const size_t sign = argument.find('=');
        const std::string name = argument.substr(0, sign);
        const Option *option = findOption(name);
        if (option == nullptr)
            refuseUnknown(name);
        std::string value;
        if (sign != std::string::npos) {
            if (*option->argument == '\0')
                throw usage(name, argument.substr(sign + 1), "no value");
            value = argument.substr(sign + 1);
        } else if (takesValue(*option)) {
            if (at + 1 == arguments.size())
                throw usage(name, "", std::string(option->argument) + ": " + option->help);
            value = arguments[++at];
        }
        if (takesValue(*option) && std::find(given.begin(), given.end(), option) != given.end())
            throw usage(name, value, "the option once");
        option->take(line, value);
        given.push_back(option);
    }
    line.words.assign(arguments.begin() + static_cast<std::ptrdiff_t>(at), arguments.end());
    for (const Option *option : given)
        if (option->simulationOnly && line.options.device != kSimulatedDevice)
            throw usage(option->longName, line.options.device, "this option only with --device sim");
    return line;
}

} // namespace ifcctl
