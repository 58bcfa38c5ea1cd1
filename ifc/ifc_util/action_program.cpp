// SPDX-License-Identifier: MIT OR GPL-2.0
// Programs actions, one sub-action at a time.
#include "ifc/ifc_util.h"

#include "ifc/records/action_record.h"

#include "action_texts.h"
#include "report.h"
#include "window.h"

namespace
{

// clang-format off
constexpr const char *kLines[IFC_ACT_COUNT] = {
#define IFC_LINE(text) text "\n",
    IFC_SUB_ACTION_TEXTS(IFC_LINE)
#undef IFC_LINE
    "ifc_set_action: cpu:%d, nbq:%d\n",
    "owf:%d\n",
    "dpi:%d\n",
};
// clang-format on

// A mask of 0, of a sub-action without an enable bit, changes nothing.
void switchEnableBit(IFC_Action_Format &action, uint mask, bool on)
{
    const uint others = action.bits.enable & ~mask;
    action.bits.enable = (others | (on ? mask : 0)) & 0x3FFFu;
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
    // Known: the refusal is destructive. It deletes the rule, so that no frame can hit it.
    if (actIdx != IFC_ACT_CPU_NBQ && ifcSendToPpe == 0) {
        IFC_REPORT(
            "WARNING: ifcIndex is %d Action index is %d, packets matched ifc rules and send to ppe will "
            "cause error\n",
            ifcIndex, actIdx);
        (void)ifc_clear_action(ifcIndex);
        if (ifc::isWideAction(ifcIndex))
            ifc_delete_lut0(static_cast<int>(ifcIndex));
        else
            ifc_delete_lut1(static_cast<int>(ifc::entryOfAction(ifcIndex)));
        return -1;
    }

    IFC_Action_Format action;
    {
        const ifc::WindowLock lock;
        ifc::readAction(ifcIndex, action);
    }

    const bool on = enMode != IFC_DISABLE;
    uint values[ifc::kSubActionValues] = {value0, value1, value2, value3};
    if (actIdx <= IFC_ACT_CPU_NBQ) {
        switchEnableBit(action, ifc::enableMask(actIdx, GET_HIR()), on);
        if (!on)
            for (uint &value : values)
                value = 0;
    }
    if (actIdx == IFC_ACT_FPORT_NBQ)
        action.bits.cpu = 0; // Known: in either mode
    for (uint n = 0; n < ifc::kSubActionValues; ++n)
        ifc::setActionField(action.word, ifc::kSetFields[actIdx][n], values[n]);

    uint shown[ifc::kSubActionShown];
    for (uint n = 0; n < ifc::kSubActionShown; ++n)
        shown[n] = ifc::getActionField(action.word, ifc::kShownFields.of[actIdx][n]);
    if (actIdx == IFC_ACT_FPORT_NBQ)
        shown[1] = values[1]; // Known: prints nbq as passed, not as stored
    (void)printk(kLines[actIdx], shown[0], shown[1], shown[2]);
    if (actIdx == IFC_ACT_DPI)
        switchEnableBit(action, ifc::enableMask(IFC_ACT_DPI, 0), on); // the same bit on all revisions

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
