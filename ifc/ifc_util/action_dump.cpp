// SPDX-License-Identifier: MIT OR GPL-2.0
// Prints an action entry as the hardware holds it.
#include "ifc/ifc_util.h"

#include "ifc/records/action_record.h"

#include "window.h"

namespace
{

// One piece for each enable bit. Known: there is none for cpu, which has no enable bit and so is never shown,
// nor for dpi, whose enable bit shows as keep pcp.
constexpr const char *kPieces[] = {
    ", channel:%d, queue:%d",
    ", fport:%d, nbq:%d",
    ", sp_tag/gemport:0x%x",
    ", CNT0:%d",
    ", CNT1:%d",
    ", MTR_G:%d",
    ", IPv4 DSCP:%d",
    ", IPv6 Traffic Class:%d",
    ", vpm0:%d, vo0:%d, vid0:0x%x",
    ", vo1:%d, vid1:0x%x",
    ", fqos:%d",
    ", fast:%d",
    ", mc:%d",
    ", keep pcp:%d",
};
static_assert(sizeof kPieces / sizeof *kPieces == ifc::kEnable.width);

} // namespace

// Known: the pieces stand for the enable bits as they are; what revision 12 shifted shows one lower.
int ifc_dump_action(int ifcIndex)
{
    IFC_Action_Format action;
    ifc::readAction(static_cast<uint>(ifcIndex), action);
    (void)printk("  Action: enable:%x, OWF:%x", action.bits.enable, action.bits.owf);
    for (uint bit = 0; bit < ifc::kEnable.width; ++bit) {
        if ((action.bits.enable >> bit & 1) == 0)
            continue;
        const ifc::ActionField *shown = ifc::kShownFields[bit];
        (void)printk(kPieces[bit], ifc::getActionField(action.word, shown[0]),
                     ifc::getActionField(action.word, shown[1]), ifc::getActionField(action.word, shown[2]));
    }
    (void)printk("\n");
    return 0;
}
