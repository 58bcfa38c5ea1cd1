// SPDX-License-Identifier: MIT OR GPL-2.0
// VLAN tags, PPPoE, checksums, packet dump.
#include "layer_test.h"

#include <random>

using testing::ElementsAre;

class VlanTest : public LayerTest
{
protected:
    void userTpid(uint16_t tpid)
    {
        chip.write(0xBFB50000, static_cast<uint32_t>(tpid) << 16 | 0xABCD);
        forget();
    }
};

TEST_F(VlanTest, LowestBit)
{
    for (unsigned n = 0; n < 32; ++n) {
        EXPECT_EQ(_getLowestBit(1u << n), n + 1);
        EXPECT_EQ(_getLowestBit(0xFFFFFFFFu << n), n + 1);
        EXPECT_EQ(getLowestBit(1u << n), n + 1);
    }
    EXPECT_EQ(_getLowestBit(0), 0u);
    EXPECT_EQ(getLowestBit(0), 1u);
    EXPECT_EQ(_getLowestBit(6), 2u);
}

TEST_F(VlanTest, TpidsAsTheyLieInTheFrame)
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
        expectTraffic(Traffic().read(0xBFB50000, 0x9100ABCD).read(0xBFB50000, 0x9100ABCD));
    }
    EXPECT_TRUE(said.empty() && events.empty());
}

TEST_F(VlanTest, VpmToTpidIsInHostOrder)
{
    userTpid(0x9100);
    EXPECT_EQ(transVPMtoTPID(1), 0x8100);
    EXPECT_EQ(transVPMtoTPID(2), 0x88A8);
    EXPECT_EQ(transVPMtoTPID(3), 0x9100);
    EXPECT_EQ(transVPMtoTPID(0), 0);
    EXPECT_EQ(transVPMtoTPID(4), 0);
    EXPECT_EQ(transVPMtoTPID(0x101), 0);
    EXPECT_EQ(seen.size(), 6u) << "the register is read on every call";
}

TEST_F(VlanTest, AZeroUserTpidIsNone)
{
    userTpid(0);
    EXPECT_EQ(isTPID(0), 0);
    EXPECT_EQ(transTPIDtoVPM(0), -1);
    EXPECT_EQ(transVPMtoTPID(3), 0);
}

TEST_F(VlanTest, StandardTpidsComeFirst)
{
    userTpid(0x8100);
    EXPECT_EQ(transTPIDtoVPM(0x0081), 1);
    EXPECT_EQ(transVPMtoTPID(3), 0x8100) << "the other way the register decides";
    userTpid(0x88A8);
    EXPECT_EQ(transTPIDtoVPM(0xA888), 2);
    EXPECT_EQ(transVPMtoTPID(3), 0x88A8);
}

namespace
{

sk_buff bufferOf(std::vector<unsigned char> &bytes)
{
    sk_buff skb{};
    skb.data = bytes.data();
    skb.len = static_cast<unsigned>(bytes.size());
    return skb;
}

} // namespace

class PppoeTest : public LayerTest
{
protected:
    std::vector<unsigned char> bytes = {0xEE, 0x11, 0x09, 0x12, 0x34, 0x00, 0x56, 0xC0, 0x21, 0x01, 0x02};
    uint16_t sid = 0xAAAA;
    uint16_t tag = 0xBBBB;
};

TEST_F(PppoeTest, ReadsSessionAndProtocolAsTheyLie)
{
    sk_buff skb = bufferOf(bytes);
    EXPECT_EQ(getPppoeSid(&skb, 1, &sid, &tag), 0);
    EXPECT_EQ(sid, 0x3412);
    EXPECT_EQ(tag, 0x21C0);
    EXPECT_TRUE(said.empty() && seen.empty());
}

TEST_F(PppoeTest, OtherVersionsAndTypesFailButStoreTheProtocol)
{
    for (const unsigned char first : std::initializer_list<unsigned char>{0x21, 0x12, 0x00}) {
        bytes[1] = first;
        sk_buff skb = bufferOf(bytes);
        sid = 0xAAAA;
        tag = 0;
        EXPECT_EQ(getPppoeSid(&skb, 1, &sid, &tag), -1);
        EXPECT_EQ(sid, 0xAAAA);
        EXPECT_EQ(tag, 0x21C0);
    }
}

TEST_F(PppoeTest, EightBytesSufficeBelowTheHighestLevel)
{
    std::vector<unsigned char> exact(bytes.begin() + 1, bytes.begin() + 9);
    sk_buff skb = bufferOf(exact); // a sanitizer watches the end
    EXPECT_EQ(getPppoeSid(&skb, 0, &sid, &tag), 0);
}

