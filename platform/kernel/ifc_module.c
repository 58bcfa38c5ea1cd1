// SPDX-License-Identifier: MIT OR GPL-2.0
// ifc.ko: the rule layer on a simulated register window or on the frame engine itself, with files for an
// operator under debugfs.
#include <linux/debugfs.h>
#include <linux/fs.h>
#include <linux/io.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/seq_file.h>
#include <linux/slab.h>
#include <linux/string.h>
#include <linux/uaccess.h>

#include "ifc/ifc_cmd.h"
#include "ifc/ifc_regs.h"
#include "ifc/ifc_util.h"
#include "ifc_compat.h"
#include "ifc_glue.h"
#include "ifc_sim.h"

static char *backend = "sim";
module_param(backend, charp, 0400);
MODULE_PARM_DESC(backend, "sim (a simulated register window) or mmio (needs fe_base)");
static ulong fe_base;
module_param(fe_base, ulong, 0400);
MODULE_PARM_DESC(fe_base, "physical address of the frame engine's registers, for backend=mmio");
static int revision;
module_param(revision, int, 0400);
MODULE_PARM_DESC(revision, "the chip's revision, 0 to 255");
static uint done_after = 1;
module_param(done_after, uint, 0400);
MODULE_PARM_DESC(done_after, "backend=sim: the done bit shows at this read, 0 to 255 (0 = never)");

#define FE_WINDOW_SIZE 0x1000
#define TEXT_SIZE      16384
#define LINE_SIZE      4608 /* a frame of 2048 bytes in hexadecimal, and more */

/* The operator's files are the callers that the rule layer expects to be serialised. */
static DEFINE_MUTEX(callers);
static void __iomem *window;
static struct dentry *folder;
static char *text; /* what an operation printed, or a reply */
static char *reply;
static size_t reply_length;

static void append_reply(void *user, const char *piece)
{
    reply_length += scnprintf(reply + reply_length, TEXT_SIZE - reply_length, "%s", piece);
}

static ssize_t command_write(struct file *file, const char __user *from, size_t count, loff_t *at)
{
    char *line;
    size_t printed;
    int result;

    if (count >= LINE_SIZE)
        return -E2BIG;
    line = memdup_user_nul(from, count);
    if (IS_ERR(line))
        return PTR_ERR(line);
    if (mutex_lock_interruptible(&callers)) {
        kfree(line);
        return -ERESTARTSYS;
    }
    reply_length = 0;
    reply[0] = '\0';
    ifc_glue_capture_begin(text, TEXT_SIZE, true);
    result = ifc_cmd_run(line, append_reply, NULL);
    printed = ifc_glue_capture_end();
    /* The reply: what was printed, then the result. */
    if (printed + reply_length < TEXT_SIZE) {
        memmove(reply + printed, reply, reply_length + 1);
        memcpy(reply, text, printed);
        reply_length += printed;
    }
    mutex_unlock(&callers);
    kfree(line);
    return result == IFC_CMD_REFUSED ? -EINVAL : count;
}

static ssize_t command_read(struct file *file, char __user *to, size_t count, loff_t *at)
{
    ssize_t result;

    if (mutex_lock_interruptible(&callers))
        return -ERESTARTSYS;
    result = simple_read_from_buffer(to, count, at, reply, reply_length);
    mutex_unlock(&callers);
    return result;
}

static const struct file_operations command_fops = {
    .owner = THIS_MODULE,
    .open = simple_open,
    .read = command_read,
    .write = command_write,
    .llseek = default_llseek,
};

/* Text of an operation, without a copy in the log. */
static int show_printed(struct seq_file *seq, void (*print)(void))
{
    if (mutex_lock_interruptible(&callers))
        return -ERESTARTSYS;
    ifc_glue_capture_begin(text, TEXT_SIZE, false);
    print();
    ifc_glue_capture_end();
    seq_puts(seq, text);
    mutex_unlock(&callers);
    return 0;
}

static void print_rules(void)
{
    ifc_dump_all_rules();
}

static int rules_show(struct seq_file *seq, void *unused)
{
    return show_printed(seq, print_rules);
}
DEFINE_SHOW_ATTRIBUTE(rules);

static void print_actions(void)
{
    unsigned int n;

    for (n = 0; n < IFC_ACTIONS; n++)
        ifc_dump_action(n);
}

static int actions_show(struct seq_file *seq, void *unused)
{
    return show_printed(seq, print_actions);
}
DEFINE_SHOW_ATTRIBUTE(actions);

static int counters_show(struct seq_file *seq, void *unused)
{
    unsigned long long bytes = 0;
    unsigned long long packets = 0;
    unsigned int n;

    if (mutex_lock_interruptible(&callers))
        return -ERESTARTSYS;
    seq_puts(seq, "entry    packets              bytes\n");
    for (n = 0; n < IFC_COUNTERS; n++) {
        ifc_get_acnt(n, &bytes, &packets);
        seq_printf(seq, "%5u %10llu %18llu\n", n, packets, bytes);
    }
    mutex_unlock(&callers);
    return 0;
}
DEFINE_SHOW_ATTRIBUTE(counters);

static void print_status(void)
{
    ifc_get_ifc_staus();
}

