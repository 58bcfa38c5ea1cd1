# SPDX-License-Identifier: MIT OR GPL-2.0
"""What rules mean, without the library: docs/hardware-model.md once more, in Python.

A condition is (field, comparison, mask, key, last), as in ruleset/ruleset.h. A rule is a tuple of conditions.
"""

from functools import lru_cache

EQUAL, NOT_EQUAL, AT_LEAST, AT_MOST, RANGE = range(5)

DMAC, SMAC, DIPV4, SIPV4, DIPV6, SIPV6 = 1, 2, 3, 4, 5, 9  # of IPv6 the lowest word
FLOW_LABEL, SINF, FRAME_TYPE, VPM0, VPM1, VID0, PBIT0, VID1, PBIT1, ETYPE, GEMPORT = range(13, 24)
PROTOCOL, NEXT_HEADER, DSCP, TRAFFIC_CLASS, DPORT, SPORT, SESSION, DMAC_TYPE, UDF0 = range(24, 33)

WIDTH = {1: 48, 2: 48, FLOW_LABEL: 20, SINF: 5, FRAME_TYPE: 3, VPM0: 2, VPM1: 2, VID0: 12, PBIT0: 4, VID1: 12,
         PBIT1: 4, ETYPE: 16, GEMPORT: 16, PROTOCOL: 8, NEXT_HEADER: 8, DSCP: 8, TRAFFIC_CLASS: 8, DPORT: 16,
         SPORT: 16, SESSION: 16, DMAC_TYPE: 2}
WIDTH.update({field: 32 for field in range(3, 13)})
WIDTH.update({field: 16 for field in range(UDF0, 48)})

USER_TPID = 0x9100
TPIDS = (0, 0x8100, 0x88A8, USER_TPID)
PORT_PROTOCOLS = (6, 17, 33, 132, 136)
EXTENSIONS = (0, 43, 44, 51, 60)
BROADCAST = 0xFFFFFFFFFFFF
GROUP = 1 << 40
USER_DEFINED = 200  # byte of the frame where order_probe finds them

V4_FIELDS = {DIPV4, SIPV4, PROTOCOL, DSCP}
V6_FIELDS = set(range(DIPV6, FLOW_LABEL + 1)) | {NEXT_HEADER, TRAFFIC_CLASS}


def ones(field):
    return (1 << WIDTH[field]) - 1


def holds(condition, value):
    _, compare, mask, key, last = condition
    if compare == RANGE:
        return key <= value <= last
    masked = value & mask
    if compare == EQUAL:
        return masked == key
    if compare == NOT_EQUAL:
        return masked != key
    return masked >= key if compare == AT_LEAST else masked <= key


def decides(rules, fields):
    """The first rule that matches the fields of a frame, or None."""
    for n, rule in enumerate(rules):
        if all(c[0] in fields and holds(c, fields[c[0]]) for c in rule):
            return n
    return None


# ---- What the tables hold ----------------------------------------------------------------------------------


def one_comparison(condition):
    """True if a single comparison with a mask is equivalent to the range."""
    field, _, _, first, last = condition
    size = last - first + 1
    return first == 0 or last == ones(field) or (size & (size - 1) == 0 and first % size == 0)


def touches_an_end(mask, width, spare=0):
    """One run of ones from one end; the spare bits above the width are always 0 in the field."""
    masks = (mask, mask | ((1 << spare) - 1) << width)
    every = (1 << width + spare) - 1
    return any(m and (m & (m + 1) == 0 or (every & ~m) & ((every & ~m) + 1) == 0) for m in masks)


def condition_entries(condition):
    """Entries of LUT1; 0: it does not hold the condition."""
    field, compare, mask, _, _ = condition
    if field >= SINF:
        return 1 if compare != RANGE or one_comparison(condition) else 2
    if field > SMAC:
        return 1 if touches_an_end(mask, WIDTH[field], 32 - WIDTH[field]) else 0
    high, low = mask >> 32, mask & 0xFFFFFFFF
    if low and not touches_an_end(low, 32):
        return 0
    if high and low:
        return 2 if compare == EQUAL else 0
    return 1


def shape(rule):
    """(LUT0 holds it, entries in LUT1 or 0)."""
    fields = [c[0] for c in rule]
    wide = len(set(fields)) == len(fields) and all(f < UDF0 for f in fields)
    wide = wide and all(c[1] != RANGE or one_comparison(c) for c in rule)
    entries = [condition_entries(c) for c in rule]
    narrow = sum(entries) if entries and 0 not in entries and sum(entries) <= 16 else 0
    return wide, narrow


# ---- Values of one field -----------------------------------------------------------------------------------


@lru_cache(maxsize=200000)
def passing(condition):
    """The values of a field of up to 16 bits that pass: bit v for value v."""
    field, compare, mask, key, last = condition
    if compare == RANGE:
        return (1 << last + 1) - (1 << key)
    values = 1  # of the bits so far
    for bit in range(WIDTH[field]):
        half = 1 << bit
        full = (1 << half) - 1
        if not mask >> bit & 1:
            values |= values << half
        elif key >> bit & 1:
            values = values << half | (full if compare == AT_MOST else 0)
        elif compare == AT_LEAST:
            values |= full << half
    return values ^ ((1 << (1 << WIDTH[field])) - 1) if compare == NOT_EQUAL else values


