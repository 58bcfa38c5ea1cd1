// SPDX-License-Identifier: MIT OR GPL-2.0
// Counters, and the check of what was hit.
#include "tests/support/check.h"
#include "tests/support/layer.h"

using namespace support;

namespace
{

void setEntry(unsigned n, uint32_t d0, uint32_t d1, uint32_t d2, uint32_t d3)
{
    uint32_t *c = hardware().counter[n];
    c[0] = d0, c[1] = d1, c[2] = d2, c[3] = d3;
}

void hits(uint32_t lut0, uint32_t low, uint32_t high)
{
    gpIfcPriv->lut0HitMap = lut0;
    gpIfcPriv->lut1HitMap0 = low;
    gpIfcPriv->lut1HitMap1 = high;
}

} // namespace

TEST(Counters, BindsInTheRightSlot)
{
    for (uint32_t e = 0; e < 40; ++e) {
        const uint32_t reg = 0xBFB50240 + 4 * (e / 8);
        poke(reg, 0xFFFFFFFF);
        forget();
        EXPECT_EQ(ifc_set_acnt(e, 5), 0);
        const uint32_t expected = (0xFFFFFFFF & ~(0xFu << 4 * (e % 8))) | 5u << 4 * (e % 8);
        EXPECT_TRAFFIC(Traffic().read(reg, 0xFFFFFFFF).write(reg, expected));
        EXPECT_NOTHING_PRINTED();
    }
    poke(0xBFB50248, 0);
    EXPECT_EQ(ifc_set_acnt(17, 5), 0);
    EXPECT_EQ(peek(0xBFB50248), 0x50u);
}

TEST(Counters, AdmitsId16WhichReachesTheNextSlot)
{
    poke(0xBFB50240, 0xF000000F);
    EXPECT_EQ(ifc_set_acnt(0, 16), 0);
    EXPECT_EQ(peek(0xBFB50240), 0xF0000010u);
    EXPECT_EQ(ifc_set_acnt(7, 16), 0);
    EXPECT_EQ(peek(0xBFB50240), 0x00000010u);
}

TEST(Counters, RefusesBadArguments)
{
    unsigned long long bytes = 1, packets = 2;
    EXPECT_EQ(ifc_set_acnt(40, 99), -1);
    EXPECT_EQ(ifc_set_acnt(0, 17), -1);
    EXPECT_EQ(ifc_get_acnt(40, &bytes, &packets), -1);
    EXPECT_EQ(bytes, 1u);
    EXPECT_EQ(packets, 2u);
    EXPECT_PRINTED("@Error: Action Index is 40, which should less than 40\n",
                   "@Error: IFC counter ID is 17, which should between 0 and 15\n",
                   "@Error: Action Index is 40, which should less than 40\n");
    EXPECT_NO_TRAFFIC();
}

TEST(Counters, ReadsBytesAndPacketsInOrder)
{
    setEntry(39, 2, 1, 5, 0x123456);
    unsigned long long bytes = 0, packets = 0;
    EXPECT_EQ(ifc_get_acnt(39, &bytes, &packets), 0);
    EXPECT_EQ(bytes, 0x100000002u);
    EXPECT_EQ(packets, 0x12345600000005u);
    EXPECT_TRAFFIC(Traffic()
                       .transfer(command(39, 0, 3, 0))
                       .read(0xBFB50214, 1)
                       .read(0xBFB50210, 2)
                       .read(0xBFB5021C, 0x123456)
                       .read(0xBFB50218, 5)); // no lock
    EXPECT_NOTHING_PRINTED();
}

TEST(Counters, LowWordsAreWidenedAsSignedNumbers)
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

TEST(Counters, ClearsAllFortyUnderTheLock)
{
    for (unsigned n = 0; n < 40; ++n)
        setEntry(n, 1, 2, 3, 4);
    poke(0xBFB50240, 0x1234);
    clear_all_ifc_acnt();
    EXPECT_TRAFFIC(Traffic().clearTable(3));
    EXPECT_EQ(peek(0xBFB50240), 0x1234u);
    EXPECT_NOTHING_PRINTED();
}

TEST(Counters, ClearingGoesOnAfterTimeOuts)
{
    powerOn(0);
    clear_all_ifc_acnt();
    EXPECT_TRAFFIC(Traffic().clearTable(3, 3, false));
    EXPECT_TRUE(eachPieceIs("@Timeout for set IFC Rule configuration.\n", 40));
}

