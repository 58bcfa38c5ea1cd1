/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * Ordered rules on the packet classifier: one C header, usable from C11 and from C++, in a kernel and
 * outside.
 *
 * A set is a list of rules. Of all rules that fit a frame, the first one of the list decides. The chip
 * decides by place instead: by the lowest number that hits. The set finds a place for each rule so that both
 * agree, and brings the tables there.
 *
 * Conventions, stated once:
 *
 *   Position   of a rule in the list, from 0. The rule at position 0 decides first.
 *   Number     of a rule in the tables: its action entry. 0..7: LUT0 rule 0..7; 8 + k: a chain of LUT1
 *              entries that ends at entry k. Numbers of rules that no frame can both hit need not follow the
 *              positions.
 *   Edits      ifc_ruleset_insert(), _remove(), _replace() and _move() change the list in memory and nothing
 *              else. ifc_ruleset_apply() writes all edits since the last apply or read, all or nothing.
 *   Undo       a set holds no pointers. To be able to drop edits, copy the struct before them and copy it
 *              back. (Not across a successful apply: then the tables are ahead of the copy, which is refused
 *              as IFC_RULESET_STALE.)
 *   Whole      to bring a whole wanted list in: read, claim, move each rule that is wanted again to its
 *   lists      position (ifc_rule_repeats() finds it; it keeps place and counters), remove the others, insert
 *              the new ones, apply once.
 *   Results    enum ifc_ruleset_result: 0 or a negative number. After any other result than IFC_RULESET_OK
 *              the set is as it was before the call; only its working memory has changed.
 *   Report     filled by every call that takes one, whatever the result. May be NULL.
 *   Memory     all of it is the caller's: struct ifc_ruleset is below 64 KiB (allocate it, for it fits no
 *              kernel stack), struct ifc_rule is below 1 KiB, a report below 300 bytes. No call allocates.
 *   Locking    none of the set's own: callers serialise all calls on a set. Register accesses are made under
 *              gpIfcPriv->lock, which is taken in groups of at most 64 register accesses; between two groups
 *              others may use the registers, but must not change the rule tables. All other calls touch
 *              neither registers nor lock. Nothing sleeps.
 *   Messages   none. (Transfers that time out print the rule layer's message.)
 *   Revision   on revisions 14 and 15 of the chip LUT0 is not used: rules that only LUT0 holds are refused,
 *              and what stands in the shadow of LUT0 is left alone.
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
 * One condition. A frame that lacks the field does not fulfil it, whatever the comparison.
 *
 * field     1 to 47, an IFC_FIELDS. Numbers are in host byte order; the first byte of a MAC address is the
 *           most significant of its 48 bits. An IPv6 address is up to four conditions, one a word; that
 *           such an address is not equal cannot be said.
 * mask      bits of the field, none above its width. 0 asks only for the field to be there.
 * key       no bits outside mask.
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
 * A rule: it fits a frame that fulfils all its conditions. Without any it fits every frame.
 *
 * cookie    the caller's, handed back and not looked at
 * priority  the caller's. IFC_RULESET_BY_PRIORITY inserts by it: lower decides first, equal ones in the order
 *           of their arrival. Not looked at otherwise.
 * count     conditions, 0 to 31. Their order does not change what the rule fits. Several conditions may name
 *           one field; then only LUT1 holds the rule.
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
    IFC_RULESET_BAD_RULE = -3,     /* the rule cannot be said; report: reason and condition */
    IFC_RULESET_NO_PLACE = -4,     /* the rules cannot stand together; report: reason, conflict, entries */
    IFC_RULESET_STALE = -5,        /* the shadow tables are not those of the last read or apply */
    IFC_RULESET_TIMEOUT = -6       /* a transfer did not complete; report: undo */
};

