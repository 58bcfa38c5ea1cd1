// SPDX-License-Identifier: MIT OR GPL-2.0
// The words of a match: the field of each, and the values that have names.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ifcctl
{

struct MatchWord {
    enum class Kind {
        Field,     // one field
        Versioned, // a field that depends on the IP version of the rule
        Address,   // an IPv4 address, or the four words of an IPv6 address
    };
    Kind kind;
    unsigned field;  // the version 4 field of the other kinds
    unsigned field6; // Versioned: the version 6 field. Address: the word with bits 31..0
};

// Nothing: the word is not known.
std::optional<MatchWord> findMatchWord(const std::string &word);

// Every word, for messages and the manual.
std::string knownMatchWords();

// A value that has a name in this field, such as `udp`.
std::optional<uint64_t> namedValue(unsigned field, const std::string &name);
std::string namesOfValues(unsigned field); // separated by spaces; "" if the field has none

} // namespace ifcctl
