// SPDX-License-Identifier: MIT OR GPL-2.0
// Text in the language of man(7).
#pragma once

#include <string>

namespace ifcctl
{

// The text as it is to be read. Dashes, quotes and backslashes keep their shape, so that words can be copied.
std::string roff(const std::string &text);

// A form of words (see Command::arguments): words bold, placeholders in italics, brackets and dots plain.
std::string roffForm(const std::string &form);

// A paragraph with a tag before it.
std::string roffTagged(const std::string &tag, const std::string &text);

} // namespace ifcctl