enum ifc_ruleset_reason {
    IFC_RULESET_NO_REASON = 0,
    /* of IFC_RULESET_BAD_RULE. report: condition, and of the last three: other */
    IFC_RULESET_BAD_COUNT,        /* more than 31 conditions; the condition is the count */
    IFC_RULESET_BAD_FIELD,        /* field is not 1 to 47 */
    IFC_RULESET_BAD_COMPARE,      /* no comparison, or none of this field: 1 to 13 know equal and not equal */
    IFC_RULESET_BAD_MASK,         /* bits above the field's width; a range: not the whole field */
    IFC_RULESET_BAD_KEY,          /* bits outside the mask; a range: last below first, or above the width */
    IFC_RULESET_FIELD_TWICE,      /* LUT0 holds a field once, and LUT1 does not hold the rule either */
    IFC_RULESET_RANGE_NOT_NARROW, /* LUT0 holds no such range, and LUT1 does not hold the rule either */
    IFC_RULESET_UDF_NOT_NARROW, /* LUT0 holds no user-defined field, and LUT1 does not hold the rule either */
    /* of IFC_RULESET_NO_PLACE. report: position, conflict, entries */
    IFC_RULESET_NEEDS_LUT0, /* the rule at `position` fits LUT0 only, which this chip does not offer */
    IFC_RULESET_NO_SPACE,   /* more entries than there are, whatever the order */
    IFC_RULESET_PAIR,       /* `position` decides before `later` and cannot stand before it */
    IFC_RULESET_ORDER       /* the rules of `conflict` fit, but not in their order */
};

struct ifc_ruleset_report;

/*
 * Is the rule well-formed, and does a table of the chip (with LUT0) hold it? IFC_RULESET_OK or
 * IFC_RULESET_BAD_RULE (report: reason, condition, other). The calls below take rules for which this is
 * IFC_RULESET_OK, and rules that the library itself decoded.
 */
int ifc_rule_check(const struct ifc_rule *rule, struct ifc_ruleset_report *report);

/*
 * What follows looks at conditions only, never at cookie, priority or action. "Frame" means what
 * docs/hardware-model.md makes of one: fields exclude each other as they do there, with any configuration of
 * user-defined fields and TPID.
 */

/*
 * 0: no frame fits both rules. 1: some frame does, or it is not known. It is known (exactly) for the
 * conditions on each field by itself, up to eight different "not equal" of one address; and for which fields
 * a frame can have together.
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
 * What a rule needs.
 *
 * narrow_entries  entries of its chain in LUT1, 1 to 16; 0: LUT1 does not hold it. A MAC address takes one or
 *                 two, a range two unless one comparison under one mask says the same, all else one.
 * counted         entries that automatic placement counts: two for each MAC address. At least 9 for masks
 *                 that automatic placement does not put into LUT1 as they are: LUT0 is then the first choice.
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

/* The LUT0 rule, valid. Only for a rule whose shape is wide. */
void ifc_rule_encode_wide(const struct ifc_rule *rule, IFC_LUT0_Format *image);

/* The chain, valid, with its end flag: narrow_entries entries from image on. Only if that is not 0. */
void ifc_rule_encode_narrow(const struct ifc_rule *rule, IFC_LUT1_Format *image);

/*
 * The conditions of a valid LUT0 rule, or of a chain of `entries` (1 to 16) LUT1 entries. Sets count and
 * conditions only. Two halves of a MAC address become one condition, at least and at most of a field a range.
 * Whatever stands in the entries becomes conditions with the same meaning and within the fields' widths.
 * ifc_rule_decode_narrow() returns 0, and -1 when an entry names no field: such a chain never hits.
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

/* How far a failed apply could take back what it had written. */
enum ifc_ruleset_undo {
    IFC_RULESET_UNDO_NONE = 0,  /* nothing had been written, or nothing failed */
    IFC_RULESET_UNDONE = 1,     /* hardware, shadow, actions and counters are as they were */
    IFC_RULESET_UNDO_FAILED = 2 /* the shadow is as it was; the chip did not answer while it was undone */
};

struct ifc_ruleset_report {
    int32_t result;     /* what the call returned */
    uint32_t reason;    /* enum ifc_ruleset_reason */
    uint32_t condition; /* of BAD_RULE: index of the condition at fault: the first that LUT0 does not hold */
    uint32_t other;     /* of BAD_RULE: the first that LUT1 does not hold; the count: more than 16 entries */
    uint32_t position;  /* of NEEDS_LUT0 and PAIR: the rule; of insert: where it stands now */
    uint32_t later;     /* of PAIR: the rule that it cannot stand before */
    uint64_t conflict;  /* of NO_PLACE: bit p: the rule at position p; as few rules as were found */

