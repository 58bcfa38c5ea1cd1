// SPDX-License-Identifier: MIT OR GPL-2.0
// The conditions of a rule, and the request that the rule layer takes.
#pragma once

#include "word_reader.h"

#include "ifc/ifc_glb.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ifcctl
{

struct Condition {
    unsigned field = 0;
    unsigned command = 0;
    uint64_t mask = 0;
    uint64_t key = 0;
    std::string word; // as written, for messages
    std::string value;
};

// The same comparison, however it was written?
bool sameComparison(const Condition &one, const Condition &other);

using Match = std::vector<Condition>;

unsigned fieldWidth(unsigned field);
std::string fieldName(unsigned field); // the enumeration's name; UDF0 to UDF15
const char *commandName(unsigned command);

// Reads KEY [eq|ne|ge|le] VALUE[/MASK] up to the end of the line or to the word `until`. Throws Error.
Match parseMatch(WordReader &words, const std::string &until);

// Moves a MAC condition to the end if it is the only one: the automatic deletion finds it only there.
void putMacLast(Match &match);

// The request as the command handler reads it.
std::string requestText(const Match &match);

bool isMacField(unsigned field);
bool isIpv6Field(unsigned field);        // a word of an IPv6 address
unsigned entryCount(const Match &match); // LUT1 entries that the placement reserves

// The reduced form of the mask (see ifc_util.h), or 0xFFFFFFFF. Prints nothing.
uint32_t reducedMask(const Condition &condition);
// The mask that a LUT1 entry with this reduced mask really compares.
uint64_t expandedMask(unsigned field, uint32_t reduced);

} // namespace ifcctl
