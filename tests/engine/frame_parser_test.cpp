// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/frame_parser.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <new>

#include "frames.h"

using namespace engine;
using namespace frames;

namespace
{

using Fields = std::map<unsigned, uint64_t>;

// What is present, without the user-defined fields.
Fields fieldsOf(const ParsedFrame &parsed)
{
    Fields fields;
    for (unsigned f = 1; f < UDF0; ++f) {
        if (hasField(parsed.fields, f))
            fields[f] = fieldValue(parsed.fields, f);
    }
    return fields;
}

const Fields kAddresses = {{DMAC, 0x021122334455}, {SMAC, 0x0A66778899AA}, {DMAC_TYPE, 0}};
const Fields kNoTags = {{VPM0, 0}, {VPM1, 0}};
const Fields kIpv4 = {
    {ETYPE, 0x0800}, {SIPv4, 0xC0A80102}, {DIPv4, 0x0A000001}, {IPv4_PROTOCOL, 6}, {IPv4_DSCP, 0xB9}};
const Fields kIpv6Addresses = {
    {SIPv6_127_96, 0x20010DB8}, {SIPv6_95_64, 0}, {SIPv6_63_32, 0x00010002}, {SIPv6_31_0, 0x00030004},
    {DIPv6_127_96, 0xFD000000}, {DIPv6_95_64, 0}, {DIPv6_63_32, 0x000A000B}, {DIPv6_31_0, 0x000C000D},
    {FLOW_LABEL, 0x54321},      {ETYPE, 0x86DD},  {IPv6_TRAFFIC_CLASS, 0xA5}};
const Fields kPorts = {{SPORT, 0x1F90}, {DPORT, 443}};

Fields join(std::initializer_list<Fields> parts)
{
    Fields all;
    for (const Fields &part : parts)
        all.insert(part.begin(), part.end());
    return all;
}

Fields kind(FrameType type)
{
    return {{FRAME_TYPE, static_cast<uint64_t>(type)}};
}

} // namespace

TEST(FrameParser, EthernetWithIpv4AndTcp)
{
    EXPECT_EQ(fieldsOf(parse(macs() + word16(0x0800) + ipv4({}, ports()))),
              join({kAddresses, kNoTags, kind(FrameType::EthernetII), kIpv4, kPorts}));
}

TEST(FrameParser, TellsUnicastMulticastAndBroadcastApart)
{
    const auto type = [](std::string_view mac) { return fieldValue(parse(macs(mac)).fields, DMAC_TYPE); };
    EXPECT_EQ(type("02:00:00:00:00:01"), 0u);
    EXPECT_EQ(type("fe:ff:ff:ff:ff:ff"), 0u);
    EXPECT_EQ(type("01:00:5e:00:00:01"), 1u);
    EXPECT_EQ(type("ff:ff:ff:ff:ff:fe"), 1u);
    EXPECT_EQ(type("ff:ff:00:00:ff:ff"), 1u);
    EXPECT_EQ(type("ff:ff:ff:ff:ff:ff"), 2u);
}

TEST(FrameParser, ReadsTwoTagsOfTheThreeTpids)
{
    const Bytes rest = word16(0x0800) + ipv4({}, ports());
    EXPECT_EQ(fieldsOf(parse(macs() + tag(0x8100, 0x7064) + rest)),
              join({kAddresses,
                    {{VPM0, 1}, {VID0, 100}, {PBIT0, 7}, {VPM1, 0}},
                    kind(FrameType::EthernetII),
                    kIpv4,
                    kPorts}));
    EXPECT_EQ(fieldsOf(parse(macs() + tag(0x88A8, 0xBFFF) + tag(0x9100, 0x1001) + rest, 0x9100)),
              join({kAddresses,
                    {{VPM0, 2}, {VID0, 0xFFF}, {PBIT0, 0xB}, {VPM1, 3}, {VID1, 1}, {PBIT1, 1}},
                    kind(FrameType::EthernetII),
                    kIpv4,
                    kPorts}));
}

TEST(FrameParser, CountsCompleteTags)
{
    const Bytes frame = macs() + tag(0x8100, 1) + tag(0x8100, 2) + word16(0x0806) + fill(28);
    for (size_t length = 0; length <= frame.size(); ++length)
        EXPECT_EQ(parse(Bytes(frame.begin(), frame.begin() + static_cast<long>(length))).tags, length < 16 ? 0
                                                                                               : length < 20
                                                                                                   ? 1
                                                                                                   : 2)
            << length;
    EXPECT_EQ(parse(macs() + tag(0x88A8, 1) + word16(0x0806) + fill(28)).tags, 1);
}

TEST(FrameParser, StopsAfterTwoTags)
{
    const ParsedFrame parsed = parse(macs() + tag(0x8100, 1) + tag(0x8100, 2) + tag(0x8100, 3) + fill(40));
    EXPECT_EQ(parsed.tags, 2);
    EXPECT_EQ(fieldValue(parsed.fields, ETYPE), 0x8100u);
    EXPECT_FALSE(hasField(parsed.fields, DIPv4));
}

TEST(FrameParser, TakesTheUserDefinedTpidOnlyWhileItIsSet)
{
    const Bytes frame = macs() + tag(0x9100, 5) + word16(0x0806) + fill(28);
    EXPECT_EQ(fieldValue(parse(frame).fields, ETYPE), 0x9100u);
    EXPECT_EQ(fieldValue(parse(frame, 0x9100).fields, ETYPE), 0x0806u);
    // A type word of 0 is a length, whatever the register holds.
    EXPECT_EQ(parse(macs() + word16(0) + fill(46)).tags, 0);
    // The standard TPIDs come first.
    EXPECT_EQ(fieldValue(parse(macs() + tag(0x8100, 5) + word16(0x0806), 0x8100).fields, VPM0), 1u);
}

