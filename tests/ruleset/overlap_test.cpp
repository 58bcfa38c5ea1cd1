// SPDX-License-Identifier: MIT OR GPL-2.0
// Overlap, coverage and contradiction, compared with all values of a field and with the engine's parsing of
// frames.
#include <gtest/gtest.h>

#include "frame_kinds.h"
#include "ruleset/overlap.h"

using namespace rules;
using namespace kinds;
using frames::Bytes;

namespace
{

ifc_rule joined(const ifc_rule &a, const ifc_rule &b)
{
    std::vector<ifc_rule_condition> all(a.condition, a.condition + a.count);
    all.insert(all.end(), b.condition, b.condition + b.count);
    return ruleOf(all);
}

// Any comparison on a narrow field, or on some bits of a wide one.
ifc_rule onField(Random &random, unsigned field, uint64_t bits, unsigned most)
{
    ifc_rule made = {};
    made.count = 1 + random.below(most);
    for (unsigned n = 0; n < made.count; ++n) {
        const uint64_t mask = random.oneIn(3) ? bits : random.wide() & bits;
        const uint64_t key = random.wide() & mask;
        if (field > IFC_LAST_WORD_FIELD && random.oneIn(5)) {
            const auto a = static_cast<unsigned>(random.wide() & bits);
            const auto b = static_cast<unsigned>(random.wide() & bits);
            made.condition[n] = range(field, a < b ? a : b, a < b ? b : a);
            continue;
        }
        const unsigned compares = field > IFC_LAST_WORD_FIELD ? 4 : 2;
        made.condition[n] = compared(field, static_cast<ifc_compare>(random.below(compares)), key, mask);
    }
    return made;
}

bool passesAll(const ifc_rule &rule, uint64_t value)
{
    for (unsigned n = 0; n < rule.count; ++n)
        if (!passes(rule.condition[n], value))
            return false;
    return true;
}

// Puts the bits of `number` at the positions of the ones of `bits`.
uint64_t spread(unsigned number, uint64_t bits)
{
    uint64_t value = 0;
    for (; bits != 0; bits &= bits - 1, number >>= 1)
        if ((number & 1) != 0)
            value |= bits & -bits;
    return value;
}

unsigned countBits(uint64_t bits)
{
    unsigned count = 0;
    for (; bits != 0; bits &= bits - 1)
        ++count;
    return count;
}

struct Truth {
    bool first = false; // some value fulfils a
    bool both = false;  // some value fulfils a and b
    bool covers = true; // all values that fulfil b fulfil a
};

Truth truthOf(const ifc_rule &a, const ifc_rule &b, uint64_t bits)
{
    Truth truth;
    for (unsigned number = 0; number < 1u << countBits(bits); ++number) {
        const uint64_t value = spread(number, bits);
        const bool inA = passesAll(a, value);
        const bool inB = passesAll(b, value);
        truth.first = truth.first || inA;
        truth.both = truth.both || (inA && inB);
        truth.covers = truth.covers && (inA || !inB);
    }
    return truth;
}

// Compares the library's answers with all values of the field.
void checkField(Random &random, unsigned field, uint64_t bits, unsigned most, unsigned rounds)
{
    unsigned overlaps = 0;
    unsigned covers = 0;
    unsigned contradictions = 0;
    for (unsigned round = 0; round < rounds; ++round) {
        const ifc_rule a = onField(random, field, bits, most);
        const ifc_rule b = onField(random, field, bits, most);
        const Truth truth = truthOf(a, b, bits);
        ASSERT_EQ(ifc_rule_overlap(&a, &b), truth.both) << field << ' ' << round;
        ASSERT_EQ(ifc_rule_overlap(&b, &a), truth.both) << field << ' ' << round;
        ASSERT_EQ(ifc_rule_covers(&a, &b), truth.covers) << field << ' ' << round;
        ASSERT_EQ(ifc_rule_contradicts_itself(&a), !truth.first) << field << ' ' << round;
        const Truth back = truthOf(b, a, bits);
        ASSERT_EQ(ifc_rule_repeats(&a, &b), truth.covers && back.covers);
        overlaps += truth.both;
        covers += truth.covers;
        contradictions += !truth.first;
    }
    EXPECT_GT(overlaps, rounds / 20);
    EXPECT_LT(overlaps, rounds - rounds / 20);
    EXPECT_GT(covers, 0u);
    EXPECT_LT(covers, rounds);
    if (most > 1) {
        EXPECT_GT(contradictions, 0u);
    }
}

bool passesField(const ifc_rule &rule, unsigned field, uint64_t value)
{
    for (unsigned n = 0; n < rule.count; ++n)
        if (rule.condition[n].field == field && !passes(rule.condition[n], value))
            return false;
    return true;
}

// A value that fulfils the field's conditions, if a few tries or a search of all small values finds one.
uint64_t findValue(Random &random, const ifc_rule &rule, unsigned field, uint64_t least)
{
    const uint64_t ones = ifc::fieldOnes(field);
    if (ones <= 0xFFFF) {
        for (uint64_t value = least; value <= ones; ++value)
            if (passesField(rule, field, value))
                return value;
        return least;
    }
    uint64_t fixed = 0;
    uint64_t value = 0;
    for (unsigned n = 0; n < rule.count; ++n)
        if (rule.condition[n].field == field && rule.condition[n].compare == IFC_COMPARE_EQUAL) {
            fixed |= rule.condition[n].mask;
            value |= rule.condition[n].key;
        }
    for (unsigned n = 0; n < 200; ++n) {
        const uint64_t tried = value | (structuralValue(random, field) & ~fixed & ones);
        const uint64_t wild = value | (random.wide() & ~fixed & ones);
        if (passesField(rule, field, tried))
            return tried;
        if (passesField(rule, field, wild))
            return wild;
    }
    return value;
}

// A frame that matches the rule. Tries all kinds of frames.
bool findFrame(Random &random, const ifc_rule &rule)
{
    const ifc_rule_condition broadcast = equal(DMAC, 0xFFFFFFFFFFFF);
    const ifc_rule unicast = joined(rule, rules::rule({equal(DMAC, 0, kGroupBit)}));
    const ifc_rule multicast =
        joined(rule, rules::rule({equal(DMAC, kGroupBit, kGroupBit),
                                  compared(DMAC, IFC_COMPARE_NOT_EQUAL, broadcast.key)}));
    const uint64_t destinations[] = {findValue(random, unicast, DMAC, 0),
                                     findValue(random, multicast, DMAC, 0), broadcast.key};
    // In Ethernet II, with one tag or none, a TPID would be another tag.
    const ifc_rule typed =
        joined(rule, rules::rule({range(ETYPE, 0x600, 0xFFFF), compared(ETYPE, IFC_COMPARE_NOT_EQUAL, 0x8863),
                                  compared(ETYPE, IFC_COMPARE_NOT_EQUAL, 0x8864)}));
    const ifc_rule untagged = joined(typed, rules::rule({compared(ETYPE, IFC_COMPARE_NOT_EQUAL, 0x8100),
                                                         compared(ETYPE, IFC_COMPARE_NOT_EQUAL, 0x88A8),
                                                         compared(ETYPE, IFC_COMPARE_NOT_EQUAL, kUserTpid)}));
    const uint64_t anyType = findValue(random, rule, ETYPE, 0);
    const uint64_t types[] = {findValue(random, untagged, ETYPE, 0), findValue(random, typed, ETYPE, 0)};

    Wanted w;
    for (unsigned field = 1; field <= IFC_LUT0_FIELDS; ++field)
        w.value[field] = findValue(random, rule, field, field == VPM0 || field == VPM1 ? 1 : 0);
    const uint64_t protocols[] = {w.value[IPv4_PROTOCOL], w.value[IPv6_NEXT_HEADER]};
    engine::SideData side;
    side.sourceInterface = static_cast<int>(w.value[SINF]);
    for (const Framing framing : kFramings)
        for (w.tags = 0; w.tags <= 2; ++w.tags)
            for (const unsigned ip : {0, 4, 6})
                for (const unsigned protocol : {0, 6, 17, 33, 132, 136})
                    for (const uint64_t destination : destinations) {
                        w.framing = framing;
                        w.ip = ip;
                        w.value[DMAC] = destination;
                        w.value[ETYPE] = framing == Framing::EthernetII ? types[w.tags / 2] : anyType;
                        w.value[IPv4_PROTOCOL] = protocol != 0 ? protocol : protocols[0];
                        w.value[IPv6_NEXT_HEADER] = protocol != 0 ? protocol : protocols[1];
                        engine::ParsedFrame parsed;
                        parse(frameOf(w), side, parsed);
                        if (fits(rule, parsed.fields))
                            return true;
                    }
    return false;
}

} // namespace

