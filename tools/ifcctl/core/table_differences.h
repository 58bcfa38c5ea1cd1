// SPDX-License-Identifier: MIT OR GPL-2.0
// Compares two images of a table entry bit by bit, and reports by rule and field.
#pragma once

#include "ifc/ifc_glb.h"

#include <optional>
#include <string>
#include <vector>

namespace ifcctl
{

struct TableDifference {
    std::optional<unsigned> rule; // number of the rule of the shadow
    std::string entry;            // LUT0-3, LUT1-12
    std::string part;             // "DPORT key", "valid", "word 0 bits without a meaning"
    uint64_t hardware;
    uint64_t shadow;
};

// Each bit that differs is in exactly one difference. `n` is the entry of the table.
void compareWide(unsigned n, const IFC_LUT0_Format &hardware, const IFC_LUT0_Format &shadow,
                 std::vector<TableDifference> &differences);
// The rule is found in IFC_LUT1_Rule.
void compareNarrow(unsigned n, const IFC_LUT1_Format &hardware, const IFC_LUT1_Format &shadow,
                   std::vector<TableDifference> &differences);

} // namespace ifcctl