TEST(FrameParser, Ieee8023WithLlcAndSnap)
{
    const Bytes packet = ipv4({}, ports());
    const unsigned length = static_cast<unsigned>(packet.size() + 8);
    EXPECT_EQ(fieldsOf(parse(macs() + word16(length) + hex("aa aa 03 00 00 00") + word16(0x0800) + packet)),
              join({kAddresses, kNoTags, kind(FrameType::Snap), kIpv4, kPorts}));
    // Another OUI, another control byte, a spanning tree frame.
    for (const char *llc : {"aa aa 03 00 00 f8", "aa aa 13 00 00 00", "42 42 03 00 00 00"})
        EXPECT_EQ(fieldsOf(parse(macs() + word16(length) + hex(llc) + word16(0x0800) + packet)),
                  join({kAddresses, kNoTags, kind(FrameType::Llc)}))
            << llc;
    // Any other byte of the six makes it LLC.
    for (size_t n = 0; n < 6; ++n) {
        Bytes other = hex("aa aa 03 00 00 00");
        other[n] ^= 1;
        EXPECT_EQ(fieldsOf(parse(macs() + word16(length) + other + word16(0x0800) + packet)),
                  join({kAddresses, kNoTags, kind(FrameType::Llc)}))
            << n;
    }
    // The length ends the packet; padding follows.
    EXPECT_EQ(fieldsOf(parse(macs() + word16(8) + hex("aa aa 03 00 00 00") + word16(0x0800) + packet)),
              join({kAddresses, kNoTags, kind(FrameType::Snap), {{ETYPE, 0x0800}}}));
    EXPECT_EQ(fieldsOf(parse(macs() + word16(0x05DC) + fill(50))),
              join({kAddresses, kNoTags, kind(FrameType::Llc)}));
    EXPECT_EQ(fieldsOf(parse(macs() + word16(0x05DD) + fill(50))),
              join({kAddresses, kNoTags, kind(FrameType::Undefined)}));
    EXPECT_EQ(fieldsOf(parse(macs() + word16(0x0600) + fill(50))),
              join({kAddresses, kNoTags, kind(FrameType::EthernetII), {{ETYPE, 0x0600}}}));
}

TEST(FrameParser, PppoeDiscoveryAndSession)
{
    EXPECT_EQ(fieldsOf(parse(macs() + word16(0x8863) + pppoe(0x09, 0xBEEF, fill(12)))),
              join({kAddresses,
                    kNoTags,
                    kind(FrameType::PppoeDiscovery),
                    {{ETYPE, 0x8863}, {PPPOE_SESSION, 0xBEEF}}}));

    // Discovery carries no packet, also with the code and the words of session data.
    EXPECT_EQ(
        fieldsOf(parse(macs() + word16(0x8863) + pppoe(0, 1, word16(0x0021) + ipv4({}, ports())))),
        join({kAddresses, kNoTags, kind(FrameType::PppoeDiscovery), {{ETYPE, 0x8863}, {PPPOE_SESSION, 1}}}));

    Fields inside = kIpv4;
    inside[ETYPE] = 0x8864;
    const Bytes session = macs() + word16(0x8864);
    EXPECT_EQ(
        fieldsOf(parse(session + pppoe(0, 0x0102, word16(0x0021) + ipv4({}, ports())))),
        join(
            {kAddresses, kNoTags, kind(FrameType::PppoeSession), inside, kPorts, {{PPPOE_SESSION, 0x0102}}}));
    EXPECT_TRUE(hasField(parse(session + pppoe(0, 1, word16(0x0057) + ipv6({}, ports()))).fields, DPORT));
    // LCP; a code that session frames do not have; another version.
    EXPECT_FALSE(hasField(parse(session + pppoe(0, 1, word16(0xC021) + ipv4({}, ports()))).fields, DIPv4));
    EXPECT_FALSE(hasField(parse(session + pppoe(9, 1, word16(0x0021) + ipv4({}, ports()))).fields, DIPv4));
    Bytes wrong = session + pppoe(0, 1, word16(0x0021) + ipv4({}, ports()));
    wrong[14] = 0x21;
    EXPECT_FALSE(hasField(parse(wrong).fields, PPPOE_SESSION));
}

// Version and type, a nibble each, are 1.
TEST(FrameParser, PppoeIsVersion1Type1)
{
    Bytes frame = macs() + word16(0x8864) + pppoe(0, 1, word16(0x0021) + ipv4({}, ports()));
    for (unsigned first = 0; first < 256; ++first) {
        frame[14] = static_cast<uint8_t>(first);
        const ParsedFrame parsed = parse(frame);
        EXPECT_EQ(hasField(parsed.fields, PPPOE_SESSION), first == 0x11) << first;
        EXPECT_EQ(hasField(parsed.fields, DIPv4), first == 0x11) << first;
        EXPECT_EQ(fieldValue(parsed.fields, FRAME_TYPE), static_cast<uint64_t>(FrameType::PppoeSession));
    }
}

