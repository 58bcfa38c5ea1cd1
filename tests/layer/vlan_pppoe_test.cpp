// SPDX-License-Identifier: MIT OR GPL-2.0
// Lowest bits, VLAN tags, PPPoE headers.
#include "tests/support/check.h"
#include "tests/support/layer.h"

using namespace support;

namespace
{

void userTpid(uint16_t tpid)
{
    poke(0xBFB50000, static_cast<uint32_t>(tpid) << 16 | 0xABCD);
    forget();
}

const unsigned char kFrame[] = {0xEE, 0x11, 0x09, 0x12, 0x34, 0x00, 0x56, 0xC0, 0x21, 0x01, 0x02};

} // namespace

TEST(Vlan, LowestBit)
{
    for (unsigned n = 0; n < 32; ++n) {
        EXPECT_EQ(_getLowestBit(1u << n), n + 1);
        EXPECT_EQ(_getLowestBit(0xFFFFFFFFu << n), n + 1);
        EXPECT_EQ(getLowestBit(1u << n), n + 1);
    }
    EXPECT_EQ(_getLowestBit(0), 0u);
    EXPECT_EQ(getLowestBit(0), 1u);
    EXPECT_EQ(_getLowestBit(6), 2u);
    EXPECT_EQ(getLowestBit(0x80000000), 32u);
}

TEST(Vlan, TpidsAsTheyLieInTheFrame)
{
    userTpid(0x9100);
    const struct {
        uint16_t word;
        int vpm;
    } cases[] = {{0x0081, 1}, {0xA888, 2}, {0x0091, 3}, {0x8100, -1}, {0x88A8, -1}, {0x9100, -1}, {0, -1}};
    for (const auto &c : cases) {
        forget();
        EXPECT_EQ(isTPID(c.word), c.vpm > 0 ? 1 : 0) << c.word;
        EXPECT_EQ(transTPIDtoVPM(c.word), c.vpm) << c.word;
        EXPECT_TRAFFIC(Traffic().read(0xBFB50000, 0x9100ABCD).read(0xBFB50000, 0x9100ABCD));
    }
    EXPECT_NOTHING_PRINTED();
}

TEST(Vlan, VpmToTpidIsInHostOrder)
{
    userTpid(0x9100);
    EXPECT_EQ(transVPMtoTPID(1), 0x8100);
    EXPECT_EQ(transVPMtoTPID(2), 0x88A8);
    EXPECT_EQ(transVPMtoTPID(3), 0x9100);
    EXPECT_EQ(transVPMtoTPID(0), 0);
    EXPECT_EQ(transVPMtoTPID(4), 0);
    EXPECT_EQ(transVPMtoTPID(0x101), 0);
    EXPECT_EQ(accesses(), 6) << "the register is read on every call";
}

TEST(Vlan, AZeroUserTpidIsNone)
{
    userTpid(0);
    EXPECT_EQ(isTPID(0), 0);
    EXPECT_EQ(transTPIDtoVPM(0), -1);
    EXPECT_EQ(transVPMtoTPID(3), 0);
}

TEST(Vlan, StandardTpidsComeFirst)
{
    userTpid(0x8100);
    EXPECT_EQ(transTPIDtoVPM(0x0081), 1);
    EXPECT_EQ(transVPMtoTPID(3), 0x8100) << "the other way the register decides";
    userTpid(0x88A8);
    EXPECT_EQ(transTPIDtoVPM(0xA888), 2);
    EXPECT_EQ(transVPMtoTPID(3), 0x88A8);
}

TEST(Pppoe, ReadsSessionAndProtocolAsTheyLie)
{
    unsigned char bytes[sizeof kFrame];
    __builtin_memcpy(bytes, kFrame, sizeof bytes);
    uint16_t sid = 0xAAAA;
    uint16_t tag = 0xBBBB;
    sk_buff skb = bufferOf(bytes, sizeof bytes);
    EXPECT_EQ(getPppoeSid(&skb, 1, &sid, &tag), 0);
    EXPECT_EQ(sid, 0x3412);
    EXPECT_EQ(tag, 0x21C0);
    EXPECT_NO_TRAFFIC();
    EXPECT_NOTHING_PRINTED();
}

TEST(Pppoe, OtherVersionsAndTypesFailButStoreTheProtocol)
{
    unsigned char bytes[sizeof kFrame];
    __builtin_memcpy(bytes, kFrame, sizeof bytes);
    uint16_t sid = 0xAAAA;
    uint16_t tag = 0xBBBB;
    for (const unsigned char first : list<unsigned char>({0x21, 0x12, 0x00})) {
        bytes[1] = first;
        sk_buff skb = bufferOf(bytes, sizeof bytes);
        sid = 0xAAAA;
        tag = 0;
        EXPECT_EQ(getPppoeSid(&skb, 1, &sid, &tag), -1);
        EXPECT_EQ(sid, 0xAAAA);
        EXPECT_EQ(tag, 0x21C0);
    }
}

TEST(Pppoe, EightBytesSufficeBelowTheHighestLevel)
{
    uint16_t sid = 0xAAAA;
    uint16_t tag = 0xBBBB;
    static unsigned char exact[8];
    for (unsigned n = 0; n < 8; ++n)
        exact[n] = kFrame[n + 1];
    sk_buff skb = bufferOf(exact, sizeof exact); // a sanitizer watches the end
    EXPECT_EQ(getPppoeSid(&skb, 0, &sid, &tag), 0);
    EXPECT_EQ(sid, 0x3412);
    EXPECT_EQ(tag, 0x21C0);
}

TEST(Pppoe, TracesTheHeaderAtTheHighestLevel)
{
    unsigned char bytes[sizeof kFrame];
    __builtin_memcpy(bytes, kFrame, sizeof bytes);
    uint16_t sid = 0xAAAA;
    uint16_t tag = 0xBBBB;
    sk_buff skb = bufferOf(bytes, sizeof bytes);
    gpIfcPriv->dbgLevel = DBG_WARN;
    (void)getPppoeSid(&skb, 1, &sid, &tag);
    EXPECT_NOTHING_PRINTED();
    for (const int level : list({3, 4, 255})) {
        setLevel(level);
        (void)getPppoeSid(&skb, 1, &sid, &tag);
        EXPECT_PRINTED("\n==============\n", " Ver=1\n", " Type=1\n", " Code=9\n", " sid=1234\n", " Len=86\n",
                       " tag_type=c021\n", " tag_len=258\n", "=================\n");
    }
    forget();
    bytes[1] = 0x2F;
    EXPECT_EQ(getPppoeSid(&skb, 1, &sid, &tag), -1);
    ASSERT_EQ(pieces(), 9) << "before the header is judged";
    EXPECT_STREQ(piece(1), " Ver=2\n");
    EXPECT_STREQ(piece(2), " Type=15\n");
}

END_OF_TESTS(vlanPppoeTests)
