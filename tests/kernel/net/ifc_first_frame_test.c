// SPDX-License-Identifier: MIT OR GPL-2.0
// Loading it measures how long the simulated engine takes for the first frame after a change, when it
// compiles its tables, and for later frames. Prints both to the log. It never stays loaded.
#include <linux/ktime.h>
#include <linux/math64.h>
#include <linux/module.h>

#include "ifc/ifc_regs.h"
#include "ifc/ifc_util.h"
#include "ifc_files.h"
#include "ifc_sim.h"

#define ROUNDS 100

static const u8 frame[64] = {2, 0, 0, 0, 0, 1, 2, 0, 0, 0, 0, 2, 8, 0, 0x45, 0, 0, 50, 0, 0, 0, 0, 64, 17};
static u8 out[sizeof(frame) + IFC_SIM_GROWTH];

/* Nanoseconds for a frame, on average. */
static u64 forward(bool change)
{
    struct ifc_sim_outcome outcome;
    u64 spent = 0;
    u64 from;
    unsigned int n;

    for (n = 0; n < ROUNDS; n++) {
        /* The same value counts as a change. */
        if (change)
            set_frame_engine_data(IFC_GLB_CFG, get_frame_engine_data(IFC_GLB_CFG));
        from = ktime_get_ns();
        ifc_sim_forward(frame, sizeof(frame), 0, 0, out, &outcome);
        spent += ktime_get_ns() - from;
    }
    return div_u64(spent, ROUNDS);
}

static int __init ifc_first_frame_init(void)
{
    u64 first;

    ifc_callers_lock();
    first = forward(true);
    pr_info("first frame after a change %llu ns, later ones %llu ns\n", first, forward(false));
    ifc_callers_unlock();
    return -EAGAIN;
}

module_init(ifc_first_frame_init);
MODULE_LICENSE("Dual MIT/GPL");
MODULE_DESCRIPTION("Measures the first frame after a change of the simulated IFC packet classifier");
