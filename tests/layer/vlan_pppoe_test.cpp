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

// A copy of kFrame, and what is read from its PPPoE header.
struct Session {
    unsigned char bytes[sizeof kFrame];
    uint16_t sid = 0xAAAA;
    uint16_t tag = 0xBBBB;
    Session() { __builtin_memcpy(bytes, kFrame, sizeof bytes); }
    int read()
    {
        sk_buff skb = bufferOf(bytes, sizeof bytes);
        return getPppoeSid(&skb, 1, &sid, &tag);
    }
};

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
    Session session;
    EXPECT_EQ(session.read(), 0);
    EXPECT_EQ(session.sid, 0x3412);
    EXPECT_EQ(session.tag, 0x21C0);
    EXPECT_NO_TRAFFIC();
    EXPECT_NOTHING_PRINTED();
}

TEST(Pppoe, OtherVersionsAndTypesFailButStoreTheProtocol)
{
    for (const unsigned char first : list<unsigned char>({0x21, 0x12, 0x00})) {
        Session session;
        session.bytes[1] = first;
        EXPECT_EQ(session.read(), -1);
        EXPECT_EQ(session.sid, 0xAAAA);
        EXPECT_EQ(session.tag, 0x21C0);
    }
}

TEST(Pppoe, EightBytesSufficeBelowTheHighestLevel)
{
    uint16_t sid = 0xAAAA;
    uint16_t tag = 0xBBBB;
    static unsigned char exact[8];
    for (unsigned n = 0; n < 8; ++n)
        exact[n] = kFrame[n + 1];
    sk_buff skb = bufferOf(exact, sizeof exact); // a sanitizer detects a read past the end
    EXPECT_EQ(getPppoeSid(&skb, 0, &sid, &tag), 0);
    EXPECT_EQ(sid, 0x3412);
    EXPECT_EQ(tag, 0x21C0);
}

TEST(Pppoe, TracesTheHeaderAtTheHighestLevel)
{
    Session session;
    gpIfcPriv->dbgLevel = DBG_WARN;
    (void)session.read();
    EXPECT_NOTHING_PRINTED();
    for (const int level : list({3, 4, 255})) {
        setLevel(level);
        (void)session.read();
        EXPECT_PRINTED("\n==============\n", " Ver=1\n", " Type=1\n", " Code=9\n", " sid=1234\n", " Len=86\n",
                       " tag_type=c021\n", " tag_len=258\n", "=================\n");
    }
    forget();
    session.bytes[1] = 0x2F;
    EXPECT_EQ(session.read(), -1);
    ASSERT_EQ(pieces(), 9) << "before the header is checked";
    EXPECT_STREQ(piece(1), " Ver=2\n");
    EXPECT_STREQ(piece(2), " Type=15\n");
}

END_OF_TESTS(vlanPppoeTests)
