// SPDX-License-Identifier: MIT OR GPL-2.0
// Rules and their images: an image hits exactly the frames that the rule matches, and reads back as the same
// rule.
#include <gtest/gtest.h>

#include "engine/plain_match.h"
#include "ifc/ifc_util.h"
#include "ifc/records/narrow_runs.h"
#include "rule_support.h"
#include "tests/engine/classifier_fixture.h"

#include <cstring>

using namespace rules;

namespace
{

ifc_rule_shape shapeOf(const ifc_rule &rule)
{
    ifc_rule_shape shape;
    ifc_rule_shape_of(&rule, &shape);
    return shape;
}

// The rule in tables that hold nothing else: wide place 3, or a chain from entry 4 on (16 entries: from 0).
bool hitsIn(const ifc_rule &rule, bool wide, const engine::FieldImage &fields)
{
    engine::Tables tables{};
    const unsigned entries = shapeOf(rule).narrow_entries;
    const unsigned first = entries > 12 ? 0 : 4;
    if (wide) {
        IFC_LUT0_Format image;
        ifc_rule_encode_wide(&rule, &image);
        memcpy(tables.lut0[3], image.word, sizeof image.word);
    } else {
        IFC_LUT1_Format image[IFC_LUT1_SUB_TABLE];
        ifc_rule_encode_narrow(&rule, image);
        memcpy(tables.lut1[first], image, entries * sizeof *image);
    }
    engine::Hits hits;
    engine::plainMatch(tables, fields, hits);
    EXPECT_EQ(hits.lut0 & ~8u, 0u);
    if (wide) {
        EXPECT_EQ(hits.lut1[0], 0u);
        return hits.lut0 != 0;
    }
    EXPECT_EQ(hits.lut0, 0u);
    EXPECT_EQ(hits.lut1[0] & ~(1u << (first + entries - 1)), 0u);
    return hits.lut1[0] != 0;
}

struct Refusal {
    ifc_rule rule;
    unsigned reason;
    unsigned condition;
    unsigned other;
};

// Field images in which a single field decides whether the rule matches.
void nearFields(Random &random, const ifc_rule &rule, engine::FieldImage &fields)
{
    randomFields(random, fields);
    for (unsigned n = 0; n < rule.count; ++n) {
        const ifc_rule_condition &c = rule.condition[n];
        uint64_t value = (c.key & c.mask) | (random.wide() & ~c.mask);
        if (c.compare == IFC_COMPARE_NOT_EQUAL)
            value ^= uint64_t{1} << random.below(48);
        if (c.compare == IFC_COMPARE_RANGE && random.oneIn(2))
            value = c.key_last;
        if (random.oneIn(8))
            value += random.oneIn(2) ? 1 : ~uint64_t{0};
        if (random.oneIn(12))
            value ^= uint64_t{1} << random.below(48);
        if (!random.oneIn(12))
            engine::setField(fields, c.field, value);
    }
}

} // namespace

