// SPDX-License-Identifier: MIT OR GPL-2.0
#include "bash_completion.h"

#include "command_words.h"
#include "completion.h"
#include "rule_numbers.h"

#include "tools/ifcctl/commands/option_table.h"
#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/device/chip_path.h"
#include "tools/state/state_file.h"

namespace ifcctl
{

namespace
{

const std::string kFile = "<file>";

Words numbersFor(const Words &words)
{
    try {
        CommandLine line = readCommandLine(words);
        line.options.state = namedChipPath(line.stateFile).value_or(state::defaultPath());
        return ruleNumbersOf(line.options);
    } catch (const Error &) {
        return {};
    }
}

} // namespace

std::string bashAnswer(const std::string &line)
{
    LineBeginning read = splitCommandLine(line);
    if (read.before.empty())
        return "";
    read.before.erase(read.before.begin()); // the program
    const Completion found =
        completeProgram(read.before, read.partial, [&read] { return numbersFor(read.before); });
    std::string answer;
    for (const std::string &word : found.words)
        answer += word + '\n';
    return found.files ? answer + kFile + '\n' : answer;
}

} // namespace ifcctl
