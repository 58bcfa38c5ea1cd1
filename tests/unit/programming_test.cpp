// SPDX-License-Identifier: MIT OR GPL-2.0
// Setting and deleting single conditions in both tables.
#include "layer_test.h"

#include <cstring>

using testing::ElementsAre;

class Lut0Test : public LayerTest
{
protected:
    static unsigned commandOf(unsigned rule, unsigned field)
    {
        const uint32_t word = field <= 16 ? IFC_LUT0_Rule[rule].word[2] : IFC_LUT0_Rule[rule].word[1];
        return word >> 2 * ((field - 1) % 16) & 3;
    }
};

TEST_F(Lut0Test, EnablesOneFieldAndRewritesTheTablesOnce)
{
    EXPECT_EQ(ifc_set_lut0_rules(2, IFC_ENABLE, DPORT, 3, 0xFFFFFFFF, 0xFFFF, 0xFFFFFFFF, 0x1234), 0);
    EXPECT_EQ(IFC_LUT0_Rule[2].word[0], 0x80000000u | 1u << 27);
    EXPECT_EQ(IFC_LUT0_Rule[2].word[1], 3u << 22);
    EXPECT_EQ(IFC_LUT0_Rule[2].word[4], 0xFFFFu);
    EXPECT_EQ(IFC_LUT0_Rule[2].word[23], 0x1234u);
    expectTraffic(rewriteTraffic());
    EXPECT_EQ(lockedAccesses(), 656u);
    EXPECT_TRUE(said.empty());
}

TEST_F(Lut0Test, RefusesBadArgumentsAndChangesNothing)
{
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, DPORT, 0, 0, 1, 0, 1);
    forget();
    expectNothingChanges([&] {
        EXPECT_EQ(ifc_set_lut0_rules(8, IFC_ENABLE, 0, 9, 0, 1, 0, 1), -1);
        EXPECT_EQ(ifc_set_lut0_rules(0, IFC_ENABLE, 0, 9, 0, 1, 0, 1), -1);
        EXPECT_EQ(ifc_set_lut0_rules(7, IFC_ENABLE, 32, 0, 0, 1, 0, 1), -1);
        EXPECT_EQ(ifc_set_lut0_rules(0, IFC_ENABLE, DIPv4, 2, 0, 1, 0, 1), -1);
        EXPECT_EQ(ifc_set_lut0_rules(0, IFC_DISABLE, FLOW_LABEL, 2, 0, 1, 0, 1), -1);
    });
    EXPECT_THAT(pieces(), ElementsAre("@Error: Lut0 Index is 8, which should less than 8\n",
                                      "@Error: lut0 Field Index should between 1 and 31\n",
                                      "@Error: lut0 Field Index should between 1 and 31\n",
                                      "@Error: the command of DIPv4 should less than 2!\n",
                                      "@Error: the command of FLOW_LABEL should less than 2!\n"));
    EXPECT_TRUE(seen.empty());
}

TEST_F(Lut0Test, DisablingThroughOneFieldSwitchesTheWholeRuleOff)
{
    for (const unsigned field : {1u, 3u, 5u})
        (void)ifc_set_lut0_rules(4, IFC_ENABLE, field, 1, 0xFFFF, 0xFFFFFFFF, 0x12, 0x3456);
    const IFC_LUT0_Format before = IFC_LUT0_Rule[4];
    EXPECT_EQ(before.word[0], 0x80000015u);
    EXPECT_EQ(ifc_set_lut0_rules(4, IFC_DISABLE, 5, 1, 0, 0, 0, 0), 0);
    EXPECT_EQ(IFC_LUT0_Rule[4].word[0], 0u);
    EXPECT_EQ(std::memcmp(before.word + 1, IFC_LUT0_Rule[4].word + 1, 160), 0);
    (void)ifc_set_lut0_rules(4, IFC_ENABLE, 3, 1, 0, 1, 0, 1);
    EXPECT_EQ(IFC_LUT0_Rule[4].word[0], 0x80000004u) << "only the field that was enabled again";
}

