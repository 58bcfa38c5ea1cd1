// SPDX-License-Identifier: MIT OR GPL-2.0
// Setting and deleting narrow entries.
#include "tests/support/check.h"
#include "tests/support/layer.h"

using namespace support;

namespace
{

constexpr uint32_t kValid = 0x8000, kEnd = 0x4000, kType1 = 0x2000;

constexpr uint64_t words(uint32_t word0, uint32_t word1)
{
    return uint64_t{word0} << 32 | word1;
}

uint64_t at(unsigned entry)
{
    return words(IFC_LUT1_Rule[entry].word[0], IFC_LUT1_Rule[entry].word[1]);
}

} // namespace

TEST(NarrowEntry, AFullMacTakesTwoEntriesAndTheSecondHasTheEndFlag)
{
    EXPECT_EQ(ifc_set_lut1_rules(4, IFC_ENABLE, 1, DMAC, 1, 48, 0xABCD0011, 0x22334455), 6);
    EXPECT_EQ(at(4), words(kValid | kType1 | 1u << 6 | 1, 0x22334455));
    EXPECT_EQ(at(5), words(kValid | kEnd | 2u << 8 | 1u << 6 | 1, 0xFFFF0011));
    EXPECT_TRAFFIC(Traffic().rewrite());
    EXPECT_NOTHING_PRINTED();
}

TEST(NarrowEntry, HalfMacsTakeOneEntry)
{
    EXPECT_EQ(ifc_set_lut1_rules(4, IFC_ENABLE, 1, SMAC, 0, 16, 0x1234, 0x55), 5);
    EXPECT_EQ(at(4), words(kValid | kEnd | 2u << 8 | 2, 0xFFFF1234));
    EXPECT_EQ(at(5), words(0, 0));
    EXPECT_EQ(ifc_set_lut1_rules(6, IFC_ENABLE, 1, SMAC, 0, 0x80000020, 0x1234, 0x55), 7);
    EXPECT_EQ(at(6), words(kValid | kEnd | kType1 | 1u << 7 | 2, 0x55));
    EXPECT_EQ(at(7), words(0, 0));
}

TEST(NarrowEntry, EveryReducedMacMaskIsSplitAsDescribed)
{
    for (unsigned direction = 0; direction < 2; ++direction)
        for (unsigned n = 0; n < 64; ++n) {
            __builtin_memset(IFC_LUT1_Rule, 0, sizeof IFC_LUT1_Rule);
            const int next =
                ifc_set_lut1_rules(8, IFC_ENABLE, 1, DMAC, 0, direction << 31 | n, 0xAAAA, 0xBBBBBBBB);
            // The 48-bit mask, bit by bit.
            uint64_t mask = 0;
            unsigned lowBits = 0;
            for (unsigned bit = 0; bit < 48; ++bit)
                if (n == 0 || n > 47 || (direction == 0 ? bit >= 48 - n : bit < n))
                    mask |= uint64_t{1} << bit, lowBits += bit < 32;
            const auto high = static_cast<uint32_t>(mask >> 32);
            const auto low = static_cast<uint32_t>(mask);
            unsigned entry = 8;
            if (low != 0) {
                EXPECT_EQ(IFC_LUT1_Rule[entry].type1.type, 1u);
                EXPECT_EQ(IFC_LUT1_Rule[entry].type1.direction, direction);
                EXPECT_EQ(IFC_LUT1_Rule[entry].type1.end, high == 0);
                EXPECT_EQ(IFC_LUT1_Rule[entry].type1.length, lowBits % 32);
                ++entry;
            }
            if (high != 0) {
                EXPECT_EQ(IFC_LUT1_Rule[entry].type0.type, 0u);
                EXPECT_EQ(IFC_LUT1_Rule[entry].type0.mask, high) << direction << ' ' << n;
                EXPECT_EQ(IFC_LUT1_Rule[entry].type0.end, 1u);
                ++entry;
            }
            EXPECT_EQ(next, static_cast<int>(entry));
        }
}

