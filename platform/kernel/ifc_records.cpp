// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ifc_records.h"

#include "ifc/records/action_record.h"

unsigned int ifc_action_enable_mask(unsigned int sub_action, int revision)
{
    return ifc::enableMask(sub_action, revision);
}

unsigned char ifc_vpm_code(unsigned int tpid)
{
    return static_cast<unsigned char>(ifc::vpmOf(tpid, 0));
}