TEST(Overlap, IsExactOnFieldsOfEightBits)
{
    Random random(21);
    checkField(random, IPv6_TRAFFIC_CLASS, 0xFF, 1, 4000);
    checkField(random, IPv4_DSCP, 0xFF, 2, 2000);
    checkField(random, IPv6_TRAFFIC_CLASS, 0xFF, 4, 2000);
}

TEST(Overlap, IsExactOnFieldsOfUpToSixteenBits)
{
    Random random(22);
    checkField(random, SINF, 0x1F, 3, 3000);
    checkField(random, VID0, 0xFFF, 2, 300);
    checkField(random, DPORT, 0xFFFF, 2, 60);
    checkField(random, UDF0 + 5, 0xFFFF, 3, 60);
}

TEST(Overlap, IsExactOnAddresses)
{
    Random random(23);
    checkField(random, SMAC, 0x800100000421, 3, 3000);
    checkField(random, SMAC, 0x800000000001, 6, 2000);
    checkField(random, DIPv4, 0xC0000081, 3, 3000);
    checkField(random, FLOW_LABEL, 0x0000F, 2, 3000);
}

// "Not equal" of `ones` to `ones` + 2 bits of a port, which are no run: 31 conditions.
ifc_rule notUnderHoles(Random &random, unsigned ones)
{
    ifc_rule made = {};
    for (; made.count < IFC_RULE_CONDITIONS; ++made.count) {
        uint64_t mask = 0;
        for (const unsigned bits = ones + random.below(3); countBits(mask) < bits;)
            mask |= 1u << random.below(16);
        made.condition[made.count] = compared(DPORT, IFC_COMPARE_NOT_EQUAL, random.wide() & mask, mask);
    }
    return made;
}

