/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* The filters: what the core offers to the two front ends. Call all of it under ifc_callers_lock(). */
#ifndef IFC_FRONT_FILTERS_H
#define IFC_FRONT_FILTERS_H

#include "ifc_front_rule.h"

#define IFC_FRONT_PACKETS_MASK 0x00FFFFFFFFFFFFFFull /* of a counter */

enum ifc_front_kind { IFC_FRONT_TC, IFC_FRONT_ETHTOOL };

struct ifc_front_filter {
    struct list_head list;
    struct ifc_front_port *port;
    u32 priority; /* tc: pref; ethtool: location */
    u64 group;    /* tc: arrival of the first filter of this priority with the same keys and masks */
    u64 arrival;
    unsigned long cookie;             /* tc's */
    const void *mask;                 /* tc's: the same object for the same keys and masks of one priority */
    struct ethtool_rx_flow_spec flow; /* ethtool's */
    unsigned int variants;
    struct {
        u64 cookie;         /* in the set */
        u64 bytes, packets; /* at the last read */
    } rule[IFC_FRONT_VARIANTS];
    u64 bytes, packets; /* read, not yet reported */
    unsigned long last_used;
};

struct ifc_front {
    const struct ifc_front_platform *platform;
    struct list_head ports;
    struct list_head filters; /* in the order in which they decide, like their rules in the set */
    enum ifc_front_kind kind;
    char owner[48];
    bool was_on;   /* the classifier's switch before we took ownership */
    bool leftover; /* the chip did not answer: the next change has to complete the last one, or its undo */
    u64 arrivals;
    u64 last_cookie;
    struct ifc_front_words words;
    struct ifc_ruleset *set;
    struct ifc_ruleset *backup;
    struct ifc_rule *scratch;
    struct ifc_front_rule *rule;
    struct ifc_ruleset_report *report;
};

/* A filter that is all zero and not in the list. NULL: out of memory. */
struct ifc_front_filter *ifc_front_filter_make(struct ifc_front_port *port);

/*
 * Adds the filter to list and tables, in place of `old` unless that is NULL. On success `old` is freed. After
 * a failure everything is as before, and the caller still owns the filter.
 */
int ifc_front_filter_add(struct ifc_front *front, struct ifc_front_filter *filter,
                         struct ifc_front_filter *old, enum ifc_front_kind kind,
                         const struct ifc_front_rule *rule, struct ifc_front_refusal *why);

/*
 * Removes the filter from list and tables, and frees it. -EIO: the chip did not answer, and everything is as
 * before. With `must` the filter goes in any case: a second update is tried, and if that fails too, the next
 * change deletes the rule from the tables.
 */
int ifc_front_filter_remove(struct ifc_front *front, struct ifc_front_filter *filter, bool must);

/* Adds the counts since the last read to bytes and packets. */
int ifc_front_filter_read(struct ifc_front *front, struct ifc_front_filter *filter);

#endif