TEST(FrameParser, PppProtocolIsNeverOneByte)
{
    const Bytes session = macs() + word16(0x8864);
    const ParsedFrame four = parse(session + pppoe(0, 1, Bytes{0x21} + ipv4({}, ports())));
    EXPECT_TRUE(hasField(four.fields, PPPOE_SESSION));
    EXPECT_FALSE(hasField(four.fields, DIPv4));
    EXPECT_EQ(four.network, 22u);
    const ParsedFrame six = parse(session + pppoe(0, 1, Bytes{0x57} + ipv6({}, ports())));
    EXPECT_FALSE(hasField(six.fields, DIPv6_31_0));
    EXPECT_EQ(six.network, 22u);
}

TEST(FrameParser, PppoeLengthEndsThePacket)
{
    const Bytes four = word16(0x0021) + ipv4({}, ports());
    const Bytes six = word16(0x0057) + ipv6({}, ports());
    // The length field says `bytes`; all that follows is in the frame all the same.
    const auto has = [](Bytes payload, size_t bytes, unsigned field) {
        payload = pppoe(0, 1, payload);
        payload[5] = static_cast<uint8_t>(bytes);
        return hasField(parse(macs() + word16(0x8864) + payload).fields, field);
    };
    EXPECT_FALSE(has(four, 2 + 19, DIPv4));
    EXPECT_TRUE(has(four, 2 + 20, DIPv4));
    EXPECT_FALSE(has(four, 2 + 23, DPORT));
    EXPECT_TRUE(has(four, 2 + 24, DPORT));
    EXPECT_FALSE(has(six, 2 + 39, DIPv6_31_0));
    EXPECT_TRUE(has(six, 2 + 40, DIPv6_31_0));
    EXPECT_FALSE(has(six, 2 + 43, DPORT));
    EXPECT_TRUE(has(six, 2 + 44, DPORT));
    EXPECT_FALSE(has(four, 1, DIPv4));
    EXPECT_TRUE(has(four, 0, PPPOE_SESSION));
    EXPECT_TRUE(has(four, 255, DPORT)); // never beyond the frame
    EXPECT_FALSE(hasField(
        parse(macs() + word16(0x8864) + Bytes{0x11, 0} + word16(1) + word16(1400) + word16(0x0021)).fields,
        DIPv4));
}

TEST(FrameParser, Ipv4PortsNeedTheFirstFragment)
{
    const auto has = [](const Ipv4 &header, const Bytes &payload = ports()) {
        return hasField(parse(macs() + word16(0x0800) + ipv4(header, payload)).fields, DPORT);
    };
    EXPECT_TRUE(has({.fragment = 0x4000}));
    EXPECT_TRUE(has({.fragment = 0x2000})); // first of several
    for (unsigned bit = 0; bit < 16; ++bit) // the offset, "more", "don't", and a reserved one
        EXPECT_EQ(has({.fragment = 1u << bit}), bit > 12) << bit;
    EXPECT_FALSE(has({.fragment = 0x2001}));
    EXPECT_TRUE(has({.optionBytes = 40}));
    for (const unsigned protocol : {6u, 17u, 33u, 132u, 136u})
        EXPECT_TRUE(has({.protocol = protocol})) << protocol;
    unsigned withPorts = 0;
    for (unsigned protocol = 0; protocol < 256; ++protocol)
        withPorts += has({.protocol = protocol}) ? 1 : 0;
    EXPECT_EQ(withPorts, 5u);
}

// The inner headers are where the ports would be. None of their bytes becomes a field.
TEST(FrameParser, TunnelsShowTheirOuterHeadersOnly)
{
    const Bytes innerFour = ipv4({.source = 1, .destination = 2}, ports());
    const Bytes innerSix = ipv6({.trafficClass = 1, .flowLabel = 2, .next = 6}, ports());
    const Fields four = join({kAddresses, kNoTags, kind(FrameType::EthernetII), kIpv4});
    const Fields six = join({kAddresses, kNoTags, kind(FrameType::EthernetII), kIpv6Addresses});
    for (const auto &[protocol, inner] : {std::pair{4u, innerFour}, {41u, innerSix}}) {
        const unsigned number = protocol; // clang 14: a lambda does not capture a structured binding
        const auto expectOuter = [&](int version, const Bytes &headers, Fields outer, uint32_t transport) {
            outer[version == 4 ? IPv4_PROTOCOL : IPv6_NEXT_HEADER] = number;
            const ParsedFrame parsed = parse(macs() + headers);
            EXPECT_EQ(fieldsOf(parsed), outer) << number;
            EXPECT_EQ(parsed.transport, transport);
            EXPECT_EQ(parsed.network, 14u);
            EXPECT_EQ(parsed.ipVersion, version);
        };
        expectOuter(4, word16(0x0800) + ipv4({.protocol = protocol}, inner), four, 34);
        expectOuter(6, word16(0x86DD) + ipv6({.next = protocol}, inner), six, 54);
    }
}

// An authentication header in IPv4 is a protocol like any other.
TEST(FrameParser, Ipv4AuthenticationHeaderIsNotWalked)
{
    const ParsedFrame parsed =
        parse(macs() + word16(0x0800) + ipv4({.protocol = 51}, Bytes{6, 4} + fill(22) + ports()));
    EXPECT_EQ(fieldValue(parsed.fields, IPv4_PROTOCOL), 51u);
    EXPECT_FALSE(hasField(parsed.fields, DPORT));
    EXPECT_EQ(parsed.transport, 34u);
}

