// SPDX-License-Identifier: MIT OR GPL-2.0
// Rows through the register window, in short stretches under the driver's lock.
#pragma once

#include "ifc/ifc_regs.h"

namespace ruleset
{

constexpr unsigned kLongestStretch = 64; // register accesses in one hold of the lock, with every poll used

struct Row {
    uint8_t sel; // IFC_SEL_*
    uint8_t index;
    uint8_t offset;
};

// All zero: nothing held, nothing counted.
struct RowPort {
    unsigned accesses; // so far, with one poll a transfer
    unsigned stretch;  // in this hold of the lock, with every poll used
    unsigned long interrupts;
    bool held;
    bool dry;    // count, touch no register
    bool silent; // the chip did not answer after a time-out; no further transfer is tried
};

// Move one row; `words` data registers are used, IFC_DATA0 first in `data`. False: timed out, or the chip is
// silent. After a time-out of a write the row holds what it held or what was written. Nothing is pending any
// more unless the chip is silent.
bool writeRow(RowPort &port, Row row, const uint32_t *data, unsigned words);
bool readRow(RowPort &port, Row row, uint32_t *data);

// Asks a silent chip once more. False: it still does not answer.
bool wake(RowPort &port);

// One access to a register that is no part of a transfer.
uint32_t readRegister(RowPort &port, uint32_t reg);
void writeRegister(RowPort &port, uint32_t reg, uint32_t value);

// Gives the lock back, if it is held. Call it at the end of every sequence.
void release(RowPort &port);

} // namespace ruleset