TEST_F(PppoeTest, TracesTheHeaderAtTheHighestLevel)
{
    sk_buff skb = bufferOf(bytes);
    gpIfcPriv->dbgLevel = DBG_WARN;
    (void)getPppoeSid(&skb, 1, &sid, &tag);
    EXPECT_TRUE(said.empty());
    for (const int level : {3, 4, 255}) {
        gpIfcPriv->dbgLevel = static_cast<uint8>(level);
        forget();
        (void)getPppoeSid(&skb, 1, &sid, &tag);
        EXPECT_THAT(said,
                    ElementsAre("\n==============\n", " Ver=1\n", " Type=1\n", " Code=9\n", " sid=1234\n",
                                " Len=86\n", " tag_type=c021\n", " tag_len=258\n", "=================\n"));
    }
    forget();
    bytes[1] = 0x2F;
    EXPECT_EQ(getPppoeSid(&skb, 1, &sid, &tag), -1);
    EXPECT_EQ(said.size(), 9u) << "before the header is judged";
    EXPECT_EQ(text().substr(0, 32), "\n==============\n Ver=2\n Type=15\n");
}

namespace
{

uint32_t slowSum(const unsigned char *p, size_t bytes, uint32_t sum = 0)
{
    for (size_t n = 0; n + 1 < bytes; n += 2)
        sum += static_cast<uint32_t>(p[n] << 8 | p[n + 1]);
    if (bytes % 2 != 0)
        sum += static_cast<uint32_t>(p[bytes - 1]) << 8;
    return sum;
}

unsigned finish(uint32_t sum)
{
    sum = (sum & 0xFFFF) + (sum >> 16);
    sum = (sum & 0xFFFF) + (sum >> 16);
    return ~sum & 0xFFFF;
}

} // namespace

class ChecksumTest : public LayerTest
{
};

TEST_F(ChecksumTest, KnownSums)
{
    std::vector<unsigned char> two = {0x45, 0x00};
    sk_buff skb = bufferOf(two);
    EXPECT_EQ(skb_chksum(&skb, 2), 0xBAFFu);
    std::vector<unsigned char> one = {0x01};
    skb = bufferOf(one);
    EXPECT_EQ(skb_chksum(&skb, 1), 0xFEFFu);
    std::vector<unsigned char> header = {0x45, 0, 0,    0x73, 0, 0,    0x40, 0,    0x40, 0x11,
                                         0,    0, 0xC0, 0xA8, 0, 0x01, 0xC0, 0xA8, 0,    0xC7};
    skb = bufferOf(header);
    EXPECT_EQ(ipv4_checksum(&skb, 0), 0xB861u);
    header[10] = 0xB8, header[11] = 0x61;
    EXPECT_EQ(ipv4_checksum(&skb, 0), 0u);
}

TEST_F(ChecksumTest, ACarryOfTheSecondFold)
{
    // 0x2FFFE folds to 0x10000, then to 1.
    std::vector<unsigned char> data = {0xFF, 0xFF, 0xFF, 0xFF, 0x80, 0x00, 0x80, 0x00};
    sk_buff skb = bufferOf(data);
    ASSERT_EQ(slowSum(data.data(), data.size()), 0x2FFFEu);
    EXPECT_EQ(skb_chksum(&skb, 8), 0xFFFEu);
}

TEST_F(ChecksumTest, EveryLengthAndAlignmentEqualsTheWordByWordSum)
{
    std::mt19937 random(3);
#ifdef __x86_64__
    const size_t most = 1600;
#else
    const size_t most = 200; // under emulation
#endif
    for (const int kind : {0, 1, 2}) {
        std::vector<unsigned char> data(most + 8);
        for (unsigned char &byte : data)
            byte = kind == 0 ? static_cast<unsigned char>(random()) : kind == 1 ? 0xFF : 0;
        for (size_t align = 0; align < 8; ++align)
            for (size_t length = 0; length <= most; ++length) {
                sk_buff skb{};
                skb.data = data.data() + align;
                skb.len = static_cast<unsigned>(length);
                ASSERT_EQ(skb_chksum(&skb, static_cast<int>(length)), finish(slowSum(skb.data, length)))
                    << length;
                ASSERT_EQ(tcp_udp_checksum(&skb, 0, 0xFFFF, 0xFF),
                          finish(slowSum(skb.data, length, 0xFFFF + 0xFF)))
                    << length;
            }
    }
}