static int status_show(struct seq_file *seq, void *unused)
{
    struct ifc_glue_hold hold = ifc_glue_longest_hold();
    int result = show_printed(seq, print_status);

    seq_printf(seq, "backend %s revision %d\n", backend, revision);
    seq_printf(seq, "longest section with interrupts off: %u register accesses, %llu ns\n", hold.accesses,
               hold.nanoseconds);
    if (!window)
        seq_printf(seq, "accesses that the hardware does not know: %u\n", ifc_sim_errors());
    return result;
}
DEFINE_SHOW_ATTRIBUTE(status);

static int regs_show(struct seq_file *seq, void *unused)
{
    static const uint32_t regs[] = {FE_TPID_CFG, IFC_GLB_CFG, IFC_RULE_CFG, IFC_DATA0,
                                    IFC_DATA1,   IFC_DATA2,   IFC_DATA3};
    unsigned int n;

    if (mutex_lock_interruptible(&callers))
        return -ERESTARTSYS;
    for (n = 0; n < ARRAY_SIZE(regs); n++)
        seq_printf(seq, "%08x %08x\n", regs[n], get_frame_engine_data(regs[n]));
    for (n = 0; n < IFC_ACNT_CFG_COUNT; n++)
        seq_printf(seq, "%08x %08x\n", IFC_ACNT_CFG + 4 * n, get_frame_engine_data(IFC_ACNT_CFG + 4 * n));
    mutex_unlock(&callers);
    return 0;
}
DEFINE_SHOW_ATTRIBUTE(regs);

/* The shadow tables as they stand in memory. */
static ssize_t image_read(struct file *file, char __user *to, size_t count, loff_t *at)
{
    bool wide = file_inode(file)->i_private == IFC_LUT0_Rule;
    ssize_t result;

    if (mutex_lock_interruptible(&callers))
        return -ERESTARTSYS;
    if (wide)
        result = simple_read_from_buffer(to, count, at, IFC_LUT0_Rule, sizeof(IFC_LUT0_Rule));
    else
        result = simple_read_from_buffer(to, count, at, IFC_LUT1_Rule, sizeof(IFC_LUT1_Rule));
    mutex_unlock(&callers);
    return result;
}

static const struct file_operations image_fops = {
    .owner = THIS_MODULE,
    .open = simple_open,
    .read = image_read,
    .llseek = default_llseek,
};

static int debug_level_get(void *data, u64 *value)
{
    *value = gpIfcPriv->dbgLevel;
    return 0;
}

static int debug_level_set(void *data, u64 value)
{
    if (value >= DBG_LEVEL_MAX)
        return -EINVAL;
    gpIfcPriv->dbgLevel = value;
    return 0;
}
DEFINE_DEBUGFS_ATTRIBUTE(debug_level_fops, debug_level_get, debug_level_set, "%llu\n");

static void make_files(void)
{
    folder = debugfs_create_dir("ifc", NULL);
    debugfs_create_file("command", 0600, folder, NULL, &command_fops);
    debugfs_create_file("rules", 0600, folder, NULL, &rules_fops);
    debugfs_create_file("actions", 0600, folder, NULL, &actions_fops);
    debugfs_create_file("counters", 0600, folder, NULL, &counters_fops);
    debugfs_create_file("status", 0600, folder, NULL, &status_fops);
    debugfs_create_file("regs", 0600, folder, NULL, &regs_fops);
    debugfs_create_file("lut0", 0600, folder, IFC_LUT0_Rule, &image_fops);
    debugfs_create_file("lut1", 0600, folder, IFC_LUT1_Rule, &image_fops);
    debugfs_create_file("debug_level", 0600, folder, NULL, &debug_level_fops);
    debugfs_create_u32("send_to_ppe", 0600, folder, &ifcSendToPpe);
}

static int __init ifc_init(void)
{
    bool mmio = !strcmp(backend, "mmio");

    if (!mmio && strcmp(backend, "sim")) {
        pr_err("ifc: backend '%s': accepted: sim, mmio\n", backend);
        return -EINVAL;
    }
    if (mmio && !fe_base) {
        pr_err("ifc: fe_base 0: accepted with backend=mmio: the physical address of the frame engine\n");
        return -EINVAL;
    }
    if (revision < 0 || revision > 255) {
        pr_err("ifc: revision %d: accepted: 0 to 255\n", revision);
        return -EINVAL;
    }
    if (done_after > 255) {
        pr_err("ifc: done_after %u: accepted: 0 to 255\n", done_after);
        return -EINVAL;
    }
    text = kzalloc(TEXT_SIZE, GFP_KERNEL);
    reply = kzalloc(TEXT_SIZE, GFP_KERNEL);
    if (!text || !reply)
        goto no_memory;
    if (mmio) {
        window = ioremap(fe_base, FE_WINDOW_SIZE);
        if (!window)
            goto no_memory;
    }
    spin_lock_init(&gpIfcPriv->lock);
    ifc_sim_power_on(done_after);
    ifc_glue_setup(window, revision);
    make_files();
    pr_info("ifc: loaded, backend %s\n", backend);
    return 0;

no_memory:
    kfree(reply);
    kfree(text);
    return -ENOMEM;
}

static void __exit ifc_exit(void)
{
    debugfs_remove_recursive(folder); /* waits for files in use */
    ifc_glue_flush();
    if (window)
        iounmap(window);
    kfree(reply);
    kfree(text);
    pr_info("ifc: unloaded\n");
}

module_init(ifc_init);
module_exit(ifc_exit);
MODULE_LICENSE("Dual MIT/GPL");
MODULE_DESCRIPTION("Rule layer of the IFC packet classifier");
