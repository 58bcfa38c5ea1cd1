// SPDX-License-Identifier: MIT OR GPL-2.0
// Which rule owns which entry of the two tables, and where free runs are. Read from the shadow.
#pragma once

#include "rules.h"

#include "ifc/ifc_glb.h"

#include <nlohmann/json.hpp>

#include <vector>

namespace ifcctl
{

enum class OwnerState {
    Rule,
    NoEnd,        // a chain without an end flag: it never hits
    NeverHits,    // a chain with an entry that names no field
    NotInHardware // a LUT0 rule on a revision whose LUT0 is not written
};

struct MapOwner {
    PlacedRule placed;
    OwnerState state;
};

// Neighbouring entries with one owner, or neighbouring free entries. In LUT0 each segment is one rule. In
// LUT1 none crosses the border of the sub-tables.
struct MapSegment {
    unsigned first;
    unsigned entries;
    int owner; // index of TableMap::owners; kFree: free
    unsigned last() const { return first + entries - 1; }
};
constexpr int kFree = -1;

struct TableMap {
    std::vector<MapOwner> owners; // by number: the first that hits decides
    std::vector<MapSegment> lut0; // all entries, in order
    std::vector<MapSegment> lut1;
    bool lut0Works; // false: this revision does not use LUT0

    unsigned freeOf(const std::vector<MapSegment> &table) const;
};

TableMap tableMap(int revision);

// "rule", "no end flag", ...
const char *stateName(OwnerState state);

// {"lut0":{"size":8,"free":7,"entries":[...]},"lut1":{...,"free_runs":[...]},"rules":[...]}
nlohmann::ordered_json toJson(const TableMap &map);

} // namespace ifcctl
