// SPDX-License-Identifier: MIT OR GPL-2.0
// Internet checksums and their traces.
#include "tests/support/check.h"
#include "tests/support/layer.h"

using namespace support;

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

TEST(Checksum, KnownSums)
{
    unsigned char two[] = {0x45, 0x00};
    sk_buff skb = bufferOf(two, 2);
    EXPECT_EQ(skb_chksum(&skb, 2), 0xBAFFu);
    EXPECT_EQ(skb_chksum(&skb, 1), 0xBAFFu);
    unsigned char one[] = {0x01};
    skb = bufferOf(one, 1);
    EXPECT_EQ(skb_chksum(&skb, 1), 0xFEFFu);
    unsigned char header[] = {0x45, 0, 0,    0x73, 0, 0,    0x40, 0,    0x40, 0x11,
                              0,    0, 0xC0, 0xA8, 0, 0x01, 0xC0, 0xA8, 0,    0xC7};
    skb = bufferOf(header, sizeof header);
    EXPECT_EQ(ipv4_checksum(&skb, 0), 0xB861u);
    header[10] = 0xB8, header[11] = 0x61;
    EXPECT_EQ(ipv4_checksum(&skb, 0), 0u);
}

TEST(Checksum, ACarryOfTheSecondFold)
{
    // 0x2FFFE folds to 0x10000, then to 1.
    unsigned char data[] = {0xFF, 0xFF, 0xFF, 0xFF, 0x80, 0x00, 0x80, 0x00};
    sk_buff skb = bufferOf(data, sizeof data);
    ASSERT_EQ(slowSum(data, sizeof data), 0x2FFFEu);
    for (const int level : list({0, 2})) { // below the traces the words are added in another way
        setLevel(level);
        EXPECT_EQ(skb_chksum(&skb, 8), 0xFFFEu);
    }
}

TEST(Checksum, EveryLengthAndAlignmentEqualsTheWordByWordSum)
{
    Random random(3);
    constexpr size_t most = workload(1600, 200);
    for (const int kind : list({0, 1, 2})) {
        static unsigned char data[most + 8];
        for (unsigned char &byte : data)
            byte = kind == 0 ? static_cast<unsigned char>(random()) : kind == 1 ? 0xFF : 0;
        for (size_t align = 0; align < 8; ++align)
            for (size_t length = 0; length <= most; ++length) {
                sk_buff skb{};
                skb.data = data + align;
                skb.len = static_cast<unsigned>(length);
                ASSERT_EQ(skb_chksum(&skb, static_cast<int>(length)), finish(slowSum(skb.data, length)))
                    << length;
                ASSERT_EQ(tcp_udp_checksum(&skb, 0, 0xFFFF, 0xFF),
                          finish(slowSum(skb.data, length, 0xFFFF + 0xFF)))
                    << length;
            }
    }
}

TEST(Checksum, RangesThatOverflowTheAccumulatorWrapIt)
{
    for (const size_t length : list({65535u, 65536u, 65537u, 131072u, 131075u, 200000u, 400001u})) {
        static unsigned char data[400001];
        __builtin_memset(data, 0xFF, length);
        sk_buff skb = bufferOf(data, static_cast<unsigned>(length));
        EXPECT_EQ(skb_chksum(&skb, static_cast<int>(length)), finish(slowSum(data, length))) << length;
        EXPECT_EQ(tcp_udp_checksum(&skb, 1, 0xFFFF, 0xFF), finish(slowSum(data + 1, length - 1, 0x100FE)))
            << length;
    }
}

TEST(Checksum, SumsThatAreNearlyFullCarryToTheirEnd)
{
    // Ones but for two bytes: any accumulator of whole words is then near its overflow, and the fold carries
    // or not.
    unsigned char data[80];
    for (size_t length = 2; length <= sizeof data; ++length) {
        for (size_t at = 0; at + 1 < length; ++at) {
            for (const int value : list({0x0000, 0x0001, 0x0100, 0x0101, 0xFFFE, 0xFEFF})) {
                __builtin_memset(data, 0xFF, sizeof data);
                data[at] = static_cast<unsigned char>(value >> 8);
                data[at + 1] = static_cast<unsigned char>(value);
                sk_buff skb = bufferOf(data, static_cast<unsigned>(length));
                ASSERT_EQ(skb_chksum(&skb, static_cast<int>(length)), finish(slowSum(data, length)))
                    << length << " " << at << " " << value;
            }
        }
    }
}