TEST(FrameParser, MalformedIpv4GivesNoFieldsOfIt)
{
    Bytes frame = macs() + word16(0x0800) + ipv4({}, ports());
    frame[14] = 0x44; // header length 16
    EXPECT_FALSE(hasField(parse(frame).fields, DIPv4));
    frame[14] = 0x65; // version 6
    EXPECT_FALSE(hasField(parse(frame).fields, DIPv4));
    frame[14] = 0x45;
    frame[17] = 22; // total length: two bytes after the header
    EXPECT_TRUE(hasField(parse(frame).fields, DIPv4));
    EXPECT_FALSE(hasField(parse(frame).fields, DPORT));
    frame[17] = 4; // shorter than the header
    EXPECT_TRUE(hasField(parse(frame).fields, DIPv4));
    EXPECT_FALSE(hasField(parse(frame).fields, DPORT));
}

TEST(FrameParser, Ipv6)
{
    EXPECT_EQ(fieldsOf(parse(macs() + word16(0x86DD) + ipv6({}, ports()))), join({kAddresses,
                                                                                  kNoTags,
                                                                                  kind(FrameType::EthernetII),
                                                                                  kIpv6Addresses,
                                                                                  {{IPv6_NEXT_HEADER, 17}},
                                                                                  kPorts}));
}

TEST(FrameParser, WalksIpv6ExtensionHeaders)
{
    const auto fields = [](unsigned first, const Bytes &chain) {
        return fieldsOf(parse(macs() + word16(0x86DD) + ipv6({.next = first}, chain)));
    };
    const auto expect = [](unsigned upper, bool havePorts) {
        return join({kAddresses,
                     kNoTags,
                     kind(FrameType::EthernetII),
                     kIpv6Addresses,
                     {{IPv6_NEXT_HEADER, upper}},
                     havePorts ? kPorts : Fields{}});
    };
    const Bytes hopByHop = Bytes{60, 1} + fill(14);      // 16 bytes, then destination options
    const Bytes destination = Bytes{43, 0} + fill(6);    // then routing
    const Bytes routing = Bytes{51, 2} + fill(22);       // then authentication
    const Bytes authentication = Bytes{6, 4} + fill(22); // 24 bytes, then TCP
    EXPECT_EQ(fields(0, hopByHop + destination + routing + authentication + ports()), expect(6, true));

    const Bytes firstFragment = Bytes{17, 0} + word16(0x0001) + fill(4);
    EXPECT_EQ(fields(44, firstFragment + ports()), expect(17, true));
    const Bytes laterFragment = Bytes{17, 0} + word16(0x0009) + fill(4);
    EXPECT_EQ(fields(44, laterFragment + ports()), expect(17, false));

    EXPECT_EQ(fields(59, ports()), expect(59, false));
    EXPECT_EQ(fields(50, ports()), expect(50, false));
    // A header that reaches past the packet ends the walk with its own number.
    EXPECT_EQ(fields(0, Bytes{17, 200} + ports()), expect(0, false));
    EXPECT_EQ(fields(44, Bytes{17, 0}), expect(44, false));
}

TEST(FrameParser, Ipv6PayloadLengthEndsThePacket)
{
    const auto parsed = [](Bytes packet, size_t bytes) {
        packet[4] = static_cast<uint8_t>(bytes >> 8);
        packet[5] = static_cast<uint8_t>(bytes);
        return parse(macs() + word16(0x86DD) + packet);
    };
    const Bytes udp = ipv6({}, ports());
    EXPECT_FALSE(hasField(parsed(udp, 0).fields, DPORT));
    EXPECT_FALSE(hasField(parsed(udp, 3).fields, DPORT));
    EXPECT_TRUE(hasField(parsed(udp, 4).fields, DPORT));
    EXPECT_TRUE(hasField(parsed(udp, 0xFFFF).fields, DPORT)); // never beyond the frame
    EXPECT_TRUE(hasField(parsed(udp, 0).fields, DIPv6_31_0));
    EXPECT_FALSE(hasField(parse(macs() + word16(0x86DD) + ipv6({}, word16(1))).fields, DPORT));
    // An extension header after the end of the packet is cut off.
    const Bytes chain = ipv6({.next = 0}, Bytes{17, 0} + fill(6) + ports());
    EXPECT_EQ(fieldValue(parsed(chain, 7).fields, IPv6_NEXT_HEADER), 0u);
    EXPECT_EQ(fieldValue(parsed(chain, 8).fields, IPv6_NEXT_HEADER), 17u);
    EXPECT_FALSE(hasField(parsed(chain, 11).fields, DPORT));
    EXPECT_TRUE(hasField(parsed(chain, 12).fields, DPORT));
}

// The offset takes 13 bits. Two reserved bits and "more fragments" follow.
TEST(FrameParser, Ipv6FragmentOffsetIsThirteenBits)
{
    for (unsigned bit = 0; bit < 16; ++bit) {
        const Bytes fragment = Bytes{17, 0} + word16(1u << bit) + fill(4);
        const ParsedFrame parsed = parse(macs() + word16(0x86DD) + ipv6({.next = 44}, fragment + ports()));
        EXPECT_EQ(hasField(parsed.fields, DPORT), bit < 3) << bit;
        EXPECT_EQ(parsed.transport, bit < 3 ? 62u : 0u) << bit;
        EXPECT_EQ(fieldValue(parsed.fields, IPv6_NEXT_HEADER), 17u) << bit;
    }
}

// The payload of a later fragment does not begin with a header, so the number is not followed.
TEST(FrameParser, LaterIpv6FragmentKeepsItsNextHeader)
{
    const auto next = [](unsigned offset) {
        const Bytes fragment = Bytes{60, 0} + word16(offset) + fill(4);
        const Bytes options = Bytes{17, 0} + fill(6);
        const Bytes packet = ipv6({.next = 44}, fragment + options + ports());
        return fieldValue(parse(macs() + word16(0x86DD) + packet).fields, IPv6_NEXT_HEADER);
    };
    EXPECT_EQ(next(0), 17u);
    EXPECT_EQ(next(8), 60u);
}

