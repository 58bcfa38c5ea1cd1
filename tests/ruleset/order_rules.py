# SPDX-License-Identifier: MIT OR GPL-2.0
"""Random sets of rules: as users write them, and nasty ones; few and many overlaps; near what tables hold."""

from order_model import (  # the numbers of fields and comparisons
    AT_LEAST, AT_MOST, BROADCAST, DMAC, DMAC_TYPE, DPORT, DSCP, EQUAL, ETYPE, FLOW_LABEL, FRAME_TYPE,
    GEMPORT, meets, NEXT_HEADER, NOT_EQUAL, ones, PBIT0, PBIT1, PROTOCOL, RANGE, SESSION, shape, SINF,
    SMAC, SPORT, TRAFFIC_CLASS, UDF0, VID0, VID1, VPM0, VPM1)

PORTS = [DPORT, SPORT, DPORT]
STYLES = {
    "ipv4": [3, 4, 3, 4, PROTOCOL, DSCP, ETYPE] + PORTS,
    "ipv6": [5, 6, 7, 8, 9, 10, 11, 12, FLOW_LABEL, NEXT_HEADER, TRAFFIC_CLASS, ETYPE] + PORTS,
    "bridge": [DMAC, SMAC, DMAC, SMAC, DMAC_TYPE, VPM0, VPM1, VID0, PBIT0, VID1, PBIT1, ETYPE, FRAME_TYPE,
               SINF],
    "access": [SESSION, FRAME_TYPE, ETYPE, VID0, VID1, PBIT0, VPM0, GEMPORT, SINF, 3, 4, PROTOCOL, DPORT,
               SMAC],
    "user": list(range(UDF0, 48)) + [3, DPORT, SMAC, SINF, VID0, ETYPE],
    "ports": PORTS * 2 + [PROTOCOL, 3],
    "different": [SMAC, DMAC, 3, 8, FLOW_LABEL],  # many "not equal", on few bits
    "any": list(range(1, 48)),
}
TYPES = {"ipv4": [0x0800, 0x0800, 0x8864], "ipv6": [0x86DD, 0x86DD, 0x8864],
         "access": [0x0800, 0x8864, 0x8863]}
OTHER_TYPES = [0x0800, 0x86DD, 0x8863, 0x8864, 0x0806, 0x8100, 0x88CC, 0x05FF, 0x0101, 0x88A8]


