/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* Facts of ifc/records for C sources of other modules. Exported. */
#ifndef IFC_RECORDS_H
#define IFC_RECORDS_H

#ifdef __cplusplus
extern "C" {
#endif

/* What switches a sub-action (IFC_ACT_*) on, as a mask of an action's `enable`; 0: its own flag does. */
unsigned int ifc_action_enable_mask(unsigned int sub_action, int revision);

/* The VPM code of a TPID (0x8100, 0x88A8) in host byte order; 0: none. */
unsigned char ifc_vpm_code(unsigned int tpid);

#ifdef __cplusplus
}
#endif

#endif
