// SPDX-License-Identifier: MIT OR GPL-2.0
// Programs actions, one sub-action at a time.
#include "ifc/ifc_util.h"

#include "action_fields.h"
#include "report.h"
#include "window.h"

namespace
{

constexpr uint kValues = 4;
constexpr int kRevisionWithSharedCounterEnable = 12;
constexpr uint kDpiEnable = IFC_ACT_KEEP_PCP; // Known: dpi and keep pcp share an enable bit

// The fields that value0 to value3 go to.
constexpr ifc::ActionField kWritten[IFC_ACT_COUNT][kValues] = {
    {ifc::kChannel, ifc::kQueue},
    {ifc::kFport, ifc::kNbq},
    {ifc::kSpTag},
    {ifc::kCnt0},
    {ifc::kCnt1},
    {ifc::kMtrG},
    {ifc::kIpv4Dscp},
    {ifc::kIpv6TrafficClass},
    {ifc::kVpm0, ifc::kVo0, ifc::kVid0High, ifc::kVid0Low},
    {ifc::kVo1, ifc::kVid1High, ifc::kVid1Low}, // Known: no TPID selector, so its values stand one lower
    {ifc::kFqos},
    {ifc::kFast},
    {ifc::kMc},
    {ifc::kKeepPcp},
    {ifc::kCpu, ifc::kNbq},
    {ifc::kOwf},
    {ifc::kDpi},
};

constexpr const char *kLines[IFC_ACT_COUNT] = {
    "channel:%d, queue:%d\n",
    "fport:%d, nbq:%d\n",
    "sp_tag/gemport:0x%x\n",
    "CNT0:%d\n",
    "CNT1:%d\n",
    "MTR_G:%d\n",
    "IPv4 DSCP:%d\n",
    "IPv6 Traffic Class:%d\n",
    "vpm0:%d, vo0:%d, vid0:0x%x\n",
    "vo1:%d, vid1:0x%x\n",
    "fqos:%d\n",
    "fast:%d\n",
    "mc:%d\n",
    "keep pcp:%d\n",
    "ifc_set_action: cpu:%d, nbq:%d\n",
    "owf:%d\n",
    "dpi:%d\n",
};

// Revision 12 has one enable bit for both counters, so those of the sub-actions above stand one lower.
uint enableBit(uint actIdx)
{
    const bool shifted =
        GET_HIR() == kRevisionWithSharedCounterEnable && actIdx >= IFC_ACT_CNT1 && actIdx <= IFC_ACT_KEEP_PCP;
    return shifted ? actIdx - 1 : actIdx;
}

// Bits above the 14 of the bitmap (sub-action 14) get lost.
void switchEnableBit(IFC_Action_Format &action, uint bit, bool on)
{
    const uint others = action.bits.enable & ~(1u << bit);
    action.bits.enable = (others | static_cast<uint>(on) << bit) & 0x3FFFu;
}

} // namespace

int ifc_set_action(uint ifcIndex, uint actIdx, IFC_Mode_t enMode, uint value0, uint value1, uint value2,
                   uint value3)
{
    if (ifcIndex >= IFC_ACTIONS) {
        IFC_REPORT_ACTION_INDEX(ifcIndex);
        return -1;
    }
    if (actIdx >= IFC_ACT_COUNT) {
        IFC_REPORT_FIELD_INDEX(actIdx); // Known: the text and its bounds are those of another check
        return -1;
    }
    // Known: the refusal is destructive, so that no frame follows a rule that must not be.
    if (actIdx != IFC_ACT_CPU_NBQ && ifcSendToPpe == 0) {
        IFC_REPORT(
            "WARNING: ifcIndex is %d Action index is %d, packets matched ifc rules and send to ppe will "
            "cause error\n",
            ifcIndex, actIdx);
        (void)ifc_clear_action(ifcIndex);
        if (ifcIndex < IFC_LUT0_RULES)
            ifc_delete_lut0(static_cast<int>(ifcIndex));
        else
            ifc_delete_lut1(static_cast<int>(ifcIndex - IFC_LUT0_RULES));
        return -1;
    }

    IFC_Action_Format action;
    {
        const ifc::WindowLock lock;
        ifc::readAction(ifcIndex, action);
    }

    const bool on = enMode != IFC_DISABLE;
    uint values[kValues] = {value0, value1, value2, value3};
    if (actIdx <= IFC_ACT_CPU_NBQ) {
        switchEnableBit(action, enableBit(actIdx), on);
        if (!on)
            for (uint &value : values)
                value = 0;
    }
    if (actIdx == IFC_ACT_FPORT_NBQ)
        action.bits.cpu = 0; // Known: in either mode
    for (uint n = 0; n < kValues; ++n)
        ifc::setActionField(action, kWritten[actIdx][n], values[n]);

    uint shown[ifc::kShown];
    for (uint n = 0; n < ifc::kShown; ++n)
        shown[n] = ifc::getActionField(action, ifc::kShownFields[actIdx][n]);
    if (actIdx == IFC_ACT_FPORT_NBQ)
        shown[1] = values[1]; // Known: as passed, not as stored
    (void)printk(kLines[actIdx], shown[0], shown[1], shown[2]);
    if (actIdx == IFC_ACT_DPI)
        switchEnableBit(action, kDpiEnable, on);

    const ifc::WindowLock lock;
    ifc::writeAction(ifcIndex, action);
    return 0;
}

int ifc_clear_action(uint ifcIndex)
{
    if (ifcIndex >= IFC_ACTIONS) {
        IFC_REPORT_ACTION_INDEX(ifcIndex);
        return -1;
    }
    {
        const ifc::WindowLock lock;
        ifc::writeZeroRow(ifcIndex, IFC_SEL_ACTION);
    }
    IFC_REPORT("del ifc action index  %d\n", ifcIndex);
    return 0;
}

int clear_all_ifc_actions(void)
{
    const ifc::WindowLock lock;
    for (uint entry = 0; entry < IFC_ACTIONS; ++entry)
        ifc::writeZeroRow(entry, IFC_SEL_ACTION);
    return 0;
}
