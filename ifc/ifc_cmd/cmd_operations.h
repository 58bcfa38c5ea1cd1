// SPDX-License-Identifier: MIT OR GPL-2.0
// The operations that a line can name.
#pragma once

#include "ifc/ifc_cmd/cmd_line.h"

namespace ifc::cmd
{

struct Operation {
    const char *name;
    const Param *params;
    uint count;
    Tail tail;
    void (*call)(const Arguments &, Answer &);
    bool onlyReads = false; // tables, actions, counters and settings stay as they are
};

struct Operations {
    const Operation *first;
    uint count;
    const Operation *begin() const { return first; }
    const Operation *end() const { return first + count; }
};

extern const Operations kOperations;

// Print the answer of an operation: "= " and the result.
void printNumber(Answer &answer, int value);
void printBits(Answer &answer, uint value);

} // namespace ifc::cmd
