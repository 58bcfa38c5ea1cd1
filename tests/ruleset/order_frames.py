# SPDX-License-Identifier: MIT OR GPL-2.0
"""Frames, with the fields that the engine extracts."""

import struct

from order_model import (  # the numbers of fields, and what rules mean
    by_field, choices, cube, DESTINATIONS, differ, DIPV4, DIPV6, DMAC, DMAC_TYPE, domain, DPORT, DSCP,
    ETYPE, EXTENSIONS, FLOW_LABEL, FRAME_TYPE, GEMPORT, holds, NEXT_HEADER, ones, PBIT0, PBIT1,
    PORT_PROTOCOLS, PROTOCOL, SESSION, SINF, SIPV4, SIPV6, SMAC, SPORT, TPIDS, TRAFFIC_CLASS,
    TYPE_IS_KIND, UDF0, USER_DEFINED, USER_TPID, V4_FIELDS, V6_FIELDS, VID0, VID1, VPM0, VPM1)


class FrameMaker:
    """Frames that match given rules; their other values are those that other rules compare."""

    def __init__(self, random, rules):
        self.random = random
        self.liked = {}
        for rule in rules:
            for field, _, _, key, last in rule:
                near = {key, last, key + 1, key - 1} if field >= SINF else {key}
                self.liked.setdefault(field, []).extend(near)

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
        kind, (tags, vpm0, vpm1), types, protocols, dmac_types = random.choice(found)
        frame_type, _, session, version = kind
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
            octet = fields[DSCP]
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
