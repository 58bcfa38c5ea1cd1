# SPDX-License-Identifier: MIT OR GPL-2.0
"""What rules mean, without the library: docs/hardware-model.md once more, in Python.

A condition is (field, comparison, mask, key, last), as in ruleset/ruleset.h. A rule is a tuple of conditions.
"""

import struct
from functools import lru_cache

EQUAL, NOT_EQUAL, AT_LEAST, AT_MOST, RANGE = range(5)

DMAC, SMAC, DIPV4, SIPV4, DIPV6, SIPV6, FLOW_LABEL, SINF, FRAME_TYPE, VPM0, VPM1 = 1, 2, 3, 4, 5, 9, 13, 14, 15, 16, 17
VID0, PBIT0, VID1, PBIT1, ETYPE, GEMPORT, PROTOCOL, NEXT_HEADER = 18, 19, 20, 21, 22, 23, 24, 25
DSCP, TRAFFIC_CLASS, DPORT, SPORT, SESSION, DMAC_TYPE, UDF0 = 26, 27, 28, 29, 30, 31, 32

WIDTH = {1: 48, 2: 48, FLOW_LABEL: 20, SINF: 5, FRAME_TYPE: 3, VPM0: 2, VPM1: 2, VID0: 12, PBIT0: 4, VID1: 12,
         PBIT1: 4, ETYPE: 16, GEMPORT: 16, PROTOCOL: 8, NEXT_HEADER: 8, DSCP: 8, TRAFFIC_CLASS: 8, DPORT: 16,
         SPORT: 16, SESSION: 16, DMAC_TYPE: 2}
WIDTH.update({field: 32 for field in range(3, 13)})
WIDTH.update({field: 16 for field in range(UDF0, 48)})

DSCP_SHIFT = 2  # from the octet of the IPv4 header to the field
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
    """The first rule that fits the fields of a frame, or None."""
    for n, rule in enumerate(rules):
        if all(c[0] in fields and holds(c, fields[c[0]]) for c in rule):
            return n
    return None


# ---- What the tables hold ----------------------------------------------------------------------------------


def one_comparison(condition):
    """A range that one comparison under one mask says."""
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
    """The bits that "equal" fixes and what it leaves to "not equal": (fixed, value, [(mask, key)]); or None."""
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
        if field == DSCP:
            values = (1 << (256 >> DSCP_SHIFT)) - 1
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
         (2, 1 << 0x0800, False, 4), (2, 1 << 0x86DD, False, 6), (2, ALL_TYPES, False, 0), (2, 1 << 0x8863, True, 0),
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
    """All (kind, tags, types, protocols, DMAC_TYPE) of a frame that fulfils the conditions, one after the other."""
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
    """Is there a frame that fits both? Exact, with any user TPID and places of user-defined fields."""
    return next(choices(by_field((a, b))), None) is not None


