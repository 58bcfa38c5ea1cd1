// SPDX-License-Identifier: MIT OR GPL-2.0
// Compiles only if C and C++ see the same layout.
#include "ifc/ifc_glb.h"

static_assert(sizeof(spinlock_t) == IFC_SPINLOCK_SIZE);
static_assert(offsetof(sk_buff, head) == IFC_SKB_head);
static_assert(sizeof(sk_buff::head) == IFC_SKB_head_SIZE);
static_assert(offsetof(sk_buff, end) == IFC_SKB_end);
static_assert(sizeof(sk_buff::end) == IFC_SKB_end_SIZE);
static_assert(offsetof(sk_buff, data) == IFC_SKB_data);
static_assert(sizeof(sk_buff::data) == IFC_SKB_data_SIZE);
static_assert(offsetof(sk_buff, len) == IFC_SKB_len);
static_assert(sizeof(sk_buff::len) == IFC_SKB_len_SIZE);
static_assert(offsetof(sk_buff, mark) == IFC_SKB_mark);
static_assert(sizeof(sk_buff::mark) == IFC_SKB_mark_SIZE);
static_assert(sizeof(IFC_Private_T) == IFC_C_PRIVATE_SIZE);
static_assert(offsetof(IFC_Private_T, lock) == IFC_C_PRIVATE_LOCK);
static_assert(offsetof(IFC_Private_T, lut0HitMap) == IFC_C_PRIVATE_LUT0_HIT);
static_assert(sizeof(IFC_LUT0_Format) == IFC_C_LUT0_SIZE);
static_assert(sizeof(IFC_LUT1_Format) == IFC_C_LUT1_SIZE);
static_assert(sizeof(IFC_Action_Format) == IFC_C_ACTION_SIZE);
static_assert(sizeof(orva_ifc_param) == IFC_C_REQUEST_SIZE);
static_assert(sizeof(ifc_field_param) == IFC_C_FIELD_PARAM_SIZE);
static_assert(sizeof(IFC_Mode_t) == IFC_C_MODE_SIZE);