TEST(Rule, ShapesOfWhatTheTablesHold)
{
    struct Case {
        ifc_rule rule;
        unsigned narrow, counted, wide;
    };
    const Case cases[] = {
        {rule({}), 0, 0, 1},
        {rule({equal(ETYPE, 0x800)}), 1, 1, 1},
        {rule({equal(DMAC, 0x021122334455)}), 2, 2, 1},
        {rule({equal(DMAC, 0x021100000000, 0xFFFF00000000)}), 1, 2, 1},
        {rule({equal(DMAC, 0x22334455, 0xFFFFFFFF)}), 1, 2, 1},
        {rule({compared(DMAC, IFC_COMPARE_NOT_EQUAL, 0x021122334455)}), 0, 2, 1},
        {rule({compared(DMAC, IFC_COMPARE_NOT_EQUAL, 0x021100000000, 0xFFFF00000000)}), 1, 2, 1},
        {rule({equal(DMAC, 0x010000000000, 0x010000000000)}), 1, 9, 1},
        {rule({equal(DMAC, 0x001122334455, 0x00FFFFFFFFFF)}), 2, 9, 1},
        {rule({equal(DMAC, 0x112233445566, 0x7FFFFFFFFFFF)}), 2, 2, 1},
        {rule({equal(DMAC, 0, 0xFF00FFFF)}), 0, 9, 1},
        {rule({equal(DIPv4, 0x0A000000, 0xFF000000)}), 1, 1, 1},
        {rule({equal(DIPv4, 0x0A000001, 0xFF0000FF)}), 0, 9, 1},
        {rule({equal(DIPv4, 0, 0)}), 0, 9, 1},
        {rule({equal(FLOW_LABEL, 0x12345)}), 1, 1, 1},
        {rule({equal(FLOW_LABEL, 0x12000, 0xFF000)}), 1, 9, 1},
        {rule({range(DPORT, 5060, 5070)}), 2, 2, 0},
        {rule({range(DPORT, 5060, 5060)}), 1, 1, 1},
        {rule({range(DPORT, 0x1000, 0x1FFF)}), 1, 1, 1},
        {rule({range(DPORT, 0, 1000)}), 1, 1, 1},
        {rule({range(DPORT, 1000, 65535)}), 1, 1, 1},
        {rule({range(DPORT, 0, 65535)}), 1, 1, 1},
        {rule({range(VID0, 100, 4095)}), 1, 1, 1},
        {rule({range(VID0, 100, 200)}), 2, 2, 0},
        {rule({equal(UDF0 + 3, 7)}), 1, 1, 0},
        {rule({equal(DPORT, 0x10, 0xF0), equal(DPORT, 1, 0x0F)}), 2, 2, 0},
    };
    for (const Case &c : cases) {
        ASSERT_EQ(ifc_rule_check(&c.rule, nullptr), IFC_RULESET_OK) << &c - cases;
        const ifc_rule_shape shape = shapeOf(c.rule);
        EXPECT_EQ(shape.narrow_entries, c.narrow) << &c - cases;
        EXPECT_EQ(shape.counted, c.counted) << &c - cases;
        EXPECT_EQ(shape.wide, c.wide) << &c - cases;
    }
    std::vector<ifc_rule_condition> many;
    for (unsigned field = DIPv4; field < DIPv4 + 16; ++field)
        many.push_back(equal(field, 1));
    EXPECT_EQ(shapeOf(ruleOf(many)).narrow_entries, 16);
    many.push_back(equal(DPORT, 1));
    EXPECT_EQ(shapeOf(ruleOf(many)).narrow_entries, 0);
}

TEST(Rule, MayNameEachFieldOfLut0Once)
{
    std::vector<ifc_rule_condition> each;
    for (unsigned field = 1; field <= IFC_RULE_CONDITIONS; ++field)
        each.push_back(equal(field, 0));
    const ifc_rule largest = ruleOf(each);
    EXPECT_EQ(ifc_rule_check(&largest, nullptr), IFC_RULESET_OK);
    EXPECT_EQ(shapeOf(largest).wide, 1);
}

TEST(Rule, RefusalsNameReasonAndCondition)
{
    ifc_rule tooMany = {};
    tooMany.count = 32;
    std::vector<ifc_rule_condition> full;
    for (unsigned n = 0; n < 17; ++n)
        full.push_back(equal(UDF0 + n % 16, n));
    ifc_rule seventeen = ruleOf(full);
    const ifc_rule_condition hole = equal(DIPv4, 0, 0xFF00FF00);
    const Refusal cases[] = {
        {tooMany, IFC_RULESET_BAD_COUNT, 32, 0},
        {rule({equal(ETYPE, 1), equal(0, 0, 0)}), IFC_RULESET_BAD_FIELD, 1, 0},
        {rule({equal(48, 0, 0)}), IFC_RULESET_BAD_FIELD, 0, 0},
        {rule({compared(DIPv4, IFC_COMPARE_AT_LEAST, 0)}), IFC_RULESET_BAD_COMPARE, 0, 0},
        {rule({compared(FLOW_LABEL, IFC_COMPARE_RANGE, 0)}), IFC_RULESET_BAD_COMPARE, 0, 0},
        {rule({compared(DPORT, static_cast<ifc_compare>(5), 0)}), IFC_RULESET_BAD_COMPARE, 0, 0},
        {rule({equal(VID0, 0, 0x1000)}), IFC_RULESET_BAD_MASK, 0, 0},
        {rule({compared(DPORT, IFC_COMPARE_RANGE, 0, 0xFF)}), IFC_RULESET_BAD_MASK, 0, 0},
        {rule({equal(VID0, 0x1000)}), IFC_RULESET_BAD_KEY, 0, 0},
        {rule({equal(VID0, 1, 2)}), IFC_RULESET_BAD_KEY, 0, 0},
        {rule({range(VID0, 5, 4)}), IFC_RULESET_BAD_KEY, 0, 0},
        {rule({range(VID0, 5, 4096)}), IFC_RULESET_BAD_KEY, 0, 0},
        {rule({hole, equal(DIPv4, 1)}), IFC_RULESET_FIELD_TWICE, 1, 0},
        {rule({range(DPORT, 3, 9), hole}), IFC_RULESET_RANGE_NOT_NARROW, 0, 1},
        {rule({hole, equal(UDF15, 3)}), IFC_RULESET_UDF_NOT_NARROW, 1, 0},
        {seventeen, IFC_RULESET_UDF_NOT_NARROW, 0, 17},
    };
    for (const Refusal &c : cases) {
        ifc_ruleset_report report;
        EXPECT_EQ(ifc_rule_check(&c.rule, &report), IFC_RULESET_BAD_RULE) << &c - cases;
        EXPECT_EQ(report.result, IFC_RULESET_BAD_RULE);
        EXPECT_EQ(report.reason, c.reason) << &c - cases;
        EXPECT_EQ(report.condition, c.condition) << &c - cases;
        EXPECT_EQ(report.other, c.other) << &c - cases;
    }
}