TEST(Overlap, ManyNotEqualUnderMasksWithHolesTakeFewSteps)
{
    Random random(26);
    unsigned most = 0;
    unsigned overlaps = 0;
    unsigned pairs = 0;
    for (unsigned ones = 2; ones <= 8; ++ones) {
        ifc_rule set[32];
        for (ifc_rule &each : set)
            each = notUnderHoles(random, ones);
        for (unsigned n = 0; n < 32; ++n)
            for (unsigned m = 0; m < n; ++m) {
                ruleset::Together both = {{&set[m], &set[n]}, {}, 0, 0};
                const bool overlap = canHold(both);
                most = std::max(most, ruleset::kOverlapSteps - both.steps);
                overlaps += overlap;
                ++pairs;
                if (n % 8 == 0 && m == n / 2) {
                    ASSERT_EQ(overlap, truthOf(set[m], set[n], 0xFFFF).both) << ones << ' ' << n << ' ' << m;
                }
            }
    }
    EXPECT_LT(most, 400u);
    EXPECT_GT(overlaps, pairs / 2);
    EXPECT_LT(overlaps, pairs);
}

TEST(Overlap, IsExactOnAddressesWithManyNotEqual)
{
    Random random(27);
    checkField(random, SMAC, 0x810000002421, 7, 1000);
    checkField(random, SIPv4, 0xC0000087, 7, 1000);
}

