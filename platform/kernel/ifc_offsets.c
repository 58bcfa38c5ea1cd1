// SPDX-License-Identifier: MIT OR GPL-2.0
// Sizes and offsets of kernel types, for the C++ side. Compiled to assembly and turned into ifc_offsets.h.
#include <linux/kbuild.h>

#include "ifc/ifc_glb.h"

int main(void); /* never linked, like the kernel's own offset files */

int main(void)
{
    DEFINE(IFC_SPINLOCK_SIZE, sizeof(spinlock_t));
    DEFINE(IFC_SPINLOCK_ALIGN, __alignof__(spinlock_t));
    DEFINE(IFC_SKB_head, offsetof(struct sk_buff, head));
    DEFINE(IFC_SKB_head_SIZE, sizeof(((struct sk_buff *)0)->head));
    DEFINE(IFC_SKB_end, offsetof(struct sk_buff, end));
    DEFINE(IFC_SKB_end_SIZE, sizeof(((struct sk_buff *)0)->end));
    DEFINE(IFC_SKB_data, offsetof(struct sk_buff, data));
    DEFINE(IFC_SKB_data_SIZE, sizeof(((struct sk_buff *)0)->data));
    DEFINE(IFC_SKB_len, offsetof(struct sk_buff, len));
    DEFINE(IFC_SKB_len_SIZE, sizeof(((struct sk_buff *)0)->len));
    DEFINE(IFC_SKB_mark, offsetof(struct sk_buff, mark));
    DEFINE(IFC_SKB_mark_SIZE, sizeof(((struct sk_buff *)0)->mark));
    DEFINE(IFC_C_PRIVATE_SIZE, sizeof(IFC_Private_T));
    DEFINE(IFC_C_PRIVATE_LOCK, offsetof(IFC_Private_T, lock));
    DEFINE(IFC_C_PRIVATE_LUT0_HIT, offsetof(IFC_Private_T, lut0HitMap));
    DEFINE(IFC_C_LUT0_SIZE, sizeof(IFC_LUT0_Format));
    DEFINE(IFC_C_LUT1_SIZE, sizeof(IFC_LUT1_Format));
    DEFINE(IFC_C_ACTION_SIZE, sizeof(IFC_Action_Format));
    DEFINE(IFC_C_REQUEST_SIZE, sizeof(struct orva_ifc_param));
    DEFINE(IFC_C_FIELD_PARAM_SIZE, sizeof(ifc_field_param));
    DEFINE(IFC_C_MODE_SIZE, sizeof(IFC_Mode_t));
    return 0;
}
