/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * A list of edits of a set that is run in one call. A process passes it to the kernel that holds the tables.
 * The structs have no pointers and the same layout on 32 and 64 bits.
 */
#ifndef IFC_RULESET_EDITS_H
#define IFC_RULESET_EDITS_H

#include "ruleset/ruleset.h"

#ifdef __cplusplus
extern "C" {
#endif

enum ifc_ruleset_edit_kind {
    IFC_RULESET_INSERT = 0,  /* `rule` before the rule at `position`, as ifc_ruleset_insert() */
    IFC_RULESET_REMOVE = 1,  /* the rule at `position` */
    IFC_RULESET_REPLACE = 2, /* at `position`: the parts of `rule` that `argument` names */
    IFC_RULESET_MOVE = 3,    /* the rule at `position` to the position `argument` */
    IFC_RULESET_CLEAR = 4,   /* all rules */
    IFC_RULESET_CLAIM = 5    /* reserved entries become the set's, as ifc_ruleset_claim() */
};

/* Positions count after all preceding edits. Members that a kind does not use are ignored. */
struct ifc_ruleset_edit {
    uint32_t kind; /* enum ifc_ruleset_edit_kind */
    uint32_t position;
    uint32_t argument; /* of REPLACE: IFC_RULESET_CONDITIONS and the like; of MOVE: a position */
    uint32_t reserved; /* 0 */
    struct ifc_rule rule;
};

/* A flag of ifc_ruleset_run() besides those of ifc_ruleset_apply(): plan only, write nothing. */
#define IFC_RULESET_PLAN_ONLY 0x80000000u

#define IFC_RULESET_NO_EDIT 0xFFFFFFFFu

/*
 * Runs the edits in order, then applies or plans. Stops at the first call that fails. Returns the result of
 * the last call, whose report this is. *failed (failed may be NULL): the index of the edit that failed, or
 * IFC_RULESET_NO_EDIT. An unknown kind gives IFC_RULESET_BAD_POSITION.
 *
 * Unlike other calls, this one keeps edits: after a failed edit those before it, after a plan all of them.
 * Tables and hardware do not change in either case.
 */
int ifc_ruleset_run(struct ifc_ruleset *set, const struct ifc_ruleset_edit *edits, uint32_t count,
                    uint32_t flags, struct ifc_ruleset_report *report, uint32_t *failed);

/*
 * A checksum of the rule tables: 32-bit FNV-1a over the words of both, LUT0 first. It shows whether edits
 * were made for the current tables.
 */
uint32_t ifc_ruleset_checksum(const IFC_LUT0_Format lut0[IFC_LUT0_RULES],
                              const IFC_LUT1_Format lut1[IFC_LUT1_RULES]);

/* The header of one write; `count` edits follow. Byte order of the machine. */
#define IFC_RULESET_BATCH_MAGIC   0x42434649u /* "IFCB" */
#define IFC_RULESET_BATCH_VERSION 1u
#define IFC_RULESET_BATCH_EDITS   128u /* at most; replacing all rules of a full set takes 80 */

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
