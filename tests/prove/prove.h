// SPDX-License-Identifier: MIT OR GPL-2.0
// Proofs by trying every case: each compares the code with a definition that is written another way, slow and
// plain. docs/testing.md says what each part covers, and why its cases suffice where they are not all.
#pragma once

#include <cstdint>

namespace prove
{

// Ends the process: the case at hand differs from its definition.
[[noreturn]] void fail(const char *format, ...) __attribute__((format(printf, 1, 2)));

// A part is cut into slices, which processes share.
struct Part {
    const char *name;
    const char *claim;
    unsigned slices;
    // Checks one slice, or with `sample` a small share of it. Returns the number of cases.
    uint64_t (*check)(unsigned slice, bool sample);
};

extern const Part kMasks32, kMasks48, kWideImages, kNarrowImages, kCommands, kCommandWords, kActions, kRuns,
    kPlacement, kResults, kOverlap;

} // namespace prove
