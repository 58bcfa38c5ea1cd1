// SPDX-License-Identifier: MIT OR GPL-2.0
#include <linux/debugfs.h>
#include <linux/fs.h>
#include <linux/kernel.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/seq_file.h>
#include <linux/string.h>
#include <linux/uaccess.h>

#include "ifc/ifc_cmd.h"
#include "ifc/ifc_regs.h"
#include "ifc/ifc_util.h"
#include "ifc_compat.h"
#include "ifc_files.h"
#include "ifc_glue.h"
#include "ifc_owner.h"
#include "ifc_sim.h"

/* Both tables full of everything print 60 KiB; the rest is for traces. What finds no room is counted. */
#define TEXT_SIZE (512 * 1024)
/* A frame of 2048 bytes in hexadecimal with an operation's name, or a request of 48 conditions. */
#define COMMAND_SIZE 4608
/* As long as a frame in a capture may be. */
#define FRAME_BYTES 262144
#define FRAME_SIZE  (2 * FRAME_BYTES + 64)

/* The operator's files are the callers that the rule layer expects to be serialised. */
static DEFINE_MUTEX(callers);
static struct dentry *folder;
static const char *backend_name;

/* Under `callers`: what an operation printed, then the handler's answer. */
static char *text;
static size_t text_length;

void ifc_callers_lock(void)
{
    mutex_lock(&callers);
}
EXPORT_SYMBOL_GPL(ifc_callers_lock);

void ifc_callers_unlock(void)
{
    mutex_unlock(&callers);
}
EXPORT_SYMBOL_GPL(ifc_callers_unlock);

/*
 * A reply belongs to the open file that wrote the line, so that two processes do not get each other's. Who
 * opens the file only to read gets the last one of all, as it was when he began to read.
 */
struct reply {
    bool own; /* to a line that this file wrote */
    size_t length;
    char text[];
};
static struct reply *last_command;
static struct reply *last_frame;

static struct reply *reply_copy(const char *from, size_t length, bool own)
{
    struct reply *reply = kvmalloc(sizeof(*reply) + length, GFP_KERNEL);

    if (reply) {
        reply->own = own;
        reply->length = length;
        memcpy(reply->text, from, length);
    }
    return reply;
}

/* Under `callers`. The line has taken effect: without memory its reply is empty. Read from its start. */
static void reply_keep(struct file *file, loff_t *at, struct reply **last)
{
    kvfree(file->private_data);
    file->private_data = reply_copy(text, text_length, true);
    kvfree(*last);
    *last = reply_copy(text, text_length, false);
    file->f_pos = 0; /* for a refused line, whose position nobody stores back */
    *at = 0;
}

static ssize_t reply_read(struct file *file, char __user *to, size_t count, loff_t *at, struct reply **last)
{
    struct reply *reply;
    ssize_t result = 0;

    if (mutex_lock_interruptible(&callers))
        return -ERESTARTSYS;
    reply = file->private_data;
    if (*at == 0 && *last && !(reply && reply->own)) {
        kvfree(reply);
        reply = reply_copy((*last)->text, (*last)->length, false);
        file->private_data = reply;
    }
    if (reply)
        result = simple_read_from_buffer(to, count, at, reply->text, reply->length);
    mutex_unlock(&callers);
    return result;
}

static int reply_release(struct inode *inode, struct file *file)
{
    kvfree(file->private_data);
    return 0;
}

static int reply_open(struct inode *inode, struct file *file)
{
    file->private_data = NULL;
    return 0;
}

static void append(void *user, const char *piece)
{
    text_length += scnprintf(text + text_length, TEXT_SIZE - text_length, "%s", piece);
}

/* The answer may come before its operation prints; it is put behind. */
struct answer {
    char text[4096];
    size_t length;
};
static struct answer answer;

static void append_answer(void *user, const char *piece)
{
    answer.length += scnprintf(answer.text + answer.length, sizeof(answer.text) - answer.length, "%s", piece);
}

