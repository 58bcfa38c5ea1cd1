// SPDX-License-Identifier: MIT OR GPL-2.0
// Wraps text at the width of a terminal.
#pragma once

#include <string>

namespace ifcctl
{

// Columns of standard output: COLUMNS in the environment, else those of the terminal, else 100. Less
// than 20 counts as not given.
unsigned outputWidth();

// The same; 0 if neither COLUMNS nor a terminal gives a width.
unsigned givenWidth();

// Breaks the text at spaces into lines of at most `width` columns, if its words are short enough. Every line
// but the first starts with `indent` spaces. Every line but the last ends with `more`, which counts as part
// of its width. `prefix` begins every line but the first,
// before the indent. Each line ends with a line end.
std::string wrapped(const std::string &text, unsigned width, unsigned indent, const std::string &more = "",
                    const std::string &prefix = "");

} // namespace ifcctl
