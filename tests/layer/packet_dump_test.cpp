// SPDX-License-Identifier: MIT OR GPL-2.0
// The printed dump of a frame.
#include "tests/support/check.h"
#include "tests/support/layer.h"

using namespace support;

namespace
{

unsigned char bytes[65552];

// Dumps a frame of `length` bytes and expects its first line.
void dump(unsigned length)
{
    for (unsigned n = 0; n < length; ++n)
        bytes[n] = static_cast<unsigned char>(n * 7);
    sk_buff skb = bufferOf(bytes, length);
    skb.head = reinterpret_cast<unsigned char *>(0x1000);
    skb.end = reinterpret_cast<unsigned char *>(0x2000);
    skb.mark = 0xFEDCBA98;
    forget();
    dump_skb(&skb);
    EXPECT_STREQ(piece(0), format("skb=%lx skb->head=1000 skb->end=2000 \n data=%lx len=%u mark=fedcba98 \n",
                                  reinterpret_cast<unsigned long>(&skb),
                                  reinterpret_cast<unsigned long>(skb.data), skb.len));
}

} // namespace

TEST(PacketDump, SixteenBytesALine)
{
    dump(0);
    EXPECT_EQ(pieces(), 1);
    dump(16);
    EXPECT_EQ(pieces(), 2);
    EXPECT_STREQ(piece(1), "0000: 00 07 0e 15 1c 23 2a 31 38 3f 46 4d 54 5b 62 69 \n");
    for (const int level : kLevels) {
        setLevel(level);
        dump(17);
        EXPECT_EQ(pieces(), 3) << level;
        EXPECT_STREQ(piece(1), "0000: 00 07 0e 15 1c 23 2a 31 38 3f 46 4d 54 5b 62 69 \n");
        EXPECT_STREQ(piece(2), "0010: 70 \n");
    }
    dump(65552);
    EXPECT_EQ(pieces(), 1 + 4097);
    EXPECT_STREQ(lastPiece(), "10000: 00 07 0e 15 1c 23 2a 31 38 3f 46 4d 54 5b 62 69 \n");
    EXPECT_NO_TRAFFIC();
}

TEST(PacketDump, APacketWithoutABufferIsDumpedToo)
{
    unsigned char byte[] = {0x70};
    sk_buff skb = bufferOf(byte, 1);
    skb.head = skb.end = nullptr;
    dump_skb(&skb);
    EXPECT_EQ(pieces(), 2);
    EXPECT_TRUE(contains(piece(0), " skb->head=0 skb->end=0 \n"));
    EXPECT_STREQ(piece(1), "0000: 70 \n");
}

END_OF_TESTS(packetDumpTests)
