// SPDX-License-Identifier: MIT OR GPL-2.0
// The file `ruleset`: one write brings the rule tables from one set of rules to another.
#include <linux/fs.h>
#include <linux/kernel.h>
#include <linux/module.h>
#include <linux/uaccess.h>

#include "ifc_compat.h"
#include "ifc_files.h"
#include "ifc_owner.h"
#include "ruleset/edits.h"

#define WRITE_SIZE \
    (sizeof(struct ifc_ruleset_batch) + IFC_RULESET_BATCH_EDITS * sizeof(struct ifc_ruleset_edit))

/* What a write was answered with: it belongs to the open file. Under the callers' mutex. */
struct answer {
    size_t length;
    char text[2048];
};

static void say(struct answer *answer, const char *fmt, ...) __printf(2, 3);
static void say(struct answer *answer, const char *fmt, ...)
{
    va_list args;

    va_start(args, fmt);
    answer->length +=
        (size_t)vscnprintf(answer->text + answer->length, sizeof(answer->text) - answer->length, fmt, args);
    va_end(args);
}

static void say_report(struct answer *answer, const struct ifc_ruleset_report *report, u32 failed, u32 count)
{
    u32 n;

    say(answer, "result=%d\nreason=%u\ncondition=%u\nother=%u\n", report->result, report->reason,
        report->condition, report->other);
    if (failed != IFC_RULESET_NO_EDIT)
        say(answer, "edit=%u\n", failed);
    say(answer, "position=%u\nlater=%u\nconflict=0x%llx\n", report->position, report->later,
        (unsigned long long)report->conflict);
    say(answer, "wide_needed=%u\nwide_free=%u\nnarrow_needed=%u\nnarrow_free=%u\n", report->wide_needed,
        report->wide_free, report->narrow_needed, report->narrow_free);
    say(answer, "either_rules=%u\neither_entries=%u\n", report->either_rules, report->either_entries);
    say(answer, "kept=%u\nmoved=%u\nadded=%u\ndeleted=%u\nfewest=%u\nundo=%u\naccesses=%u\n", report->kept,
        report->moved, report->added, report->deleted, report->fewest, report->undo, report->accesses);
    /* A line a rule, in its position: table, first entry, entries. */
    for (n = 0; n < count; n++)
        say(answer, "place=%u,%u,%u\n", report->place[n].table, report->place[n].first,
            report->place[n].entries);
}

/* What is wrong with the header; NULL: nothing. */
static const char *wrong_with(const struct ifc_ruleset_batch *batch, size_t size)
{
    /* As said below. */
    BUILD_BUG_ON(IFC_RULESET_BATCH_VERSION != 1 || IFC_RULESET_BATCH_EDITS != 128);
    if (size < sizeof(*batch) || batch->magic != IFC_RULESET_BATCH_MAGIC)
        return "magic: accepted: a batch of ruleset/edits.h in this machine's byte order";
    if (batch->version != IFC_RULESET_BATCH_VERSION || batch->edit_size != sizeof(struct ifc_ruleset_edit))
        return "version: accepted: 1, with edits of the size that this module was built with";
    if (batch->flags & ~(IFC_RULESET_QUIESCE | IFC_RULESET_PLAN_ONLY))
        return "flags: accepted: quiesce, plan only";
    if (batch->count > IFC_RULESET_BATCH_EDITS ||
        size != sizeof(*batch) + batch->count * sizeof(struct ifc_ruleset_edit))
        return "count: accepted: 0 to 128 edits, and nothing after them";
    return NULL;
}

/* Under the callers' mutex. */
static void run_batch(struct answer *answer, struct ifc_ruleset *set, const struct ifc_ruleset_batch *batch)
{
    const struct ifc_ruleset_edit *edits = (const void *)(batch + 1);
    struct ifc_ruleset_report report = {0};
    u32 failed = IFC_RULESET_NO_EDIT;
    u8 undo;

    if (batch->checksum != ifc_ruleset_checksum(IFC_LUT0_Rule, IFC_LUT1_Rule)) {
        report.result = IFC_RULESET_STALE;
    } else if (ifc_ruleset_read(set, &report) == IFC_RULESET_OK) {
        undo = report.undo; /* the read has completed an undo that had failed */
        ifc_ruleset_run(set, edits, batch->count, batch->flags, &report, &failed);
        if (report.undo == IFC_RULESET_UNDO_NONE)
            report.undo = undo;
    }
    say_report(answer, &report, failed, report.result == IFC_RULESET_OK ? ifc_ruleset_count(set) : 0);
}

static ssize_t set_write(struct file *file, const char __user *from, size_t count, loff_t *at)
{
    struct ifc_ruleset_batch *batch;
    struct ifc_ruleset *set;
    struct answer *answer;
    const char *wrong;
    ssize_t result = (ssize_t)count;

    if (count > WRITE_SIZE)
        return -E2BIG;
    batch = kvmalloc(max(count, sizeof(*batch)), GFP_KERNEL);
    set = kvmalloc(sizeof(*set), GFP_KERNEL);
    answer = kvzalloc(sizeof(*answer), GFP_KERNEL);
    if (!batch || !set || !answer)
        result = -ENOMEM;
    else if (copy_from_user(batch, from, count))
        result = -EFAULT;
    if (result < 0) {
        kvfree(answer);
        goto out;
    }
    wrong = wrong_with(batch, count);
    ifc_callers_lock();
    if (ifc_owner_name() && (wrong || !(batch->flags & IFC_RULESET_PLAN_ONLY))) {
        say(answer, "ruleset: the tables belong to %s: accepted: plans\n", ifc_owner_name());
        result = -EBUSY;
    } else if (wrong) {
        say(answer, "ruleset: %s\n", wrong);
        result = -EINVAL;
    } else {
        run_batch(answer, set, batch);
    }
    kvfree(file->private_data);
    file->private_data = answer; /* read from its start */
    file->f_pos = 0;
    *at = 0;
    ifc_callers_unlock();
out:
    kvfree(batch);
    kvfree(set);
    return result;
}

static ssize_t set_read(struct file *file, char __user *to, size_t count, loff_t *at)
{
    const struct answer *answer;
    ssize_t result = 0;

    ifc_callers_lock();
    answer = file->private_data;
    if (answer)
        result = simple_read_from_buffer(to, count, at, answer->text, answer->length);
    ifc_callers_unlock();
    return result;
}

static int set_open(struct inode *inode, struct file *file)
{
    file->private_data = NULL;
    return 0;
}

static int set_release(struct inode *inode, struct file *file)
{
    kvfree(file->private_data);
    return 0;
}

const struct file_operations ifc_set_fops = {
    .owner = THIS_MODULE,
    .open = set_open,
    .read = set_read,
    .write = set_write,
    .release = set_release,
    .llseek = default_llseek,
};
