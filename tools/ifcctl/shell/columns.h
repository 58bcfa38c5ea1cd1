// SPDX-License-Identifier: MIT OR GPL-2.0
// Lists of words on a terminal.
#pragma once

#include "tools/ifcctl/core/word_reader.h"

#include <string>

namespace ifcctl
{

// The words in columns of equal width, from top to bottom, in lines of at most `width` columns. Of a file
// name only the last part.
std::string inColumns(const Words &words, unsigned width);

} // namespace ifcctl