TEST(FrameParser, SideDataMakesSourceInterfaceAndGemPort)
{
    const Bytes frame = macs() + word16(0x0806) + fill(46);
    ParsedFrame parsed;
    parseFrame(frame.data(), frame.size(), {}, settings(), parsed);
    EXPECT_FALSE(hasField(parsed.fields, SINF));
    EXPECT_FALSE(hasField(parsed.fields, GEMPORT));
    parseFrame(frame.data(), frame.size(), {.sourceInterface = 31, .gemPort = 0xABCD}, settings(), parsed);
    EXPECT_EQ(fieldValue(parsed.fields, SINF), 31u);
    EXPECT_EQ(fieldValue(parsed.fields, GEMPORT), 0xABCDu);
    // 0 is a valid number, and each of the two may be given alone.
    parseFrame(frame.data(), frame.size(), {.sourceInterface = 0}, settings(), parsed);
    EXPECT_EQ(fieldsOf(parsed),
              join({kAddresses, kNoTags, kind(FrameType::EthernetII), {{ETYPE, 0x0806}, {SINF, 0}}}));
    parseFrame(frame.data(), frame.size(), {.gemPort = 0}, settings(), parsed);
    EXPECT_EQ(fieldsOf(parsed),
              join({kAddresses, kNoTags, kind(FrameType::EthernetII), {{ETYPE, 0x0806}, {GEMPORT, 0}}}));
    parseFrame(frame.data(), frame.size(), {.sourceInterface = 10, .gemPort = 0x0102}, settings(), parsed);
    EXPECT_EQ(fieldValue(parsed.fields, SINF), 10u);
    EXPECT_EQ(fieldValue(parsed.fields, GEMPORT), 0x0102u);
}

// Nothing of the frame before is left in the record.
TEST(FrameParser, ForgetsTheFrameBefore)
{
    const Bytes first = macs() + tag(0x8100, 1) + tag(0x8100, 2) + word16(0x0800) + ipv4({}, ports());
    ParsedFrame parsed;
    parseFrame(first.data(), first.size(), {.sourceInterface = 1, .gemPort = 2}, settings(), parsed);
    EXPECT_EQ(parsed.ipVersion, 4);
    parseFrame(first.data(), 0, {}, settings(), parsed);
    EXPECT_EQ(parsed.fields.present, 0u);
    for (const uint32_t word : parsed.fields.word)
        EXPECT_EQ(word, 0u);
    EXPECT_EQ(parsed.network, 0u);
    EXPECT_EQ(parsed.transport, 0u);
    EXPECT_EQ(parsed.tags, 0);
    EXPECT_EQ(parsed.ipVersion, 0);
}

TEST(FrameParser, UserDefinedFieldsStandWhereTheyAreConfigured)
{
    ParserSettings where = settings();
    where.udf[0] = {UdfBase::Frame, 0};
    where.udf[1] = {UdfBase::Frame, 13};
    where.udf[2] = {UdfBase::Network, 8};
    where.udf[15] = {UdfBase::Transport, 2};
    const Bytes frame = macs() + word16(0x0800) + ipv4({.fragment = 0x4000}, ports());
    ParsedFrame parsed;
    parseFrame(frame.data(), frame.size(), {}, where, parsed);
    EXPECT_EQ(fieldValue(parsed.fields, UDF0), 0x0211u);
    EXPECT_EQ(fieldValue(parsed.fields, UDF0 + 1), 0x0045u);
    EXPECT_EQ(fieldValue(parsed.fields, UDF0 + 2), 0x4006u);
    EXPECT_EQ(fieldValue(parsed.fields, UDF0 + 3), 0x4000u) << "the default place";
    EXPECT_EQ(fieldValue(parsed.fields, UDF15), 443u);
    // Only whole words inside the frame, and only after headers that are there.
    parseFrame(frame.data(), 14, {}, where, parsed);
    EXPECT_TRUE(hasField(parsed.fields, UDF0));
    EXPECT_FALSE(hasField(parsed.fields, UDF0 + 1));
    EXPECT_FALSE(hasField(parsed.fields, UDF0 + 2));
    EXPECT_FALSE(hasField(parsed.fields, UDF15));
}

TEST(FrameParser, UserDefinedFieldsInOrderAreTheSameAsOneByOne)
{
    ParserSettings one = settings();
    ParserSettings all = settings();
    one.udfs = all.udfs = 0xB7A5;
    EXPECT_FALSE(one.udfsInOrder);
    prepareUdfs(all);
    EXPECT_TRUE(all.udfsInOrder);
    Bytes payload;
    for (unsigned n = 0; n < 40; ++n)
        payload.push_back(static_cast<uint8_t>(0x81 + 5 * n));
    for (const Bytes &head : {macs() + word16(0x0800), macs() + tag(0x8100, 7) + word16(0x86DD), macs()}) {
        for (size_t bytes = 0; bytes <= payload.size(); ++bytes) {
            const Bytes frame = head + Bytes(payload.begin(), payload.begin() + static_cast<long>(bytes));
            ParsedFrame slow;
            ParsedFrame quick;
            const SideData side = {.sourceInterface = 3, .gemPort = 9};
            parseFrame(frame.data(), frame.size(), side, one, slow);
            parseFrame(frame.data(), frame.size(), side, all, quick);
            EXPECT_TRUE(hasField(quick.fields, SINF) && hasField(quick.fields, GEMPORT));
            EXPECT_EQ(slow.fields.present, quick.fields.present) << frame.size();
            EXPECT_TRUE(
                std::equal(std::begin(slow.fields.word), std::end(slow.fields.word), quick.fields.word))
                << frame.size();
        }
    }
    // One that stands elsewhere, and back again; one with another base.
    all.udf[3].offset = 7;
    prepareUdfs(all);
    EXPECT_FALSE(all.udfsInOrder);
    all.udf[3].offset = 6;
    prepareUdfs(all);
    EXPECT_TRUE(all.udfsInOrder);
    all.udf[15].base = UdfBase::Frame;
    prepareUdfs(all);
    EXPECT_FALSE(all.udfsInOrder);
}

