// SPDX-License-Identifier: MIT OR GPL-2.0
// Prints an action entry as the hardware holds it.
#include "ifc/ifc_util.h"

#include "ifc/records/action_record.h"

#include "action_texts.h"
#include "window.h"

namespace
{

// One piece for each enable bit. Known: cpu has no enable bit, so it is never shown. The enable bit of dpi is
// shown as keep pcp.
constexpr const char *kPieces[] = {
#define IFC_PIECE(text) ", " text,
    IFC_SUB_ACTION_TEXTS(IFC_PIECE)
#undef IFC_PIECE
};
static_assert(sizeof kPieces / sizeof *kPieces == ifc::kEnable.width);

} // namespace

// Known: the enable bits are read without the shift of revision 12. There each sub-action after CNT0 is shown
// as the one before it.
int ifc_dump_action(int ifcIndex)
{
    IFC_Action_Format action;
    ifc::readAction(static_cast<uint>(ifcIndex), action);
    (void)printk("  Action: enable:%x, OWF:%x", action.bits.enable, action.bits.owf);
    for (uint bit = 0; bit < ifc::kEnable.width; ++bit) {
        if ((action.bits.enable >> bit & 1) == 0)
            continue;
        const ifc::ActionField *shown = ifc::kShownFields.of[bit];
        (void)printk(kPieces[bit], ifc::getActionField(action.word, shown[0]),
                     ifc::getActionField(action.word, shown[1]), ifc::getActionField(action.word, shown[2]));
    }
    (void)printk("\n");
    return 0;
}