TEST(NarrowEntry, WordFieldsStoreDirectionAndLength)
{
    EXPECT_EQ(ifc_set_lut1_rules(31, IFC_ENABLE, 3, DIPv4, 1, 24, 0xFFFF, 0x0A000000), 32);
    EXPECT_EQ(at(31), words(kValid | kEnd | kType1 | 24u << 8 | 1u << 6 | 3, 0x0A000000));
    EXPECT_EQ(ifc_set_lut1_rules(0, IFC_ENABLE, 2, FLOW_LABEL, 0, 0x80000014, 0, 0x12345), 1);
    EXPECT_EQ(at(0), words(kValid | kType1 | 20u << 8 | 1u << 7 | 13, 0x12345))
        << "only bit 0 of the end flag";
    EXPECT_EQ(ifc_set_lut1_rules(1, IFC_ENABLE, 0, SIPv6_127_96, 0, 32, 0, 5), 2);
    EXPECT_EQ(at(1), words(kValid | kType1 | 12, 5)) << "32 is stored as 0";
}

TEST(NarrowEntry, HalfwordFieldsStoreMaskAndKey)
{
    EXPECT_EQ(ifc_set_lut1_rules(15, IFC_ENABLE, 1, 35, 7, 0xABCD00FF, 0xFFFF, 0x99991234), 16);
    EXPECT_EQ(at(15), words(kValid | kEnd | 3u << 6 | 35, 0x00FF1234));
    for (uint field = UDF0; field <= UDF15; ++field) {
        EXPECT_EQ(ifc_set_lut1_rules(15, IFC_ENABLE, 1, field, 3, 0xABCD00FF, 0xFFFF, 0x99991234), 16);
        EXPECT_EQ(at(15), words(kValid | kEnd | 3u << 6 | field, 0x00FF1234));
    }
    EXPECT_EQ(ifc_set_lut1_rules(16, IFC_ENABLE, 0, UDF15, 2, 0xFFFF, 0, 0), 17);
    EXPECT_EQ(at(16), words(kValid | 2u << 6 | 47, 0xFFFF0000));
}

TEST(NarrowEntry, ReprogrammingLeavesWhatTheTypeDoesNotUse)
{
    IFC_LUT1_Rule[3].word[0] = 0xABCDFFFF;
    (void)ifc_set_lut1_rules(3, IFC_ENABLE, 0, DPORT, 0, 0xFFFF, 0, 80);
    EXPECT_EQ(at(3), words(0xABCD0000 | kValid | 0x1C00 | DPORT, 0xFFFF0050)) << "bits 10 to 12 stay";
    IFC_LUT1_Rule[3].word[0] = 0xABCDFFFF;
    (void)ifc_set_lut1_rules(3, IFC_ENABLE, 0, DIPv4, 0, 1, 0, 80);
    EXPECT_EQ(at(3), words(0xABCD0000 | kValid | kType1 | 1u << 8 | 3, 80));
    IFC_LUT1_Rule[3].word[0] = 0xABCDFFFF;
    (void)ifc_set_lut1_rules(3, IFC_ENABLE, 0, SMAC, 0, 16, 0x1234, 0);
    EXPECT_EQ(at(3), words(0xABCD0000 | kValid | 0x1C00 | 2u << 8 | 2, 0xFFFF1234))
        << "also in the high part of a MAC";
}