TEST(FrameParser, UserDefinedFieldsAreTheWordsOfTheNetworkHeaderByDefault)
{
    Bytes counting;
    for (unsigned n = 0; n < 33; ++n)
        counting.push_back(static_cast<uint8_t>(0x80 + n));
    const ParsedFrame parsed = parse(macs() + tag(0x8100, 1) + word16(0x0806) + counting);
    for (unsigned n = 0; n < 16; ++n)
        EXPECT_EQ(fieldValue(parsed.fields, UDF0 + n), 0x8081 + n * 0x0202) << n;
    // The last one needs both its bytes.
    const ParsedFrame cut = parse(macs() + word16(0x0806) + Bytes(counting.begin(), counting.begin() + 31));
    EXPECT_TRUE(hasField(cut.fields, UDF15 - 1));
    EXPECT_FALSE(hasField(cut.fields, UDF15));
}

TEST(FrameParser, OnlyTheAskedUserDefinedFieldsAreTakenOut)
{
    const Bytes frame = macs() + word16(0x0806) + fill(46, 0x77);
    for (const unsigned asked : {0x0000u, 0x0001u, 0x8000u, 0x5A5Au}) {
        ParserSettings some = settings();
        some.udfs = static_cast<uint16_t>(asked);
        ParsedFrame parsed;
        parseFrame(frame.data(), frame.size(), {}, some, parsed);
        for (unsigned n = 0; n < 16; ++n) {
            EXPECT_EQ(hasField(parsed.fields, UDF0 + n), (asked >> n & 1) != 0) << n;
            EXPECT_EQ(fieldValue(parsed.fields, UDF0 + n), (asked >> n & 1) * 0x7777) << n;
        }
    }
}

TEST(FrameParser, BasesOfUserDefinedFields)
{
    // Offsets of the network and the transport header; 0: there is none.
    const auto expect = [](const Bytes &frame, size_t network, size_t transport) {
        ParserSettings where = settings();
        where.udf[0] = {UdfBase::Network, 0};
        where.udf[1] = {UdfBase::Transport, 0};
        where.udf[2] = {UdfBase::Frame, 4};
        ParsedFrame parsed;
        parseFrame(frame.data(), frame.size(), {}, where, parsed);
        EXPECT_EQ(parsed.network, network);
        EXPECT_EQ(parsed.transport, transport);
        const auto word = [&](size_t at) { return at == 0 ? 0 : unsigned{frame[at]} << 8 | frame[at + 1]; };
        EXPECT_EQ(hasField(parsed.fields, UDF0), network != 0);
        EXPECT_EQ(fieldValue(parsed.fields, UDF0), word(network));
        EXPECT_EQ(hasField(parsed.fields, UDF0 + 1), transport != 0);
        EXPECT_EQ(fieldValue(parsed.fields, UDF0 + 1), word(transport));
        EXPECT_EQ(fieldValue(parsed.fields, UDF0 + 2), word(4));
    };
    const Bytes four = word16(0x0800) + ipv4({}, ports());
    const Bytes snap = word16(52) + hex("aa aa 03 00 00 00");
    expect(macs() + four, 14, 34);
    expect(macs() + tag(0x8100, 1) + four, 18, 38);
    expect(macs() + tag(0x88A8, 1) + tag(0x8100, 2) + word16(0x0800) + ipv4({.optionBytes = 8}, ports()), 22,
           50);
    // After SNAP, or after the length where there is no SNAP.
    expect(macs() + snap + four, 22, 42);
    expect(macs() + snap + word16(0x0806) + fill(44, 3), 22, 0);
    expect(macs() + tag(0x8100, 1) + snap + four, 26, 46);
    expect(macs() + word16(46) + hex("42 42 03") + fill(43, 3), 14, 0);
    // After the PPP protocol, whatever its number.
    const Bytes session = macs() + word16(0x8864);
    expect(session + pppoe(0, 7, word16(0x0021) + ipv4({}, ports())), 22, 42);
    expect(session + pppoe(0, 7, word16(0xC021) + fill(40, 3)), 22, 0);
    // Transport without ports; fragments; a chain that is walked, and one that is cut off.
    expect(macs() + word16(0x0800) + ipv4({.protocol = 1}, ports()), 14, 34);
    expect(macs() + word16(0x0800) + ipv4({.fragment = 1}, ports()), 14, 0);
    expect(macs() + word16(0x86DD) + ipv6({.next = 58}, ports()), 14, 54);
    expect(macs() + word16(0x86DD) + ipv6({.next = 60}, Bytes{58, 1} + fill(14) + ports()), 14, 70);
    expect(macs() + word16(0x86DD) + ipv6({.next = 60}, Bytes{58, 9} + fill(14) + ports()), 14, 0);
    expect(macs() + word16(0x86DD) + ipv6({.next = 60}, Bytes{58, 0, 1, 2}), 14, 0);
    expect(macs() + word16(0x0806) + fill(46, 3), 14, 0);
    expect(macs() + word16(0x05FF) + fill(46, 3), 0, 0);
    // A header that fills its packet has a transport base, too. The bytes there are padding.
    Bytes padded = macs() + word16(0x0800) + ipv4({}, fill(26, 9));
    padded[17] = 20;
    expect(padded, 14, 34);
    padded[17] = 19;
    expect(padded, 14, 0);
}

