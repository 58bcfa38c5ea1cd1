// SPDX-License-Identifier: MIT OR GPL-2.0
// The checksum source in the builds that sum in other ways than the library here: without vector registers,
// and with those of any x86-64 alone.
#include "ifc/ifc_util.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#ifdef IFC_CHECKSUM_BUILDS

extern "C" unsigned int skb_chksum_scalar(const struct sk_buff *skb, int lens);
extern "C" unsigned int ipv4_checksum_scalar(const struct sk_buff *skb, int offset);
extern "C" unsigned int skb_chksum_baseline(const struct sk_buff *skb, int lens);
extern "C" unsigned int ipv4_checksum_baseline(const struct sk_buff *skb, int offset);

namespace
{

unsigned wordByWord(const unsigned char *p, size_t bytes)
{
    uint32_t sum = 0;
    for (size_t n = 0; n < bytes; ++n)
        sum += n % 2 == 0 ? p[n] << 8 : p[n];
    sum = (sum & 0xFFFF) + (sum >> 16);
    sum = (sum & 0xFFFF) + (sum >> 16);
    return ~sum & 0xFFFF;
}

void expectWordByWord(unsigned (*sumOf)(const sk_buff *, int), size_t most)
{
    std::mt19937 random(7);
    std::vector<unsigned char> data(most + 8);
    for (const int kind : {0, 1, 2}) {
        for (unsigned char &byte : data)
            byte = kind == 0 ? static_cast<unsigned char>(random()) : kind == 1 ? 0xFF : 0;
        for (size_t length = 0; length <= most; length += length < 400 ? 1 : 97) {
            for (size_t align = 0; align < 8; ++align) {
                sk_buff skb{};
                skb.data = data.data() + align;
                skb.len = static_cast<unsigned>(length);
                ASSERT_EQ(sumOf(&skb, static_cast<int>(length)), wordByWord(skb.data, length))
                    << length << " " << align;
            }
        }
    }
}

} // namespace

TEST(ChecksumBuilds, EachSumsAsWordByWord)
{
    expectWordByWord(skb_chksum_scalar, 65536);
    expectWordByWord(skb_chksum_baseline, 65536);
    expectWordByWord(skb_chksum, 65536);
}

TEST(ChecksumBuilds, EachSumsAHeader)
{
    unsigned char header[24] = {0xFF, 0xFF};
    for (unsigned n = 0; n < 20; ++n)
        header[4 + n] = static_cast<unsigned char>(0x9D * n);
    sk_buff skb{};
    skb.data = header;
    skb.len = sizeof header;
    EXPECT_EQ(ipv4_checksum_scalar(&skb, 4), wordByWord(header + 4, 20));
    EXPECT_EQ(ipv4_checksum_baseline(&skb, 4), wordByWord(header + 4, 20));
}

#endif