TEST(NarrowEntry, OnlyBit0OfTheEndFlagCounts)
{
    for (const uint flag : list({0u, 1u, 2u, 3u, 0xFFFFFFFEu})) {
        (void)ifc_set_lut1_rules(0, IFC_ENABLE, flag, DPORT, 0, 1, 0, 1);
        EXPECT_EQ(IFC_LUT1_Rule[0].type0.end, flag & 1) << flag;
        (void)ifc_set_lut1_rules(1, IFC_ENABLE, flag, DIPv4, 0, 32, 0, 1);
        EXPECT_EQ(IFC_LUT1_Rule[1].type1.end, flag & 1) << flag;
        IFC_LUT1_Rule[2].type1.end = 1;
        (void)ifc_set_lut1_rules(2, IFC_ENABLE, flag, DMAC, 0, 48, 0, 1);
        EXPECT_EQ(IFC_LUT1_Rule[2].type1.end, 0u) << "the flag goes to the second entry";
        EXPECT_EQ(IFC_LUT1_Rule[3].type0.end, flag & 1) << flag;
        (void)ifc_set_lut1_rules(4, IFC_ENABLE, flag, DMAC, 0, 0x80000020, 0, 1);
        EXPECT_EQ(IFC_LUT1_Rule[4].type1.end, flag & 1) << "a low part alone";
        (void)ifc_set_lut1_rules(5, IFC_ENABLE, flag, DMAC, 0, 16, 0, 1);
        EXPECT_EQ(IFC_LUT1_Rule[5].type0.end, flag & 1) << "a high part alone";
    }
}

TEST(NarrowEntry, BothEntriesOfAMacCarryItsCommand)
{
    for (const unsigned field : list({1u, 2u}))
        for (const unsigned command : list({1u, 0u})) {
            IFC_LUT1_Rule[7].type0.command = command == 0 ? 3 : 0;
            EXPECT_EQ(ifc_set_lut1_rules(6, IFC_ENABLE, 0, field, command, 48, 0, 0), 8);
            EXPECT_EQ(at(6), words(kValid | kType1 | command << 6 | field, 0));
            EXPECT_EQ(at(7), words(kValid | 2u << 8 | command << 6 | field, 0xFFFF0000));
        }
}

TEST(NarrowEntry, AnyNonZeroModeEnables)
{
    for (const unsigned mode : list({2u, 0x100u, 0x80000000u, 0xFFFFFFFFu})) {
        IFC_LUT1_Rule[0] = {};
        EXPECT_EQ(ifc_set_lut1_rules(0, static_cast<IFC_Mode_t>(mode), 1, DPORT, 0, 0xFFFF, 0, 80), 1);
        EXPECT_EQ(at(0), words(kValid | kEnd | DPORT, 0xFFFF0050)) << mode;
    }
}

TEST(NarrowEntry, RefusalsComeInOrderAndAtEveryLevel)
{
    for (const int level : kLevels) {
        setLevel(level);
        EXPECT_EQ(ifc_set_lut1_rules(0xFFFFFFFF, IFC_ENABLE, 1, 0, 9, 0, 0, 0), -1);
        EXPECT_EQ(ifc_set_lut1_rules(0, IFC_ENABLE, 1, 0, 9, 0, 0, 0), -1) << "the field before the command";
        EXPECT_EQ(ifc_set_lut1_rules(15, IFC_ENABLE, 1, DMAC, 2, 16, 0, 0), -1)
            << "the command before the place";
        EXPECT_EQ(ifc_set_lut1_rules(31, IFC_ENABLE, 1, DMAC, 1, 48, 0, 0), -1);
        EXPECT_PRINTED("@Error: Lut1 Index is -1, which should less than 32\n",
                       "@Error: Field Index is 0, which should between 1 and 47\n",
                       "@Error: the command of DMAC should less than 2!\n",
                       "@Error: fieldIdx:DMAC, ifcIndex:31, forbidden cross sub-table!\n");
    }
    EXPECT_NO_TRAFFIC();
}

TEST(NarrowEntry, TimeOutsDoNotChangeTheResult)
{
    powerOn(0);
    EXPECT_EQ(ifc_set_lut1_rules(4, IFC_ENABLE, 1, DMAC, 0, 48, 1, 2), 6);
    EXPECT_EQ(ifc_set_lut1_rules(4, IFC_DISABLE, 1, DMAC, 0, 48, 1, 2), 5);
    EXPECT_EQ(pieces(), 2u * 128);
    EXPECT_EQ(IFC_LUT1_Rule[4].type1.valid, 0u);
    EXPECT_EQ(IFC_LUT1_Rule[5].type0.valid, 1u);
}

