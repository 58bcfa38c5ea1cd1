// SPDX-License-Identifier: MIT OR GPL-2.0
// The nearest known word to a mistyped one.
#pragma once

#include <string>
#include <vector>

namespace ifcctl
{

std::string lowerCase(std::string text);

// The known word at the least edit distance: missing, added, replaced and swapped letters count one each,
// capitals none. Of several the first, but before it one that has all letters of the mistyped word. "" if
// none is near. Allowed is one error for every three letters, and at least one.
std::string nearestWord(const std::string &given, const std::vector<std::string> &known);

// The same, as the end of a message: "; did you mean dst_port?", or "".
std::string didYouMean(const std::string &given, const std::vector<std::string> &known);

} // namespace ifcctl
