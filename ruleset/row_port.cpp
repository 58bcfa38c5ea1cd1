// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ruleset/row_port.h"

#include "ifc/ifc_util.h"

namespace ruleset
{

namespace
{

constexpr unsigned kTransferWorst = 4; // the command and three polls
constexpr unsigned kTransferUsual = 2;
constexpr unsigned kSettleTries = 4;

constexpr uint32_t dataRegister(unsigned n)
{
    return IFC_DATA0 + 4 * n;
}

// Holds the lock for `accesses` more accesses and one attempt to settle. All accesses to one row are made
// without releasing it.
void reserve(RowPort &port, unsigned accesses)
{
    if (port.dry)
        return;
    if (port.held && port.stretch + accesses + kTransferWorst > kLongestStretch)
        release(port);
    if (!port.held) {
        port.interrupts = ifc_spin_lock_irqsave(&gpIfcPriv->lock);
        port.held = true;
        port.stretch = 0;
    }
    port.stretch += accesses;
}

// A transfer that timed out may still complete late. A late write must not use data registers of another row,
// and a late read must not overwrite them. So the next command is a read, which changes no table. When the
// chip has completed it, the transfer before it has either happened or never will. The first attempt is made
// under the same lock as the transfer itself.
void settle(RowPort &port)
{
    for (unsigned n = 0; n < kSettleTries; ++n) {
        if (!port.held)
            reserve(port, kTransferWorst);
        port.accesses += kTransferUsual;
        const int result = ifcSetRuleConfig(0, 0, IFC_SEL_ACTION, IFC_TYPE_READ);
        release(port);
        if (result == 0)
            return;
    }
    port.silent = true;
}

bool transfer(RowPort &port, Row row, int type)
{
    port.accesses += kTransferUsual;
    if (port.dry || ifcSetRuleConfig(row.index, row.offset, row.sel, type) == 0)
        return true;
    settle(port);
    return false;
}

} // namespace

bool writeRow(RowPort &port, Row row, const uint32_t *data, unsigned words)
{
    if (port.silent)
        return false;
    reserve(port, words + kTransferWorst);
    port.accesses += words;
    if (!port.dry)
        for (unsigned n = words; n-- > 0;)
            set_frame_engine_data(dataRegister(n), data[n]);
    return transfer(port, row, IFC_TYPE_WRITE);
}

bool readRow(RowPort &port, Row row, uint32_t *data)
{
    if (port.silent)
        return false;
    reserve(port, kTransferWorst + IFC_ROW_WORDS);
    if (!transfer(port, row, IFC_TYPE_READ))
        return false;
    port.accesses += IFC_ROW_WORDS;
    if (!port.dry)
        for (unsigned n = 0; n < IFC_ROW_WORDS; ++n)
            data[n] = get_frame_engine_data(dataRegister(n));
    return true;
}

bool wake(RowPort &port)
{
    port.silent = false;
    settle(port);
    return !port.silent;
}

uint32_t readRegister(RowPort &port, uint32_t reg)
{
    reserve(port, 1);
    ++port.accesses;
    return port.dry ? 0 : get_frame_engine_data(reg);
}

void writeRegister(RowPort &port, uint32_t reg, uint32_t value)
{
    reserve(port, 1);
    ++port.accesses;
    if (!port.dry)
        set_frame_engine_data(reg, value);
}

void release(RowPort &port)
{
    if (!port.held)
        return;
    port.held = false;
    ifc_spin_unlock_irqrestore(&gpIfcPriv->lock, port.interrupts);
}

} // namespace ruleset