    /* Of NO_PLACE. Places and entries count without those that are reserved. */
    uint8_t wide_needed;     /* rules that only LUT0 holds */
    uint8_t wide_free;       /* LUT0 places that the set may use */
    uint16_t narrow_needed;  /* entries of the rules that only LUT1 holds */
    uint16_t narrow_free;    /* LUT1 entries that the set may use */
    uint16_t either_rules;   /* rules that both tables hold */
    uint16_t either_entries; /* their entries, were all of them in LUT1 */

    /* Of a plan, and of an apply that found places: */
    uint8_t kept;      /* rules that stay where they are */
    uint8_t moved;     /* rules that stand elsewhere, with their counters */
    uint8_t added;     /* rules that come in, counting from zero */
    uint8_t deleted;   /* rules that leave */
    uint8_t fewest;    /* 1: no layout moves fewer rules; 0: not proven within the search's budget */
    uint8_t undo;      /* enum ifc_ruleset_undo, of IFC_RULESET_TIMEOUT */
    uint32_t accesses; /* register accesses when each transfer completes at the first look: of a plan, at most
                          what its apply makes; of an apply, what it made */
    struct ifc_ruleset_place place[IFC_RULESET_RULES]; /* by position */
};

#define IFC_RULESET_WORK_WORDS  2560 /* 64-bit words; the library checks at compile time that they suffice */
#define IFC_RULESET_TABLE_WORDS (IFC_LUT0_RULES * IFC_LUT0_WORDS + IFC_LUT1_RULES * 2)

/* All members are private; read a set through the calls below. */
struct ifc_ruleset {
    uint32_t count;
    uint8_t undo_pending;             /* an undo has failed: the next apply ends it first */
    uint8_t standing;                 /* rules of the set when last applied */
    uint8_t order[IFC_RULESET_RULES]; /* slot of each position */
    uint8_t state[IFC_RULESET_RULES]; /* by slot: taken, action not in the tables */
    uint32_t now[IFC_RULESET_RULES];  /* by slot: a struct ifc_ruleset_place as one word */
    uint64_t owned; /* bit n: LUT0 rule n, bit 8 + n: LUT1 entry n belonged to the set when last applied */
    uint64_t overlaps[IFC_RULESET_RULES];     /* by slot: bit n: slot n and this one overlap */
    uint32_t tables[IFC_RULESET_TABLE_WORDS]; /* the shadow tables when last read or applied */
    struct ifc_rule rule[IFC_RULESET_RULES];  /* by slot */
    uint64_t work[IFC_RULESET_WORK_WORDS];
};

/* An empty set over empty tables. Touches neither shadow nor registers. */
void ifc_ruleset_init(struct ifc_ruleset *set);

/*
 * Makes the set that stands in the tables, whoever wrote it: conditions from the shadow tables, actions from
 * the hardware. Positions follow the numbers; cookies and priorities are 0.
 *
 * Reserved, that is no rules of the set, never touched and never used: LUT1 entries without an end flag after
 * them and the free entry behind them (a chain put there would become part of them); chains with an entry
 * that names no field. Neither ever hits.
 *
 * IFC_RULESET_OK, or IFC_RULESET_TIMEOUT; then, unlike elsewhere, the set is empty as after
 * ifc_ruleset_init().
 */
int ifc_ruleset_read(struct ifc_ruleset *set, struct ifc_ruleset_report *report);

/*
 * What ifc_ruleset_read() reserved becomes the set's: the next apply clears it or puts rules there. For
 * whoever brings a whole list in. An update that ended half-way (the process was killed, the chip fell
 * silent) leaves such entries, and a list that needs their room finds no places otherwise.
 */
void ifc_ruleset_claim(struct ifc_ruleset *set);

uint32_t ifc_ruleset_count(const struct ifc_ruleset *set);

/* The rule at a position. NULL: there is none. Valid until the next edit or read of the set. */
const struct ifc_rule *ifc_ruleset_rule(const struct ifc_ruleset *set, uint32_t position);