def cube(conditions):
    """The bits that "equal" fixes, and each "not equal": (fixed, value, [(mask, key)]); or None."""
    fixed = value = 0
    for _, compare, mask, key, _ in conditions:
        if compare == EQUAL:
            if (value ^ key) & fixed & mask:
                return None
            fixed |= mask
            value |= key
    others = [(c[2], c[3]) for c in conditions if c[1] == NOT_EQUAL]
    return fixed, value, others


def differ(fixed, value, others):
    """A value that agrees on the fixed bits and differs from all others; or None. Exact."""
    left = [(mask & ~fixed, mask, key) for mask, key in others if not (value ^ key) & mask & fixed]
    if not left:
        return value
    free, _, key = min(left, key=lambda each: each[0].bit_count())
    if not free:
        return None
    bit = free & -free
    rest = [(m, k) for _, m, k in left]
    found = differ(fixed | bit, value | (~key & bit), rest)
    return found if found is not None else differ(fixed | bit, value | (key & bit), rest)


@lru_cache(maxsize=400000)
def domain(field, conditions):
    """What the field can be: a set of bits, for fields of more than 16 bits only whether there is a value."""
    if field >= SINF:
        values = (1 << (1 << WIDTH[field])) - 1
        for condition in conditions:
            values &= passing(condition)
        return values
    start = cube(conditions)
    return start is not None and differ(*start) is not None


# ---- Frames ------------------------------------------------------------------------------------------------

ALL_TYPES = (1 << 65536) - 1
ETHERNET_TYPES = ALL_TYPES ^ ((1 << 0x600) - 1) ^ (1 << 0x8863) ^ (1 << 0x8864)
# FRAME_TYPE, ETYPE (0: absent), PPPoE header, IP version.
KINDS = [(0, 1 << 0x0800, False, 4), (0, 1 << 0x86DD, False, 6), (0, ETHERNET_TYPES, False, 0),
         (1, 0, False, 0), (5, 0, False, 0),
         (2, 1 << 0x0800, False, 4), (2, 1 << 0x86DD, False, 6), (2, ALL_TYPES, False, 0),
         (2, 1 << 0x8863, True, 0),
         (2, 1 << 0x8864, True, 4), (2, 1 << 0x8864, True, 6), (2, 1 << 0x8864, True, 0),
         (3, 1 << 0x8863, True, 0),
         (4, 1 << 0x8864, True, 4), (4, 1 << 0x8864, True, 6), (4, 1 << 0x8864, True, 0)]
TYPE_IS_KIND = (1 << 0x0800) | (1 << 0x86DD) | (1 << 0x8863) | (1 << 0x8864)
DESTINATIONS = {0: ((DMAC, EQUAL, GROUP, 0, 0),),
                1: ((DMAC, EQUAL, GROUP, GROUP, 0), (DMAC, NOT_EQUAL, BROADCAST, BROADCAST, 0)),
                2: ((DMAC, EQUAL, BROADCAST, BROADCAST, 0),)}


def by_field(rules):
    fields = {}
    for rule in rules:
        for condition in rule:
            fields.setdefault(condition[0], []).append(condition)
    return {field: tuple(conditions) for field, conditions in fields.items()}


def tag_choices(asked):
    """(tags, VPM0, VPM1) that the conditions let pass."""
    least = 2 if asked.keys() & {VID1, PBIT1} else 1 if asked.keys() & {VID0, PBIT0} else 0
    codes = [domain(field, asked.get(field, ())) for field in (VPM0, VPM1)]
    return [(tags, outer, inner) for tags in range(least, 3)
            for outer in ((0,) if tags == 0 else (1, 2, 3)) if codes[0] >> outer & 1
            for inner in ((0,) if tags < 2 else (1, 2, 3)) if codes[1] >> inner & 1]


def choices(asked):
    """All (kind, tags, types, protocols, DMAC_TYPEs) of frames that fulfil the conditions."""
    for field, conditions in asked.items():
        if not domain(field, conditions):
            return
    types = [t for t in DESTINATIONS if domain(DMAC_TYPE, asked.get(DMAC_TYPE, ())) >> t & 1 and
             domain(DMAC, asked.get(DMAC, ()) + DESTINATIONS[t])]
    tags = tag_choices(asked)
    if not types or not tags:
        return
    v4, v6 = asked.keys() & V4_FIELDS, asked.keys() & V6_FIELDS
    ports = asked.keys() & {SPORT, DPORT}
    frame_types = domain(FRAME_TYPE, asked.get(FRAME_TYPE, ()))
    etypes = domain(ETYPE, asked.get(ETYPE, ()))
    for kind in KINDS:
        frame_type, allowed, session, version = kind
        if not frame_types >> frame_type & 1 or (SESSION in asked and not session):
            continue
        if (v4 and version != 4) or (v6 and version != 6) or (ports and version == 0):
            continue
        if ETYPE in asked and not allowed & etypes:
            continue
        protocols = 0
        if version:
            upper = PROTOCOL if version == 4 else NEXT_HEADER
            protocols = domain(upper, asked.get(upper, ()))
            if ports:
                protocols &= sum(1 << protocol for protocol in PORT_PROTOCOLS)
            if not protocols:
                continue
        for tag in tags:
            # Of Ethernet II with room for another tag, a TPID is that tag.
            here = allowed & etypes
            if frame_type == 0 and tag[0] < 2:
                here &= ~((1 << 0x8100) | (1 << 0x88A8))
            if allowed and not here:
                continue
            yield kind, tag, here, protocols, types


@lru_cache(maxsize=400000)
def meets(a, b):
    """True if some frame matches both. Exact, with any user TPID and places of user-defined fields."""
    return next(choices(by_field((a, b))), None) is not None
