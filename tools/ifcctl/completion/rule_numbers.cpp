// SPDX-License-Identifier: MIT OR GPL-2.0
#include "rule_numbers.h"

#include "tools/ifcctl/core/rules.h"
#include "tools/state/chip_state.h"
#include "tools/state/state_file.h"

#include "ifc/ifc_glb.h"

#include <cstring>

namespace ifcctl
{

namespace
{

Words placedNumbers()
{
    Words numbers;
    for (const PlacedRule &rule : placedRules())
        numbers.push_back(std::to_string(rule.id));
    return numbers;
}

// Reads one of the module's table files. False: it has another size.
template <typename Table>
bool readTable(const std::string &path, Table &table)
{
    const auto bytes = state::readUnlocked(path);
    if (!bytes || bytes->size() != sizeof table)
        return false;
    std::memcpy(&table, bytes->data(), sizeof table);
    return true;
}

Words numbersOfModule(const std::string &folder)
{
    if (!readTable(folder + "/lut0", IFC_LUT0_Rule) || !readTable(folder + "/lut1", IFC_LUT1_Rule))
        return {};
    return placedNumbers();
}

// Of the simulated chip; "" if it was never kept.
std::string bytesOf(const Options &options)
{
    if (options.memory)
        return *options.memory;
    return options.state.empty() ? "" : state::readUnlocked(options.state).value_or("");
}

} // namespace

Words ruleNumbersOf(const Options &options)
{
    try {
        if (const auto folder = moduleFolder(options.device))
            return numbersOfModule(*folder);
        const std::string bytes = bytesOf(options);
        state::ChipState chip;
        if (state::decode(bytes, chip) != state::Damage::None)
            return {};
        std::memcpy(IFC_LUT0_Rule, chip.shadowLut0, sizeof chip.shadowLut0);
        std::memcpy(IFC_LUT1_Rule, chip.shadowLut1, sizeof chip.shadowLut1);
        return placedNumbers();
    } catch (const state::FileError &) {
        return {};
    }
}

} // namespace ifcctl
