/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * A list of edits of a set, run in one call: what a process hands to a kernel that holds the tables. The
 * structs have no pointers and the same layout on 32 and 64 bits.
 */
#ifndef IFC_RULESET_EDITS_H
#define IFC_RULESET_EDITS_H

#include "ruleset/ruleset.h"

#ifdef __cplusplus
extern "C" {
#endif

enum ifc_ruleset_edit_kind {
    IFC_RULESET_INSERT = 0,  /* `rule` in front of the rule at `position`, as ifc_ruleset_insert() */
    IFC_RULESET_REMOVE = 1,  /* the rule at `position` */
    IFC_RULESET_REPLACE = 2, /* at `position`: the parts of `rule` that `argument` names */
    IFC_RULESET_MOVE = 3,    /* the rule at `position` to the position `argument` */
    IFC_RULESET_CLEAR = 4    /* all rules */
};

/* Positions are those after the edits before this one. What a kind does not name is not looked at. */
struct ifc_ruleset_edit {
    uint32_t kind; /* enum ifc_ruleset_edit_kind */
    uint32_t position;
    uint32_t argument; /* of REPLACE: IFC_RULESET_CONDITIONS and the like; of MOVE: a position */
    uint32_t reserved; /* 0 */
    struct ifc_rule rule;
};

/* A flag of ifc_ruleset_run() besides those of ifc_ruleset_apply(): only plan, touch nothing. */
#define IFC_RULESET_PLAN_ONLY 0x80000000u

#define IFC_RULESET_NO_EDIT 0xFFFFFFFFu

/*
 * Does the edits in their order, then applies them, or plans only. Returns what the first call that fails
 * returned, or IFC_RULESET_OK, and fills the report as that call did. *failed, which may be NULL: the index
 * of the edit at fault; IFC_RULESET_NO_EDIT: none is. An unknown kind is IFC_RULESET_BAD_POSITION.
 *
 * Unlike elsewhere, after a failure the set holds the edits before it, and after a plan all of them. Neither
 * tables nor hardware have changed then.
 */
int ifc_ruleset_run(struct ifc_ruleset *set, const struct ifc_ruleset_edit *edits, uint32_t count,
                    uint32_t flags, struct ifc_ruleset_report *report, uint32_t *failed);

/*
 * A checksum of rule tables, FNV-1a with 32 bits over the words of both, LUT0 first: whether edits were made
 * for the tables that stand.
 */
uint32_t ifc_ruleset_checksum(const IFC_LUT0_Format lut0[IFC_LUT0_RULES],
                              const IFC_LUT1_Format lut1[IFC_LUT1_RULES]);

/* What one write hands over: this, then `count` edits, in the byte order of the machine. */
#define IFC_RULESET_BATCH_MAGIC   0x42434649u /* "IFCB" */
#define IFC_RULESET_BATCH_VERSION 1u
#define IFC_RULESET_BATCH_EDITS   128u /* at most: a set of rules in place of any other takes 80 */

struct ifc_ruleset_batch {
    uint32_t magic;
    uint32_t version;
    uint32_t checksum; /* ifc_ruleset_checksum() of the tables that the edits were made for */
    uint32_t flags;    /* of ifc_ruleset_run() */
    uint32_t count;
    uint32_t edit_size; /* sizeof(struct ifc_ruleset_edit) */
};

#ifdef __cplusplus
}
#endif

#endif
