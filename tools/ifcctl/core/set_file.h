// SPDX-License-Identifier: MIT OR GPL-2.0
// A file of rules, the whole wanted state: lines of `rule add`, and of switches.
#pragma once

#include "ruleset/ruleset.h"

#include <optional>
#include <string>
#include <vector>

namespace ifcctl
{

struct SetFile {
    std::string name;            // for messages
    std::vector<ifc_rule> rules; // in deciding order
    std::vector<unsigned> lines; // of each rule, from 1
    // A switch that the file does not name stays as it is.
    std::optional<bool> ppe;
    std::optional<bool> classifier;

    // "FILE:LINE" of a rule.
    std::string placeOf(unsigned rule) const { return name + ':' + std::to_string(lines[rule]); }
};

// Reads the whole file; "-" is standard input. Throws Error, which names file, line and reason.
//
//   rule add MATCH... [action WORD...]    each rule, the one that decides first before the others
//   ppe on|off, classifier enable|disable once each, anywhere
//   udf N network OFFSET                  where UDFn is taken from. The device has no register for it: only
//                                         the model's place is accepted, which is 2 * N
SetFile readSetFile(const std::string &path, int revision);

// The lines of such a file.
std::string setFileText(const std::vector<ifc_rule> &rules, bool ppe, bool classifier, int revision);

} // namespace ifcctl
