// SPDX-License-Identifier: MIT OR GPL-2.0
#include "program_facts.h"

#include "tools/ifcctl/core/errors.h"

namespace ifcctl
{

const std::vector<NamedHelp> &commandsWithoutDevice()
{
    static const std::vector<NamedHelp> table = {
        {"help [OBJECT [VERB]]", "this list, or the commands of an object with their words"},
        {"completion bash", "a script for bash that completes command lines"},
    };
    return table;
}

const std::vector<NamedHelp> &exitCodeTable()
{
    static const std::vector<NamedHelp> table = {
        {std::to_string(kExitDone), "done"},
        {std::to_string(kExitDiffers), "set diff found a difference"},
        {std::to_string(kExitUsage), "usage"},
        {std::to_string(kExitRefused), "refused by the rule layer"},
        {std::to_string(kExitTimeout), "hardware time-out"},
        {std::to_string(kExitDevice), "device failed"},
        {std::to_string(kExitOutput), "output failed"},
    };
    return table;
}

std::string promptKind()
{
#ifdef IFCCTL_LIBEDIT
    return "with history, and with completion by the Tab key";
#else
    return "in plain lines (this program was built without libedit)";
#endif
}

} // namespace ifcctl
