// SPDX-License-Identifier: MIT OR GPL-2.0
// The register accesses of an operation, from the moves that the model made.
#pragma once

#include "table_model.h"

#include <optional>

namespace model
{

struct Access {
    bool write;
    uint32_t reg;
    bool locked;
    std::optional<uint32_t> value; // of commands and of zeros; the tables show what the others carried
};

// `polls`: reads of the command register until the done bit shows, 1 to 3.
std::vector<Access> accessesOf(const std::vector<Move> &moves, int revision, unsigned polls);

} // namespace model
