// SPDX-License-Identifier: MIT OR GPL-2.0
#include "layer_test.h"

using testing::ElementsAre;

class CountersTest : public LayerTest
{
protected:
    void setEntry(unsigned n, uint32_t d0, uint32_t d1, uint32_t d2, uint32_t d3)
    {
        uint32_t *c = chip.tables().counter[n];
        c[0] = d0, c[1] = d1, c[2] = d2, c[3] = d3;
    }
};

TEST_F(CountersTest, BindsInTheRightSlot)
{
    for (uint32_t e = 0; e < 40; ++e) {
        const uint32_t reg = 0xBFB50240 + 4 * (e / 8);
        chip.write(reg, 0xFFFFFFFF);
        forget();
        EXPECT_EQ(ifc_set_acnt(e, 5), 0);
        const uint32_t expected = (0xFFFFFFFF & ~(0xFu << 4 * (e % 8))) | 5u << 4 * (e % 8);
        expectTraffic(Traffic().read(reg, 0xFFFFFFFF).write(reg, expected));
        EXPECT_TRUE(said.empty() && events.empty());
    }
    chip.write(0xBFB50248, 0);
    EXPECT_EQ(ifc_set_acnt(17, 5), 0);
    EXPECT_EQ(chip.counterBinding(2), 0x50u);
}

TEST_F(CountersTest, AdmitsId16WhichReachesTheNextSlot)
{
    chip.write(0xBFB50240, 0xF000000F);
    EXPECT_EQ(ifc_set_acnt(0, 16), 0);
    EXPECT_EQ(chip.counterBinding(0), 0xF0000010u);
    EXPECT_EQ(ifc_set_acnt(7, 16), 0);
    EXPECT_EQ(chip.counterBinding(0), 0x00000010u);
}

TEST_F(CountersTest, RefusesBadArguments)
{
    unsigned long long bytes = 1, packets = 2;
    EXPECT_EQ(ifc_set_acnt(40, 99), -1);
    EXPECT_EQ(ifc_set_acnt(0, 17), -1);
    EXPECT_EQ(ifc_get_acnt(40, &bytes, &packets), -1);
    EXPECT_EQ(bytes, 1u);
    EXPECT_EQ(packets, 2u);
    EXPECT_THAT(pieces(), ElementsAre("@Error: Action Index is 40, which should less than 40\n",
                                      "@Error: IFC counter ID is 17, which should between 0 and 15\n",
                                      "@Error: Action Index is 40, which should less than 40\n"));
    EXPECT_TRUE(seen.empty());
}

TEST_F(CountersTest, ReadsBytesAndPacketsInOrder)
{
    setEntry(39, 2, 1, 5, 0x123456);
    unsigned long long bytes = 0, packets = 0;
    EXPECT_EQ(ifc_get_acnt(39, &bytes, &packets), 0);
    EXPECT_EQ(bytes, 0x100000002u);
    EXPECT_EQ(packets, 0x12345600000005u);
    expectTraffic(Traffic()
                      .transfer(command(39, 0, 3, 0))
                      .read(0xBFB50214, 1)
                      .read(0xBFB50210, 2)
                      .read(0xBFB5021C, 0x123456)
                      .read(0xBFB50218, 5));
    EXPECT_TRUE(events.empty() && said.empty());
}

TEST_F(CountersTest, LowWordsAreWidenedAsSignedNumbers)
{
    setEntry(0, 0x80000000, 1, 0x80000001, 0);
    unsigned long long bytes = 0, packets = 0;
    (void)ifc_get_acnt(0, &bytes, &packets);
    EXPECT_EQ(bytes, 0xFFFFFFFF80000000u);
    EXPECT_EQ(packets, 0xFFFFFFFF80000001u);
    setEntry(0, 0x7FFFFFFF, 0xFFFFFFFF, 5, 0xFF000001);
    (void)ifc_get_acnt(0, &bytes, &packets);
    EXPECT_EQ(bytes, 0xFFFFFFFF7FFFFFFFu);
    EXPECT_EQ(packets, 0x100000005u) << "the top byte is ignored";
}

