// SPDX-License-Identifier: MIT OR GPL-2.0
// The folder of files under debugfs, and the files that show tables and state.
#include <linux/debugfs.h>
#include <linux/fs.h>
#include <linux/kernel.h>
#include <linux/module.h>
#include <linux/seq_file.h>

#include "ifc/ifc_regs.h"
#include "ifc/ifc_util.h"
#include "ifc_compat.h"
#include "ifc_files.h"
#include "ifc_glue.h"
#include "ifc_line_files.h"
#include "ifc_owner.h"

static struct dentry *folder;
static const char *backend_name;

/* Shows what an operation prints. Only its errors and traces go to the log as well. */
static int show_printed(struct seq_file *seq, void (*print)(void))
{
    if (ifc_callers_lock_interruptible())
        return -ERESTARTSYS;
    ifc_glue_capture_begin(ifc_callers_text, IFC_CALLERS_TEXT_SIZE, IFC_GLUE_LOG_REPORTS);
    print();
    ifc_glue_capture_end();
    seq_puts(seq, ifc_callers_text);
    ifc_callers_unlock();
    return 0;
}

/* Room for the whole text. Otherwise seq_file runs the operation again with twice the room. */
#define SHOWN_SIZE (128 * 1024)
#define DEFINE_PRINTED_FILE(name)                                     \
    static int name##_open(struct inode *inode, struct file *file)    \
    {                                                                 \
        return single_open_size(file, name##_show, NULL, SHOWN_SIZE); \
    }                                                                 \
    static const struct file_operations name##_fops = {               \
        .owner = THIS_MODULE,                                         \
        .open = name##_open,                                          \
        .read = seq_read,                                             \
        .llseek = seq_lseek,                                          \
        .release = single_release,                                    \
    }

static void print_rules(void)
{
    ifc_dump_all_rules();
}

static int rules_show(struct seq_file *seq, void *unused)
{
    return show_printed(seq, print_rules);
}
DEFINE_PRINTED_FILE(rules);

static void print_actions(void)
{
    unsigned int n;

    for (n = 0; n < IFC_ACTIONS; n++)
        ifc_dump_action((int)n);
}

static int actions_show(struct seq_file *seq, void *unused)
{
    return show_printed(seq, print_actions);
}
DEFINE_PRINTED_FILE(actions);

static int counters_show(struct seq_file *seq, void *unused)
{
    unsigned long long bytes = 0;
    unsigned long long packets = 0;
    unsigned int n;

    if (ifc_callers_lock_interruptible())
        return -ERESTARTSYS;
    seq_puts(seq, "entry    packets              bytes\n");
    for (n = 0; n < IFC_COUNTERS; n++) {
        ifc_get_acnt(n, &bytes, &packets);
        seq_printf(seq, "%5u %10llu %18llu\n", n, packets, bytes);
    }
    ifc_callers_unlock();
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

    if (ifc_callers_lock_interruptible())
        return -ERESTARTSYS;
    if (ifc_owner_name())
        seq_printf(seq, "the tables belong to %s\n", ifc_owner_name());
    ifc_callers_unlock();
    seq_printf(seq, "backend %s revision %d\n", backend_name, ifc_glue_revision());
    /* Programs read this line. */
    seq_printf(seq, "revision=%d timeouts=%u\n", ifc_glue_revision(), ifc_glue_timeouts());
    seq_printf(seq, "longest section with interrupts off: %u register accesses, %llu ns\n", hold.accesses,
               hold.nanoseconds);
    seq_printf(seq, "accesses that the hardware does not know: %u\n", ifc_glue_errors());
    return result;
}
DEFINE_SHOW_ATTRIBUTE(status);