class SetMaker:
    def __init__(self, random):
        self.random = random
        self.style = random.choice(list(STYLES))
        self.lengths = random.choice(["one", "short", "short", "medium", "medium", "long", "mixed"])
        self.values = random.choice([1, 2, 3, 6, 20])
        self.masks = random.choice([0.1, 0.3, 0.6])
        self.holes = random.choice([0, 0, 0.05, 0.3])
        self.comparisons = random.choice([0.05, 0.2, 0.5])
        self.repeats = 0.15
        if self.style == "different":
            self.masks, self.comparisons, self.repeats = 0.9, 0.8, 0.7
            self.lengths = random.choice(["short", "medium"])
        self.pool = {}
        # Groups: each rule names one, so that rules of different groups have no frame in common.
        self.group = random.choice([None, None, VID0, 3, SMAC, SINF, DPORT, UDF0])
        self.groups = []
        if self.group:
            self.groups = [random.getrandbits(48) & ones(self.group) for _ in range(random.randint(2, 30))]

    def fresh(self, field):
        random = self.random
        if self.style == "different":
            top = random.getrandbits(3) << max(0, ones(field).bit_length() - 3)
            return (random.getrandbits(3) | top) & ones(field)
        if field in (DMAC, SMAC):
            return random.choice([0x021A11000000 | random.getrandbits(3), random.getrandbits(48),
                                  0x01005E000000 | random.getrandbits(4), BROADCAST])
        if field < FLOW_LABEL:
            return random.choice([0x0A000000 | random.getrandbits(10), 0xC0A80000 | random.getrandbits(9),
                                  0x20010DB8, random.getrandbits(2), random.getrandbits(32)])
        if field == ETYPE:
            return random.choice(TYPES.get(self.style, OTHER_TYPES))
        if field in (PROTOCOL, NEXT_HEADER):
            return random.choice([6, 6, 17, 17, 1, 58, 33, 132, 136, 0, 44, 50])
        if field in PORTS:
            return random.choice([53, 80, 443, 5060, 1024, 0, 65535, random.getrandbits(16)])
        if field == DSCP:
            return random.choice([0, 46, 34, 10]) << 2
        if field in (FRAME_TYPE, DMAC_TYPE, VPM0, VPM1):
            return random.choice([0, 1, 1, 2, 3, 4, 5]) & ones(field)
        return random.choice([0, 1, 5, 100, ones(field), random.getrandbits(16)]) & ones(field)

    def key(self, field):
        pool = self.pool.setdefault(field, [self.fresh(field) for _ in range(self.values)])
        return self.random.choice(pool)

    def mask(self, field):
        random = self.random
        every = ones(field)
        width = every.bit_length()
        if random.random() >= self.masks:
            return every
        if self.style == "different" and random.random() < 0.8:
            few = (1 << min(width, random.randint(1, 3))) - 1
            return few if random.random() < 0.6 else few << width - few.bit_length()
        if random.random() < self.holes:
            return random.getrandbits(width) | random.getrandbits(width)
        count = random.choice([random.randint(1, width), random.randint(1, width), width // 2, 8, width - 4])
        run = (1 << max(1, min(count, width))) - 1
        if random.random() < 0.7:
            return run << width - run.bit_length()
        return run if random.random() < 0.9 else 0

    def condition(self, field):
        random = self.random
        compare = EQUAL
        if random.random() < self.comparisons:
            ordered = [NOT_EQUAL, AT_LEAST, AT_MOST, RANGE, RANGE]
            compare = random.choice(ordered) if field >= SINF else NOT_EQUAL
        key = self.key(field)
        if compare == RANGE:
            wide = key + random.choice([0, 1, 7, 10, 1023])
            other = random.choice([self.key(field), wide, key | 15, ones(field)])
            first, last = sorted((key, min(other, ones(field))))
            return field, RANGE, ones(field), first, last
        mask = self.mask(field)
        return field, compare, mask, key & mask, 0

    def rule(self):
        random = self.random
        count = {"one": 1, "short": random.randint(1, 3), "medium": random.randint(2, 6),
                 "long": random.randint(4, 12), "mixed": random.choice([1, 1, 2, 3, 8, 12, 17])}[self.lengths]
        if random.random() < 0.01:
            count = 0
        made = []
        if self.group and random.random() < 0.9:
            made.append((self.group, EQUAL, ones(self.group), random.choice(self.groups), 0))
        while len(made) < count:
            field = random.choice(STYLES[self.style])
            if any(c[0] == field for c in made) and random.random() >= self.repeats:
                field = random.randint(1, 31)
                if any(c[0] == field for c in made) and random.random() >= self.repeats:
                    continue
            made.append(self.condition(field))
        return tuple(made)

    def good_rule(self):
        """Mostly one that some frame fits. Sometimes one that no table holds."""
        for _ in range(30):
            rule = self.rule()
            if (meets(rule, rule) and any(shape(rule))) or self.random.random() < 0.01:
                break
        return rule

    def rules(self):
        random = self.random
        made = []
        near = random.random() < 0.7
        wanted = random.randint(1, 40)
        target = random.uniform(20, 44)
        while len(made) < 40:
            rule = self.good_rule()
            made.append(rule)
            if near:
                shapes = [shape(each) for each in made]
                narrow = sorted((n if n else 5 for _, n in shapes), reverse=True)
                if sum(narrow[5:]) > target or len([1 for _, n in shapes if not n]) > 8:
                    break
            elif len(made) >= wanted:
                break
        if random.random() < 0.3:  # as users write them: the special ones first
            made.sort(key=len, reverse=True)
        return made


