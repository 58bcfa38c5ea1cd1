// SPDX-License-Identifier: MIT OR GPL-2.0
// The conditions of a rule as operators write them, and the request that the rule layer takes.
#pragma once

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

using Match = std::vector<Condition>;
using Words = std::vector<std::string>;

unsigned fieldWidth(unsigned field);
std::string fieldName(unsigned field); // the enumeration's name; UDF0 to UDF15
const char *commandName(unsigned command);

// Reads KEY [eq|ne|ge|le] VALUE[/MASK] from words[at] on, until the end or `until`.
Match parseMatch(const Words &words, size_t &at, const std::string &until);

// A MAC condition goes last if it is the only one: only there the automatic deletion finds it.
void putMacLast(Match &match);

// The request as the command handler reads it.
std::string requestText(const Match &match);

bool isMacField(unsigned field);
unsigned entryCount(const Match &match); // LUT1 entries that the placement reserves

// The reduced form of the mask (see ifc_util.h), or 0xFFFFFFFF. Prints nothing.
uint32_t reducedMask(const Condition &condition);
// The mask that a LUT1 entry with this reduced mask really compares.
uint64_t expandedMask(unsigned field, uint32_t reduced);

// Why the automatic deletion cannot find this rule in LUT1 (or at all); empty if it can.
std::string whyNotDeletable(const Match &match);

// For the manual and for messages: every accepted word.
std::string knownMatchWords();

} // namespace ifcctl