static int regs_show(struct seq_file *seq, void *unused)
{
    static const uint32_t regs[] = {FE_TPID_CFG, IFC_GLB_CFG, IFC_RULE_CFG, IFC_DATA0,
                                    IFC_DATA1,   IFC_DATA2,   IFC_DATA3};
    unsigned int n;

    if (ifc_callers_lock_interruptible())
        return -ERESTARTSYS;
    for (n = 0; n < ARRAY_SIZE(regs); n++)
        seq_printf(seq, "%08x %08x\n", regs[n], get_frame_engine_data(regs[n]));
    for (n = 0; n < IFC_ACNT_CFG_COUNT; n++)
        seq_printf(seq, "%08x %08x\n", IFC_ACNT_CFG + 4 * n, get_frame_engine_data(IFC_ACNT_CFG + 4 * n));
    ifc_callers_unlock();
    return 0;
}
DEFINE_SHOW_ATTRIBUTE(regs);

/* The shadow tables as they are in memory. */
static ssize_t image_read(struct file *file, char __user *to, size_t count, loff_t *at)
{
    bool wide = file_inode(file)->i_private == IFC_LUT0_Rule;
    ssize_t result;

    if (ifc_callers_lock_interruptible())
        return -ERESTARTSYS;
    if (wide)
        result = simple_read_from_buffer(to, count, at, IFC_LUT0_Rule, sizeof(IFC_LUT0_Rule));
    else
        result = simple_read_from_buffer(to, count, at, IFC_LUT1_Rule, sizeof(IFC_LUT1_Rule));
    ifc_callers_unlock();
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
    if (ifc_callers_lock_interruptible())
        return -ERESTARTSYS;
    gpIfcPriv->dbgLevel = (uint8)value;
    ifc_callers_unlock();
    return 0;
}
DEFINE_DEBUGFS_ATTRIBUTE(debug_level_fops, debug_level_get, debug_level_set, "%llu\n");

static int send_to_ppe_get(void *data, u64 *value)
{
    *value = ifcSendToPpe;
    return 0;
}

static int send_to_ppe_set(void *data, u64 value)
{
    int result = 0;

    if (value > U32_MAX)
        return -EINVAL;
    if (ifc_callers_lock_interruptible())
        return -ERESTARTSYS;
    if (ifc_owner_name())
        result = -EBUSY;
    else
        ifcSendToPpe = (uint32_t)value;
    ifc_callers_unlock();
    return result;
}
DEFINE_DEBUGFS_ATTRIBUTE(send_to_ppe_fops, send_to_ppe_get, send_to_ppe_set, "%llu\n");

int ifc_files_init(const char *backend, bool simulated)
{
    int result = ifc_callers_init();

    if (result)
        return result;
    backend_name = backend;
    folder = debugfs_create_dir("ifc", NULL);
    if (IS_ERR(folder))
        pr_warn("ifc: no files: the folder 'ifc' of debugfs cannot be made (%ld)\n", PTR_ERR(folder));
    ifc_line_files_create(folder, simulated);
    debugfs_create_file("ruleset", 0600, folder, NULL, &ifc_set_fops);
    debugfs_create_file("rules", 0600, folder, NULL, &rules_fops);
    debugfs_create_file("actions", 0600, folder, NULL, &actions_fops);
    debugfs_create_file("counters", 0600, folder, NULL, &counters_fops);
    debugfs_create_file("status", 0600, folder, NULL, &status_fops);
    debugfs_create_file("regs", 0600, folder, NULL, &regs_fops);
    debugfs_create_file("lut0", 0600, folder, IFC_LUT0_Rule, &image_fops);
    debugfs_create_file("lut1", 0600, folder, IFC_LUT1_Rule, &image_fops);
    debugfs_create_file("debug_level", 0600, folder, NULL, &debug_level_fops);
    debugfs_create_file("send_to_ppe", 0600, folder, NULL, &send_to_ppe_fops);
    return 0;
}

void ifc_files_exit(void)
{
    debugfs_remove_recursive(folder); /* waits for files in use */
    ifc_line_files_free();
    ifc_callers_exit();
}
