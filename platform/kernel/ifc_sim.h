/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* The simulated register window as the glue sees it. Not locked: callers are serialised. */
#ifndef IFC_SIM_H
#define IFC_SIM_H

#ifdef __cplusplus
extern "C" {
#endif

void ifc_sim_power_on(unsigned int done_after);
unsigned int ifc_sim_read(unsigned int reg);
void ifc_sim_write(unsigned int reg, unsigned int value);
unsigned int ifc_sim_errors(void);

#ifdef __cplusplus
}
#endif

#endif