/* Where the rule at a position stands in the tables; IFC_RULESET_NOWHERE before its first apply, and for a
 * position that has no rule. */
struct ifc_ruleset_place ifc_ruleset_place_of(const struct ifc_ruleset *set, uint32_t position);

/* The number of a place, 0..39; -1: nowhere. */
int ifc_ruleset_number(struct ifc_ruleset_place place);

/* The position of the rule with this number, or with this cookie (the first of them); -1: none. */
int ifc_ruleset_find_number(const struct ifc_ruleset *set, uint32_t number);
int ifc_ruleset_find_cookie(const struct ifc_ruleset *set, uint64_t cookie);

/* Positions of ifc_ruleset_insert() that it finds itself. */
#define IFC_RULESET_LAST        0xFFFFFFFFu
#define IFC_RULESET_BY_PRIORITY 0xFFFFFFFEu

/*
 * Puts a copy of the rule in front of the one at `position`, so that it gets that position. position may be
 * the count of rules or IFC_RULESET_LAST: at the end; or IFC_RULESET_BY_PRIORITY: in front of the first rule
 * with a higher number of priority. Says nothing about places: that is plan's and apply's.
 * IFC_RULESET_OK (report: position), _BAD_POSITION, _FULL, _BAD_RULE (report: reason, condition).
 */
int ifc_ruleset_insert(struct ifc_ruleset *set, uint32_t position, const struct ifc_rule *rule,
                       struct ifc_ruleset_report *report);

/* Takes the rule out of the list. IFC_RULESET_OK, _BAD_POSITION. */
int ifc_ruleset_remove(struct ifc_ruleset *set, uint32_t position);

/* Takes all rules out of the list. */
void ifc_ruleset_clear(struct ifc_ruleset *set);

/* What ifc_ruleset_replace() takes from the given rule; the rest stays. Any combination. */
#define IFC_RULESET_CONDITIONS 1u /* a rule with other conditions counts from zero, and may move freely */
#define IFC_RULESET_ACTION     2u /* counters and place stay */
#define IFC_RULESET_COOKIE     4u /* cookie and priority; the position stays */

/* IFC_RULESET_OK, _BAD_POSITION, _BAD_RULE (with IFC_RULESET_CONDITIONS only; report: reason, condition). */
int ifc_ruleset_replace(struct ifc_ruleset *set, uint32_t position, const struct ifc_rule *rule,
                        uint32_t what, struct ifc_ruleset_report *report);

/* Moves the rule from one position to another; those in between shift. IFC_RULESET_OK, _BAD_POSITION. */
int ifc_ruleset_move(struct ifc_ruleset *set, uint32_t from, uint32_t to);

/*
 * Finds the places and counts what apply would do, without touching shadow or registers.
 * IFC_RULESET_OK or IFC_RULESET_NO_PLACE.
 *
 * Places are complete: if any layout exists in which the list decides, one is found. Among layouts one that
 * moves the fewest placed rules (report: fewest), and among those the places of automatic placement.
 *
 * Known: a rule that was read from LUT1 takes as many entries there as it has, even if its encoding takes
 * fewer. Removed and inserted again it takes those.
 */
int ifc_ruleset_plan(struct ifc_ruleset *set, struct ifc_ruleset_report *report);

#define IFC_RULESET_QUIESCE \
    1u /* the classifier is off meanwhile, if it was on: no frame sees a state between */

/*
 * Plans, and brings shadow and hardware there. After every single register access the hardware holds complete
 * rules only, old or new; rules that stay never blink; an action is in place before its rule is valid.
 *
 * flags: 0 or IFC_RULESET_QUIESCE.
 * IFC_RULESET_OK, _NO_PLACE, _STALE (nothing is touched then), _TIMEOUT (report: undo).
 * After anything but OK the edits are still pending, and apply may be called again. Where an undo has failed,
 * the next apply ends it before anything else.
 */
int ifc_ruleset_apply(struct ifc_ruleset *set, uint32_t flags, struct ifc_ruleset_report *report);

#ifdef __cplusplus
}
#endif

#endif