TEST(Rule, ImagesHitExactlyWhatTheRuleSays)
{
    Random random(11);
    unsigned hits = 0;
    unsigned wide = 0;
    unsigned narrow = 0;
    for (unsigned round = 0; round < 6000; ++round) {
        const ifc_rule rule = randomRule(random, random.oneIn(8) ? 16 : 3);
        const ifc_rule_shape shape = shapeOf(rule);
        wide += shape.wide;
        narrow += shape.narrow_entries != 0;
        for (unsigned n = 0; n < 20; ++n) {
            engine::FieldImage fields;
            nearFields(random, rule, fields);
            const bool expected = fits(rule, fields);
            hits += expected;
            if (shape.wide != 0) {
                ASSERT_EQ(hitsIn(rule, true, fields), expected) << round;
            }
            if (shape.narrow_entries != 0) {
                ASSERT_EQ(hitsIn(rule, false, fields), expected) << round;
            }
        }
    }
    EXPECT_GT(hits, 20000u); // enough of the 120,000 samples hit
    EXPECT_GT(wide, 2000u);
    EXPECT_GT(narrow, 2000u);
}

TEST(Rule, DecodedImagesMeanTheSameAndEncodeAlike)
{
    Random random(12);
    for (unsigned round = 0; round < 6000; ++round) {
        const ifc_rule rule = randomRule(random, random.oneIn(8) ? 16 : 3);
        const ifc_rule_shape shape = shapeOf(rule);
        ifc_rule back[2] = {};
        unsigned backs = 0;
        if (shape.wide != 0) {
            IFC_LUT0_Format image;
            IFC_LUT0_Format again;
            ifc_rule_encode_wide(&rule, &image);
            ifc_rule_decode_wide(&image, &back[backs]);
            ifc_rule_encode_wide(&back[backs++], &again);
            ASSERT_EQ(memcmp(&image, &again, sizeof image), 0) << round;
        }
        if (shape.narrow_entries != 0) {
            IFC_LUT1_Format image[IFC_LUT1_SUB_TABLE];
            ifc_rule_encode_narrow(&rule, image);
            ASSERT_EQ(ifc_rule_decode_narrow(image, shape.narrow_entries, &back[backs++]), 0);
        }
        for (unsigned n = 0; n < backs; ++n) {
            ASSERT_EQ(ifc_rule_check(&back[n], nullptr), IFC_RULESET_OK) << round;
            for (unsigned k = 0; k < 10; ++k) {
                engine::FieldImage fields;
                nearFields(random, rule, fields);
                ASSERT_EQ(fits(back[n], fields), fits(rule, fields)) << round;
            }
        }
    }
}

TEST(Rule, RangesAndMacHalvesBecomeOneConditionAgain)
{
    const ifc_rule rule = rules::rule(
        {range(DPORT, 5060, 5070), equal(SMAC, 0x0A66778899AA), compared(SPORT, IFC_COMPARE_AT_LEAST, 7)});
    IFC_LUT1_Format image[IFC_LUT1_SUB_TABLE];
    ifc_rule_encode_narrow(&rule, image);
    ifc_rule back = {};
    ASSERT_EQ(ifc_rule_decode_narrow(image, 5, &back), 0);
    ASSERT_EQ(back.count, 3u);
    EXPECT_EQ(memcmp(back.condition, rule.condition, 3 * sizeof *rule.condition), 0);
}

