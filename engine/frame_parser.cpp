// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/frame_parser.h"

#include "engine/wire.h"

namespace engine
{

namespace
{

constexpr uint32_t kPppoeBytes = 6;
constexpr uint32_t kPppProtocolBytes = 2;
constexpr uint32_t kSnapBytes = 8;
constexpr uint32_t kPortBytes = 4;

enum : uint32_t {
    kHopByHop = 0,
    kTcp = 6,
    kUdp = 17,
    kDccp = 33,
    kRouting = 43,
    kFragment = 44,
    kAuthentication = 51,
    kDestinationOptions = 60,
    kSctp = 132,
    kUdpLite = 136,
};

constexpr unsigned wordOf(unsigned field)
{
    return kFieldPlaces.place[field].lsb / 32;
}

constexpr unsigned shiftOf(unsigned field)
{
    return kFieldPlaces.place[field].lsb % 32;
}

constexpr uint64_t fieldBits(unsigned first, unsigned last)
{
    return (fieldBit(last) << 1) - fieldBit(first);
}

// The image starts at zero and a field is put once.
template <unsigned Field>
inline void put(FieldImage &image, uint32_t value)
{
    static_assert(shiftOf(Field) + kFieldPlaces.place[Field].width <= 32);
    image.word[wordOf(Field)] |= value << shiftOf(Field);
}

// The parts of a frame, each with the end of its enclosing layer.
struct Parser {
    const uint8_t *data;
    uint32_t length;
    ParsedFrame &out;

    void ports(uint32_t protocol, uint32_t at, uint32_t end)
    {
        out.transport = at;
        switch (protocol) {
        case kTcp:
        case kUdp:
        case kDccp:
        case kSctp:
        case kUdpLite:
            break;
        default:
            return;
        }
        if (end < at + kPortBytes)
            return;
        put<SPORT>(out.fields, be16(data + at));
        put<DPORT>(out.fields, be16(data + at + 2));
        out.fields.present |= fieldBit(SPORT) | fieldBit(DPORT);
    }

    void ipv4(uint32_t at, uint32_t end)
    {
        if (end < at + kIpv4Bytes)
            return;
        const uint8_t *header = data + at;
        const uint32_t headerBytes = (header[0] & 0xFu) * 4;
        if (header[0] >> 4 != 4 || headerBytes < kIpv4Bytes)
            return;
        const uint32_t protocol = header[9];
        put<IPv4_DSCP>(out.fields, header[1] >> 2); // Model: RFC 2474, without the two ECN bits
        put<IPv4_PROTOCOL>(out.fields, protocol);
        put<SIPv4>(out.fields, be32(header + 12));
        put<DIPv4>(out.fields, be32(header + 16));
        out.fields.present |=
            fieldBit(IPv4_DSCP) | fieldBit(IPv4_PROTOCOL) | fieldBit(SIPv4) | fieldBit(DIPv4);
        out.ipVersion = 4;
        const uint32_t packetEnd = at + be16(header + 2);
        if (packetEnd < end)
            end = packetEnd;
        const uint32_t fragmentOffset = be16(header + 6) & 0x1FFF;
        if (fragmentOffset == 0 && end >= at + headerBytes)
            ports(protocol, at + headerBytes, end); // Model: nothing is walked, not even authentication
    }

    void ipv6(uint32_t at, uint32_t end)
    {
        if (end < at + kIpv6Bytes)
            return;
        const uint8_t *header = data + at;
        if (header[0] >> 4 != 6)
            return;
        const uint32_t first = be32(header);
        put<FLOW_LABEL>(out.fields, first & 0xFFFFF);
        put<IPv6_TRAFFIC_CLASS>(out.fields, first >> 20 & 0xFF);
        uint32_t *source = out.fields.word + wordOf(SIPv6_31_0);
        uint32_t *destination = out.fields.word + wordOf(DIPv6_31_0);
        for (unsigned n = 0; n < 4; ++n) {
            source[3 - n] = be32(header + 8 + 4 * n);
            destination[3 - n] = be32(header + 24 + 4 * n);
        }
        out.ipVersion = 6;
        const uint32_t payloadBytes = be16(header + 4);
        if (end - at - kIpv6Bytes > payloadBytes)
            end = at + kIpv6Bytes + payloadBytes;

        const uint32_t next = header[6];
        uint32_t upper = next;
        const bool first_fragment = isExtension(next) ? extensions(upper, at, end) : (at += kIpv6Bytes, true);
        put<IPv6_NEXT_HEADER>(out.fields, upper);
        out.fields.present |=
            fieldBits(DIPv6_31_0, FLOW_LABEL) | fieldBit(IPv6_TRAFFIC_CLASS) | fieldBit(IPv6_NEXT_HEADER);
        if (first_fragment)
            ports(upper, at, end);
    }