// The base is after the PPP protocol word if that word is complete and the code is that of session data.
TEST(FrameParser, PppoeHeaderIsTheBaseWithoutPppProtocol)
{
    const Bytes whole = macs() + word16(0x8864) + pppoe(0, 0x0102, word16(0x0021) + ipv4({}, ports()));
    for (size_t length = 16; length <= whole.size(); ++length) {
        const ParsedFrame parsed = parse(Bytes(whole.begin(), whole.begin() + static_cast<long>(length)));
        EXPECT_EQ(parsed.network, length < 22 ? 14u : 22u) << length;
        if (length != 22 && length != 23) {
            EXPECT_EQ(fieldValue(parsed.fields, UDF0), length < 22 ? 0x1100u : 0x45B9u) << length;
        }
    }
    Bytes frame = whole;
    frame[19] = 1; // the header's length cuts the word
    EXPECT_EQ(parse(frame).network, 14u);
    frame = whole;
    frame[15] = 9;
    EXPECT_EQ(parse(frame).network, 14u);
    frame = whole;
    frame[14] = 0x21;
    EXPECT_EQ(parse(frame).network, 14u);
    EXPECT_EQ(parse(macs() + word16(0x8863) + pppoe(9, 0, word16(0x0021) + fill(20))).network, 14u);
}

TEST(FrameParser, SnapFrameWithoutRoomForItsHeaderIsLlc)
{
    EXPECT_EQ(fieldsOf(parse(macs() + word16(8) + hex("aa aa 03 00 00 00 08"))),
              join({kAddresses, kNoTags, kind(FrameType::Llc)}));
}

namespace
{

// Holds a frame whose last byte is the last one of its page. The page after it cannot be read.
class PageEnd
{
public:
    PageEnd() : start_(mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))
    {
        if (start_ == MAP_FAILED || mprotect(end(), page_, PROT_NONE) != 0)
            throw std::bad_alloc();
    }
    PageEnd(const PageEnd &) = delete;
    PageEnd &operator=(const PageEnd &) = delete;
    ~PageEnd() { munmap(start_, 2 * page_); }

    const uint8_t *put(const Bytes &whole, size_t length)
    {
        std::copy_n(whole.begin(), length, end() - length);
        return end() - length;
    }

private:
    uint8_t *end() const { return static_cast<uint8_t *>(start_) + page_; }

    const size_t page_ = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void *const start_;
};

} // namespace

// Every prefix of every header: fields appear with their last byte and keep their value. No byte after the
// prefix is read: those bytes have no effect, and may be on a page that cannot be read.
class Truncation : public testing::TestWithParam<Bytes>
{
};

TEST_P(Truncation, FieldsAppearWithTheirLastByte)
{
    const Bytes &whole = GetParam();
    const ParsedFrame complete = parse(whole, 0x9100);
    PageEnd pageEnd;
    // User-defined fields move when a header before the network header becomes complete.
    constexpr uint64_t kFixed = fieldBit(UDF0) - 1;
    uint64_t before = 0;
    for (size_t length = 0; length <= whole.size(); ++length) {
        const ParsedFrame parsed =
            parse(Bytes(whole.begin(), whole.begin() + static_cast<long>(length)), 0x9100);
        Bytes noise = whole;
        for (size_t n = length; n < noise.size(); ++n)
            noise[n] = static_cast<uint8_t>(~noise[n]);
        ParsedFrame same;
        parseFrame(noise.data(), length, {}, settings(0x9100), same);
        EXPECT_EQ(memcmp(&parsed.fields, &same.fields, sizeof same.fields), 0) << length;
        parseFrame(pageEnd.put(whole, length), length, {}, settings(0x9100), same);
        EXPECT_EQ(memcmp(&parsed.fields, &same.fields, sizeof same.fields), 0) << length;
        EXPECT_EQ(parsed.fields.present & before, before) << "a field vanished at " << length;
        for (unsigned f = 1; f < UDF0; ++f) {
            if (f == IPv6_NEXT_HEADER || f == FRAME_TYPE)
                continue; // these name the last header that is whole
            EXPECT_EQ(fieldValue(parsed.fields, f),
                      hasField(parsed.fields, f) ? fieldValue(complete.fields, f) : 0)
                << f << " " << length;
        }
        before = parsed.fields.present & kFixed;
    }
    EXPECT_EQ(before, complete.fields.present & kFixed);
}

INSTANTIATE_TEST_SUITE_P(
    Headers, Truncation,
    testing::Values(macs() + word16(0x0800) + ipv4({.optionBytes = 12}, ports()),
                    macs() + tag(0x8100, 1) + word16(0x0800) + ipv4({.protocol = 17}, ports()),
                    macs() + tag(0x88A8, 1) + tag(0x9100, 2) + word16(0x86DD) + ipv6({}, ports()),
                    macs() + word16(0x8864) + pppoe(0, 7, word16(0x0021) + ipv4({}, ports())),
                    macs() + tag(0x8100, 9) + word16(0x8864) +
                        pppoe(0, 7, word16(0x0057) + ipv6({}, ports())),
                    macs() + word16(0x8863) + pppoe(9, 0, fill(20, 3)),
                    macs() + word16(0x86DD) +
                        ipv6({.next = 0}, Bytes{44, 0} + fill(6) + Bytes{51, 0} + fill(6) + Bytes{6, 4} +
                                              fill(22) + ports()),
                    macs() + word16(60) + hex("aa aa 03 00 00 00 08 00") + ipv4({}, ports(1, 2, 28)),
                    macs() + word16(40) + hex("42 42 03") + fill(37)));

