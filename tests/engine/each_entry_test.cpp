// SPDX-License-Identifier: MIT OR GPL-2.0
// Each of the 40 entries hit alone: the entry that decides, the bitmaps, the counters.
#include "classifier_fixture.h"

using namespace engine;
using namespace frames;

#if __SIZEOF_LONG__ == 4
// gcc calls these for 64-bit searches on a 32-bit processor. Here they take a long, as in Linux 5.4, so they
// miss the high half. The engine must not need them.
extern "C" int __ctzdi2(long value)
{
    return value != 0 ? __builtin_ctzl(static_cast<unsigned long>(value)) : 32;
}

extern "C" int __clzdi2(long value)
{
    return value != 0 ? __builtin_clzl(static_cast<unsigned long>(value)) : 32;
}

extern "C" int __ffsdi2(long value)
{
    return __builtin_ffsl(value);
}
#endif

namespace
{

constexpr unsigned kEntries = IFC_LUT0_RULES + IFC_LUT1_RULES;
constexpr unsigned kFirstPort = 1000;

Bytes frameFor(unsigned entry)
{
    return macs() + word16(0x0800) + ipv4({}, ports(0x1F90, kFirstPort + entry));
}

class EachEntryTest : public ClassifierTest
{
protected:
    void SetUp() override
    {
        ClassifierTest::SetUp();
        for (unsigned rule = 0; rule < IFC_LUT0_RULES; ++rule)
            ASSERT_EQ(ifc_set_lut0_rules(rule, IFC_ENABLE, DPORT, 0, 0, 0xFFFF, 0, kFirstPort + rule), 0);
        for (unsigned entry = 0; entry < IFC_LUT1_RULES; ++entry)
            ASSERT_EQ(ifc_set_lut1_rules(entry, IFC_ENABLE, 1, DPORT, 0, 0xFFFF, 0,
                                         kFirstPort + IFC_LUT0_RULES + entry),
                      static_cast<int>(entry) + 1);
    }

    // Packets and bytes of a counter entry.
    static std::pair<unsigned long long, unsigned long long> counted(unsigned entry)
    {
        unsigned long long bytes = 0;
        unsigned long long packets = 0;
        ifc_get_acnt(static_cast<int>(entry), &bytes, &packets);
        return {packets, bytes};
    }

    void hitsEachAlone()
    {
        for (unsigned entry = 0; entry < kEntries; ++entry) {
            const Result result = classify(frameFor(entry));
            EXPECT_EQ(result.entry, static_cast<int>(entry));
            EXPECT_EQ(hitBitsOf(result.hits), HitBits{1} << entry) << entry;
            const bool wide = entry < IFC_LUT0_RULES;
            EXPECT_EQ(checkIFCResult(wide ? IFC_LUT0 : IFC_LUT1,
                                     static_cast<int>(wide ? entry : entry - IFC_LUT0_RULES)),
                      0)
                << entry;
        }
    }
};

} // namespace

TEST_F(EachEntryTest, DecidesByTheFastMatch)
{
    hitsEachAlone();
}

TEST_F(EachEntryTest, DecidesByThePlainMatch)
{
    classifier->setMethod(Classifier::Method::Plain);
    hitsEachAlone();
}

TEST_F(EachEntryTest, IsCountedAlone)
{
    for (unsigned entry = 0; entry < kEntries; ++entry) {
        for (unsigned n = 0; n <= entry; ++n)
            classify(frameFor(entry));
    }
    for (unsigned entry = 0; entry < kEntries; ++entry) {
        EXPECT_EQ(counted(entry).first, entry + 1u) << entry;
        EXPECT_EQ(counted(entry).second, (entry + 1u) * frameFor(entry).size()) << entry;
    }
}

TEST_F(EachEntryTest, AFrameWithoutAHitIsCountedNowhere)
{
    for (unsigned n = 0; n < 3; ++n)
        EXPECT_EQ(classify(frameFor(kEntries)).entry, kNoEntry);
    for (unsigned entry = 0; entry < kEntries; ++entry)
        EXPECT_EQ(counted(entry).first, 0u) << entry;
}

TEST(LowestBit, IsFoundInBothHalves)
{
    for (unsigned low = 0; low < 64; ++low) {
        EXPECT_EQ(lowestBit(uint64_t{1} << low), low);
        for (unsigned high = low; high < 64; ++high)
            EXPECT_EQ(lowestBit(uint64_t{1} << low | uint64_t{1} << high), low) << high;
    }
    static_assert(lowestBit(uint64_t{1} << 40) == 40);
}