TEST(NarrowEntry, RefusesBadArgumentsAndChangesNothing)
{
    (void)ifc_set_lut1_rules(15, IFC_ENABLE, 1, DPORT, 0, 0xFFFF, 0, 80);
    forget();
    expectNothingChanges([&] {
        EXPECT_EQ(ifc_set_lut1_rules(32, IFC_ENABLE, 1, 0, 0, 0, 0, 0), -1);
        EXPECT_EQ(ifc_set_lut1_rules(0, IFC_ENABLE, 1, 0, 0, 0, 0, 0), -1);
        EXPECT_EQ(ifc_set_lut1_rules(0, IFC_ENABLE, 1, 48, 0, 0, 0, 0), -1);
        EXPECT_EQ(ifc_set_lut1_rules(0, IFC_DISABLE, 1, SMAC, 2, 0, 0, 0), -1);
        EXPECT_EQ(ifc_set_lut1_rules(15, IFC_ENABLE, 1, DMAC, 0, 16, 0, 0), -1);
        EXPECT_EQ(ifc_set_lut1_rules(31, IFC_DISABLE, 1, SMAC, 0, 48, 0, 0), -1);
    });
    EXPECT_PRINTED("@Error: Lut1 Index is 32, which should less than 32\n",
                   "@Error: Field Index is 0, which should between 1 and 47\n",
                   "@Error: Field Index is 48, which should between 1 and 47\n",
                   "@Error: the command of SMAC should less than 2!\n",
                   "@Error: fieldIdx:DMAC, ifcIndex:15, forbidden cross sub-table!\n",
                   "@Error: fieldIdx:SMAC, ifcIndex:31, forbidden cross sub-table!\n");
    EXPECT_NO_TRAFFIC();
}

TEST(NarrowEntry, AMacMayEndASubTable)
{
    EXPECT_EQ(ifc_set_lut1_rules(14, IFC_ENABLE, 1, DMAC, 0, 48, 1, 2), 16);
    EXPECT_EQ(ifc_set_lut1_rules(30, IFC_ENABLE, 1, DMAC, 0, 48, 1, 2), 32);
}

TEST(NarrowEntry, DisablingClearsOneValidBit)
{
    (void)ifc_set_lut1_rules(4, IFC_ENABLE, 1, DMAC, 0, 48, 0x0011, 0x22334455);
    const uint32_t before = IFC_LUT1_Rule[4].word[0];
    EXPECT_EQ(ifc_set_lut1_rules(4, IFC_DISABLE, 0, DMAC, 0, 48, 0, 0), 5);
    EXPECT_EQ(IFC_LUT1_Rule[4].word[0], before & ~kValid);
    EXPECT_EQ(IFC_LUT1_Rule[4].word[1], 0x22334455u);
    EXPECT_EQ(IFC_LUT1_Rule[5].type0.valid, 1u);
    EXPECT_EQ(hardware().lut1[4][0], before & ~kValid);
}

TEST(NarrowEntry, AFailedReductionReadsAsTheWholeAddress)
{
    EXPECT_EQ(ifc_set_lut1_rules(0, IFC_ENABLE, 1, DMAC, 0, 0xFFFFFFFF, 1, 2), 2);
    EXPECT_EQ(IFC_LUT1_Rule[0].type1.direction, 1u);
    EXPECT_EQ(IFC_LUT1_Rule[0].type1.length, 0u);
    EXPECT_EQ(IFC_LUT1_Rule[1].type0.mask, 0xFFFFu);
}

TEST(NarrowEntry, DeletingEditsTheShadowOnly)
{
    (void)ifc_set_lut1_rules(9, IFC_ENABLE, 1, DPORT, 0, 0xFFFF, 0, 80);
    forget();
    ifc_delete_lut1(9);
    EXPECT_EQ(at(9), words(0, 0));
    EXPECT_NO_TRAFFIC();
    EXPECT_NOTHING_PRINTED();
    EXPECT_NE(hardware().lut1[9][0], 0u);
}

END_OF_TESTS(narrowEntryTests)