// Entries that no operation writes, among them keys above a field's width and Sel codes of their own.
TEST(Rule, AnyEntriesDecodeToWhatTheyHit)
{
    Random random(13);
    unsigned chains = 0;
    unsigned nameless = 0;
    for (unsigned round = 0; round < 1500; ++round) {
        engine::Tables tables;
        randomTables(random, tables);
        engine::FieldImage fields[6];
        for (engine::FieldImage &image : fields)
            randomFields(random, image);
        for (const auto &words : tables.lut0) {
            if (!engine::wideValid(words))
                continue;
            IFC_LUT0_Format image;
            memcpy(image.word, words, sizeof image.word);
            ifc_rule rule = {};
            rule.count = 31;
            ifc_rule_decode_wide(&image, &rule);
            ASSERT_EQ(ifc_rule_check(&rule, nullptr), IFC_RULESET_OK);
            for (const engine::FieldImage &each : fields)
                ASSERT_EQ(fits(rule, each), engine::wideHits(words, each));
        }
        engine::Chain chain{};
        for (unsigned from = 0; engine::nextChain(tables, from, chain); from = chain.end + 1) {
            IFC_LUT1_Format image[IFC_LUT1_SUB_TABLE];
            const unsigned entries = chain.end - chain.first + 1;
            memcpy(image, tables.lut1[chain.first], entries * sizeof *image);
            ifc_rule rule = {};
            rule.count = 31; // what was there before does not matter
            const int result = ifc_rule_decode_narrow(image, entries, &rule);
            const bool named = result == 0;
            ++chains;
            nameless += !named;
            if (!named) {
                ASSERT_EQ(result, -1) << round;
            }
            for (unsigned n = 0; named && n < rule.count; ++n) {
                const ifc_rule_condition &c = rule.condition[n];
                ASSERT_EQ((c.mask | c.key) & ~ifc::fieldOnes(c.field), 0u) << round;
            }
            for (const engine::FieldImage &each : fields)
                ASSERT_EQ(named && fits(rule, each), engine::chainHits(tables, chain, each)) << round;
        }
    }
    EXPECT_GT(chains, 5000u);
    EXPECT_GT(nameless, 100u);
}

class RuleOnChip : public ClassifierTest
{
};

TEST_F(RuleOnChip, EntriesAreThoseOfAutomaticPlacement)
{
    Random random(14);
    unsigned narrow = 0;
    unsigned wide = 0;
    for (unsigned round = 0; round < 2000; ++round) {
        ifc_rule rule = randomRule(random, 4);
        if (random.oneIn(2)) { // long ones go to LUT0
            rule.count = 0;
            for (unsigned field = 1; field <= IFC_LUT0_FIELDS; ++field)
                if (random.oneIn(2))
                    rule.condition[rule.count++] = equal(field, random.wide() & ifc::fieldOnes(field));
        }
        bool sayable = rule.count != 0;
        for (unsigned n = 0; n < rule.count; ++n) {
            const ifc_rule_condition &c = rule.condition[n];
            sayable = sayable && c.compare != IFC_COMPARE_RANGE;
            if (c.field <= IFC_LAST_WORD_FIELD) {
                const ifc::ReducedMask reduced = ifc::reduceFieldMask(c.field, c.mask);
                sayable = sayable && reduced.word != ifc::kReduceFailed &&
                          ifc::expandMask(c.field, reduced.word) == c.mask;
            }
        }
        const ifc_rule_shape shape = shapeOf(rule);
        if (!sayable)
            continue;
        clear_all_ifc_rules();
        orva_ifc_param request = requestOf(rule);
        const int number = ifc_set_lut_rules_auto(&request);
        EXPECT_TRUE(shape.counted >= 9 || number >= 8 || number < 0);
        if (number >= 0 && number < 8 && shape.wide != 0) {
            IFC_LUT0_Format image;
            ifc_rule_encode_wide(&rule, &image);
            ASSERT_EQ(memcmp(&image, &IFC_LUT0_Rule[number], sizeof image), 0) << round;
            ++wide;
        } else if (number >= 8 && shape.narrow_entries != 0) {
            const unsigned first = static_cast<unsigned>(number) - 8 - shape.narrow_entries + 1u;
            IFC_LUT1_Format image[IFC_LUT1_SUB_TABLE];
            ifc_rule_encode_narrow(&rule, image);
            ASSERT_EQ(memcmp(image, &IFC_LUT1_Rule[first], shape.narrow_entries * sizeof *image), 0) << round;
            EXPECT_EQ(first, 0u);
            ++narrow;
        }
    }
    EXPECT_GT(narrow, 300u);
    EXPECT_GT(wide, 500u);
}

// Masks that automatic placement stores in LUT1 unchanged have its count; all others count as for LUT0.
TEST(Rule, CountsAsAutomaticPlacementWhereThatKeepsTheMask)
{
    Random random(15);
    for (unsigned round = 0; round < 20000; ++round) {
        const unsigned field = 1 + random.below(IFC_LAST_WORD_FIELD);
        const uint64_t mask = randomMask(random, field);
        const ifc::ReducedMask reduced = ifc::reduceFieldMask(field, mask);
        const bool kept =
            reduced.fault == ifc::MaskFault::None && ifc::expandMask(field, reduced.word) == mask;
        const unsigned counted = kept ? ifc::countedEntries(field) : 9;
        ASSERT_EQ(shapeOf(rule({equal(field, 0, mask)})).counted, counted)
            << field << ' ' << std::hex << mask;
    }
}
