// SPDX-License-Identifier: MIT OR GPL-2.0
// Loading it makes `count` transfers of the simulated chip, after `after` good ones, never complete. It never
// stays loaded.
#include <linux/module.h>

#include "ifc_files.h"
#include "ifc_sim.h"

static uint after;
module_param(after, uint, 0);
MODULE_PARM_DESC(after, "transfers that complete first");
static uint count;
module_param(count, uint, 0);
MODULE_PARM_DESC(count, "transfers that then do not complete; 0: the chip answers again");

static int __init ifc_timeout_init(void)
{
    ifc_callers_lock();
    ifc_sim_time_out(after, count);
    ifc_callers_unlock();
    return -EAGAIN;
}

module_init(ifc_timeout_init);
MODULE_LICENSE("Dual MIT/GPL");
MODULE_DESCRIPTION("Lets transfers of the simulated IFC packet classifier time out");
