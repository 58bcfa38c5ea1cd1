// SPDX-License-Identifier: MIT OR GPL-2.0
// The words of a command line as a shell reads them: quotes and backslashes are removed.
#pragma once

#include "tools/ifcctl/core/word_reader.h"

#include <string>

namespace ifcctl
{

struct LineBeginning {
    Words before;        // complete words
    std::string partial; // the word at the end; "" after a space
};

LineBeginning splitCommandLine(const std::string &line);

} // namespace ifcctl
