// SPDX-License-Identifier: MIT OR GPL-2.0
// Any file of rules for `ifcctl set load`: it is refused with a message that names its line, or read. Rules
// that were read are well-formed, and their text reads back as the same rules. Input: the chip's revision (1
// byte), then the file.
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/set_file.h"

namespace
{

ifcctl::SetFile read(const std::string &text, int revision)
{
    std::istringstream file(text);
    return ifcctl::readSet(file, "file", revision);
}

void require(bool holds)
{
    if (!holds)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const int revision = data[0] % 16;
    ifcctl::SetFile set;
    try {
        set = read({reinterpret_cast<const char *>(data) + 1, size - 1}, revision);
    } catch (const ifcctl::Error &error) {
        require(error.text().rfind("file:", 0) == 0);
        require(ifcctl::exitCodeOf(error.reason()) == ifcctl::kExitUsage ||
                ifcctl::exitCodeOf(error.reason()) == ifcctl::kExitRefused);
        return 0;
    }
    require(set.rules.size() == set.lines.size() && set.rules.size() <= IFC_RULESET_RULES);
    for (const ifc_rule &rule : set.rules)
        require(ifc_rule_check(&rule, nullptr) == IFC_RULESET_OK);

    const bool ppe = set.ppe.value_or(true);
    const ifcctl::SetFile again =
        read(ifcctl::setFileText(set.rules, ppe, set.classifier.value_or(false), revision), revision);
    require(again.ppe == ppe && again.classifier == set.classifier.value_or(false));
    require(again.rules.size() == set.rules.size());
    for (size_t n = 0; n < set.rules.size(); ++n) {
        require(ifc_rule_repeats(&again.rules[n], &set.rules[n]) != 0);
        require(std::memcmp(&again.rules[n].action, &set.rules[n].action, sizeof set.rules[n].action) == 0);
    }
    return 0;
}
