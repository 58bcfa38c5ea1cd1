// SPDX-License-Identifier: MIT OR GPL-2.0
// Transfers rows through the register window. The driver's lock is held for short stretches only.
#pragma once

#include "ifc/ifc_regs.h"

namespace ruleset
{

constexpr unsigned kLongestStretch = 64; // register accesses in one hold of the lock, with all polls used

struct alignas(4) Row { // one word, so it is passed in a register
    uint8_t sel;        // IFC_SEL_*
    uint8_t index;
    uint8_t offset;
    uint8_t unused = 0;
};

// Starts all zero.
struct RowPort {
    unsigned accesses; // so far, with one poll a transfer
    unsigned stretch;  // since the lock was taken, with all polls used
    unsigned long interrupts;
    bool held;
    bool dry;    // count, touch no register
    bool silent; // the chip did not answer after a time-out: no more transfers are tried
};

// Transfer one row; `words` data registers are used, IFC_DATA0 first in `data`. False: time-out, or the chip
// is silent. After a write that timed out the row holds its old or its new content. No transfer is pending
// afterwards, unless the chip is silent.
bool writeRow(RowPort &port, Row row, const uint32_t *data, unsigned words);
bool readRow(RowPort &port, Row row, uint32_t *data);

// Tries a silent chip once more. False: it still does not answer.
bool wake(RowPort &port);

// One access to a register, outside any transfer.
uint32_t readRegister(RowPort &port, uint32_t reg);
void writeRegister(RowPort &port, uint32_t reg, uint32_t value);

// Releases the lock if it is held. Call it at the end of every sequence.
void release(RowPort &port);

} // namespace ruleset