static int run_line(const char *line)
{
    int result;

    if (ifc_owner_name() && !ifc_owner_line_only_reads(line)) {
        text_length = scnprintf(text, TEXT_SIZE, "the tables belong to %s: accepted: what only reads\n",
                                ifc_owner_name());
        return IFC_CMD_REFUSED;
    }
    answer.length = 0;
    answer.text[0] = '\0';
    ifc_glue_capture_begin(text, TEXT_SIZE - sizeof(answer.text) - 80, IFC_GLUE_LOG_ALL);
    result = ifc_cmd_run(line, append_answer, NULL);
    text_length = ifc_glue_capture_end();
    if (text_length && text[text_length - 1] != '\n')
        append(NULL, "\n");
    if (ifc_glue_capture_lost())
        text_length += scnprintf(text + text_length, TEXT_SIZE - text_length,
                                 "(%zu more characters, see the kernel log)\n", ifc_glue_capture_lost());
    append(NULL, answer.text);
    return result;
}

/* A string without a NUL inside. */
static char *line_from_user(const char __user *from, size_t count)
{
    char *line = kvmalloc(count + 1, GFP_KERNEL);

    if (!line)
        return ERR_PTR(-ENOMEM);
    if (copy_from_user(line, from, count)) {
        kvfree(line);
        return ERR_PTR(-EFAULT);
    }
    line[count] = '\0';
    if (strlen(line) != count) {
        kvfree(line);
        return ERR_PTR(-EINVAL);
    }
    return line;
}

static ssize_t command_write(struct file *file, const char __user *from, size_t count, loff_t *at)
{
    char *line;
    int result;

    if (count >= COMMAND_SIZE)
        return -E2BIG;
    line = line_from_user(from, count);
    if (IS_ERR(line))
        return PTR_ERR(line);
    if (mutex_lock_interruptible(&callers)) {
        kvfree(line);
        return -ERESTARTSYS;
    }
    result = run_line(line);
    reply_keep(file, at, &last_command);
    mutex_unlock(&callers);
    kvfree(line);
    return result == IFC_CMD_REFUSED ? -EINVAL : count;
}

static ssize_t command_read(struct file *file, char __user *to, size_t count, loff_t *at)
{
    return reply_read(file, to, count, at, &last_command);
}

static const struct file_operations command_fops = {
    .owner = THIS_MODULE,
    .open = reply_open,
    .read = command_read,
    .write = command_write,
    .release = reply_release,
    .llseek = default_llseek,
};

/* HEX [SOURCE-INTERFACE GEM-PORT], both -1 when not known; HEX is - for a frame of no bytes. */
static bool classify_line(char *line, u8 *frame)
{
    struct ifc_sim_verdict verdict;
    char *digits;
    char *first;
    size_t length;
    int source_interface = -1;
    int gem_port = -1;
    bool numbers = true;

    line = strim(line);
    digits = strsep(&line, " \t");
    if (line) {
        line = skip_spaces(line);
        first = strsep(&line, " \t");
        numbers =
            line && !kstrtoint(first, 10, &source_interface) && !kstrtoint(skip_spaces(line), 10, &gem_port);
    }
    length = strcmp(digits, "-") ? strlen(digits) : 0;
    text_length = 0;
    if (!*digits || length % 2 || length / 2 > FRAME_BYTES || hex2bin(frame, digits, length / 2)) {
        text_length =
            scnprintf(text, TEXT_SIZE, "frame: accepted: up to %u bytes, two hexadecimal digits each, or -\n",
                      FRAME_BYTES);
        return false;
    }
    if (!numbers || source_interface < -1 || source_interface > 31 || gem_port < -1 || gem_port > 65535) {
        append(NULL, "frame: side data: accepted: source interface -1 to 31 and GEM port -1 to 65535\n");
        return false;
    }
    ifc_sim_classify(frame, length / 2, source_interface, gem_port, &verdict);
    text_length = scnprintf(text, TEXT_SIZE, "entry %d lut0 %02x lut1 %08x %08x\n", verdict.entry,
                            verdict.lut0, verdict.lut1[0], verdict.lut1[1]);
    return true;
}