class FrameMaker:
    """Frames that fit given rules, otherwise of values that other rules look at."""

    def __init__(self, random, rules):
        self.random = random
        self.liked = {}
        for rule in rules:
            for field, _, _, key, last in rule:
                self.liked.setdefault(field, []).extend({key, last, key + 1, key - 1} if field >= SINF else {key})

    def value(self, field, conditions, values=None):
        random = self.random
        if values is None:
            values = domain(field, conditions)
        liked = self.liked.get(field, ())
        if field >= SINF:
            for _ in range(3 if liked else 0):
                value = random.choice(liked)
                if value >= 0 and values >> value & 1:
                    return value
            start = random.randrange(values.bit_length())
            values >>= start
            return start + (values & -values).bit_length() - 1
        fixed, value, others = cube(conditions)
        for n in range(20):
            wild = random.getrandbits(48) if n % 2 or not liked else random.choice(liked)
            tried = value | (wild & ones(field) & ~fixed)
            if all(holds(c, tried) for c in conditions):
                return tried
        return differ(fixed, value, others)

    def fitting(self, rules):
        """(bytes, SINF, GEMPORT, fields), or None."""
        random = self.random
        asked = by_field(rules)
        found = list(choices(asked))
        if not found:
            return None
        (frame_type, _, session, version), (tags, vpm0, vpm1), types, protocols, dmac_types = random.choice(found)
        if frame_type == 0 and tags < 2:
            types &= ~(1 << USER_TPID)
        if frame_type in (0, 2) and not session and not version:
            types &= ~TYPE_IS_KIND
        if frame_type in (0, 2, 3, 4) and not types:
            return None  # a frame of another kind, or with another TPID configured

        fields = {}

        def put(field, values=None, extra=()):
            fields[field] = self.value(field, asked.get(field, ()) + extra, values)

        dmac_type = random.choice(dmac_types)
        put(DMAC, extra=DESTINATIONS[dmac_type])
        put(SMAC)
        fields.update({DMAC_TYPE: dmac_type, VPM0: vpm0, VPM1: vpm1, FRAME_TYPE: frame_type})
        for field, least in ((VID0, 1), (PBIT0, 1), (VID1, 2), (PBIT1, 2)):
            if tags >= least:
                put(field)
        if types and frame_type not in (1, 5):
            put(ETYPE, types)
        if session:
            put(SESSION)
        if version == 4:
            for field in sorted(V4_FIELDS):
                put(field, protocols if field == PROTOCOL else None)
        if version == 6:
            for field in sorted(V6_FIELDS):
                put(field, protocols if field == NEXT_HEADER else None)
        protocol = fields.get(PROTOCOL, fields.get(NEXT_HEADER))
        fragment = version == 4 and not asked.keys() & {SPORT, DPORT} and random.random() < 0.1
        if protocol in PORT_PROTOCOLS and not fragment:
            put(SPORT)
            put(DPORT)
        for field in (SINF, GEMPORT):
            if field in asked or random.random() < 0.5:
                put(field)
        data = self.headers(fields, tags, version, protocol, fragment)
        if any(field >= UDF0 for field in asked) or random.random() < 0.3:
            data += random.randbytes(USER_DEFINED - len(data))
            for field in range(UDF0, 48):
                put(field)
                data += struct.pack(">H", fields[field])
        return data, fields.get(SINF, -1), fields.get(GEMPORT, -1), fields

    def cut(self):
        """A frame that ends inside or after its addresses."""
        data = bytes(self.random.getrandbits(8) & 0xFE for _ in range(self.random.randrange(14)))
        fields = {}
        if len(data) >= 6:
            fields = {DMAC: int.from_bytes(data[:6], "big"), DMAC_TYPE: 0}
        if len(data) >= 12:
            fields[SMAC] = int.from_bytes(data[6:12], "big")
        return data, -1, -1, fields

    def headers(self, fields, tags, version, protocol, fragment):
        random = self.random
        packet = random.randbytes(20)
        payload = struct.pack(">HH", fields.get(SPORT, 1), fields.get(DPORT, 2)) + random.randbytes(12)
        if version == 4:
            octet = fields[DSCP] << DSCP_SHIFT | random.getrandbits(DSCP_SHIFT)
            packet = struct.pack(">BBHHHBBHII", 0x45, octet, 36, 7, 100 if fragment else 0, 64, protocol, 0,
                                 fields[SIPV4], fields[DIPV4]) + payload
        if version == 6:
            if protocol in EXTENSIONS:
                payload = b""  # the number of a header that is cut off
            first = 6 << 28 | fields[TRAFFIC_CLASS] << 20 | fields[FLOW_LABEL]
            packet = struct.pack(">IHBB", first, len(payload), protocol, 64)
            for lowest in (SIPV6, DIPV6):
                packet += struct.pack(">4I", *(fields[lowest + n] for n in (3, 2, 1, 0)))
            packet += payload
        if SESSION in fields:
            discovery = fields[ETYPE] == 0x8863
            if not discovery:
                packet = struct.pack(">H", {4: 0x0021, 6: 0x0057, 0: 0xC021}[version]) + packet
            packet = struct.pack(">BBHH", 0x11, 9 if discovery else 0, fields[SESSION], len(packet)) + packet
        data = fields[DMAC].to_bytes(6, "big") + fields[SMAC].to_bytes(6, "big")
        if tags >= 1:
            data += struct.pack(">HH", TPIDS[fields[VPM0]], fields[PBIT0] << 12 | fields[VID0])
        if tags == 2:
            data += struct.pack(">HH", TPIDS[fields[VPM1]], fields[PBIT1] << 12 | fields[VID1])
        frame_type = fields[FRAME_TYPE]
        if frame_type == 1:
            return data + struct.pack(">H", 40) + b"\x42\x42\x03" + random.randbytes(37)
        if frame_type == 2:
            snap = b"\xaa\xaa\x03\0\0\0" + struct.pack(">H", fields[ETYPE]) + packet
            return data + struct.pack(">H", len(snap)) + snap
        if frame_type == 5:
            return data + struct.pack(">H", random.randrange(0x5DD, 0x600)) + packet
        return data + struct.pack(">H", fields[ETYPE]) + packet
