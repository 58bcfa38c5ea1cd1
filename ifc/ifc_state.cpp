// SPDX-License-Identifier: MIT OR GPL-2.0
// The driver's globals.
#include "ifc/ifc_glb.h"

static constinit IFC_Private_T context{};

extern "C" {
constinit IFC_Private_T *gpIfcPriv = &context;
constinit IFC_LUT0_Format IFC_LUT0_Rule[IFC_LUT0_RULES] = {};
constinit IFC_LUT1_Format IFC_LUT1_Rule[IFC_LUT1_RULES] = {};
constinit uint32_t ifcSendToPpe = 0;
constinit uint8 ifc_field_name[32][IFC_FIELD_NAME_BYTES] = {
    "none", // id 0 names no field, but a damaged entry may hold it
#define IFC_FIELD_NAME(id, name, width) #name,
    IFC_LUT0_FIELD_LIST(IFC_FIELD_NAME)
#undef IFC_FIELD_NAME
};
}
