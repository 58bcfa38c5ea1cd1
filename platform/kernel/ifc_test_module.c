// SPDX-License-Identifier: MIT OR GPL-2.0
// ifc_test.ko: runs the directed tests of the rule layer inside the kernel, on the simulated engine of
// ifc.ko. Loading it is the run; it stays loaded only when all cases hold. The driver is left as after a
// load: no rules, all zero.
#include <linux/kernel.h>
#include <linux/module.h>
#include <linux/string.h>
#include <linux/vmalloc.h>

#include "ifc/ifc_util.h"
#include "ifc_files.h"
#include "ifc_glue.h"
#include "ifc_sim.h"
#include "ifc_test.h"

#define TEXT_SIZE   32768
#define EVENT_COUNT 4096

static char *text;
static struct ifc_glue_event *events;
static unsigned int event_count;
static unsigned int failures;
static const char *running;

static void heard(const struct ifc_glue_event *event)
{
    if (event_count < EVENT_COUNT)
        events[event_count] = *event;
    event_count++;
}

void directed_forget(void)
{
    ifc_glue_capture_end();
    ifc_glue_capture_begin(text, TEXT_SIZE, false);
    event_count = 0;
}

void directed_power_on(unsigned int done_after, int revision)
{
    ifc_sim_power_on(done_after);
    ifc_glue_set_revision(revision);
}

const char *directed_printed(void)
{
    return text;
}

unsigned int directed_events(void)
{
    return event_count;
}

void directed_event(unsigned int n, struct ifc_glue_event *event)
{
    *event = events[n < EVENT_COUNT ? n : EVENT_COUNT - 1];
}

void directed_fail(const char *file, int line, const char *what, long long got, long long expected)
{
    const char *slash = strrchr(file, '/');

    failures++;
    pr_err("ifc_test: %s: %s:%d: %s: got %lld, expected %lld\n", running, slash ? slash + 1 : file, line,
           what, got, expected);
}

/* Rules, flags and chip as after a load with these parameters. */
static void start_afresh(unsigned int done_after, int revision)
{
    memset(IFC_LUT0_Rule, 0, sizeof(IFC_LUT0_Rule));
    memset(IFC_LUT1_Rule, 0, sizeof(IFC_LUT1_Rule));
    gpIfcPriv->dbgLevel = 0;
    gpIfcPriv->lut0HitMap = 0;
    gpIfcPriv->lut1HitMap0 = 0;
    gpIfcPriv->lut1HitMap1 = 0;
    ifcSendToPpe = 0;
    directed_power_on(done_after, revision);
}

static int __init ifc_test_init(void)
{
    const char *name;
    unsigned int n;
    unsigned int failed_cases = 0;
    unsigned int done_after;
    int revision;

    if (!ifc_glue_simulated()) {
        pr_err("ifc_test: backend of ifc.ko: accepted: sim\n");
        return -ENODEV;
    }
    text = vzalloc(TEXT_SIZE);
    events = vzalloc(EVENT_COUNT * sizeof(*events));
    if (!text || !events) {
        vfree(text);
        vfree(events);
        return -ENOMEM;
    }
    ifc_callers_lock();
    done_after = ifc_sim_done_after();
    revision = ifc_glue_revision();
    ifc_glue_watch(heard);
    ifc_glue_capture_begin(text, TEXT_SIZE, false);
    for (n = 0; (name = ifc_test_case(n)) != NULL; n++) {
        unsigned int before = failures;

        running = name;
        start_afresh(1, 0);
        directed_forget();
        ifc_test_run(n);
        failed_cases += failures != before;
        pr_info("ifc_test: %s %s\n", failures != before ? "FAILED" : "ok", name);
    }
    start_afresh(done_after, revision);
    ifc_glue_capture_end();
    ifc_glue_watch(NULL);
    ifc_callers_unlock();
    vfree(text);
    vfree(events);
    pr_info("ifc_test: %u cases, %u failed\n", n, failed_cases);
    return failed_cases ? -EINVAL : 0;
}

static void __exit ifc_test_exit(void) {}

module_init(ifc_test_init);
module_exit(ifc_test_exit);
MODULE_LICENSE("Dual MIT/GPL");
MODULE_DESCRIPTION("Directed tests of the IFC rule layer");