    static bool isExtension(uint32_t next)
    {
        return next == kHopByHop || next == kRouting || next == kFragment || next == kDestinationOptions ||
               next == kAuthentication;
    }

    // Walks the chain from the base header at `at`. False: what follows is not the start of a transport
    // header, because a header is cut off or the packet is a later fragment.
    bool extensions(uint32_t &next, uint32_t &at, uint32_t end) const
    {
        at += kIpv6Bytes;
        while (isExtension(next)) {
            if (end < at + 8)
                return false;
            const uint8_t *header = data + at;
            uint32_t bytes = 8;
            if (next == kAuthentication)
                bytes = (header[1] + 2u) * 4;
            else if (next != kFragment)
                bytes = (header[1] + 1u) * 8;
            if (end < at + bytes)
                return false;
            const bool later = next == kFragment && (be16(header + 2) & 0xFFF8) != 0;
            next = header[0];
            at += bytes;
            // Model: behind a later fragment's header stands no header, so its number is not followed.
            if (later)
                return false;
        }
        return true;
    }

    void pppoe(uint32_t at, uint32_t end, bool session)
    {
        if (end < at + kPppoeBytes || data[at] != 0x11)
            return;
        put<PPPOE_SESSION>(out.fields, be16(data + at + 2));
        out.fields.present |= fieldBit(PPPOE_SESSION);
        const uint32_t payloadEnd = at + kPppoeBytes + be16(data + at + 4);
        if (payloadEnd < end)
            end = payloadEnd;
        at += kPppoeBytes;
        if (!session || data[at - kPppoeBytes + 1] != 0 || end < at + kPppProtocolBytes)
            return;
        const uint32_t protocol = be16(data + at);
        at += kPppProtocolBytes;
        out.network = at; // Model: until here it was the PPPoE header
        if (protocol == kPppIpv4)
            ipv4(at, end);
        else if (protocol == kPppIpv6)
            ipv6(at, end);
    }

    void payload(uint32_t type, uint32_t at, uint32_t end)
    {
        switch (type) {
        case kTypeIpv4:
            ipv4(at, end);
            break;
        case kTypeIpv6:
            ipv6(at, end);
            break;
        case kTypePppoeDiscovery:
            pppoe(at, end, false);
            break;
        case kTypePppoeSession:
            pppoe(at, end, true);
            break;
        default:
            break;
        }
    }

    // The words behind a length of IEEE 802.3: LLC, perhaps SNAP.
    FrameType llc(uint32_t at, uint32_t bytes)
    {
        uint32_t end = length;
        if (end - at > bytes)
            end = at + bytes;
        out.network = at;
        const uint8_t *header = data + at;
        // Model: a SNAP header that is cut off is LLC.
        if (end < at + kSnapBytes || header[0] != 0xAA || header[1] != 0xAA || header[2] != 0x03 ||
            header[3] != 0 || header[4] != 0 || header[5] != 0)
            return FrameType::Llc;
        const uint32_t type = be16(header + 6);
        put<ETYPE>(out.fields, type);
        out.fields.present |= fieldBit(ETYPE);
        out.network = at + kSnapBytes;
        payload(type, at + kSnapBytes, end);
        return FrameType::Snap;
    }

    // VPM code of a TPID, 0 for any other word.
    static uint32_t vpmOf(uint32_t type, uint16_t userTpid)
    {
        if (type == kTpid8021Q)
            return 1;
        if (type == kTpid8021ad)
            return 2;
        return userTpid != 0 && type == userTpid ? 3 : 0;
    }

