// SPDX-License-Identifier: MIT OR GPL-2.0
#include "table_map.h"

#include "rule_words.h"

#include "ifc/records/chip.h"
#include "ifc/records/narrow_record.h"

namespace ifcctl
{

namespace
{

OwnerState stateOf(const PlacedRule &rule, int revision)
{
    if (rule.lut0)
        return ifc::hasWritableLut0(revision) ? OwnerState::Rule : OwnerState::NotInHardware;
    if (!rule.complete)
        return OwnerState::NoEnd;
    return rule.rule.count == 0 ? OwnerState::NeverHits : OwnerState::Rule;
}

int ownerAt(const std::vector<MapOwner> &owners, bool lut0, unsigned entry)
{
    for (size_t n = 0; n < owners.size(); ++n) {
        const PlacedRule &rule = owners[n].placed;
        if (rule.lut0 == lut0 && entry >= rule.first && entry <= rule.last)
            return static_cast<int>(n);
    }
    return kFree;
}

nlohmann::ordered_json segmentEntryJson(const TableMap &map, const MapSegment &segment, unsigned entry)
{
    nlohmann::ordered_json json = {{"entry", entry}};
    if (segment.owner == kFree) {
        json["state"] = "free";
        return json;
    }
    const MapOwner &owner = map.owners[static_cast<size_t>(segment.owner)];
    json["state"] = stateName(owner.state);
    json["rule"] = owner.placed.id;
    return json;
}

} // namespace

unsigned TableMap::freeOf(const std::vector<MapSegment> &table) const
{
    unsigned free = 0;
    for (const MapSegment &segment : table)
        free += segment.owner == kFree ? segment.entries : 0;
    return free;
}

TableMap tableMap(int revision)
{
    TableMap map{};
    map.lut0Works = ifc::hasWritableLut0(revision);
    for (PlacedRule &rule : placedRules())
        map.owners.push_back({rule, stateOf(rule, revision)});
    for (unsigned entry = 0; entry < IFC_LUT0_RULES; ++entry)
        map.lut0.push_back({entry, 1, ownerAt(map.owners, true, entry)});
    for (unsigned entry = 0; entry < IFC_LUT1_RULES; ++entry) {
        const int owner = ownerAt(map.owners, false, entry);
        if (entry % IFC_LUT1_SUB_TABLE != 0 && map.lut1.back().owner == owner)
            ++map.lut1.back().entries;
        else
            map.lut1.push_back({entry, 1, owner});
    }
    return map;
}

const char *stateName(OwnerState state)
{
    switch (state) {
    case OwnerState::Rule:
        return "rule";
    case OwnerState::NoEnd:
        return "no end flag";
    case OwnerState::NeverHits:
        return "no field";
    default:
        return "not in hardware";
    }
}

nlohmann::ordered_json toJson(const TableMap &map)
{
    nlohmann::ordered_json wide = {{"size", IFC_LUT0_RULES},
                                   {"free", map.lut0Works ? map.freeOf(map.lut0) : 0},
                                   {"used_by_chip", map.lut0Works},
                                   {"entries", nlohmann::ordered_json::array()}};
    for (const MapSegment &segment : map.lut0)
        wide["entries"].push_back(segmentEntryJson(map, segment, segment.first));

    nlohmann::ordered_json narrow = {{"size", IFC_LUT1_RULES},
                                     {"sub_table", IFC_LUT1_SUB_TABLE},
                                     {"free", map.freeOf(map.lut1)},
                                     {"free_runs", nlohmann::ordered_json::array()},
                                     {"entries", nlohmann::ordered_json::array()}};
    for (const MapSegment &segment : map.lut1) {
        if (segment.owner == kFree)
            narrow["free_runs"].push_back({{"first", segment.first}, {"entries", segment.entries}});
        for (unsigned entry = segment.first; entry <= segment.last(); ++entry) {
            auto json = segmentEntryJson(map, segment, entry);
            if (segment.owner != kFree) {
                const uint32_t *words = IFC_LUT1_Rule[entry].word;
                const char *field = ifc::fieldName(ifc::narrowField(words));
                json["field"] =
                    field == nullptr ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(field);
                json["end"] = ifc::narrowEnd(words);
            }
            narrow["entries"].push_back(json);
        }
    }
    auto rules = nlohmann::ordered_json::array();
    for (const MapOwner &owner : map.owners) {
        auto json = toJson(owner.placed);
        json["state"] = stateName(owner.state);
        rules.push_back(json);
    }
    return {{"lut0", wide}, {"lut1", narrow}, {"rules", rules}};
}

} // namespace ifcctl