namespace
{

// From this length of the frame on, these fields are present with these values.
struct Appearance {
    size_t length;
    Fields fields;
};

struct Timetable {
    const char *name;
    Bytes frame;
    std::vector<Appearance> appearances;
};

Fields without(Fields fields, unsigned field)
{
    fields.erase(field);
    return fields;
}

const Fields kDestination = {{DMAC, 0x021122334455}, {DMAC_TYPE, 0}};
const Fields kSource = {{SMAC, 0x0A66778899AA}};
const Fields kIpv4Header = without(kIpv4, ETYPE);
const Fields kIpv6Header = without(kIpv6Addresses, ETYPE);

Fields type(unsigned etype, FrameType kindOfFrame = FrameType::EthernetII)
{
    return join({{{ETYPE, etype}}, kind(kindOfFrame)});
}

Fields nextHeader(unsigned value)
{
    return {{IPv6_NEXT_HEADER, value}};
}

std::vector<Timetable> timetables()
{
    const Bytes chain = Bytes{60, 1} + fill(14) + Bytes{43, 0} + fill(6) + Bytes{44, 0} + fill(6) +
                        Bytes{51, 0} + fill(6) + Bytes{6, 4} + fill(22) + ports();
    return {
        {"two tags, options",
         macs() + tag(0x88A8, 0x3064) + tag(0x8100, 0x5065) + word16(0x0800) +
             ipv4({.optionBytes = 12}, ports()),
         {{6, kDestination},
          {12, kSource},
          {16, {{VPM0, 2}, {VID0, 100}, {PBIT0, 3}}},
          {20, {{VPM1, 1}, {VID1, 101}, {PBIT1, 5}}},
          {22, type(0x0800)},
          {42, kIpv4Header},
          {58, kPorts}}},
        {"one tag, address resolution",
         macs() + tag(0x8100, 0x3064) + word16(0x0806) + fill(28),
         {{6, kDestination},
          {12, kSource},
          {16, {{VPM0, 1}, {VID0, 100}, {PBIT0, 3}}},
          {18, join({type(0x0806), {{VPM1, 0}}})}}},
        {"extension headers",
         macs() + word16(0x86DD) + ipv6({.next = 0}, chain),
         {{6, kDestination},
          {12, kSource},
          {14, join({type(0x86DD), kNoTags})},
          {54, join({kIpv6Header, nextHeader(0)})},
          {70, nextHeader(60)},
          {78, nextHeader(43)},
          {86, nextHeader(44)},
          {94, nextHeader(51)},
          {118, nextHeader(6)},
          {122, kPorts}}},
        {"PPPoE session",
         macs() + word16(0x8864) + pppoe(0, 7, word16(0x0021) + ipv4({}, ports())),
         {{6, kDestination},
          {12, kSource},
          {14, join({type(0x8864, FrameType::PppoeSession), kNoTags})},
          {20, {{PPPOE_SESSION, 7}}},
          {42, kIpv4Header},
          {46, kPorts}}},
        {"PPPoE session with IPv6",
         macs() + word16(0x8864) + pppoe(0, 7, word16(0x0057) + ipv6({}, ports())),
         {{6, kDestination},
          {12, kSource},
          {14, join({type(0x8864, FrameType::PppoeSession), kNoTags})},
          {20, {{PPPOE_SESSION, 7}}},
          {62, join({kIpv6Header, nextHeader(17)})},
          {66, kPorts}}},
        {"PPPoE discovery",
         macs() + word16(0x8863) + pppoe(9, 8, fill(20)),
         {{6, kDestination},
          {12, kSource},
          {14, join({type(0x8863, FrameType::PppoeDiscovery), kNoTags})},
          {20, {{PPPOE_SESSION, 8}}}}},
        {"SNAP",
         macs() + word16(52) + hex("aa aa 03 00 00 00 08 00") + ipv4({}, ports()),
         {{6, kDestination},
          {12, kSource},
          {14, join({kind(FrameType::Llc), kNoTags})},
          {22, type(0x0800, FrameType::Snap)},
          {42, kIpv4Header},
          {46, kPorts}}},
        {"undefined length/type word",
         macs() + word16(0x05FF) + fill(46),
         {{6, kDestination}, {12, kSource}, {14, join({kind(FrameType::Undefined), kNoTags})}}},
    };
}

} // namespace

// Not a byte earlier and not a byte later.
TEST(TruncationTable, EachHeaderShowsWithItsLastByte)
{
    for (const Timetable &table : timetables()) {
        Fields expected;
        auto next = table.appearances.begin();
        for (size_t length = 0; length <= table.frame.size(); ++length) {
            if (next != table.appearances.end() && next->length == length) {
                for (const auto &[field, value] : next->fields)
                    expected[field] = value;
                ++next;
            }
            const Bytes cut(table.frame.begin(), table.frame.begin() + static_cast<long>(length));
            EXPECT_EQ(fieldsOf(parse(cut)), expected) << table.name << " cut to " << length;
        }
        EXPECT_EQ(next, table.appearances.end()) << table.name;
    }
}
