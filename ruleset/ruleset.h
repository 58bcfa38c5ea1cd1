/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * Ordered rules on the packet classifier: one C header for C11 and C++, inside and outside a kernel.
 *
 * A set is a list of rules. Of all rules that match a frame, the first one in the list decides. The chip
 * decides by place instead: the lowest number that hits. The set finds a place for each rule so that both
 * orders agree, and writes the tables.
 *
 * "A rule fits a frame" means that it matches the frame.
 *
 * Conventions:
 *
 *   Position   of a rule in the list, from 0. The rule at position 0 decides first.
 *   Number     of a rule in the tables: its action entry. 0..7: LUT0 rule 0..7; 8 + k: a chain of LUT1
 *              entries that ends at entry k. If no frame can hit two rules, their numbers may be in any
 *              order.
 *   Edits      ifc_ruleset_insert(), _remove(), _replace() and _move() change only the list in memory.
 *              ifc_ruleset_apply() writes all edits since the last apply or read, all or nothing.
 *   Undo       a set holds no pointers. To drop edits, copy the struct before them and copy it back. After a
 *              successful apply the copy is out of date, and apply refuses it with IFC_RULESET_STALE.
 *   Failed     if the chip falls silent during an update and does not answer during the undo either, the
 *   undo       library keeps what the undo needs. It belongs to the chip, not to a set: the next
 *              ifc_ruleset_read() or ifc_ruleset_apply() of any set completes the undo first
 *              (IFC_RULESET_UNDONE in the report), or returns IFC_RULESET_TIMEOUT. If other operations change
 *              the shadow before that, the undo writes every row of the new shadow instead. Rules that they
 *              changed keep their new actions and counters; actions of all other rules are set back. A new
 *              process or module knows nothing of it: it compares hardware and shadow if it must be sure.
 *   Replacing  read, claim, move each rule that stays to its position (ifc_rule_repeats() finds it; it keeps
 *   the list   place and counters), remove the others, insert the new ones, apply once.
 *   Results    enum ifc_ruleset_result: 0 or a negative number. After any result but IFC_RULESET_OK the set
 *              is as it was before the call; only its working memory has changed.
 *   Report     filled by every call that takes one, whatever the result. May be NULL.
 *   Memory     the caller's. struct ifc_ruleset is below 64 KiB: too large for a kernel stack. struct
 *              ifc_rule is below 1 KiB, a report below 300 bytes. No call allocates.
 *   Locking    a set has no lock: callers serialise all calls on it, and all reads and applies of all sets.
 *              Register accesses hold gpIfcPriv->lock for at most 64 accesses at a time. Between two such
 *              groups others may use the registers, but must not change the rule tables. Calls without
 *              register accesses do not take the lock. Nothing sleeps.
 *   Messages   none. (Transfers that time out print the rule layer's message.)
 *   Revision   revisions 14 and 15 of the chip do not use LUT0: rules that only LUT0 holds are refused, and
 *              the shadow of LUT0 does not change.
 */
#ifndef IFC_RULESET_H
#define IFC_RULESET_H

#include "ifc/ifc_glb.h"

#ifdef __cplusplus
extern "C" {
#endif

#define IFC_RULESET_RULES   40u /* rules of a set: places of LUT0 and entries of LUT1 */
#define IFC_RULE_CONDITIONS 31u /* conditions of a rule */

/* ------------------------------------------------------------------------------------------------------
 * Rules
 * ------------------------------------------------------------------------------------------------------ */

enum ifc_compare {
    IFC_COMPARE_EQUAL = 0,     /* (field & mask) == key; these four are the command codes of the hardware */
    IFC_COMPARE_NOT_EQUAL = 1, /* (field & mask) != key */
    IFC_COMPARE_AT_LEAST = 2,  /* (field & mask) >= key; fields 14 to 47 only */
    IFC_COMPARE_AT_MOST = 3,   /* (field & mask) <= key; fields 14 to 47 only */
    IFC_COMPARE_RANGE = 4      /* key <= field <= key_last; fields 14 to 47 only, mask: the whole field */
};

/*
 * One condition. A frame without the field does not fulfil it, whatever the comparison.
 *
 * field     1 to 47, an IFC_FIELDS. Numbers are in host byte order; the first byte of a MAC address is the
 *           most significant of its 48 bits. An IPv6 address takes up to four conditions, one for each word;
 *           "not equal" of a whole IPv6 address cannot be expressed.
 * mask      bits of the field, none above its width. 0: the field must be there, with any value.
 * key       has no bits outside mask.
 * key_last  for IFC_COMPARE_RANGE, key..(field's highest value); otherwise 0.
 */
struct ifc_rule_condition {
    uint8_t field;
    uint8_t compare; /* enum ifc_compare */
    uint16_t key_last;
    uint32_t reserved; /* 0 */
    uint64_t mask;
    uint64_t key;
};

/*
 * A rule matches a frame that fulfils all its conditions. Without conditions it matches every frame.
 *
 * cookie    the caller's; stored, not interpreted
 * priority  the caller's. Only IFC_RULESET_BY_PRIORITY uses it: the lower number decides first, equal ones in
 *           order of arrival.
 * count     conditions, 0 to 31. Their order does not change what the rule matches. Several conditions may
 *           name one field; then only LUT1 holds the rule.
 * action    the entry as the hardware holds it.
 */
struct ifc_rule {
    uint64_t cookie;
    uint32_t priority;
    uint32_t count;
    struct ifc_rule_condition condition[IFC_RULE_CONDITIONS];
    IFC_Action_Format action;
};

enum ifc_ruleset_result {
    IFC_RULESET_OK = 0,
    IFC_RULESET_BAD_POSITION = -1, /* no rule has this position; insert, move: more than the count of rules */
    IFC_RULESET_FULL = -2,         /* the set has IFC_RULESET_RULES rules */
    IFC_RULESET_BAD_RULE = -3, /* the rule is malformed, or no table holds it; report: reason, condition */
    IFC_RULESET_NO_PLACE = -4, /* no layout holds all rules; report: reason, conflict, entries */
    IFC_RULESET_STALE = -5,    /* the shadow tables are not those of the last read or apply */
    IFC_RULESET_TIMEOUT = -6   /* a transfer did not complete; report: undo */
};

enum ifc_ruleset_reason {
    IFC_RULESET_NO_REASON = 0,
    /* of IFC_RULESET_BAD_RULE. report: condition, and of the last three: other */
    IFC_RULESET_BAD_COUNT,        /* more than 31 conditions; the condition is the count */
    IFC_RULESET_BAD_FIELD,        /* field is not 1 to 47 */
    IFC_RULESET_BAD_COMPARE,      /* unknown, or none of this field: 1 to 13 have equal and not equal */
    IFC_RULESET_BAD_MASK,         /* bits above the field's width; a range: not the whole field */
    IFC_RULESET_BAD_KEY,          /* bits outside the mask; a range: last below first, or above the width */
    IFC_RULESET_FIELD_TWICE,      /* a rule of LUT0 has each field once; LUT1 does not hold the rule either */
    IFC_RULESET_RANGE_NOT_NARROW, /* LUT0 does not hold this range, nor LUT1 the rule */
    IFC_RULESET_UDF_NOT_NARROW,   /* LUT0 has no user-defined fields; LUT1 does not hold the rule either */
    /* of IFC_RULESET_NO_PLACE. report: position, conflict, entries */
    IFC_RULESET_NEEDS_LUT0, /* only LUT0 holds the rule at `position`, and this chip does not use LUT0 */
    IFC_RULESET_NO_SPACE,   /* not enough entries, whatever the order */
    IFC_RULESET_PAIR,       /* `position` decides before `later` and cannot stand before it */
    IFC_RULESET_ORDER       /* the rules of `conflict` have room, but not in their order */
};

struct ifc_ruleset_report;

/*
 * Is the rule well-formed, and does a table of the chip (with LUT0) hold it? IFC_RULESET_OK or
 * IFC_RULESET_BAD_RULE (report: reason, condition, other). The calls below take rules for which this is
 * IFC_RULESET_OK, and rules that the library itself decoded.
 */
int ifc_rule_check(const struct ifc_rule *rule, struct ifc_ruleset_report *report);

/*
 * The next four calls compare conditions only, not cookie, priority or action. A "frame" is one that
 * docs/hardware-model.md allows, under any configuration of user-defined fields and TPID: fields that exclude
 * each other there are never both present.
 */

/*
 * 0: no frame fits both rules. 1: some frame does, or it is not known. The test is exact for the conditions
 * on each single field, and for which fields can occur in one frame. Its search has a limit of 1,024 steps,
 * after which the answer is 1. Only dozens of "not equal" of one address under masks of few bits are known to
 * need more.
 */
int ifc_rule_overlap(const struct ifc_rule *a, const struct ifc_rule *b);

/* 1: every frame that fits b fits a. 0: not so, or not known. */
int ifc_rule_covers(const struct ifc_rule *a, const struct ifc_rule *b);

/* 1: the conditions contradict each other, no frame fits. 0: some frame fits, or it is not known. */
int ifc_rule_contradicts_itself(const struct ifc_rule *rule);

/* 1: both fit the same frames (each covers the other). 0: not so, or not known. */
int ifc_rule_repeats(const struct ifc_rule *a, const struct ifc_rule *b);

/* ------------------------------------------------------------------------------------------------------
 * Rules and table entries
 * ------------------------------------------------------------------------------------------------------ */

/*
 * The room that a rule needs.
 *
 * narrow_entries  entries of its chain in LUT1, 1 to 16; 0: LUT1 does not hold it. A MAC address takes one or
 *                 two entries. A range takes two, or one if a single comparison with a mask is equivalent.
 *                 All other conditions take one.
 * counted         entries that automatic placement counts: two for each MAC address. At least 9 if automatic
 *                 placement would widen a mask in LUT1, so that LUT0 is tried first.
 * wide            1: LUT0 holds it.
 *
 * LUT1 does not hold: masks of IPv4, IPv6 and flow label that are not one run of ones from one end; MAC masks
 * whose lower 32 bits are not; "not equal" of a MAC address with mask bits in both its upper 16 and its lower
 * 32 bits (its two entries would both have to differ); more than 16 entries; rules without conditions.
 * LUT0 does not hold: user-defined fields; a field twice; ranges that need two entries.
 */
struct ifc_rule_shape {
    uint8_t narrow_entries;
    uint8_t counted;
    uint8_t wide;
};

void ifc_rule_shape_of(const struct ifc_rule *rule, struct ifc_rule_shape *shape);

/* Makes the LUT0 rule, with its valid bit. Only if the shape's `wide` is 1. */
void ifc_rule_encode_wide(const struct ifc_rule *rule, IFC_LUT0_Format *image);

/* Makes the LUT1 chain, valid, with its end flag: narrow_entries entries. Only if that number is not 0. */
void ifc_rule_encode_narrow(const struct ifc_rule *rule, IFC_LUT1_Format *image);

/*
 * Decodes a valid LUT0 rule, or a chain of `entries` (1 to 16) LUT1 entries. Only count and conditions are
 * set. Two halves of a MAC address become one condition; "at least" with "at most" of a field, a range.
 * Any entry content is accepted: the conditions match the same frames and stay within the fields' widths.
 * ifc_rule_decode_narrow() returns 0, or -1 if an entry names no field: such a chain never hits.
 */
void ifc_rule_decode_wide(const IFC_LUT0_Format *image, struct ifc_rule *rule);
int ifc_rule_decode_narrow(const IFC_LUT1_Format *image, uint32_t entries, struct ifc_rule *rule);

/* ------------------------------------------------------------------------------------------------------
 * Sets
 * ------------------------------------------------------------------------------------------------------ */

/* Where a rule stands. */
enum ifc_ruleset_table { IFC_RULESET_NOWHERE = 0, IFC_RULESET_LUT0 = 1, IFC_RULESET_LUT1 = 2 };

struct ifc_ruleset_place {
    uint8_t table;    /* enum ifc_ruleset_table */
    uint8_t first;    /* LUT0: the rule, 0..7; LUT1: the first entry of the chain, 0..31 */
    uint8_t entries;  /* LUT0: 1; LUT1: 1..16 */
    uint8_t reserved; /* 0 */
};

/* Whether a failed apply could undo its writes. */
enum ifc_ruleset_undo {
    IFC_RULESET_UNDO_NONE = 0, /* nothing failed */
    /* After a time-out: hardware, shadow, actions and counters are as before. With another result: an earlier
     * undo had failed, and this call has completed it first. */
    IFC_RULESET_UNDONE = 1,
    /* The shadow is as it was; the chip did not answer during the undo. The next read or apply completes
     * it. */
    IFC_RULESET_UNDO_FAILED = 2
};

struct ifc_ruleset_report {
    int32_t result;     /* what the call returned */
    uint32_t reason;    /* enum ifc_ruleset_reason */
    uint32_t condition; /* of BAD_RULE: index of the bad condition, or of the first that LUT0 does not hold */
    uint32_t other;     /* of BAD_RULE: the first that LUT1 does not hold; the count: over 16 entries */
    uint32_t position;  /* of NEEDS_LUT0 and PAIR: the rule; of insert: the new rule's position */
    uint32_t later;     /* of PAIR: the rule that it cannot stand before */
    uint64_t conflict;  /* of NO_PLACE: bit p: the rule at position p; the smallest conflict found */

    /* Of NO_PLACE. Reserved places and entries are not counted. */
    uint8_t wide_needed;     /* rules that only LUT0 holds */
    uint8_t wide_free;       /* LUT0 places that the set may use */
    uint16_t narrow_needed;  /* entries of the rules that only LUT1 holds */
    uint16_t narrow_free;    /* LUT1 entries that the set may use */
    uint16_t either_rules;   /* rules that both tables hold */
    uint16_t either_entries; /* their entries if all of them were in LUT1 */

    /* Of a plan and of an apply, if a layout was found: */
    uint8_t kept;    /* rules that stay where they are */
    uint8_t moved;   /* rules that get another place, with their counters */
    uint8_t added;   /* new rules, counters at zero */
    uint8_t deleted; /* removed rules */
    uint8_t fewest;  /* 1: no layout moves fewer rules; 0: not proven */
    uint8_t undo;    /* enum ifc_ruleset_undo */
    /* Register accesses if each transfer completes at the first poll, without those that complete an earlier
     * undo. Of a plan: an upper bound for its apply. Of an apply: those that it made. */
    uint32_t accesses;

    struct ifc_ruleset_place place[IFC_RULESET_RULES]; /* by position */
};

#define IFC_RULESET_WORK_WORDS  2560 /* 64-bit words; the library checks at compile time that they suffice */
#define IFC_RULESET_TABLE_WORDS (IFC_LUT0_RULES * IFC_LUT0_WORDS + IFC_LUT1_RULES * 2)

/* All members are private; read a set through the calls below. */
struct ifc_ruleset {
    uint32_t count;
    uint8_t standing;                 /* count of rules at the last apply */
    uint8_t order[IFC_RULESET_RULES]; /* slot of each position */
    uint8_t state[IFC_RULESET_RULES]; /* by slot: taken, action not in the tables */
    uint32_t now[IFC_RULESET_RULES];  /* by slot: a struct ifc_ruleset_place as one word */
    uint64_t owned; /* bit n: LUT0 rule n, bit 8 + n: LUT1 entry n belonged to the set at the last apply */
    uint64_t overlaps[IFC_RULESET_RULES];     /* by slot: bit n: slot n and this one overlap */
    uint32_t tables[IFC_RULESET_TABLE_WORDS]; /* the shadow tables at the last read or apply */
    struct ifc_rule rule[IFC_RULESET_RULES];  /* by slot */
    uint64_t work[IFC_RULESET_WORK_WORDS];
};

/* An empty set over empty tables. Touches neither shadow nor registers. */
void ifc_ruleset_init(struct ifc_ruleset *set);

/*
 * Reads the set from the tables, whoever wrote them: conditions from the shadow tables, actions from the
 * hardware. Positions follow the numbers; cookies and priorities are 0.
 *
 * Two kinds of entries never hit. They are reserved: no rules of the set, never written, never used.
 *   - LUT1 entries that no end flag follows, and the free entry after them (a chain there would join them)
 *   - chains with an entry that names no field
 *
 * IFC_RULESET_OK or IFC_RULESET_TIMEOUT. After a time-out the set is empty, as after ifc_ruleset_init(). An
 * undo that failed is completed first (report: undo).
 */
int ifc_ruleset_read(struct ifc_ruleset *set, struct ifc_ruleset_report *report);

/*
 * Gives the entries that ifc_ruleset_read() reserved to the set: the next apply clears or reuses them. For
 * callers that replace the whole list. An interrupted update (process killed, chip silent) leaves such
 * entries, and the new list may need their room.
 */
void ifc_ruleset_claim(struct ifc_ruleset *set);

uint32_t ifc_ruleset_count(const struct ifc_ruleset *set);

/* The rule at a position. NULL: there is none. Valid until the next edit or read of the set. */
const struct ifc_rule *ifc_ruleset_rule(const struct ifc_ruleset *set, uint32_t position);

/* The place of the rule at a position; IFC_RULESET_NOWHERE before its first apply, or without a rule. */
struct ifc_ruleset_place ifc_ruleset_place_of(const struct ifc_ruleset *set, uint32_t position);

/* The number of a place, 0..39; -1: nowhere. */
int ifc_ruleset_number(struct ifc_ruleset_place place);

/* The position of the rule with this number, or with this cookie (the first of them); -1: none. */
int ifc_ruleset_find_number(const struct ifc_ruleset *set, uint32_t number);
int ifc_ruleset_find_cookie(const struct ifc_ruleset *set, uint64_t cookie);

/* Special positions of ifc_ruleset_insert(). */
#define IFC_RULESET_LAST        0xFFFFFFFFu
#define IFC_RULESET_BY_PRIORITY 0xFFFFFFFEu

/*
 * Inserts a copy of the rule before the one at `position`. The count of rules or IFC_RULESET_LAST: at the
 * end. IFC_RULESET_BY_PRIORITY: before the first rule with a greater priority number. Places are not checked
 * here but by plan and apply.
 * IFC_RULESET_OK (report: position), _BAD_POSITION, _FULL, _BAD_RULE (report: reason, condition).
 */
int ifc_ruleset_insert(struct ifc_ruleset *set, uint32_t position, const struct ifc_rule *rule,
                       struct ifc_ruleset_report *report);

/* Removes the rule from the list. IFC_RULESET_OK, _BAD_POSITION. */
int ifc_ruleset_remove(struct ifc_ruleset *set, uint32_t position);

/* Removes all rules from the list. */
void ifc_ruleset_clear(struct ifc_ruleset *set);

/*
 * The parts that ifc_ruleset_replace() takes from the given rule, in any combination. With new conditions a
 * rule counts from zero and may get any place, unless they match the same frames as the old ones
 * (ifc_rule_repeats()): then place, table entries and counters stay if they can.
 */
#define IFC_RULESET_CONDITIONS 1u
#define IFC_RULESET_ACTION     2u /* counters and place stay */
#define IFC_RULESET_COOKIE     4u /* cookie and priority; the position stays */

/* IFC_RULESET_OK, _BAD_POSITION, _BAD_RULE (with IFC_RULESET_CONDITIONS only; report: reason, condition). */
int ifc_ruleset_replace(struct ifc_ruleset *set, uint32_t position, const struct ifc_rule *rule,
                        uint32_t what, struct ifc_ruleset_report *report);

/* Moves the rule from one position to another; those in between shift. IFC_RULESET_OK, _BAD_POSITION. */
int ifc_ruleset_move(struct ifc_ruleset *set, uint32_t from, uint32_t to);

/*
 * Finds the places and counts the changes of an apply. Accesses no registers and does not change the shadow.
 * IFC_RULESET_OK, IFC_RULESET_NO_PLACE or, as for apply, IFC_RULESET_STALE.
 *
 * The search is complete: if any layout keeps the order of the list, one is found. It prefers a layout that
 * moves the fewest placed rules (report: fewest), and among those the places of automatic placement.
 *
 * A rule that was read from LUT1 keeps its entries there. Its encoding may need fewer (ifc_rule_shape_of()).
 * If there is no layout with all entries kept, all such rules are written anew, with their counters; `fewest`
 * is 0 then. Conditions are written as they are: a rule of fewer conditions that matches the same frames is
 * not looked for, but ifc_ruleset_replace() takes one.
 */
int ifc_ruleset_plan(struct ifc_ruleset *set, struct ifc_ruleset_report *report);

#define IFC_RULESET_QUIESCE \
    1u /* the classifier is off during the update: no frame meets an intermediate state */

/*
 * Plans, then updates hardware and shadow. After every single register access the hardware holds complete
 * rules only, old or new. A rule that stays is valid throughout. An action is written before its rule is
 * valid.
 *
 * flags: 0 or IFC_RULESET_QUIESCE.
 * IFC_RULESET_OK, _NO_PLACE, _STALE (nothing is touched then), _TIMEOUT (report: undo).
 * After any result but OK the edits are still pending, and apply may be called again.
 *
 * An undo puts back counters as well. Counts that arrive before the time-out, at the new place of a rule that
 * moves, go back with the rule. Lost are only counts of new rules, and counts at a place that cannot be made
 * invalid or read because the chip does not answer for it.
 */
int ifc_ruleset_apply(struct ifc_ruleset *set, uint32_t flags, struct ifc_ruleset_report *report);

/*
 * Forgets an undo that failed. For callers that have reset the chip and will write all tables, actions and
 * counters by other means.
 */
void ifc_ruleset_forget_undo(void);

#ifdef __cplusplus
}
#endif

#endif