// Each bit belongs to two of 14 groups of three (the edges of a cubic graph at its nodes). Each group must
// have an even number of ones, the first an odd one. No address does: all groups together have an even
// number.
TEST(Overlap, AQuestionThatTakesTooManyStepsIsAnsweredYes)
{
    constexpr unsigned kNodes = 14;
    std::vector<std::pair<unsigned, unsigned>> edges;
    for (unsigned node = 0; node < kNodes; ++node) {
        edges.emplace_back(node, (node + 1) % kNodes);
        if (node % 2 == 0)
            edges.emplace_back(node, (node + 5) % kNodes);
    }
    ifc_rule a = {};
    ifc_rule b = {};
    for (unsigned node = 0; node < kNodes; ++node) {
        uint64_t mask = 0;
        for (unsigned n = 0; n < edges.size(); ++n)
            if (edges[n].first == node || edges[n].second == node)
                mask |= uint64_t{1} << 2 * n;
        ASSERT_EQ(countBits(mask), 3u);
        ifc_rule &half = node < kNodes / 2 ? a : b;
        for (unsigned number = 0; number < 8; ++number)
            if (countBits(number) % 2 == (node == 0 ? 0 : 1))
                half.condition[half.count++] =
                    compared(SMAC, IFC_COMPARE_NOT_EQUAL, spread(number, mask), mask);
    }
    ruleset::Together both = {{&a, &b}, {}, 0, 0};
    EXPECT_FALSE(canHold(both, 100000));
    EXPECT_GT(100000 - both.steps, ruleset::kOverlapSteps);
    EXPECT_TRUE(canHold(both));
    EXPECT_EQ(both.steps, 0u);
    EXPECT_EQ(ifc_rule_overlap(&a, &b), 1);
    EXPECT_EQ(ifc_rule_contradicts_itself(&a), 0);
}

TEST(Overlap, ConditionsOnDifferentFieldsMeet)
{
    const ifc_rule a = rule({equal(SIPv4, 0x0A000001), equal(DPORT, 53)});
    const ifc_rule b = rule({equal(DIPv4, 0x0A000002), equal(SPORT, 53)});
    const ifc_rule c = rule({equal(DIPv4, 0x0A000002), equal(DPORT, 54)});
    EXPECT_TRUE(ifc_rule_overlap(&a, &b));
    EXPECT_FALSE(ifc_rule_overlap(&a, &c));
    const ifc_rule everything = {};
    EXPECT_TRUE(ifc_rule_overlap(&a, &everything));
    EXPECT_TRUE(ifc_rule_covers(&everything, &a));
    EXPECT_FALSE(ifc_rule_covers(&a, &everything));
    EXPECT_FALSE(ifc_rule_contradicts_itself(&everything));
}

