// SPDX-License-Identifier: MIT OR GPL-2.0
// The reduction of a mask to a length and a direction, against the rule worked out one shift at a time.
#include "tests/support/check.h"
#include "tests/support/layer.h"

using namespace support;

namespace
{

constexpr uint kFailed = 0xFFFFFFFF;

struct Outcome {
    uint result;
    bool saysZero; // prints that the mask should not be 0
};

// Shifts one bit at a time, case by case.
Outcome slowly(uint high, uint low, int width)
{
    const bool l31 = low >> 31, l0 = low & 1, h15 = high >> 15 & 1, h0 = high & 1;
    uint offset = 0;
    if (!l31 && !l0) {
        if (width == 32 || low != 0)
            return {kFailed, true};
        if (width != 48 || !h15)
            return {kFailed, false};
        if (h0)
            return {high == 0xFFFF ? 16 : kFailed, false};
        uint shifted = high;
        for (uint i = 1; i <= 15; ++i) {
            shifted >>= 1;
            if (shifted & 1)
                return {shifted == (1u << (16 - i)) - 1 ? 16 - i : kFailed, false};
        }
        return {kFailed, false};
    }
    if (l31 && l0) {
        if (width == 48) {
            if (!h15 && !h0) {
                if (high != 0)
                    return {kFailed, false};
                offset = 0x80000000;
            } else if (h15 && h0) {
                if (high != 0xFFFF)
                    return {kFailed, false};
                offset = 16;
            } else if (!h15) {
                uint shifted = high;
                for (uint i = 1; i <= 15; ++i) {
                    shifted >>= 1;
                    if (shifted & 1)
                        continue;
                    if (shifted != 0)
                        return {kFailed, false};
                    offset = 0x80000000 + i;
                }
            } else {
                return {kFailed, false};
            }
        }
        return {low == 0xFFFFFFFF ? offset + 32 : kFailed, false};
    }
    if (!l31) {
        if (width == 48 && high != 0)
            return {kFailed, false};
        uint shifted = low;
        for (uint i = 1; i <= 31; ++i) {
            shifted >>= 1;
            if ((shifted & 1) == 0)
                return {shifted == 0 ? 0x80000000 + i : kFailed, false};
        }
        return {kFailed, false};
    }
    if (width == 48) {
        if (high != 0xFFFF)
            return {kFailed, false};
        offset = 16;
    }
    uint shifted = low;
    for (uint i = 1; i <= 31; ++i) {
        shifted >>= 1;
        if (shifted & 1)
            return {shifted == static_cast<uint>((uint64_t{1} << (32 - i)) - 1) ? offset + 32 - i : kFailed,
                    false};
    }
    return {kFailed, false};
}

void check(uint high, uint low, int width)
{
    forget();
    const Outcome expected = slowly(high, low, width);
    ASSERT_EQ(change_mask_from_48_to_32(high, low, width), expected.result)
        << hex(high) << " " << hex(low) << " " << width;
    const char *lines[2];
    unsigned count = 0;
    if (expected.saysZero)
        lines[count++] = "mask should not be 0!\n";
    if (expected.result == kFailed)
        lines[count++] =
            width == 48 ? format("mask should be left->right or right->left, but mask:%04x%8x\n", high, low)
                        : format("mask should be left->right or right->left, but mask:%8x\n", low);
    comparePieces(__FILE__, __LINE__, lines, count);
}

} // namespace

TEST(MaskReduction, TableOfReductions)
{
    const struct {
        uint high, low;
        int width;
        uint result;
    } table[] = {
        {0, 0xFFFFFF00, 32, 24},
        {0, 0x000000FF, 32, 0x80000008},
        {0, 0xFFFFFFFF, 32, 32},
        {0, 0x7FFFFFFF, 32, 0x8000001F},
        {0, 0x80000000, 32, 1},
        {0xFFFF, 0xFFFFFFFF, 48, 48},
        {0xFFFF, 0, 48, 16},
        {0xFF00, 0, 48, 8},
        {0xFFFF, 0xFF000000, 48, 24},
        {0, 0xFFFFFFFF, 48, 0x80000020},
        {0, 0x000000FF, 48, 0x80000008},
        {0x1234, 0xFFFFFFFF, 32, 32},
        {0, 0x0000FFFF, 48, 0x80000010},
        {0x7FFF, 0xFFFFFFFF, 48, 0x8000002F},
        {0x00FF, 0xFFFFFFFF, 48, 0x8000002F},
        {0x0001, 0xFFFFFFFF, 48, 0x8000002F},
    };
    for (const auto &row : table) {
        EXPECT_EQ(change_mask_from_48_to_32(row.high, row.low, row.width), row.result)
            << row.high << ' ' << row.low;
        EXPECT_NOTHING_PRINTED();
    }
    EXPECT_NO_TRAFFIC();
}

TEST(MaskReduction, FailuresSayWhy)
{
    EXPECT_EQ(change_mask_from_48_to_32(0, 0, 32), kFailed);
    EXPECT_PRINTED("mask should not be 0!\n",
                   "mask should be left->right or right->left, but mask:       0\n");
    forget();
    EXPECT_EQ(change_mask_from_48_to_32(0, 0x00FFFF00, 32), kFailed);
    EXPECT_PRINTED("mask should not be 0!\n",
                   "mask should be left->right or right->left, but mask:  ffff00\n");
    forget();
    EXPECT_EQ(change_mask_from_48_to_32(0, 0x00FF00FF, 32), kFailed);
    EXPECT_PRINTED("mask should be left->right or right->left, but mask:  ff00ff\n");
    forget();
    EXPECT_EQ(change_mask_from_48_to_32(0, 0, 48), kFailed);
    EXPECT_PRINTED("mask should be left->right or right->left, but mask:0000       0\n");
    forget();
    EXPECT_EQ(change_mask_from_48_to_32(0xFF00, 0x0000FFFF, 48), kFailed);
    EXPECT_PRINTED("mask should be left->right or right->left, but mask:ff00    ffff\n");
}

TEST(MaskReduction, AllContiguousMasks)
{
    for (const int width : list({32, 48, 0, 16}))
        for (unsigned first = 0; first <= 48; ++first)
            for (unsigned last = first; last <= 48; ++last) {
                const uint64_t mask = ((uint64_t{1} << last) - 1) & ~((uint64_t{1} << first) - 1);
                check(static_cast<uint>(mask >> 32), static_cast<uint>(mask), width);
            }
}

TEST(MaskReduction, AllHighHalvesWithTypicalLowOnes)
{
    for (uint high = 0; high <= 0xFFFF; ++high)
        for (const uint low : list({0u, 0xFFFFFFFFu}))
            check(high, low, 48);
}

TEST(MaskReduction, AMillionOthers)
{
    Random random(7);
    for (uint n = 0; n < workload(1000000, 50000); ++n) {
        uint high = random();
        uint low = random();
        // Half of them close to a run: shifted ones with a bit flipped here and there, and bits above 47.
        if (n & 1) {
            low = 0xFFFFFFFFu << (random() % 32);
            high = 0xFFFFu << (random() % 16);
            if (random() & 1)
                low = ~low;
            if (random() & 1)
                high = ~high & 0xFFFF;
            if ((random() & 3) == 0)
                low ^= 1u << (random() % 32);
            if ((random() & 3) == 0)
                high ^= 1u << (random() % 20);
        }
        check(high, low, n % 3 == 0 ? 32 : 48);
    }
}

END_OF_TESTS(maskReductionTests)