TEST(Checksum, EmptyRangesEnd)
{
    unsigned char data[] = {1, 2, 3};
    sk_buff skb = bufferOf(data, sizeof data);
    EXPECT_EQ(skb_chksum(&skb, 0), 0xFFFFu);
    EXPECT_EQ(skb_chksum(&skb, -1), 0xFFFFu);
    EXPECT_EQ(tcp_udp_checksum(&skb, 3, 5, 6), finish(11));
    EXPECT_EQ(tcp_udp_checksum(&skb, 2, 5, 6), finish(0x300 + 11)) << "the last byte alone";
    EXPECT_EQ(tcp_udp_checksum(&skb, 7, 5, 6), finish(11));
    skb.len = 0;
    EXPECT_EQ(tcp_udp_checksum(&skb, 0, 5, 6), finish(11));
}

TEST(Checksum, AnOffsetBelowZeroSumsNothing)
{
    unsigned char data[60];
    __builtin_memset(data, 0x55, sizeof data);
    sk_buff skb = bufferOf(data, sizeof data);
    skb.data += 20; // the bytes before are readable, so a sum that reads them gives another result
    skb.len = 40;
    for (int offset = -20; offset < 0; ++offset) {
        EXPECT_EQ(ipv4_checksum(&skb, offset), 0xFFFFu) << offset;
        EXPECT_EQ(tcp_udp_checksum(&skb, offset, 5, 6), finish(11)) << offset;
    }
    EXPECT_NE(ipv4_checksum(&skb, 0), 0xFFFFu);
    gpIfcPriv->dbgLevel = 3;
    (void)ipv4_checksum(&skb, -1);
    EXPECT_PRINTED("@ipv4_checksum: offset:-1\n", "@data: 0\n");
}

TEST(Checksum, AnIpv4HeaderMayBeginAnywhere)
{
    unsigned char data[64] = {};
    for (const int offset : list({0, 14, 19, 20, 21, 34, 44})) {
        __builtin_memset(data, 0x55, sizeof data);
        __builtin_memset(data + offset, 0, 20);
        data[offset] = 0x12;
        data[offset + 19] = 0x34;
        const sk_buff skb = bufferOf(data, sizeof data);
        EXPECT_EQ(ipv4_checksum(&skb, offset), 0xEDCBu) << offset;
    }
}

TEST(Checksum, OneReadingOfTheLevelServesAWholeSum)
{
    unsigned char data[20] = {};
    sk_buff skb = bufferOf(data, sizeof data);
    whenPrinting([] { gpIfcPriv->dbgLevel = 0; });
    setLevel(3);
    (void)skb_chksum(&skb, 20);
    EXPECT_EQ(pieces(), 11);
    setLevel(3);
    (void)ipv4_checksum(&skb, 0);
    EXPECT_EQ(pieces(), 12);
    setLevel(3);
    (void)tcp_udp_checksum(&skb, 0, 1, 2);
    EXPECT_EQ(pieces(), 13);
}

TEST(Checksum, AWholeUdpDatagramChecksToZero)
{
    // From the source address on: addresses, UDP header, payload "abc".
    unsigned char d[] = {10, 0, 0, 1, 10, 0, 0, 2, 0x13, 0xC4, 0x13, 0xC4, 0, 11, 0, 0, 'a', 'b', 'c'};
    sk_buff skb = bufferOf(d, sizeof d);
    const unsigned sum = tcp_udp_checksum(&skb, 0, 11, 17);
    d[14] = static_cast<unsigned char>(sum >> 8);
    d[15] = static_cast<unsigned char>(sum);
    EXPECT_EQ(tcp_udp_checksum(&skb, 0, 11, 17), 0u);
    EXPECT_EQ(sum, 0xFFEAu) << "worked out by hand";
}

