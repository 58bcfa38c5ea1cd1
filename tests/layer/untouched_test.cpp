// SPDX-License-Identifier: MIT OR GPL-2.0
// A change of some bits of the shadow does not change the others.
#include "tests/support/check.h"
#include "tests/support/layer.h"
#include "tests/support/wide_places.h"

using namespace support;

namespace
{

// The tables as they should be.
IFC_LUT0_Format lut0[8];
IFC_LUT1_Format lut1[32];

void fill(Random &random)
{
    for (auto &rule : IFC_LUT0_Rule)
        for (uint32_t &word : rule.word)
            word = random();
    for (auto &entry : IFC_LUT1_Rule)
        for (uint32_t &word : entry.word)
            word = random();
    __builtin_memcpy(lut0, IFC_LUT0_Rule, sizeof lut0);
    __builtin_memcpy(lut1, IFC_LUT1_Rule, sizeof lut1);
}

void expectBit(unsigned rule, unsigned bit, bool value)
{
    uint32_t &word = lut0[rule].word[40 - bit / 32];
    word = (word & ~(1u << bit % 32)) | static_cast<uint32_t>(value) << bit % 32;
}

void expectBits(unsigned rule, unsigned lsb, unsigned width, uint64_t value)
{
    for (unsigned n = 0; n < width; ++n)
        expectBit(rule, lsb + n, (value >> n & 1) != 0);
}

bool asExpected()
{
    return __builtin_memcmp(lut0, IFC_LUT0_Rule, sizeof lut0) == 0 &&
           __builtin_memcmp(lut1, IFC_LUT1_Rule, sizeof lut1) == 0;
}

} // namespace

TEST(Untouched, PackingTheArraysWritesTheTwoAreasOnly)
{
    uint mask[32];
    uint key[32];
    Random random(7);
    fill(random);
    for (unsigned round = 0; round < 400; ++round) {
        for (unsigned slot = 0; slot < 32; ++slot) {
            mask[slot] = random();
            key[slot] = random();
            const unsigned lsb = slotLsb(slot);
            const unsigned width = slotWidth(slot);
            expectBits(round % 8, kMaskArea + lsb, width, mask[slot]);
            expectBits(round % 8, kKeyArea + lsb, width, key[slot]);
        }
        set_lut0_mask_key(static_cast<int>(round % 8), mask, key);
        ASSERT_TRUE(asExpected()) << round;
    }
}

TEST(Untouched, SettingAFieldOfAWideRuleWritesItsBitsOnly)
{
    Random random(7);
    fill(random);
    for (unsigned round = 0; round < 8 * 31; ++round) {
        const unsigned rule = round % 8;
        const unsigned field = round % 31 + 1;
        const uint command = random() & (field < 14 ? 1 : 3);
        const uint maskHigh = random(), maskLow = random();
        const uint keyHigh = random(), keyLow = random();
        expectBit(rule, 1311, true);
        expectBit(rule, 1279 + field, true);
        expectBits(rule, 1216 + 2 * (field - 1), 2, command);
        expectBits(rule, kMaskArea + kPlaces[field].lsb, kPlaces[field].width,
                   uint64_t{maskHigh} << 32 | maskLow);
        expectBits(rule, kKeyArea + kPlaces[field].lsb, kPlaces[field].width,
                   uint64_t{keyHigh} << 32 | keyLow);
        ASSERT_EQ(ifc_set_lut0_rules(rule, IFC_ENABLE, field, command, maskHigh, maskLow, keyHigh, keyLow),
                  0);
        ASSERT_TRUE(asExpected()) << field;
    }
    ASSERT_EQ(ifc_set_lut0_rules(3, IFC_DISABLE, 1, 0, 0, 0, 0, 0), 0);
    expectBits(3, 1280, 32, 0);
    EXPECT_TRUE(asExpected());
    ifc_delete_lut0(5);
    lut0[5] = {};
    EXPECT_TRUE(asExpected());
}

TEST(Untouched, SettingANarrowEntryWritesItsBitsOnly)
{
    Random random(7);
    fill(random);
    for (unsigned round = 0; round < 32 * 47; ++round) {
        forget();
        const unsigned entry = round % 32;
        const unsigned field = round % 47 + 1;
        const bool mac = field < 3;
        if (mac && entry % 16 == 15)
            continue;
        const uint command = random() & (field < 14 ? 1 : 3);
        const uint end = random() & 1;
        const uint keyHigh = random(), keyLow = random();
        uint32_t *words = lut1[entry].word;
        const uint32_t common = 0x8000 | command << 6 | field;
        if (field < 14) {
            const uint count = mac ? 40 : 24; // from the top: 24 bits of the low part in either case
            words[0] = (words[0] & 0xFFFF0000) | common | (mac ? 0 : end << 14) | 0x2000 | 24u << 8;
            words[1] = keyLow;
            if (mac) {
                uint32_t *high = lut1[entry + 1].word;
                high[0] = (high[0] & 0xFFFF1C00) | common | end << 14 | 2u << 8;
                high[1] = 0xFFFF0000 | (keyHigh & 0xFFFF);
            }
            ASSERT_GT(ifc_set_lut1_rules(entry, IFC_ENABLE, end, field, command, count, keyHigh, keyLow), 0);
        } else {
            const uint halfMask = random();
            words[0] = (words[0] & 0xFFFF1C00) | common | end << 14;
            words[1] = halfMask << 16 | (keyLow & 0xFFFF);
            ASSERT_GT(ifc_set_lut1_rules(entry, IFC_ENABLE, end, field, command, halfMask, keyHigh, keyLow),
                      0);
        }
        ASSERT_TRUE(asExpected()) << entry << " field " << field;
        if (round % 5 == 0) {
            ASSERT_GT(ifc_set_lut1_rules(entry, IFC_DISABLE, 1, field, 0, 0, 0, 0), 0);
            words[0] &= ~0x8000u;
            ASSERT_TRUE(asExpected()) << entry;
        }
    }
    ifc_delete_lut1(9);
    lut1[9] = {};
    EXPECT_TRUE(asExpected());
}

END_OF_TESTS(untouchedTests)
