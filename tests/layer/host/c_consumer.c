/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* A C11 unit that includes every public header and calls operations. The headers work from C and C++. */
#include "ifc/ifc_glb.h"
#include "ifc/ifc_regs.h"
#include "ifc/ifc_util.h"
#include "ifc_platform.h"
#include "orva_hook/orva_hook_ifc_type.h"
#include "orva_hook/orva_hook_qdma_type.h"

_Static_assert(sizeof(IFC_LUT0_Format) == 41 * 4, "41 words");
_Static_assert(sizeof(IFC_LUT1_Format) == 8, "2 words");
_Static_assert(sizeof(IFC_Action_Format) == 16, "4 words");
_Static_assert(sizeof(struct orva_ifc_param) == 288 * 4, "288 words");
_Static_assert(sizeof(ifc_field_param) == 36, "9 words");
_Static_assert(sizeof(IFC_Mode_t) == sizeof(unsigned int), "the mode is a word");
_Static_assert(offsetof(IFC_Private_T, dbgLevel) == 0, "first member");
_Static_assert(offsetof(IFC_Private_T, lock) == offsetof(IFC_Private_T, lut0HitMap) + 12,
               "after the bitmaps");
_Static_assert(FIELD_IDX_MAX == 68 && UDF15 == 47 && SA_ID == 67, "field ids");

int c_consumer(void);

int c_consumer(void)
{
    struct orva_ifc_param request = {.fieldIdx = {DPORT}, .mask_low = {0xFFFF}, .key_low = {80}};
    ifc_field_param param = {.fieldIdx = DPORT, .mask = 0xFFFF, .key = 80};
    int id = ifc_set_lut_rules_auto(&request);
    if (id < 0 || ifc_match_lut1(param) != id - 8)
        return -1;
    return ifc_del_lut_rules_auto(&request);
}