TEST(Checksum, TracesByLevel)
{
    unsigned char d[] = {0x12, 0x34, 0xFF, 0xFF, 0x01};
    sk_buff skb = bufferOf(d, sizeof d);
    for (const int level : list({0, 1})) {
        setLevel(level);
        EXPECT_EQ(skb_chksum(&skb, 5), finish(0x11333));
        EXPECT_EQ(tcp_udp_checksum(&skb, 2, 1, 2), finish(0x100FF + 3));
        EXPECT_NOTHING_PRINTED();
    }
    gpIfcPriv->dbgLevel = 2;
    EXPECT_EQ(skb_chksum(&skb, 5), finish(0x11333));
    EXPECT_EQ(tcp_udp_checksum(&skb, 2, 1, 2), finish(0x100FF + 3));
    EXPECT_PRINTED("@data: 11333\n", "@tcp_udp_checksum: offset:2\n", "@checksum1: 10102\n");
    for (const int level : list({3, 4, 255})) {
        setLevel(level);
        EXPECT_EQ(skb_chksum(&skb, 5), finish(0x11333));
        EXPECT_PRINTED("data: 1234\n", "data: 11233\n", "@data: 11333\n");
        forget();
        EXPECT_EQ(tcp_udp_checksum(&skb, 2, 1, 2), finish(0x100FF + 3));
        EXPECT_PRINTED("@tcp_udp_checksum: offset:2\n", "data: ffff\n", "data: 100ff\n",
                       "@checksum1: 10102\n");
    }
}

TEST(Checksum, TracesOfLongAndEmptyRangesByLevel)
{
    static unsigned char data[65537];
    sk_buff skb = bufferOf(data, sizeof data);
    for (const int level : list({0, 1})) {
        setLevel(level);
        EXPECT_EQ(skb_chksum(&skb, sizeof data), 0xFFFFu);
        EXPECT_EQ(tcp_udp_checksum(&skb, 0, 0, 0), 0xFFFFu);
        EXPECT_EQ(ipv4_checksum(&skb, -1), 0xFFFFu);
        EXPECT_NOTHING_PRINTED();
    }
    gpIfcPriv->dbgLevel = 2;
    EXPECT_EQ(skb_chksum(&skb, sizeof data), 0xFFFFu);
    EXPECT_EQ(tcp_udp_checksum(&skb, 0, 0, 0), 0xFFFFu);
    EXPECT_EQ(ipv4_checksum(&skb, -1), 0xFFFFu);
    EXPECT_PRINTED("@data: 0\n", "@tcp_udp_checksum: offset:0\n", "@checksum1: 0\n",
                   "@ipv4_checksum: offset:-1\n", "@data: 0\n");
}

TEST(Checksum, TracesOfAnIpv4Header)
{
    unsigned char d[24] = {};
    d[5] = 1;
    sk_buff skb = bufferOf(d, sizeof d);
    for (const int level : list({0, 1})) {
        setLevel(level);
        EXPECT_EQ(ipv4_checksum(&skb, 4), finish(1));
        EXPECT_NOTHING_PRINTED();
    }
    gpIfcPriv->dbgLevel = 2;
    EXPECT_EQ(ipv4_checksum(&skb, 4), finish(1));
    EXPECT_PRINTED("@ipv4_checksum: offset:4\n", "@data: 1\n");
    forget();
    gpIfcPriv->dbgLevel = 3;
    EXPECT_EQ(ipv4_checksum(&skb, 4), finish(1));
    EXPECT_EQ(pieces(), 12u) << "ten words, never the options";
    forget();
    d[6] = 0x80, d[21] = 2;
    EXPECT_EQ(ipv4_checksum(&skb, 4), finish(0x8003));
    EXPECT_PRINTED("@ipv4_checksum: offset:4\n", "data: 1\n", "data: 8001\n", "data: 8001\n", "data: 8001\n",
                   "data: 8001\n", "data: 8001\n", "data: 8001\n", "data: 8001\n", "data: 8003\n",
                   "data: 8003\n", "@data: 8003\n");
}

END_OF_TESTS(checksumTests)
