// SPDX-License-Identifier: MIT OR GPL-2.0
// A file with the whole wanted state: lines of `rule add`, and switches.
#pragma once

#include "ruleset/ruleset.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace ifcctl
{

struct SetFile {
    std::string name;            // for messages
    std::vector<ifc_rule> rules; // in the order in which they decide
    std::vector<unsigned> lines; // of each rule, from 1
    // A switch that the file does not name stays as it is.
    std::optional<bool> ppe;
    std::optional<bool> classifier;

    // "FILE:LINE" of a rule.
    std::string placeOf(unsigned rule) const { return name + ':' + std::to_string(lines[rule]); }
};

// Reads the whole file; "-" is standard input. Throws Error, which names file, line and reason.
//
//   rule add MATCH... [action WORD...]    the rules, in the order in which they decide
//   ppe on|off, classifier enable|disable once each, on any line, and once more after the rules: the last
//                                         one counts
//   udf N network OFFSET                  where UDFn is taken from. The device has no register for it: only
//                                         the model's place is accepted, which is 2 * N
SetFile readSetFile(const std::string &path, int revision);

// The same from an open file; `name` is its name in messages.
SetFile readSet(std::istream &file, const std::string &name, int revision);

// Lines of such a file around those of the rules. A file runs as a batch too, where an action that needs the
// PPE is accepted only while the PPE is on. So the switch may go on before the rules, and off after them.
struct SwitchLines {
    std::string before;
    std::string after;
};
SwitchLines switchLines(const std::vector<ifc_rule> &rules, bool ppe, bool classifier);

// The lines of such a file.
std::string setFileText(const std::vector<ifc_rule> &rules, bool ppe, bool classifier, int revision);

} // namespace ifcctl