TEST_F(CountersTest, ClearsAllFortyUnderTheLock)
{
    for (unsigned n = 0; n < 40; ++n)
        setEntry(n, 1, 2, 3, 4);
    chip.write(0xBFB50240, 0x1234);
    forget();
    clear_all_ifc_acnt();
    Traffic t;
    for (uint32_t n = 0; n < 40; ++n)
        t.write(0xBFB5021C, 0)
            .write(0xBFB50218, 0)
            .write(0xBFB50214, 0)
            .write(0xBFB50210, 0)
            .transfer(command(n, 0, 3, 1));
    expectTraffic(t);
    EXPECT_EQ(lockedAccesses(), 240u);
    EXPECT_EQ(chip.counterBinding(0), 0x1234u);
    EXPECT_TRUE(said.empty());
}

class ResultTest : public LayerTest
{
protected:
    static void hits(uint32_t lut0, uint32_t low, uint32_t high)
    {
        gpIfcPriv->lut0HitMap = lut0;
        gpIfcPriv->lut1HitMap0 = low;
        gpIfcPriv->lut1HitMap1 = high;
    }
};

TEST_F(ResultTest, ExactlyTheExpectedRule)
{
    for (int n = 0; n < 32; ++n) {
        hits(1u << n, 0, 0);
        EXPECT_EQ(checkIFCResult(IFC_LUT0, n), 0);
        EXPECT_EQ(checkIFCResult(IFC_LUT0, (n + 1) % 32), -1);
        EXPECT_EQ(checkIFCResult(IFC_LUT1, n), -1);
        hits(0, 1u << n, 0);
        EXPECT_EQ(checkIFCResult(IFC_LUT1, n), 0);
        EXPECT_EQ(checkIFCResult(IFC_LUT1, n + 32), -1);
        EXPECT_EQ(checkIFCResult(IFC_LUT0, n), -1);
        hits(0, 0, 1u << n);
        EXPECT_EQ(checkIFCResult(IFC_LUT1, n + 32), 0);
        EXPECT_EQ(checkIFCResult(IFC_LUT1, n), -1);
    }
    hits(9, 0, 0);
    EXPECT_EQ(checkIFCResult(IFC_LUT0, 3), -1) << "another rule hit as well";
    hits(8, 0, 1);
    EXPECT_EQ(checkIFCResult(IFC_LUT0, 3), -1);
    hits(8, 1, 0);
    EXPECT_EQ(checkIFCResult(IFC_LUT0, 3), -1);
    EXPECT_EQ(checkIFCResult(IFC_LUT1, 0), -1);
}

TEST_F(ResultTest, NothingHit)
{
    hits(0, 0, 0);
    EXPECT_EQ(checkIFCResult(IFC_LUT0, -1), 0);
    EXPECT_EQ(checkIFCResult(2, -1), 0) << "the table does not matter";
    EXPECT_EQ(checkIFCResult(2, 0), -1);
    EXPECT_EQ(checkIFCResult(-1, 0), -1);
    EXPECT_EQ(checkIFCResult(IFC_LUT1, 64), -1);
    EXPECT_EQ(checkIFCResult(IFC_LUT0, 32), 0) << "the expected bitmap is empty from 32 on";
    EXPECT_EQ(checkIFCResult(IFC_LUT0, 255), 0);
    EXPECT_EQ(checkIFCResult(IFC_LUT0, 256), -1) << "the low byte counts: rule 0";
    hits(1, 0, 0);
    EXPECT_EQ(checkIFCResult(IFC_LUT0, 256), 0);
    EXPECT_EQ(checkIFCResult(IFC_LUT0, 32), -1);
    EXPECT_EQ(checkIFCResult(IFC_LUT0, -5), -1);
    EXPECT_TRUE(seen.empty() && said.empty() && events.empty());
}
