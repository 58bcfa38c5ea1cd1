// SPDX-License-Identifier: MIT OR GPL-2.0
// The words of a match: the field of each, and the values that have names.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ifcctl
{

struct MatchWord {
    enum class Kind {
        Field,     // a field, or some bits of it
        Versioned, // the same, but the field depends on the rule's IP version
        Address,   // an IPv4 address, or the four words of an IPv6 address
    };
    Kind kind;
    unsigned field;  // the version 4 field of the other kinds
    unsigned field6; // Versioned: the version 6 field. Address: the word with bits 31..0
    unsigned lsb;    // the bits of the field that the word names
    unsigned width;
    // The field's own name, such as VID0. Its conditions are not checked against each other.
    bool asItStands;

    bool isWholeField() const;
};

// Nothing: unknown word.
std::optional<MatchWord> findMatchWord(const std::string &word);

// Every word in lower case, in alphabetical order.
const std::vector<std::string> &matchWords();

// The end of a message about an unknown word: "; did you mean dst_port?", or "". It also knows names of
// values (`tcp`), upper case, and words of other tools (`vlan`, `proto`).
std::string didYouMeanMatch(const std::string &given);

// True: the field's own name in lower case, if a clearer word means the same or there are many such fields.
bool isOtherName(const std::string &word);

// The values that the word accepts, for messages.
std::string acceptedValues(const MatchWord &word);

// A value that has a name under this word, such as `udp`.
std::optional<uint64_t> namedValue(const MatchWord &word, const std::string &name);
std::string namesOfValues(const MatchWord &word); // separated by spaces; "" if no value has a name
// "" if it has none.
std::string nameOfValue(const MatchWord &word, uint64_t value);

// The comparison (enum ifc_compare) that the word between key and value names.
std::optional<unsigned> compareOf(const std::string &word);

// The code points of RFC 2474, 2597, 3246 and 5865.
std::optional<uint64_t> codePointOf(const std::string &name);
std::string nameOfCodePoint(uint64_t codePoint); // "" if it has none
std::string namesOfCodePoints();
constexpr unsigned kCodePointLsb = 2; // in the octet; ECN is below
constexpr unsigned kCodePointWidth = 6;

} // namespace ifcctl
