// SPDX-License-Identifier: MIT OR GPL-2.0
// Packing and unpacking a wide rule, against a plain big number.
#include "tests/support/check.h"
#include "tests/support/layer.h"
#include "tests/support/wide_places.h"

using namespace support;

TEST(WideCodec, WalkingOnesReachExactlyTheirBit)
{
    uint mask[32] = {};
    uint key[32] = {};
    for (unsigned slot = 0; slot < 32; ++slot)
        for (unsigned n = 0; n < 32; ++n) {
            for (const bool inMask : list({true, false})) {
                IFC_LUT0_Rule[5] = {};
                __builtin_memset(mask, 0, sizeof mask);
                __builtin_memset(key, 0, sizeof key);
                (inMask ? mask : key)[slot] = 1u << n;
                set_lut0_mask_key(5, mask, key);
                const unsigned lsb = slotLsb(slot);
                const unsigned width = slotWidth(slot);
                const unsigned expected = (inMask ? kMaskArea : kKeyArea) + lsb + n;
                for (unsigned b = 0; b < 1312; ++b)
                    ASSERT_EQ(bitOf(IFC_LUT0_Rule[5], b), n < width && b == expected) << slot << ' ' << n;
            }
        }
}

TEST(WideCodec, WalkingZerosKeepEveryOtherBit)
{
    uint mask[32] = {};
    uint key[32] = {};
    for (unsigned slot = 0; slot < 32; ++slot) {
        __builtin_memset(&IFC_LUT0_Rule[2], 0xFF, sizeof IFC_LUT0_Rule[2]);
        __builtin_memset(mask, 0xFF, sizeof mask);
        __builtin_memset(key, 0xFF, sizeof key);
        mask[slot] = 0;
        set_lut0_mask_key(2, mask, key);
        const unsigned lsb = kMaskArea + slotLsb(slot);
        const unsigned width = slotWidth(slot);
        for (unsigned b = 0; b < 1312; ++b)
            ASSERT_EQ(bitOf(IFC_LUT0_Rule[2], b), !(b >= lsb && b < lsb + width)) << slot << ' ' << b;
    }
}

TEST(WideCodec, UnpacksRandomImagesLikeAPlainBigNumber)
{
    uint mask[32] = {};
    uint key[32] = {};
    Random random(1);
    for (int round = 0; round < 2000; ++round) {
        IFC_LUT0_Format &rule = IFC_LUT0_Rule[round % 8];
        for (uint32_t &word : rule.word)
            word = random();
        const IFC_LUT0_Format before = rule;
        __builtin_memset(mask, 0xA5, sizeof mask);
        __builtin_memset(key, 0xA5, sizeof key);
        get_lut0_mask_key(round % 8, mask, key);
        uint mask2[32];
        uint key2[32];
        IFC_LUT0_Format copy = rule;
        set_lut0_mask_key_to_array(&copy, mask2, key2);
        for (unsigned slot = 0; slot < 32; ++slot) {
            ASSERT_EQ(mask[slot], arrayWord(rule, kMaskArea, slot));
            ASSERT_EQ(key[slot], arrayWord(rule, kKeyArea, slot));
            ASSERT_EQ(mask2[slot], mask[slot]);
            ASSERT_EQ(key2[slot], key[slot]);
        }
        set_lut0_mask_key(round % 8, mask, key);
        ASSERT_EQ(__builtin_memcmp(&before, &rule, sizeof rule), 0);
    }
    EXPECT_NO_TRAFFIC();
    EXPECT_NOTHING_PRINTED();
}

TEST(WideCodec, PackCutsToWidthAndLeavesHeaderAndReservedBits)
{
    uint mask[32] = {};
    uint key[32] = {};
    IFC_LUT0_Rule[1].word[0] = 0x12345678;
    IFC_LUT0_Rule[1].word[1] = 0x9ABCDEF0;
    IFC_LUT0_Rule[1].word[2] = 0x0F1E2D3C;
    IFC_LUT0_Rule[1].word[3] = 0xFFFC0000;
    IFC_LUT0_Rule[1].word[22] = 0xABCC0000;
    mask[31] = 0xFFFFFFFF;
    key[13] = 0xFFFFFFFF;
    set_lut0_mask_key(1, mask, key);
    EXPECT_EQ(mask[31], 0xFFFFFFFF) << "the caller's arrays stay";
    EXPECT_EQ(key[13], 0xFFFFFFFF);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[0], 0x12345678u);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[1], 0x9ABCDEF0u);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[2], 0x0F1E2D3Cu);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[3], 0xFFFF0000u);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[22], 0xABCC0000u);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[27], 0x000FFFFFu);
    get_lut0_mask_key(1, mask, key);
    EXPECT_EQ(mask[31], 3u);
    EXPECT_EQ(key[13], 0xFFFFFu);
}

TEST(WideCodec, AllOnesUnpackToTheWidths)
{
    uint mask[32] = {};
    uint key[32] = {};
    __builtin_memset(&IFC_LUT0_Rule[0], 0xFF, sizeof IFC_LUT0_Rule[0]);
    get_lut0_mask_key(0, mask, key);
    const uint expected[32] = {~0u,    ~0u,    ~0u,     ~0u,  ~0u,  ~0u,  ~0u,    ~0u,    ~0u,    ~0u,   ~0u,
                               ~0u,    ~0u,    0xFFFFF, 0x1F, 7,    3,    3,      0xFFF,  0xF,    0xFFF, 0xF,
                               0xFFFF, 0xFFFF, 0xFF,    0xFF, 0xFF, 0xFF, 0xFFFF, 0xFFFF, 0xFFFF, 3};
    for (unsigned slot = 0; slot < 32; ++slot) {
        EXPECT_EQ(mask[slot], expected[slot]) << slot;
        EXPECT_EQ(key[slot], expected[slot]) << slot;
    }
}

TEST(WideCodec, MacAddressesShareTheMiddleWord)
{
    uint mask[32] = {};
    uint key[32] = {};
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, DMAC, 0, 0xFFFF, 0xFFFFFFFF, 0x0011, 0x22334455);
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, SMAC, 0, 0xFFFF, 0xFFFFFFFF, 0x6677, 0x8899AABB);
    get_lut0_mask_key(0, mask, key);
    EXPECT_EQ(key[0], 0x22334455u);
    EXPECT_EQ(key[1], 0xAABB0011u);
    EXPECT_EQ(key[2], 0x66778899u);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[40], 0x22334455u);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[39], 0xAABB0011u);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[38], 0x66778899u);
}

END_OF_TESTS(wideCodecTests)
