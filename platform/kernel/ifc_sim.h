/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* The simulated frame engine as the glue sees it. Not locked: callers are serialised. */
#ifndef IFC_SIM_H
#define IFC_SIM_H

#ifdef __cplusplus
extern "C" {
#endif

void ifc_sim_power_on(unsigned int done_after);
unsigned int ifc_sim_done_after(void);
unsigned int ifc_sim_read(unsigned int reg);
void ifc_sim_write(unsigned int reg, unsigned int value);
unsigned int ifc_sim_errors(void);

/* For tests. */
void *ifc_sim_tables(void); /* struct engine::Tables */
void ifc_sim_time_out(unsigned int after,
                      unsigned int count); /* so many transfers, after `after` good ones, never complete */

struct ifc_sim_verdict {
    int entry; /* the deciding entry, which numbers its action and counter; -1: none */
    unsigned int lut0;
    unsigned int lut1[2];
};
/* Classifies one frame without FCS and stores its hits in the driver. Negative side data: not known. */
void ifc_sim_classify(const unsigned char *frame, unsigned int length, int source_interface, int gem_port,
                      struct ifc_sim_verdict *verdict);

#ifdef __cplusplus
}
#endif

#endif
