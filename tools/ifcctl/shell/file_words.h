// SPDX-License-Identifier: MIT OR GPL-2.0
// File names for completion.
#pragma once

#include "tools/ifcctl/core/word_reader.h"

#include <string>

namespace ifcctl
{

// The names that begin with `partial`, in alphabetical order; those of folders end with '/'. A name that
// cannot be a word of a line, because of a space or '#', is left out; so is a hidden one, unless its dot is
// given.
Words fileWords(const std::string &partial);

} // namespace ifcctl
