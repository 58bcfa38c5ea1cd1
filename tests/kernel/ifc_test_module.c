// SPDX-License-Identifier: MIT OR GPL-2.0
// ifc_test.ko: runs the tests of tests/layer inside the kernel, on the simulated engine of ifc.ko, and
// reports in KTAP. The tests run when the module is loaded. Loading succeeds even if tests fail: the report
// says so. (Some insmod tries again after a failure.) Afterwards the driver is as after a load: no rules, all
// zero.
#include <linux/kernel.h>
#include <linux/module.h>
#include <linux/sched.h>
#include <linux/string.h>

#include "ifc/ifc_util.h"
#include "ifc_files.h"
#include "ifc_glue.h"
#include "ifc_owner.h"
#include "ifc_sim.h"
#include "tests/support/surroundings.h"

#define PIECE_SIZE   256
#define REPORT_LIMIT 10 /* reported failures of one test */

static char piece[PIECE_SIZE];
static unsigned int failures;

static void heard(const struct ifc_glue_event *event)
{
    switch (event->kind) {
    case IFC_GLUE_READ:
        support_heard(SUPPORT_READ, event->reg, event->value);
        break;
    case IFC_GLUE_WRITE:
        support_heard(SUPPORT_WRITE, event->reg, event->value);
        break;
    case IFC_GLUE_LOCK:
        support_heard(SUPPORT_LOCK, 0, 0);
        break;
    case IFC_GLUE_UNLOCK:
        support_heard(SUPPORT_UNLOCK, 0, 0);
        break;
    case IFC_GLUE_WAIT:
        support_heard(SUPPORT_WAIT, 0, event->value);
        break;
    case IFC_GLUE_REVISION:
        support_heard(SUPPORT_REVISION, 0, 0);
        break;
    case IFC_GLUE_PRINTED:
        support_printed(piece, event->value);
        ifc_glue_capture_begin(piece, PIECE_SIZE, IFC_GLUE_LOG_NOTHING);
        break;
    }
}

void surroundings_power_on(unsigned int done_after)
{
    if (ifc_sim_errors())
        surroundings_fail(__FILE__, __LINE__, "an access that the hardware does not know");
    ifc_sim_power_on(done_after);
}

void surroundings_set_revision(int revision)
{
    ifc_glue_set_revision(revision);
}

void surroundings_time_out(unsigned int after, unsigned int count)
{
    ifc_sim_time_out(after, count);
}

void *surroundings_tables(void)
{
    return ifc_sim_tables();
}

unsigned int surroundings_errors(void)
{
    return ifc_sim_errors();
}

void surroundings_fail(const char *file, int line, const char *message)
{
    const char *slash = strrchr(file, '/');

    if (failures++ < REPORT_LIMIT)
        pr_info("# %s:%d: %s\n", slash ? slash + 1 : file, line, message);
}

/* Rules and flags as after a load. */
static void start_afresh(void)
{
    memset(IFC_LUT0_Rule, 0, sizeof(IFC_LUT0_Rule));
    memset(IFC_LUT1_Rule, 0, sizeof(IFC_LUT1_Rule));
    gpIfcPriv->dbgLevel = 0;
    gpIfcPriv->lut0HitMap = 0;
    gpIfcPriv->lut1HitMap0 = 0;
    gpIfcPriv->lut1HitMap1 = 0;
    ifcSendToPpe = 0;
}

static int __init ifc_test_init(void)
{
    unsigned int done_after;
    unsigned int count = 0;
    unsigned int n;
    int revision;

    if (!ifc_glue_simulated()) {
        pr_err("ifc_test: backend of ifc.ko: accepted: sim\n");
        return -ENODEV;
    }
    ifc_callers_lock();
    if (ifc_owner_name()) {
        pr_err("ifc_test: the tables belong to %s: accepted: nobody\n", ifc_owner_name());
        ifc_callers_unlock();
        return -EBUSY;
    }
    done_after = ifc_sim_done_after();
    revision = ifc_glue_revision();
    ifc_sim_power_on(done_after); /* forgets earlier errors of other callers */
    ifc_glue_capture_begin(piece, PIECE_SIZE, IFC_GLUE_LOG_NOTHING);
    ifc_glue_watch(heard);
    while (support_test_subject(count))
        count++;
    pr_info("KTAP version 1\n");
    pr_info("1..%u\n", count);
    for (n = 0; n < count; n++) {
        failures = 0;
        start_afresh();
        support_test_run(n);
        pr_info("%s %u %s.%s\n", failures ? "not ok" : "ok", n + 1, support_test_subject(n),
                support_test_behaviour(n));
        cond_resched();
    }
    start_afresh();
    ifc_sim_power_on(done_after);
    ifc_glue_set_revision(revision);
    ifc_glue_watch(NULL);
    ifc_glue_capture_end();
    ifc_callers_unlock();
    return 0;
}

static void __exit ifc_test_exit(void) {}

module_init(ifc_test_init);
module_exit(ifc_test_exit);
MODULE_LICENSE("Dual MIT/GPL");
MODULE_DESCRIPTION("Tests of the IFC rule layer");