TEST_F(ChecksumTest, RangesThatOverflowTheAccumulatorWrapIt)
{
    for (const size_t length : {65535u, 65536u, 65537u, 131072u, 131075u, 200000u, 400001u}) {
        std::vector<unsigned char> data(length, 0xFF);
        sk_buff skb = bufferOf(data);
        EXPECT_EQ(skb_chksum(&skb, static_cast<int>(length)), finish(slowSum(data.data(), length))) << length;
        EXPECT_EQ(tcp_udp_checksum(&skb, 1, 0xFFFF, 0xFF),
                  finish(slowSum(data.data() + 1, length - 1, 0x100FE)))
            << length;
    }
}

TEST_F(ChecksumTest, EmptyRangesEnd)
{
    std::vector<unsigned char> data = {1, 2, 3};
    sk_buff skb = bufferOf(data);
    EXPECT_EQ(skb_chksum(&skb, 0), 0xFFFFu);
    EXPECT_EQ(skb_chksum(&skb, -1), 0xFFFFu);
    EXPECT_EQ(tcp_udp_checksum(&skb, 3, 5, 6), finish(11));
    EXPECT_EQ(tcp_udp_checksum(&skb, 2, 5, 6), finish(0x300 + 11)) << "the last byte alone";
    EXPECT_EQ(tcp_udp_checksum(&skb, 7, 5, 6), finish(11));
    skb.len = 0;
    EXPECT_EQ(tcp_udp_checksum(&skb, 0, 5, 6), finish(11));
}

TEST_F(ChecksumTest, AnOffsetBelowZeroSumsNothing)
{
    std::vector<unsigned char> data(60, 0x55);
    sk_buff skb = bufferOf(data);
    skb.data += 20; // what lies before is readable, so that a sum over it shows
    skb.len = 40;
    for (int offset = -20; offset < 0; ++offset) {
        EXPECT_EQ(ipv4_checksum(&skb, offset), 0xFFFFu) << offset;
        EXPECT_EQ(tcp_udp_checksum(&skb, offset, 5, 6), finish(11)) << offset;
    }
    EXPECT_NE(ipv4_checksum(&skb, 0), 0xFFFFu);
    gpIfcPriv->dbgLevel = 3;
    (void)ipv4_checksum(&skb, -1);
    EXPECT_THAT(pieces(), ElementsAre("@ipv4_checksum: offset:-1\n", "@data: 0\n"));
}

TEST_F(ChecksumTest, OneReadingOfTheLevelServesAWholeSum)
{
    std::vector<unsigned char> data(20, 0);
    sk_buff skb = bufferOf(data);
    const auto linesWhenItDropsMeanwhile = [&](const auto &checksum) {
        gpIfcPriv->dbgLevel = 3;
        forget();
        (void)checksum();
        return said.size();
    };
    host::setLogSink([this](std::string_view piece) {
        said.emplace_back(piece);
        gpIfcPriv->dbgLevel = 0;
    });
    EXPECT_EQ(linesWhenItDropsMeanwhile([&] { return skb_chksum(&skb, 20); }), 11u);
    EXPECT_EQ(linesWhenItDropsMeanwhile([&] { return ipv4_checksum(&skb, 0); }), 12u);
    EXPECT_EQ(linesWhenItDropsMeanwhile([&] { return tcp_udp_checksum(&skb, 0, 1, 2); }), 13u);
}

TEST_F(ChecksumTest, AWholeUdpDatagramChecksToZero)
{
    // From the source address on: addresses, UDP header, payload "abc".
    std::vector<unsigned char> d = {10,   0,    0, 1,  10, 0, 0,   2,   0x13, 0xC4,
                                    0x13, 0xC4, 0, 11, 0,  0, 'a', 'b', 'c'};
    sk_buff skb = bufferOf(d);
    const unsigned sum = tcp_udp_checksum(&skb, 0, 11, 17);
    d[14] = static_cast<unsigned char>(sum >> 8);
    d[15] = static_cast<unsigned char>(sum);
    EXPECT_EQ(tcp_udp_checksum(&skb, 0, 11, 17), 0u);
    EXPECT_EQ(sum, 0xFFEAu) << "worked out by hand";
}