    void typeAndPayload(uint16_t userTpid)
    {
        uint32_t at = kTypeOffset;
        if (length < at + 2)
            return;
        uint32_t type = be16(data + at);
        at += 2;
        uint32_t vpm = vpmOf(type, userTpid);
        if (vpm != 0) [[unlikely]] {
            if (length < at + 2)
                return;
            const uint32_t outer = be16(data + at);
            put<VPM0>(out.fields, vpm);
            put<VID0>(out.fields, outer & 0xFFF);
            put<PBIT0>(out.fields, outer >> 12);
            out.fields.present |= fieldBit(VPM0) | fieldBit(VID0) | fieldBit(PBIT0);
            out.tags = 1;
            if (length < at + 4)
                return;
            type = be16(data + at + 2);
            at += 4;
            vpm = vpmOf(type, userTpid);
            if (vpm != 0) {
                if (length < at + 2)
                    return;
                const uint32_t inner = be16(data + at);
                put<VPM1>(out.fields, vpm);
                put<VID1>(out.fields, inner & 0xFFF);
                put<PBIT1>(out.fields, inner >> 12);
                out.fields.present |= fieldBit(VPM1) | fieldBit(VID1) | fieldBit(PBIT1);
                out.tags = 2;
                if (length < at + 4)
                    return;
                type = be16(data + at + 2);
                at += 4;
            }
        }
        // Model: no tag is VPM code 0.
        out.fields.present |= fieldBit(VPM0) | fieldBit(VPM1) | fieldBit(FRAME_TYPE);

        FrameType kind = FrameType::EthernetII;
        if (type >= kFirstType) {
            put<ETYPE>(out.fields, type);
            out.fields.present |= fieldBit(ETYPE);
            out.network = at;
            if (type == kTypePppoeDiscovery)
                kind = FrameType::PppoeDiscovery;
            else if (type == kTypePppoeSession)
                kind = FrameType::PppoeSession;
            payload(type, at, length);
        } else {
            kind = type <= kLastLength ? llc(at, type) : FrameType::Undefined;
        }
        put<FRAME_TYPE>(out.fields, static_cast<uint32_t>(kind));
    }

    void addresses()
    {
        if (length < kMacBytes)
            return;
        const uint32_t high = be16(data);
        const uint32_t low = be32(data + 2);
        out.fields.word[0] = low;
        out.fields.word[1] = high;
        DmacType type = (high & 0x0100) != 0 ? DmacType::Multicast : DmacType::Unicast;
        if ((high & low << 16 >> 16 & low >> 16) == 0xFFFF)
            type = DmacType::Broadcast;
        put<DMAC_TYPE>(out.fields, static_cast<uint32_t>(type));
        out.fields.present |= fieldBit(DMAC) | fieldBit(DMAC_TYPE);
        if (length < 2 * kMacBytes)
            return;
        const uint32_t sourceLow = be32(data + kMacBytes + 2);
        out.fields.word[1] |= sourceLow << 16;
        out.fields.word[2] = be16(data + kMacBytes) << 16 | sourceLow >> 16;
        out.fields.present |= fieldBit(SMAC);
    }

    void userDefined(const ParserSettings &settings)
    {
        for (unsigned left = settings.udfs; left != 0; left &= left - 1) {
            const unsigned n = static_cast<unsigned>(__builtin_ctz(left));
            const UdfPlace &place = settings.udf[n];
            uint32_t at = 0;
            if (place.base != UdfBase::Frame) {
                at = place.base == UdfBase::Network ? out.network : out.transport;
                if (at == 0)
                    continue;
            }
            at += place.offset;
            if (length < at + 2)
                continue;
            out.fields.word[IFC_LUT0_AREA_WORDS + n / 2] |= be16(data + at) << 16 * (n & 1);
            out.fields.present |= fieldBit(UDF0 + n);
        }
    }
};

} // namespace

void defaultUdfs(ParserSettings &settings)
{
    for (unsigned n = 0; n < 16; ++n)
        settings.udf[n] = {UdfBase::Network, static_cast<uint16_t>(2 * n)};
}

void parseFrame(const uint8_t *data, size_t length, const SideData &side, const ParserSettings &settings,
                ParsedFrame &parsed)
{
    // Offsets are 32 bits wide and stay far from their end; no header lies behind the first 16 MB.
    constexpr size_t kFar = 1u << 24;
    clearFields(parsed.fields);
    parsed.network = 0;
    parsed.transport = 0;
    parsed.tags = 0;
    parsed.ipVersion = 0;
    Parser parser{data, static_cast<uint32_t>(length < kFar ? length : kFar), parsed};
    parser.addresses();
    parser.typeAndPayload(settings.userTpid);
    if (side.sourceInterface >= 0) {
        put<SINF>(parsed.fields, static_cast<uint32_t>(side.sourceInterface) & 0x1F);
        parsed.fields.present |= fieldBit(SINF);
    }
    if (side.gemPort >= 0) {
        put<GEMPORT>(parsed.fields, static_cast<uint32_t>(side.gemPort) & 0xFFFF);
        parsed.fields.present |= fieldBit(GEMPORT);
    }
    if (settings.udfs != 0)
        parser.userDefined(settings);
}

} // namespace engine