static ssize_t frame_write(struct file *file, const char __user *from, size_t count, loff_t *at)
{
    char *line;
    u8 *frame;
    bool good;

    if (count >= FRAME_SIZE)
        return -E2BIG;
    line = line_from_user(from, count);
    if (IS_ERR(line))
        return PTR_ERR(line);
    frame = kvmalloc(count / 2 + 1, GFP_KERNEL);
    if (!frame || mutex_lock_interruptible(&callers)) {
        kvfree(line);
        kvfree(frame);
        return frame ? -ERESTARTSYS : -ENOMEM;
    }
    good = classify_line(line, frame);
    reply_keep(file, at, &last_frame);
    mutex_unlock(&callers);
    kvfree(line);
    kvfree(frame);
    return good ? count : -EINVAL;
}

static ssize_t frame_read(struct file *file, char __user *to, size_t count, loff_t *at)
{
    return reply_read(file, to, count, at, &last_frame);
}

static const struct file_operations frame_fops = {
    .owner = THIS_MODULE,
    .open = reply_open,
    .read = frame_read,
    .write = frame_write,
    .release = reply_release,
    .llseek = default_llseek,
};

/* Text of an operation. The log gets a copy of its errors alone. */
static int show_printed(struct seq_file *seq, void (*print)(void))
{
    if (mutex_lock_interruptible(&callers))
        return -ERESTARTSYS;
    ifc_glue_capture_begin(text, TEXT_SIZE, IFC_GLUE_LOG_REPORTS);
    print();
    ifc_glue_capture_end();
    seq_puts(seq, text);
    mutex_unlock(&callers);
    return 0;
}

/* With room for all of it at once: otherwise the operation would run again, each time with twice the room. */
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
        ifc_dump_action(n);
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

    if (mutex_lock_interruptible(&callers))
        return -ERESTARTSYS;
    if (ifc_owner_name())
        seq_printf(seq, "the tables belong to %s\n", ifc_owner_name());
    mutex_unlock(&callers);
    seq_printf(seq, "backend %s revision %d\n", backend_name, ifc_glue_revision());
    seq_printf(seq, "revision=%d timeouts=%u\n", ifc_glue_revision(), ifc_glue_timeouts()); /* for programs */
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
    if (mutex_lock_interruptible(&callers))
        return -ERESTARTSYS;
    gpIfcPriv->dbgLevel = value;
    mutex_unlock(&callers);
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
    if (mutex_lock_interruptible(&callers))
        return -ERESTARTSYS;
    if (ifc_owner_name())
        result = -EBUSY;
    else
        ifcSendToPpe = value;
    mutex_unlock(&callers);
    return result;
}
DEFINE_DEBUGFS_ATTRIBUTE(send_to_ppe_fops, send_to_ppe_get, send_to_ppe_set, "%llu\n");

int ifc_files_init(const char *backend, bool simulated)
{
    text = kvzalloc(TEXT_SIZE, GFP_KERNEL);
    if (!text)
        return -ENOMEM;
    backend_name = backend;
    folder = debugfs_create_dir("ifc", NULL);
    if (IS_ERR(folder))
        pr_warn("ifc: no files: the folder 'ifc' of debugfs cannot be made (%ld)\n", PTR_ERR(folder));
    debugfs_create_file("command", 0600, folder, NULL, &command_fops);
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
    if (simulated)
        debugfs_create_file("frame", 0600, folder, NULL, &frame_fops);
    return 0;
}

void ifc_files_exit(void)
{
    debugfs_remove_recursive(folder); /* waits for files in use */
    kvfree(last_command);
    kvfree(last_frame);
    kvfree(text);
}
