// SPDX-License-Identifier: MIT OR GPL-2.0
// The files that take a line and answer it: `command`, and `frame` for the simulated engine.
#include <linux/debugfs.h>
#include <linux/fs.h>
#include <linux/kernel.h>
#include <linux/module.h>
#include <linux/string.h>
#include <linux/uaccess.h>

#include "ifc/ifc_cmd.h"
#include "ifc_callers.h"
#include "ifc_compat.h"
#include "ifc_glue.h"
#include "ifc_line_files.h"
#include "ifc_owner.h"
#include "ifc_sim.h"

/* A frame of 2048 bytes in hexadecimal with an operation's name, or a request of 48 conditions. */
#define COMMAND_SIZE 4608
/* The longest frame of a capture. */
#define FRAME_BYTES 262144
#define FRAME_SIZE  (2 * FRAME_BYTES + 64)

/* What the running line has answered so far, at ifc_callers_text. */
static size_t text_length;

/*
 * A reply belongs to the open file that wrote the line, so that two processes do not mix up their replies. A
 * file that wrote nothing gets the last reply of all, as it was at the first read.
 */
struct reply {
    bool own; /* to a line that this file wrote */
    size_t length;
    char text[];
};
/* Guarded by the callers' lock. Each file has one of them as its inode's i_private. */
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

/* Called with the callers' lock held. The line has taken effect, so without memory its reply is empty. */
static void reply_keep(struct file *file, loff_t *at)
{
    struct reply **last = file_inode(file)->i_private;

    kvfree(file->private_data);
    file->private_data = reply_copy(ifc_callers_text, text_length, true);
    kvfree(*last);
    *last = reply_copy(ifc_callers_text, text_length, false);
    file->f_pos = 0; /* for a refused line: then the caller does not store *at */
    *at = 0;
}

static ssize_t reply_read(struct file *file, char __user *to, size_t count, loff_t *at)
{
    struct reply **last = file_inode(file)->i_private;
    struct reply *reply;
    ssize_t result = 0;

    if (ifc_callers_lock_interruptible())
        return -ERESTARTSYS;
    reply = file->private_data;
    if (*at == 0 && *last && !(reply && reply->own)) {
        kvfree(reply);
        reply = reply_copy((*last)->text, (*last)->length, false);
        file->private_data = reply;
    }
    if (reply)
        result = simple_read_from_buffer(to, count, at, reply->text, reply->length);
    ifc_callers_unlock();
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

#define DEFINE_LINE_FILE(name)                          \
    static const struct file_operations name##_fops = { \
        .owner = THIS_MODULE,                           \
        .open = reply_open,                             \
        .read = reply_read,                             \
        .write = name##_write,                          \
        .release = reply_release,                       \
        .llseek = default_llseek,                       \
    }

/* Appends to the text. */
static void say(const char *format, ...) __printf(1, 2);
static void say(const char *format, ...)
{
    va_list args;

    va_start(args, format);
    text_length +=
        (size_t)vscnprintf(ifc_callers_text + text_length, IFC_CALLERS_TEXT_SIZE - text_length, format, args);
    va_end(args);
}

/* The handler may answer before its operation prints, but the answer is shown after that text. */
struct answer {
    char text[4096];
    size_t length;
};
static struct answer answer;

static void append_answer(void *user, const char *piece)
{
    answer.length +=
        (size_t)scnprintf(answer.text + answer.length, sizeof(answer.text) - answer.length, "%s", piece);
}

static bool run_line(char *line, u8 *room)
{
    int result;

    if (ifc_owner_name() && !ifc_cmd_only_reads(line)) {
        text_length = 0;
        say("the tables belong to %s: accepted: what only reads\n", ifc_owner_name());
        return false;
    }
    answer.length = 0;
    answer.text[0] = '\0';
    ifc_glue_capture_begin(ifc_callers_text, IFC_CALLERS_TEXT_SIZE - sizeof(answer.text) - 80,
                           IFC_GLUE_LOG_ALL);
    result = ifc_cmd_run(line, append_answer, NULL);
    text_length = ifc_glue_capture_end();
    if (text_length && ifc_callers_text[text_length - 1] != '\n')
        say("\n");
    if (ifc_glue_capture_lost())
        say("(%zu more characters, see the kernel log)\n", ifc_glue_capture_lost());
    say("%s", answer.text);
    return result != IFC_CMD_REFUSED;
}

/*
 * Returns the bytes as a string. Bytes with a NUL among them are refused. After the string follow count / 2
 * bytes of room for what its hexadecimal digits stand for.
 */
static char *line_from_user(const char __user *from, size_t count)
{
    char *line = kvmalloc(count + 1 + count / 2, GFP_KERNEL);

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

/* Takes a line of fewer than `limit` bytes. run() gets it with its room, and is false if it refuses it. */
static ssize_t line_write(struct file *file, const char __user *from, size_t count, loff_t *at, size_t limit,
                          bool (*run)(char *line, u8 *room))
{
    char *line;
    bool good;

    if (count >= limit)
        return -E2BIG;
    line = line_from_user(from, count);
    if (IS_ERR(line))
        return PTR_ERR(line);
    if (ifc_callers_lock_interruptible()) {
        kvfree(line);
        return -ERESTARTSYS;
    }
    good = run(line, (u8 *)line + count + 1);
    reply_keep(file, at);
    ifc_callers_unlock();
    kvfree(line);
    return good ? (ssize_t)count : -EINVAL;
}

static ssize_t command_write(struct file *file, const char __user *from, size_t count, loff_t *at)
{
    return line_write(file, from, count, at, COMMAND_SIZE, run_line);
}
DEFINE_LINE_FILE(command);

/* HEX [SOURCE-INTERFACE GEM-PORT], both -1 when not known; HEX is - for an empty frame. */
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
        say("frame: accepted: up to %u bytes, two hexadecimal digits each, or -\n", FRAME_BYTES);
        return false;
    }
    if (!numbers || source_interface < -1 || source_interface > 31 || gem_port < -1 || gem_port > 65535) {
        say("frame: side data: accepted: source interface -1 to 31 and GEM port -1 to 65535\n");
        return false;
    }
    ifc_sim_classify(frame, length / 2, source_interface, gem_port, &verdict);
    say("entry %d lut0 %02x lut1 %08x %08x\n", verdict.entry, verdict.lut0, verdict.lut1[0], verdict.lut1[1]);
    return true;
}

static ssize_t frame_write(struct file *file, const char __user *from, size_t count, loff_t *at)
{
    return line_write(file, from, count, at, FRAME_SIZE, classify_line);
}
DEFINE_LINE_FILE(frame);

void ifc_line_files_create(struct dentry *folder, bool simulated)
{
    debugfs_create_file("command", 0600, folder, &last_command, &command_fops);
    if (simulated)
        debugfs_create_file("frame", 0600, folder, &last_frame, &frame_fops);
}

void ifc_line_files_free(void)
{
    kvfree(last_command);
    kvfree(last_frame);
}
