// SPDX-License-Identifier: MIT OR GPL-2.0
// Text for a terminal of some width.
#pragma once

#include <string>

namespace ifcctl
{

// Columns of standard output: COLUMNS in the environment, else those of the terminal, else 100.
unsigned outputWidth();

// The text in lines of at most `width` columns where its words allow it. Lines break at spaces; those after
// the first begin with `indent` spaces, and `more` stands at the end of those before the last, which has room
// for it. Each line ends with a line end.
std::string wrapped(const std::string &text, unsigned width, unsigned indent, const std::string &more = "");

} // namespace ifcctl
