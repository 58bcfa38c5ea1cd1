// SPDX-License-Identifier: MIT OR GPL-2.0
// What somebody meant who mistyped a word.
#pragma once

#include <string>
#include <vector>

namespace ifcctl
{

// The known word with the fewest typing errors to the given one: letters that are missing, added, replaced or
// swapped. "" if none is near: one error for every three letters, at least one.
std::string nearestWord(const std::string &given, const std::vector<std::string> &known);

// The same as the end of a message: "; did you mean dst_port?", or "".
std::string didYouMean(const std::string &given, const std::vector<std::string> &known);

} // namespace ifcctl
