// SPDX-License-Identifier: MIT OR GPL-2.0
// ifc.ko: the rule layer on a simulated frame engine or on the frame engine itself.
#include <linux/io.h>
#include <linux/kernel.h>
#include <linux/module.h>
#include <linux/spinlock.h>
#include <linux/string.h>

#include "ifc/ifc_glb.h"
#include "ifc_files.h"
#include "ifc_glue.h"
#include "ifc_sim.h"

static char *backend = "sim";
module_param(backend, charp, 0400);
MODULE_PARM_DESC(backend, "sim (a simulated frame engine) or mmio (needs fe_base)");
static ulong fe_base;
module_param(fe_base, ulong, 0400);
MODULE_PARM_DESC(fe_base, "physical address of the frame engine's registers, for backend=mmio");
#define REVISION_NOT_GIVEN INT_MIN
static int revision = REVISION_NOT_GIVEN;
module_param(revision, int, 0400);
MODULE_PARM_DESC(revision, "the chip's revision, 0 to 255; backend=mmio needs it, sim has 0");
static uint done_after = 1;
module_param(done_after, uint, 0400);
MODULE_PARM_DESC(done_after, "backend=sim: the done bit shows at this read, 0 to 255 (0 = never)");

#ifdef IFC_REVISION_QUERY
#define REVISION_QUERIED true
#else
#define REVISION_QUERIED false
#endif

static void __iomem *window;

static int __init ifc_init(void)
{
    bool mmio = !strcmp(backend, "mmio");
    int result;

    if (!mmio && strcmp(backend, "sim")) {
        pr_err("ifc: backend '%s': accepted: sim, mmio\n", backend);
        return -EINVAL;
    }
    if (mmio && (!fe_base || fe_base % 4)) {
        pr_err("ifc: fe_base 0x%lx: accepted with backend=mmio: the physical address of the frame engine\n",
               fe_base);
        return -EINVAL;
    }
    if (!mmio && fe_base) {
        pr_err("ifc: fe_base 0x%lx: accepted only with backend=mmio\n", fe_base);
        return -EINVAL;
    }
    if (revision != REVISION_NOT_GIVEN && (revision < 0 || revision > 255)) {
        pr_err("ifc: revision %d: accepted: 0 to 255\n", revision);
        return -EINVAL;
    }
    /* Some writes are wrong on some revisions, so a guess could harm the chip. */
    if (mmio && revision == REVISION_NOT_GIVEN && !REVISION_QUERIED) {
        pr_err(
            "ifc: revision: accepted with backend=mmio: the chip's revision, 0 to 255; it must be given\n");
        return -EINVAL;
    }
    if (done_after > 255 || (mmio && done_after != 1)) {
        pr_err("ifc: done_after %u: accepted: 0 to 255, and only with backend=sim\n", done_after);
        return -EINVAL;
    }
    if (mmio) {
        window = ioremap(fe_base, FE_WINDOW_SIZE);
        if (!window) {
            pr_err("ifc: fe_base 0x%lx: accepted: an address that can be mapped\n", fe_base);
            return -ENOMEM;
        }
    }
    spin_lock_init(&gpIfcPriv->lock);
    ifc_sim_power_on(done_after);
    if (revision == REVISION_NOT_GIVEN)
        revision = mmio ? -1 : 0;
    ifc_glue_setup(window, revision);
    revision = ifc_glue_revision();
    result = ifc_files_init(backend, !mmio);
    if (result) {
        if (window)
            iounmap(window);
        return result;
    }
    pr_info("ifc: loaded, backend %s\n", backend);
    return 0;
}

static void __exit ifc_exit(void)
{
    ifc_files_exit();
    ifc_glue_flush();
    if (window)
        iounmap(window);
    pr_info("ifc: unloaded\n");
}

module_init(ifc_init);
module_exit(ifc_exit);
MODULE_LICENSE("Dual MIT/GPL");
MODULE_DESCRIPTION("Rule layer of the IFC packet classifier");
