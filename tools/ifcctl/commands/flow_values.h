// SPDX-License-Identifier: MIT OR GPL-2.0
// Values and masks of testpmd's patterns in the words of MATCH.
#pragma once

#include <string>

namespace ifcctl
{

// VALUE/MASK for a word of MATCH. As in testpmd, bits outside the mask count as 0, and a prefix is a number
// of leading bits of any field. `key` names the field in messages. What is no value or no mask stays as it
// is: the reader of MATCH refuses it. Throws Error for a prefix that does not fit.
std::string maskedValue(const std::string &key, const std::string &word, const std::string &value,
                        const std::string &mask, bool isPrefix);

} // namespace ifcctl