TEST_F(ChecksumTest, TracesByLevel)
{
    std::vector<unsigned char> d = {0x12, 0x34, 0xFF, 0xFF, 0x01};
    sk_buff skb = bufferOf(d);
    for (const int level : {0, 1}) {
        gpIfcPriv->dbgLevel = static_cast<uint8>(level);
        EXPECT_EQ(skb_chksum(&skb, 5), finish(0x11333));
        EXPECT_EQ(tcp_udp_checksum(&skb, 2, 1, 2), finish(0x100FF + 3));
        EXPECT_TRUE(said.empty());
    }
    gpIfcPriv->dbgLevel = 2;
    EXPECT_EQ(skb_chksum(&skb, 5), finish(0x11333));
    EXPECT_EQ(tcp_udp_checksum(&skb, 2, 1, 2), finish(0x100FF + 3));
    EXPECT_THAT(pieces(),
                ElementsAre("@data: 11333\n", "@tcp_udp_checksum: offset:2\n", "@checksum1: 10102\n"));
    for (const int level : {3, 4, 255}) {
        gpIfcPriv->dbgLevel = static_cast<uint8>(level);
        forget();
        EXPECT_EQ(skb_chksum(&skb, 5), finish(0x11333));
        EXPECT_THAT(pieces(), ElementsAre("data: 1234\n", "data: 11233\n", "@data: 11333\n"));
        forget();
        EXPECT_EQ(tcp_udp_checksum(&skb, 2, 1, 2), finish(0x100FF + 3));
        EXPECT_THAT(pieces(), ElementsAre("@tcp_udp_checksum: offset:2\n", "data: ffff\n", "data: 100ff\n",
                                          "@checksum1: 10102\n"));
    }
}

TEST_F(ChecksumTest, TracesOfAnIpv4Header)
{
    std::vector<unsigned char> d(24, 0);
    d[5] = 1;
    sk_buff skb = bufferOf(d);
    gpIfcPriv->dbgLevel = 2;
    EXPECT_EQ(ipv4_checksum(&skb, 4), finish(1));
    EXPECT_THAT(pieces(), ElementsAre("@ipv4_checksum: offset:4\n", "@data: 1\n"));
    forget();
    gpIfcPriv->dbgLevel = 3;
    EXPECT_EQ(ipv4_checksum(&skb, 4), finish(1));
    EXPECT_EQ(said.size(), 12u) << "ten words, never the options";
    forget();
    d[6] = 0x80, d[21] = 2;
    EXPECT_EQ(ipv4_checksum(&skb, 4), finish(0x8003));
    EXPECT_THAT(pieces(),
                ElementsAre("@ipv4_checksum: offset:4\n", "data: 1\n", "data: 8001\n", "data: 8001\n",
                            "data: 8001\n", "data: 8001\n", "data: 8001\n", "data: 8001\n", "data: 8001\n",
                            "data: 8003\n", "data: 8003\n", "@data: 8003\n"));
}

class PacketDumpTest : public LayerTest
{
protected:
    void dump(size_t length)
    {
        bytes.resize(length);
        for (size_t n = 0; n < length; ++n)
            bytes[n] = static_cast<unsigned char>(n * 7);
        skb = bufferOf(bytes);
        skb.head = reinterpret_cast<unsigned char *>(0x1000);
        skb.end = reinterpret_cast<unsigned char *>(0x2000);
        skb.mark = 0xFEDCBA98;
        forget();
        dump_skb(&skb);
    }
    std::string header() const
    {
        char line[200];
        (void)std::snprintf(
            line, sizeof line, "skb=%lx skb->head=1000 skb->end=2000 \n data=%lx len=%u mark=fedcba98 \n",
            reinterpret_cast<unsigned long>(&skb), reinterpret_cast<unsigned long>(skb.data), skb.len);
        return line;
    }
    std::vector<unsigned char> bytes;
    sk_buff skb{};
};

TEST_F(PacketDumpTest, SixteenBytesALine)
{
    dump(0);
    EXPECT_THAT(said, ElementsAre(header()));
    dump(16);
    EXPECT_THAT(said, ElementsAre(header(), "0000: 00 07 0e 15 1c 23 2a 31 38 3f 46 4d 54 5b 62 69 \n"));
    dump(17);
    EXPECT_THAT(said, ElementsAre(header(), "0000: 00 07 0e 15 1c 23 2a 31 38 3f 46 4d 54 5b 62 69 \n",
                                  "0010: 70 \n"));
    for (const int level : {1, 2, 3, 4, 255}) {
        gpIfcPriv->dbgLevel = static_cast<uint8>(level);
        dump(17);
        EXPECT_EQ(said.size(), 3u) << level;
    }
    dump(65552);
    EXPECT_EQ(said.size(), 1u + 4097u);
    EXPECT_EQ(said.back().substr(0, 7), "10000: ");
}