TEST(Overlap, FieldsThatNoFrameHasTogether)
{
    const ifc_rule never[] = {
        rule({equal(ETYPE, 0x0806), equal(DPORT, 53)}),
        rule({equal(ETYPE, 0x86DD), equal(DIPv4, 1)}),
        rule({equal(ETYPE, 0x0800), equal(DIPv6_31_0, 1)}),
        rule({equal(DIPv4, 1), equal(FLOW_LABEL, 1)}),
        rule({equal(IPv4_PROTOCOL, 1), equal(DPORT, 53)}),
        rule({equal(IPv6_NEXT_HEADER, 58), equal(SPORT, 53)}),
        rule({equal(VPM0, 0), equal(VID1, 5)}),
        rule({equal(VPM0, 0), equal(PBIT0, 5)}),
        rule({equal(VPM1, 0), equal(VID1, 5)}),
        rule({equal(VPM0, 0), equal(VPM1, 1)}),
        rule({equal(FRAME_TYPE, 1), equal(ETYPE, 0x0800)}),
        rule({equal(FRAME_TYPE, 5), equal(DPORT, 53)}),
        rule({equal(FRAME_TYPE, 6)}),
        rule({equal(FRAME_TYPE, 0), equal(ETYPE, 0x0101)}),
        rule({equal(FRAME_TYPE, 0), equal(ETYPE, 0x05FF)}),
        rule({equal(FRAME_TYPE, 0), equal(ETYPE, 0x8863)}),
        rule({equal(FRAME_TYPE, 0), equal(ETYPE, 0x8864)}),
        rule({equal(FRAME_TYPE, 0), equal(PPPOE_SESSION, 1)}),
        rule({equal(FRAME_TYPE, 3), equal(DIPv4, 1)}),
        rule({equal(ETYPE, 0x8863), equal(DIPv4, 1)}),
        rule({equal(ETYPE, 0x0800), equal(PPPOE_SESSION, 1)}),
        rule({equal(DMAC, 0xFFFFFFFFFFFF), equal(DMAC_TYPE, 1)}),
        rule({equal(DMAC, 0x021122334455), equal(DMAC_TYPE, 1)}),
        rule({equal(DMAC_TYPE, 3)}),
    };
    for (const ifc_rule &each : never) {
        EXPECT_TRUE(ifc_rule_contradicts_itself(&each)) << &each - never;
        // As two rules, they do not overlap.
        const ifc_rule a = rule({each.condition[0]});
        const ifc_rule b = ruleOf({each.condition + 1, each.condition + each.count});
        EXPECT_FALSE(ifc_rule_overlap(&a, &b)) << &each - never;
    }
    const ifc_rule sometimes[] = {
        rule({equal(ETYPE, 0x8864), equal(DIPv4, 1), equal(PPPOE_SESSION, 1), equal(DPORT, 53)}),
        rule({equal(FRAME_TYPE, 0), equal(ETYPE, 0x8862)}), // beside those of PPPoE
        rule({equal(FRAME_TYPE, 0), equal(ETYPE, 0x8865)}),
        rule({equal(FRAME_TYPE, 0), equal(ETYPE, 0x88E3)}), // with all their bits
        rule({equal(FRAME_TYPE, 0), equal(ETYPE, 0x88E4)}),
        rule({equal(FRAME_TYPE, 0), equal(ETYPE, 0x0600)}),
        rule({equal(FRAME_TYPE, 2), equal(ETYPE, 0x0101)}),
        rule({equal(FRAME_TYPE, 2), equal(PPPOE_SESSION, 1)}),
        rule({equal(FRAME_TYPE, 2), equal(DIPv6_31_0, 1), equal(ETYPE, 0x8864)}),
        rule({equal(VID0, 1), equal(VID1, 2), equal(VPM1, 3)}),
        rule({equal(IPv4_PROTOCOL, 136), equal(DPORT, 53)}),
        rule({equal(IPv6_NEXT_HEADER, 44)}),
        rule({equal(DMAC_TYPE, 2), equal(UDF0, 7)}),
    };
    for (const ifc_rule &each : sometimes)
        EXPECT_FALSE(ifc_rule_contradicts_itself(&each)) << &each - sometimes;
}

TEST(Overlap, CoverageLooksAtFieldsThatComeTogether)
{
    const ifc_rule web = rule({equal(IPv4_PROTOCOL, 6), equal(DPORT, 80)});
    const ifc_rule tcp = rule({equal(IPv4_PROTOCOL, 6)});
    const ifc_rule someType = rule({equal(ETYPE, 0, 0)});
    const ifc_rule ipv4Type = rule({equal(ETYPE, 0x0800)});
    const ifc_rule notArp = rule({compared(ETYPE, IFC_COMPARE_NOT_EQUAL, 0x0806)});
    const ifc_rule anyVlan = rule({range(VID1, 0, 4095)});
    const ifc_rule inner = rule({equal(PBIT1, 3)});
    EXPECT_TRUE(ifc_rule_covers(&tcp, &web));
    EXPECT_FALSE(ifc_rule_covers(&web, &tcp));
    EXPECT_TRUE(ifc_rule_covers(&someType, &web));
    EXPECT_FALSE(ifc_rule_covers(&ipv4Type, &web)); // inside PPPoE it has another EtherType
    EXPECT_TRUE(ifc_rule_covers(&notArp, &web));
    EXPECT_TRUE(ifc_rule_covers(&anyVlan, &inner));
    EXPECT_FALSE(ifc_rule_covers(&inner, &anyVlan));
    const ifc_rule low = rule({range(DPORT, 0, 1023)});
    const ifc_rule masked = rule({equal(DPORT, 0, 0xFC00)});
    EXPECT_TRUE(ifc_rule_repeats(&low, &masked));
}

