// SPDX-License-Identifier: MIT OR GPL-2.0
// Packet helpers: tags, PPPoE, checksums, packet dump.
#include "directed.h"

namespace directed
{
namespace
{

sk_buff bufferOf(unsigned char *bytes, unsigned length)
{
    sk_buff skb{};
    skb.head = skb.data = bytes;
    skb.end = bytes + length;
    skb.len = length;
    return skb;
}

void lowestBits()
{
    DIRECTED_EQ(_getLowestBit(0), 0);
    DIRECTED_EQ(getLowestBit(0), 1);
    DIRECTED_EQ(_getLowestBit(6), 2);
    DIRECTED_EQ(getLowestBit(0x80000000), 32);
}

void tpids()
{
    set_frame_engine_data(FE_TPID_CFG, 0x9100ABCD);
    forget();
    DIRECTED_EQ(isTPID(0x0091), 1);
    DIRECTED_EQ(transTPIDtoVPM(0xA888), 2);
    DIRECTED_EQ(transVPMtoTPID(3), 0x9100);
    DIRECTED_EQ(count(Kind::Read), 3);
    DIRECTED_EQ(isTPID(0x9100), 0); // as it lies in the frame, not in host order
    DIRECTED_EQ(transTPIDtoVPM(0x8100), -1);
    DIRECTED_EQ(transVPMtoTPID(4), 0);
}

void pppoe()
{
    unsigned char bytes[] = {0xEE, 0x11, 0x09, 0x12, 0x34, 0x00, 0x56, 0xC0, 0x21, 0x01, 0x02};
    sk_buff skb = bufferOf(bytes, sizeof bytes);
    uint16_t sid = 0;
    uint16_t tag = 0;
    DIRECTED_EQ(getPppoeSid(&skb, 1, &sid, &tag), 0);
    DIRECTED_EQ(sid, 0x3412);
    DIRECTED_EQ(tag, 0x21C0);
    bytes[1] = 0x21;
    DIRECTED_EQ(getPppoeSid(&skb, 1, &sid, &tag), -1);
    DIRECTED_TEXT("");
    gpIfcPriv->dbgLevel = DBG_MSG;
    bytes[1] = 0x11;
    DIRECTED_EQ(getPppoeSid(&skb, 1, &sid, &tag), 0);
    DIRECTED_TEXT(
        "\n==============\n Ver=1\n Type=1\n Code=9\n sid=1234\n Len=86\n tag_type=c021\n tag_len=258\n"
        "=================\n");
}

void checksums()
{
    unsigned char header[] = {0x45, 0, 0,    0x73, 0, 0, 0x40, 0,    0x40, 0x11,
                              0,    0, 0xC0, 0xA8, 0, 1, 0xC0, 0xA8, 0,    0xC7};
    sk_buff skb = bufferOf(header, sizeof header);
    DIRECTED_EQ(ipv4_checksum(&skb, 0), 0xB861);
    DIRECTED_EQ(skb_chksum(&skb, 2), 0xBAFF);
    DIRECTED_EQ(skb_chksum(&skb, 1), 0xBAFF);
    DIRECTED_EQ(skb_chksum(&skb, 0), 0xFFFF);
    unsigned char datagram[] = {10, 0, 0, 1, 10, 0, 0, 2, 0x13, 0xC4, 0x13, 0xC4, 0, 11, 0, 0, 'a', 'b', 'c'};
    skb = bufferOf(datagram, sizeof datagram);
    DIRECTED_EQ(tcp_udp_checksum(&skb, 0, 11, 17), 0xFFEA);
    DIRECTED_TEXT("");
    DIRECTED_TRAFFIC;
}

void checksumsAreTraced()
{
    unsigned char bytes[] = {0x12, 0x34, 0xFF, 0xFF, 0x01};
    sk_buff skb = bufferOf(bytes, sizeof bytes);
    gpIfcPriv->dbgLevel = DBG_MSG;
    (void)skb_chksum(&skb, 5);
    DIRECTED_TEXT("data: 1234\ndata: 11233\n@data: 11333\n");
    forget();
    (void)tcp_udp_checksum(&skb, 2, 1, 2);
    DIRECTED_TEXT("@tcp_udp_checksum: offset:2\ndata: ffff\ndata: 100ff\n@checksum1: 10102\n");
}

void dumpsAFrame()
{
    unsigned char bytes[17];
    for (unsigned n = 0; n < sizeof bytes; ++n)
        bytes[n] = static_cast<unsigned char>(n * 7);
    sk_buff skb = bufferOf(bytes, sizeof bytes);
    skb.head = skb.end = nullptr;
    skb.mark = 0xFEDCBA98;
    dump_skb(&skb);
    const char *got = text();
    DIRECTED_EQ(lines(got), 4);
    for (unsigned skipped = 0; skipped < 2; ++got) // addresses differ from run to run
        skipped += *got == '\n';
    const char *expected = "0000: 00 07 0e 15 1c 23 2a 31 38 3f 46 4d 54 5b 62 69 \n0010: 70 \n";
    while (*got != '\0' && *got == *expected)
        ++got, ++expected;
    DIRECTED_TRUE(*got == *expected);
}

constexpr Case kCases[] = {
    {"Packet.LowestBits", lowestBits},
    {"Packet.Tpids", tpids},
    {"Packet.Pppoe", pppoe},
    {"Packet.Checksums", checksums},
    {"Packet.ChecksumsAreTraced", checksumsAreTraced},
    {"Packet.DumpsAFrame", dumpsAFrame},
};

} // namespace
extern const Group kPacketGroup;
constinit const Group kPacketGroup = groupOf(kCases);
} // namespace directed
