// SPDX-License-Identifier: MIT OR GPL-2.0
// All that a report shows.
#pragma once

#include "tools/ifcctl/core/frame_shapes.h"
#include "tools/ifcctl/core/table_map.h"
#include "tools/ifcctl/device/capacity.h"

#include <optional>
#include <string>
#include <vector>

namespace ifcctl::report
{

// What a rule decided, in the replay or since the chip counts.
struct Traffic {
    uint64_t hits = 0; // of a replay only
    uint64_t frames = 0;
    uint64_t bytes = 0;
    std::vector<uint64_t> activity{}; // of a replay only
};

struct Rule {
    unsigned number;
    std::string place; // "LUT1 entries 0-3"
    std::string match; // in words
    std::string action;
    Traffic traffic;
};

// `winner` decides every frame that both rules match, and their actions differ. Positions in Data::rules.
struct Overlap {
    unsigned winner;
    unsigned loser;
};

struct Miss {
    std::string shape;
    uint64_t frames;
    std::string explain; // the command
};

struct Replay {
    std::string captures; // their names
    uint64_t frames;
    uint64_t bytes;
    uint64_t hit;
    uint64_t cut;
    Traffic misses;
    std::vector<Miss> missShapes;
};

struct Check {
    std::string command;
    std::string about;
    std::string good; // what it says if nothing was found
    bool grave;       // a finding means that something is wrong
    std::vector<std::string> findings;
};

struct Data {
    std::string title;
    std::string made; // "2026-01-31 12:00 UTC"
    std::string device;
    int revision;
    bool classifier;
    bool ppe;
    TableMap map;
    std::vector<Rule> rules; // in the order in which they decide
    std::optional<Replay> replay;
    std::vector<Overlap> overlaps;
    std::vector<Check> checks;
    std::vector<Capacity> capacity;
};

// The page: HTML that needs no other file and no script.
std::string page(const Data &data);

} // namespace ifcctl::report
