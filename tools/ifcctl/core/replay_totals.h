// SPDX-License-Identifier: MIT OR GPL-2.0
// What the rules did with the frames of a replay.
#pragma once

#include "engine/classifier.h"

#include <array>
#include <cstdint>

namespace ifcctl
{

struct ReplayTotals {
    uint64_t frames = 0;
    uint64_t bytes = 0;
    uint64_t hit = 0; // frames that a rule decided
    uint64_t cut = 0; // frames that are shorter in the capture than they were on the wire
    struct Entry {
        uint64_t hits = 0;
        uint64_t frames = 0; // decided
        uint64_t bytes = 0;  // of these
    };
    std::array<Entry, IFC_ACTIONS> entries{};

    void count(const engine::Result &result, uint32_t length)
    {
        ++frames;
        bytes += length;
        if (result.entry == engine::kNoEntry)
            return;
        ++hit;
        uint64_t bits = uint64_t{result.hits.lut1[0]} << IFC_LUT0_RULES | result.hits.lut0;
        for (; bits != 0; bits &= bits - 1)
            ++entries[static_cast<size_t>(__builtin_ctzll(bits))].hits;
        Entry &entry = entries[static_cast<size_t>(result.entry)];
        ++entry.frames;
        entry.bytes += length;
    }
};

} // namespace ifcctl