TEST(Counters, AfterATimeOutTheRegistersAreReadAllTheSame)
{
    powerOn(0);
    for (uint32_t n = 0; n < 4; ++n)
        poke(0xBFB50210 + 4 * n, 0x11 * (n + 1));
    forget();
    unsigned long long bytes = 0, packets = 0;
    EXPECT_EQ(ifc_get_acnt(7, &bytes, &packets), 0);
    EXPECT_EQ(bytes, 0x2200000011u);
    EXPECT_EQ(packets, 0x4400000033u);
    EXPECT_PRINTED("@Timeout for set IFC Rule configuration.\n");
    EXPECT_TRAFFIC(Traffic()
                       .transfer(command(7, 0, 3, 0), 3, false)
                       .read(0xBFB50214, 0x22)
                       .read(0xBFB50210, 0x11)
                       .read(0xBFB5021C, 0x44)
                       .read(0xBFB50218, 0x33));
}

TEST(Counters, RefusalsArePrintedAtEveryLevel)
{
    unsigned long long bytes = 0, packets = 0;
    for (const int level : kLevels) {
        setLevel(level);
        EXPECT_EQ(ifc_set_acnt(0xFFFFFFFF, 0), -1);
        EXPECT_EQ(ifc_set_acnt(0, 0xFFFFFFFF), -1);
        EXPECT_EQ(ifc_get_acnt(0xFFFFFFFF, &bytes, &packets), -1);
        EXPECT_PRINTED("@Error: Action Index is -1, which should less than 40\n",
                       "@Error: IFC counter ID is -1, which should between 0 and 15\n",
                       "@Error: Action Index is -1, which should less than 40\n");
        forget();
        EXPECT_EQ(ifc_set_acnt(0, 1), 0);
        EXPECT_NOTHING_PRINTED();
    }
}

TEST(Result, ExactlyTheExpectedRule)
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

TEST(Result, AnyOtherHitFails)
{
    for (int n = 0; n < 64; ++n) {
        const uint32_t bit = 1u << n % 32;
        const uint32_t low = n < 32 ? bit : 0;
        const uint32_t high = n < 32 ? 0 : bit;
        hits(0, low, high);
        EXPECT_EQ(checkIFCResult(IFC_LUT1, n), 0);
        EXPECT_EQ(checkIFCResult(IFC_LUT1, -1), -1) << "something hit";
        EXPECT_EQ(checkIFCResult(IFC_LUT0, -1), -1);
        for (int other = 0; other < 32; ++other) {
            const uint32_t more = 1u << other;
            hits(more, low, high);
            EXPECT_EQ(checkIFCResult(IFC_LUT1, n), -1);
            if (more != low) {
                hits(0, low | more, high);
                EXPECT_EQ(checkIFCResult(IFC_LUT1, n), -1);
            }
            if (more != high) {
                hits(0, low, high | more);
                EXPECT_EQ(checkIFCResult(IFC_LUT1, n), -1);
            }
        }
    }
    hits(0, 2, 2);
    EXPECT_EQ(checkIFCResult(IFC_LUT1, 1), -1);
    EXPECT_EQ(checkIFCResult(IFC_LUT1, 33), -1);
    hits(0, 0, 0);
    EXPECT_EQ(checkIFCResult(IFC_LUT1, 1), -1);
    EXPECT_EQ(checkIFCResult(IFC_LUT1, 33), -1);
    EXPECT_EQ(checkIFCResult(IFC_LUT1, 0x7FFFFFFF), -1);
}

TEST(Result, NothingHit)
{
    hits(0, 0, 0);
    EXPECT_EQ(checkIFCResult(IFC_LUT0, -1), 0);
    EXPECT_EQ(checkIFCResult(2, -1), 0) << "the table does not matter";
    for (const int index : list({-2, -5, -0x7FFFFFFF - 1}))
        for (const int table : list({0, 1, 2}))
            EXPECT_EQ(checkIFCResult(table, index), 0) << "nor does the number " << index;
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
    EXPECT_EQ(checkIFCResult(IFC_LUT0, -0x7FFFFFFF - 1), -1);
    EXPECT_NO_TRAFFIC();
    EXPECT_NOTHING_PRINTED();
}

END_OF_TESTS(counterTests)
