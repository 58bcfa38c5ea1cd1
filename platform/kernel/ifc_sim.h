/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * The simulated frame engine as the glue sees it. A spin lock orders register accesses and frames, one at a
 * time: a frame sees the tables as they stand between two accesses. Any context.
 */
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
/* `count` transfers in a row never complete, after `after` good ones. */
void ifc_sim_time_out(unsigned int after, unsigned int count);

struct ifc_sim_verdict {
    int entry; /* the deciding entry, which numbers its action and counter; -1: none */
    unsigned int lut0;
    unsigned int lut1[2];
};
/* Classifies one frame without FCS and stores its hits in the driver. Negative side data: not known. */
void ifc_sim_classify(const unsigned char *frame, unsigned int length, int source_interface, int gem_port,
                      struct ifc_sim_verdict *verdict);

/* What the deciding rule's action says of a frame. Without a rule only entry and length are set. */
struct ifc_sim_outcome {
    int entry;             /* as in ifc_sim_verdict */
    unsigned int length;   /* of the frame as edited */
    unsigned char cpu;     /* to the CPU; nbq is its receive queue */
    unsigned char forward; /* to fport; nbq is its receive queue */
    unsigned char fport, nbq;
    unsigned char prioritise; /* channel and queue are set */
    unsigned char channel, queue;
    unsigned char tagged; /* sp_tag is set */
    unsigned short sp_tag;
};
#define IFC_SIM_GROWTH 8u /* bytes that an action may add to a frame: two tags */

/*
 * One frame without FCS through tables and actions of a chip of that revision. The edited frame is written to
 * `out`, which holds length + IFC_SIM_GROWTH bytes. The driver's hit bitmaps stay as they are.
 */
void ifc_sim_forward(const unsigned char *frame, unsigned int length, int source_interface, int revision,
                     unsigned char *out, struct ifc_sim_outcome *outcome);

/* Where user-defined word n (0 to 15) is taken from. */
enum ifc_sim_base { IFC_SIM_BASE_FRAME, IFC_SIM_BASE_NETWORK, IFC_SIM_BASE_TRANSPORT };
void ifc_sim_udf(unsigned int n, enum ifc_sim_base base, unsigned int offset);

/* Of the engine's lock, in C. */
unsigned long ifc_sim_lock(void);
void ifc_sim_unlock(unsigned long flags);

#ifdef __cplusplus
}
#endif

#endif