TEST_F(Lut0Test, AnyNonZeroModeEnables)
{
    (void)ifc_set_lut0_rules(0, static_cast<IFC_Mode_t>(0x100), DPORT, 0, 0, 1, 0, 1);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[0], 0x88000000u);
    (void)ifc_set_lut0_rules(0, static_cast<IFC_Mode_t>(2), SPORT, 0, 0, 1, 0, 1);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[0], 0x98000000u);
}

TEST_F(Lut0Test, AWideCommandSpillsIntoTheFieldsAbove)
{
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, SINF, 7, 0, 1, 0, 1);
    EXPECT_EQ(commandOf(0, 14), 3u);
    EXPECT_EQ(commandOf(0, 15), 1u);
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, VPM0, 0xFF, 0, 1, 0, 1);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[2], 0xDC000000u) << "lost beyond bit 31";
    IFC_LUT0_Rule[0].word[1] = 0xC0000000;
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, DMAC_TYPE, 0xFF, 0, 1, 0, 1);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[1], 0xF0000000u) << "bits 30 and 31 stay, nothing beyond bit 29";
    IFC_LUT0_Rule[0].word[1] = 0x40000000;
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, PPPOE_SESSION, 0xFF, 0, 1, 0, 1);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[1], 0x7C000000u);
}

TEST_F(Lut0Test, CommandsReplaceTheOldOnesOfTheirFieldOnly)
{
    for (unsigned field = 1; field <= 31; ++field) {
        IFC_LUT0_Rule[0] = {};
        IFC_LUT0_Rule[0].word[1] = 0xFFFFFFFF;
        IFC_LUT0_Rule[0].word[2] = 0xFFFFFFFF;
        (void)ifc_set_lut0_rules(0, IFC_ENABLE, field, 1, 0, 1, 0, 1);
        for (unsigned other = 1; other <= 31; ++other)
            EXPECT_EQ(commandOf(0, other), other == field ? 1u : 3u) << field;
        EXPECT_EQ(IFC_LUT0_Rule[0].word[1] >> 30, 3u);
        EXPECT_EQ(IFC_LUT0_Rule[0].word[0], 0x80000000u | 1u << (field - 1));
    }
}

TEST_F(Lut0Test, MacsKeepEachOthersHalfAndDropHighBits)
{
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, SMAC, 0, 0xFFFF, 0xFFFFFFFF, 0x6677, 0x8899AABB);
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, DMAC, 0, 0xABCDFF00, 0xFFFFFFFF, 0x99990011, 0x22334455);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[39], 0xAABB0011u);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[38], 0x66778899u);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[20], 0xFFFFFF00u);
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, SMAC, 0, 0x1FFFF, 0, 0x10001, 0);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[39], 0x00000011u);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[38], 0x00010000u);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[19], 0xFFFF0000u);
}

TEST_F(Lut0Test, EnablingTwiceKeepsTheSecond)
{
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, VID0, 0, 0, 0xFFF, 0, 0x123);
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, VID0, 1, 0, 0x0FF, 0, 0x045);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[7], 0x0FFu);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[26], 0x045u);
}

TEST_F(Lut0Test, RefusalsArePrintedAtEveryLevel)
{
    for (const int level : {0, 1, 2, 3, 4, 255}) {
        gpIfcPriv->dbgLevel = static_cast<uint8>(level);
        forget();
        EXPECT_EQ(ifc_set_lut0_rules(0xFFFFFFFF, IFC_ENABLE, 1, 0, 0, 0, 0, 0), -1);
        EXPECT_EQ(ifc_set_lut0_rules(0, IFC_ENABLE, 0xFFFFFFFF, 0, 0, 0, 0, 0), -1);
        EXPECT_EQ(ifc_set_lut0_rules(0, IFC_ENABLE, SMAC, 0xFFFFFFFF, 0, 0, 0, 0), -1);
        EXPECT_THAT(pieces(), ElementsAre("@Error: Lut0 Index is -1, which should less than 8\n",
                                          "@Error: lut0 Field Index should between 1 and 31\n",
                                          "@Error: the command of SMAC should less than 2!\n"));
    }
    EXPECT_TRUE(seen.empty());
}

