// SPDX-License-Identifier: MIT OR GPL-2.0
// Counter bindings, counter entries, and the check of a recorded result.
#include "ifc/ifc_util.h"

#include "ifc/records/chip.h"

#include "report.h"
#include "window.h"

namespace
{

constexpr uint kCounterIdLimit = 16; // Known: admitted, although the ids end at 15
constexpr uint32_t kCounterIdMask = (1u << IFC_ACNT_ID_BITS) - 1;

// The high register first. Known: the low word is widened as a signed number.
unsigned long long readTotal(uint highRegister, uint lowRegister, uint32_t highMask)
{
    const uint32_t high = get_frame_engine_data(ifc::dataRegister(highRegister)) & highMask;
    const uint32_t low = get_frame_engine_data(ifc::dataRegister(lowRegister));
    return static_cast<unsigned long long>(high) << 32 |
           static_cast<unsigned long long>(static_cast<long long>(static_cast<int32_t>(low)));
}

// As a 32-bit shift works on ARM: the low byte of the index counts, and a shift by 32 or more gives 0.
uint32_t hitBit(int index)
{
    const uint count = static_cast<uint>(index) & 0xFF;
    return count < 32 ? 1u << count : 0;
}

bool hitsAre(uint32_t lut0, uint32_t lut1Low, uint32_t lut1High)
{
    return gpIfcPriv->lut0HitMap == lut0 && gpIfcPriv->lut1HitMap0 == lut1Low &&
           gpIfcPriv->lut1HitMap1 == lut1High;
}

bool resultIs(int table, int index)
{
    if (index < 0)
        return hitsAre(0, 0, 0);
    if (table == IFC_LUT0)
        return hitsAre(hitBit(index), 0, 0); // Known: from 32 to 255 that is no rule at all
    if (table != IFC_LUT1 || index > 63)
        return false;
    return index < 32 ? hitsAre(0, hitBit(index), 0) : hitsAre(0, 0, hitBit(index - 32));
}

} // namespace

int ifc_set_acnt(uint ifcIndex, uint acntIdx)
{
    if (ifcIndex >= IFC_ACTIONS) {
        IFC_REPORT_ACTION_INDEX(ifcIndex);
        return -1;
    }
    if (acntIdx > kCounterIdLimit) {
        IFC_REPORT("Error: IFC counter ID is %d, which should between 0 and 15\n", acntIdx);
        return -1;
    }
    const uint32_t reg = IFC_ACNT_CFG + 4 * (ifcIndex / IFC_ACNT_PER_REGISTER);
    const uint lsb = IFC_ACNT_ID_BITS * (ifcIndex % IFC_ACNT_PER_REGISTER);
    const uint32_t others = get_frame_engine_data(reg) & ~(kCounterIdMask << lsb);
    set_frame_engine_data(reg, others | acntIdx << lsb); // Known: 16 reaches into the next slot
    return 0;
}

int ifc_get_acnt(uint ifcIndex, unsigned long long *byte_cnt, unsigned long long *pktcnt)
{
    if (ifcIndex >= IFC_COUNTERS) {
        IFC_REPORT_ACTION_INDEX(ifcIndex);
        return -1;
    }
    (void)ifcSetRuleConfig(static_cast<uint8_t>(ifcIndex), 0, IFC_SEL_COUNTER, IFC_TYPE_READ);
    *byte_cnt = readTotal(1, 0, 0xFFFFFFFF);
    *pktcnt = readTotal(3, 2, ifc::kCounterTopWord);
    return 0;
}

void clear_all_ifc_acnt(void)
{
    const ifc::WindowLock lock;
    for (uint entry = 0; entry < IFC_COUNTERS; ++entry)
        ifc::writeZeroRow(entry, IFC_SEL_COUNTER);
}

int checkIFCResult(int ifc_type, int index)
{
    return resultIs(ifc_type, index) ? 0 : -1;
}