// A condition that always holds covers those on a field that no frame has without its own field.
TEST(Overlap, CoverageIsThatOfFieldsInFramesOfAllKindsAndLengths)
{
    bool alone[IFC_LUT0_FIELDS + 1][IFC_LUT0_FIELDS + 1] = {}; // some frame has the first without the second
    const auto look = [&](const Wanted &wanted) {
        const Bytes whole = frameOf(wanted);
        for (size_t length = 0; length <= whole.size(); ++length) {
            engine::ParsedFrame parsed;
            parse({whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length)}, {}, parsed);
            for (unsigned field = 1; field <= IFC_LUT0_FIELDS; ++field)
                for (unsigned other = 1; other <= IFC_LUT0_FIELDS; ++other)
                    alone[field][other] |=
                        engine::hasField(parsed.fields, field) && !engine::hasField(parsed.fields, other);
        }
    };
    Wanted wanted;
    wanted.value[VPM0] = wanted.value[VPM1] = 1;
    wanted.value[ETYPE] = 0x0806;
    for (wanted.tags = 0; wanted.tags <= 2; ++wanted.tags)
        for (const Framing framing : kFramings)
            for (const unsigned ip : {0u, 4u, 6u})
                for (const unsigned protocol : {6u, 1u}) {
                    wanted.framing = framing;
                    wanted.ip = ip;
                    wanted.value[IPv4_PROTOCOL] = wanted.value[IPv6_NEXT_HEADER] = protocol;
                    look(wanted);
                }
    for (unsigned field = 1; field <= IFC_LUT0_FIELDS; ++field)
        for (unsigned other = 1; other <= IFC_LUT0_FIELDS; ++other) {
            if (field == SINF || field == GEMPORT)
                continue; // they come beside a frame, here never
            const ifc_rule covered = rule({equal(field, 0, 0)});
            const ifc_rule covering = rule({equal(other, 0, 0)});
            EXPECT_EQ(ifc_rule_covers(&covering, &covered) != 0, !alone[field][other])
                << field << ' ' << other;
        }
}

// For any parsing of a frame: two rules that hit it overlap, and if a covered rule hits, the covering rule
// hits too.
TEST(Overlap, HoldsForEveryFrameOfTheEngine)
{
    Random random(24);
    unsigned together = 0;
    unsigned covered = 0;
    for (unsigned round = 0; round < 3000; ++round) {
        ifc_rule set[6];
        for (ifc_rule &each : set)
            each = structuralRule(random);
        bool overlap[6][6];
        bool covers[6][6];
        for (unsigned a = 0; a < 6; ++a)
            for (unsigned b = 0; b < 6; ++b) {
                overlap[a][b] = ifc_rule_overlap(&set[a], &set[b]) != 0;
                covers[a][b] = ifc_rule_covers(&set[a], &set[b]) != 0;
            }
        for (unsigned n = 0; n < 20; ++n) {
            Bytes frame = frameOf(randomWanted(random));
            if (random.oneIn(3))
                frame.resize(random.below(static_cast<unsigned>(frame.size()) + 1));
            engine::SideData side;
            side.sourceInterface = random.oneIn(3) ? -1 : static_cast<int>(random.below(4));
            engine::ParsedFrame parsed;
            parse(frame, side, parsed);
            for (unsigned a = 0; a < 6; ++a) {
                if (!fits(set[a], parsed.fields))
                    continue;
                ASSERT_FALSE(ifc_rule_contradicts_itself(&set[a])) << round;
                for (unsigned b = 0; b < 6; ++b) {
                    const bool hit = fits(set[b], parsed.fields);
                    together += hit && a != b;
                    covered += covers[b][a] && a != b;
                    ASSERT_TRUE(overlap[a][b] || !hit) << round;
                    ASSERT_TRUE(hit || !covers[b][a]) << round;
                }
            }
        }
    }
    EXPECT_GT(together, 1000u);
    EXPECT_GT(covered, 300u);
}

// If the answer is yes, a frame can be built, except with user-defined fields.
TEST(Overlap, AFrameFitsRulesThatOverlap)
{
    Random random(25);
    unsigned found = 0;
    for (unsigned round = 0; round < 1000; ++round) {
        const ifc_rule both = joined(structuralRule(random), structuralRule(random));
        if (ifc_rule_contradicts_itself(&both))
            continue;
        ++found;
        ASSERT_TRUE(findFrame(random, both)) << describe(both);
    }
    EXPECT_GT(found, 150u);
    EXPECT_LT(found, 950u);
}