TEST_F(Lut0Test, TimeOutsDoNotChangeTheResult)
{
    powerOn(0);
    EXPECT_EQ(ifc_set_lut0_rules(1, IFC_ENABLE, DPORT, 0, 0, 0xFFFF, 0, 80), 0);
    EXPECT_EQ(ifc_set_lut0_rules(1, IFC_DISABLE, DPORT, 0, 0, 0, 0, 0), 0);
    EXPECT_EQ(said.size(), 2u * 128);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[0], 0u);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[4], 0xFFFFu);
}

TEST_F(Lut0Test, DeletingEditsTheShadowOnly)
{
    (void)ifc_set_lut0_rules(6, IFC_ENABLE, VID0, 3, 0, 0xFFF, 0, 0x123);
    forget();
    ifc_delete_lut0(6);
    for (const uint32_t word : IFC_LUT0_Rule[6].word)
        EXPECT_EQ(word, 0u);
    EXPECT_TRUE(seen.empty() && said.empty() && events.empty());
    EXPECT_NE(chip.tables().lut0[6][0], 0u);
    (void)write_all_ifc_rule_to_hw();
    EXPECT_EQ(chip.tables().lut0[6][0], 0u);
}

class Lut1Test : public LayerTest
{
protected:
    static std::string at(unsigned entry)
    {
        char text[40];
        (void)std::snprintf(text, sizeof text, "%08x %08x", IFC_LUT1_Rule[entry].word[0],
                            IFC_LUT1_Rule[entry].word[1]);
        return text;
    }
    static constexpr uint32_t kValid = 0x8000, kEnd = 0x4000, kType1 = 0x2000;
    static std::string words(uint32_t w0, uint32_t w1)
    {
        char text[40];
        (void)std::snprintf(text, sizeof text, "%08x %08x", w0, w1);
        return text;
    }
};

TEST_F(Lut1Test, AFullMacTakesTwoEntriesAndTheSecondHasTheEndFlag)
{
    EXPECT_EQ(ifc_set_lut1_rules(4, IFC_ENABLE, 1, DMAC, 1, 48, 0xABCD0011, 0x22334455), 6);
    EXPECT_EQ(at(4), words(kValid | kType1 | 1u << 6 | 1, 0x22334455));
    EXPECT_EQ(at(5), words(kValid | kEnd | 2u << 8 | 1u << 6 | 1, 0xFFFF0011));
    expectTraffic(rewriteTraffic());
    EXPECT_TRUE(said.empty());
}

TEST_F(Lut1Test, HalfMacsTakeOneEntry)
{
    EXPECT_EQ(ifc_set_lut1_rules(4, IFC_ENABLE, 1, SMAC, 0, 16, 0x1234, 0x55), 5);
    EXPECT_EQ(at(4), words(kValid | kEnd | 2u << 8 | 2, 0xFFFF1234));
    EXPECT_EQ(at(5), words(0, 0));
    EXPECT_EQ(ifc_set_lut1_rules(6, IFC_ENABLE, 1, SMAC, 0, 0x80000020, 0x1234, 0x55), 7);
    EXPECT_EQ(at(6), words(kValid | kEnd | kType1 | 1u << 7 | 2, 0x55));
    EXPECT_EQ(at(7), words(0, 0));
}

