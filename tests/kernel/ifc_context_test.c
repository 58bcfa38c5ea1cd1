// SPDX-License-Identifier: MIT OR GPL-2.0
// ifc_context_test.ko: another task and an interrupt print while an operation's text is captured. Loading the
// module runs the test. It stays loaded only if the captured text is right. The caller checks the log.
#include <linux/completion.h>
#include <linux/delay.h>
#include <linux/hrtimer.h>
#include <linux/kernel.h>
#include <linux/kthread.h>
#include <linux/module.h>
#include <linux/preempt.h>
#include <linux/string.h>

#include "ifc_compat.h"
#include "ifc_files.h"
#include "ifc_glue.h"
#include "ifc_platform.h"

static char text[512];
static const char *to_print;
static DECLARE_COMPLETION(printed);

static int thread_prints(void *unused)
{
    ifc_kernel_printk("%s", to_print);
    complete(&printed);
    return 0;
}

/* Another task, on any processor. */
static void from_a_thread(const char *line)
{
    to_print = line;
    reinit_completion(&printed);
    if (!IS_ERR(kthread_run(thread_prints, NULL, "ifc_context")))
        wait_for_completion(&printed);
}

static enum hrtimer_restart timer_prints(struct hrtimer *unused)
{
    ifc_kernel_printk("%s", to_print);
    complete(&printed);
    return HRTIMER_NORESTART;
}

static struct hrtimer timer;

/* An interrupt of this processor during this task, so `current` is this task. */
static void from_an_interrupt(const char *line)
{
    unsigned int n;

    to_print = line;
    reinit_completion(&printed);
    ifc_compat_hrtimer_setup(&timer, timer_prints, CLOCK_MONOTONIC, HRTIMER_MODE_REL_PINNED_HARD);
    preempt_disable();
    hrtimer_start(&timer, ms_to_ktime(1), HRTIMER_MODE_REL_PINNED_HARD);
    for (n = 0; n < 5000 && !try_wait_for_completion(&printed); n++)
        mdelay(1);
    preempt_enable();
    hrtimer_cancel(&timer);
}

static void capture(enum ifc_glue_to_log to_log)
{
    ifc_glue_capture_begin(text, sizeof(text), to_log);
    ifc_kernel_printk("own line, ");
    from_a_thread("a thread's line\n");
    from_an_interrupt("an interrupt's line\n");
    ifc_kernel_printk("in pieces%s\n", to_log == IFC_GLUE_LOG_ALL ? ", to the log" : "");
    ifc_kernel_printk("%s [%d]: own error\n", "place", 1);
    ifc_glue_capture_end();
}

static int __init ifc_context_test_init(void)
{
    bool right;

    ifc_callers_lock();
    capture(IFC_GLUE_LOG_REPORTS);
    right = !strcmp(text, "own line, in pieces\nplace [1]: own error\n");
    if (!right)
        pr_err("ifc_context_test: captured: %s\n", text);
    capture(IFC_GLUE_LOG_ALL);
    if (strcmp(text, "own line, in pieces, to the log\nplace [1]: own error\n")) {
        right = false;
        pr_err("ifc_context_test: captured beside the log: %s\n", text);
    }
    ifc_callers_unlock();
    return right ? 0 : -EINVAL;
}

static void __exit ifc_context_test_exit(void) {}

module_init(ifc_context_test_init);
module_exit(ifc_context_test_exit);
MODULE_LICENSE("Dual MIT/GPL");
MODULE_DESCRIPTION("Test of who is heard in an operation's text");