TEST_F(Lut1Test, EveryReducedMacMaskIsSplitAsDescribed)
{
    for (unsigned direction = 0; direction < 2; ++direction)
        for (unsigned n = 0; n < 64; ++n) {
            std::memset(IFC_LUT1_Rule, 0, sizeof IFC_LUT1_Rule);
            const int next =
                ifc_set_lut1_rules(8, IFC_ENABLE, 1, DMAC, 0, direction << 31 | n, 0xAAAA, 0xBBBBBBBB);
            // The 48-bit mask, bit by bit.
            uint64_t mask = 0;
            for (unsigned bit = 0; bit < 48; ++bit)
                if (n == 0 || n > 47 || (direction == 0 ? bit >= 48 - n : bit < n))
                    mask |= uint64_t{1} << bit;
            const auto high = static_cast<uint32_t>(mask >> 32);
            const auto low = static_cast<uint32_t>(mask);
            unsigned entry = 8;
            if (low != 0) {
                EXPECT_EQ(IFC_LUT1_Rule[entry].type1.type, 1u);
                EXPECT_EQ(IFC_LUT1_Rule[entry].type1.direction, direction);
                EXPECT_EQ(IFC_LUT1_Rule[entry].type1.end, high == 0);
                EXPECT_EQ(IFC_LUT1_Rule[entry].type1.length,
                          static_cast<unsigned>(__builtin_popcount(low)) % 32);
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

TEST_F(Lut1Test, WordFieldsStoreDirectionAndLength)
{
    EXPECT_EQ(ifc_set_lut1_rules(31, IFC_ENABLE, 3, DIPv4, 1, 24, 0xFFFF, 0x0A000000), 32);
    EXPECT_EQ(at(31), words(kValid | kEnd | kType1 | 24u << 8 | 1u << 6 | 3, 0x0A000000));
    EXPECT_EQ(ifc_set_lut1_rules(0, IFC_ENABLE, 2, FLOW_LABEL, 0, 0x80000014, 0, 0x12345), 1);
    EXPECT_EQ(at(0), words(kValid | kType1 | 20u << 8 | 1u << 7 | 13, 0x12345))
        << "only bit 0 of the end flag";
    EXPECT_EQ(ifc_set_lut1_rules(1, IFC_ENABLE, 0, SIPv6_127_96, 0, 32, 0, 5), 2);
    EXPECT_EQ(at(1), words(kValid | kType1 | 12, 5)) << "32 is stored as 0";
}

TEST_F(Lut1Test, HalfwordFieldsStoreMaskAndKey)
{
    EXPECT_EQ(ifc_set_lut1_rules(15, IFC_ENABLE, 1, 35, 7, 0xABCD00FF, 0xFFFF, 0x99991234), 16);
    EXPECT_EQ(at(15), words(kValid | kEnd | 3u << 6 | 35, 0x00FF1234));
    EXPECT_EQ(ifc_set_lut1_rules(16, IFC_ENABLE, 0, UDF15, 2, 0xFFFF, 0, 0), 17);
    EXPECT_EQ(at(16), words(kValid | 2u << 6 | 47, 0xFFFF0000));
}

TEST_F(Lut1Test, ReprogrammingLeavesWhatTheTypeDoesNotUse)
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

TEST_F(Lut1Test, OnlyBit0OfTheEndFlagCounts)
{
    for (const uint flag : {0u, 1u, 2u, 3u, 0xFFFFFFFEu}) {
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

TEST_F(Lut1Test, BothEntriesOfAMacCarryItsCommand)
{
    for (const unsigned field : {1u, 2u})
        for (const unsigned command : {1u, 0u}) {
            IFC_LUT1_Rule[7].type0.command = command == 0 ? 3 : 0;
            EXPECT_EQ(ifc_set_lut1_rules(6, IFC_ENABLE, 0, field, command, 48, 0, 0), 8);
            EXPECT_EQ(at(6), words(kValid | kType1 | command << 6 | field, 0));
            EXPECT_EQ(at(7), words(kValid | 2u << 8 | command << 6 | field, 0xFFFF0000));
        }
}

TEST_F(Lut1Test, AnyNonZeroModeEnables)
{
    for (const unsigned mode : {2u, 0x100u, 0x80000000u, 0xFFFFFFFFu}) {
        IFC_LUT1_Rule[0] = {};
        EXPECT_EQ(ifc_set_lut1_rules(0, static_cast<IFC_Mode_t>(mode), 1, DPORT, 0, 0xFFFF, 0, 80), 1);
        EXPECT_EQ(at(0), words(kValid | kEnd | DPORT, 0xFFFF0050)) << mode;
    }
}

TEST_F(Lut1Test, RefusalsComeInOrderAndAtEveryLevel)
{
    for (const int level : {0, 1, 2, 3, 4, 255}) {
        gpIfcPriv->dbgLevel = static_cast<uint8>(level);
        forget();
        EXPECT_EQ(ifc_set_lut1_rules(0xFFFFFFFF, IFC_ENABLE, 1, 0, 9, 0, 0, 0), -1);
        EXPECT_EQ(ifc_set_lut1_rules(0, IFC_ENABLE, 1, 0, 9, 0, 0, 0), -1) << "the field before the command";
        EXPECT_EQ(ifc_set_lut1_rules(15, IFC_ENABLE, 1, DMAC, 2, 16, 0, 0), -1)
            << "the command before the place";
        EXPECT_EQ(ifc_set_lut1_rules(31, IFC_ENABLE, 1, DMAC, 1, 48, 0, 0), -1);
        EXPECT_THAT(pieces(),
                    ElementsAre("@Error: Lut1 Index is -1, which should less than 32\n",
                                "@Error: Field Index is 0, which should between 1 and 47\n",
                                "@Error: the command of DMAC should less than 2!\n",
                                "@Error: fieldIdx:DMAC, ifcIndex:31, forbidden cross sub-table!\n"));
    }
    EXPECT_TRUE(seen.empty());
}

TEST_F(Lut1Test, TimeOutsDoNotChangeTheResult)
{
    powerOn(0);
    EXPECT_EQ(ifc_set_lut1_rules(4, IFC_ENABLE, 1, DMAC, 0, 48, 1, 2), 6);
    EXPECT_EQ(ifc_set_lut1_rules(4, IFC_DISABLE, 1, DMAC, 0, 48, 1, 2), 5);
    EXPECT_EQ(said.size(), 2u * 128);
    EXPECT_EQ(IFC_LUT1_Rule[4].type1.valid, 0u);
    EXPECT_EQ(IFC_LUT1_Rule[5].type0.valid, 1u);
}

TEST_F(Lut1Test, RefusesBadArgumentsAndChangesNothing)
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
    EXPECT_THAT(pieces(), ElementsAre("@Error: Lut1 Index is 32, which should less than 32\n",
                                      "@Error: Field Index is 0, which should between 1 and 47\n",
                                      "@Error: Field Index is 48, which should between 1 and 47\n",
                                      "@Error: the command of SMAC should less than 2!\n",
                                      "@Error: fieldIdx:DMAC, ifcIndex:15, forbidden cross sub-table!\n",
                                      "@Error: fieldIdx:SMAC, ifcIndex:31, forbidden cross sub-table!\n"));
    EXPECT_TRUE(seen.empty());
}

TEST_F(Lut1Test, AMacMayEndASubTable)
{
    EXPECT_EQ(ifc_set_lut1_rules(14, IFC_ENABLE, 1, DMAC, 0, 48, 1, 2), 16);
    EXPECT_EQ(ifc_set_lut1_rules(30, IFC_ENABLE, 1, DMAC, 0, 48, 1, 2), 32);
}

TEST_F(Lut1Test, DisablingClearsOneValidBit)
{
    (void)ifc_set_lut1_rules(4, IFC_ENABLE, 1, DMAC, 0, 48, 0x0011, 0x22334455);
    const uint32_t before = IFC_LUT1_Rule[4].word[0];
    EXPECT_EQ(ifc_set_lut1_rules(4, IFC_DISABLE, 0, DMAC, 0, 48, 0, 0), 5);
    EXPECT_EQ(IFC_LUT1_Rule[4].word[0], before & ~kValid);
    EXPECT_EQ(IFC_LUT1_Rule[4].word[1], 0x22334455u);
    EXPECT_EQ(IFC_LUT1_Rule[5].type0.valid, 1u);
    EXPECT_EQ(chip.tables().lut1[4][0], before & ~kValid);
}

TEST_F(Lut1Test, AFailedReductionReadsAsTheWholeAddress)
{
    EXPECT_EQ(ifc_set_lut1_rules(0, IFC_ENABLE, 1, DMAC, 0, 0xFFFFFFFF, 1, 2), 2);
    EXPECT_EQ(IFC_LUT1_Rule[0].type1.direction, 1u);
    EXPECT_EQ(IFC_LUT1_Rule[0].type1.length, 0u);
    EXPECT_EQ(IFC_LUT1_Rule[1].type0.mask, 0xFFFFu);
}

TEST_F(Lut1Test, DeletingEditsTheShadowOnly)
{
    (void)ifc_set_lut1_rules(9, IFC_ENABLE, 1, DPORT, 0, 0xFFFF, 0, 80);
    forget();
    ifc_delete_lut1(9);
    EXPECT_EQ(at(9), words(0, 0));
    EXPECT_TRUE(seen.empty() && said.empty() && events.empty());
    EXPECT_NE(chip.tables().lut1[9][0], 0u);
}
