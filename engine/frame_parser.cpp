// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/frame_parser.h"

#include "engine/wire.h"
#include "ifc/records/chip.h"

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
    return fieldPlace(field).lsb / 32;
}

constexpr unsigned shiftOf(unsigned field)
{
    return fieldPlace(field).lsb % 32;
}

constexpr uint64_t fieldBits(unsigned first, unsigned last)
{
    return (fieldBit(last) << 1) - fieldBit(first);
}

// Each field is put once, into an image of zeros.
template <unsigned Field>
inline void put(FieldImage &image, uint32_t value)
{
    static_assert(shiftOf(Field) + fieldPlace(Field).width <= 32);
    image.word[wordOf(Field)] |= value << shiftOf(Field);
}

// Two words at once, the lower one first.
inline void putPair(FieldImage &image, unsigned word, uint64_t value)
{
    __builtin_memcpy(image.word + word, &value, sizeof value);
}

// What is left of a layer: `left` bytes from `at` on.
struct Rest {
    const uint8_t *at;
    uint32_t left;

    Rest after(uint32_t bytes) const { return {at + bytes, left - bytes}; }
    Rest upTo(uint32_t bytes) const { return {at, bytes < left ? bytes : left}; }
};

// The layers of a frame. Fields go to the image. Everything else stays here until the end, so that compilers
// can keep it in registers across writes to the image. Each layer notes its present fields in a variable of
// its own: a single variable would be written too often.
struct Parser {
    const uint8_t *data;
    uint32_t length;
    FieldImage &fields;
    uint64_t macs = 0; // fields that are present
    uint64_t tagged = 0;
    uint64_t types = 0;
    uint64_t session = 0;
    uint64_t addresses = 0;
    uint64_t ports = 0;
    uint64_t others = 0;
    uint32_t network = 0;
    uint32_t transport = 0;
    uint8_t tags = 0;
    uint8_t ipVersion = 0;

    uint32_t offset(const Rest &rest) const { return static_cast<uint32_t>(rest.at - data); }

    [[gnu::always_inline]] void transportHeader(uint32_t protocol, const Rest &rest)
    {
        transport = offset(rest);
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
        if (rest.left < kPortBytes)
            return;
        static_assert(wordOf(SPORT) == wordOf(DPORT) && shiftOf(SPORT) == 16 && shiftOf(DPORT) == 0);
        fields.word[wordOf(SPORT)] = be32(rest.at);
        ports = fieldBit(SPORT) | fieldBit(DPORT);
    }

    [[gnu::always_inline]] void ipv4(Rest rest)
    {
        if (rest.left < kIpv4Bytes)
            return;
        const uint8_t *header = rest.at;
        const uint32_t headerBytes = (header[0] & 0xFu) * 4;
        if (header[0] >> 4 != 4 || headerBytes < kIpv4Bytes)
            return;
        const uint32_t protocol = header[9];
        const uint32_t octet = header[1]; // Model: the whole octet, code point and ECN (RFC 2474, RFC 3168)
        fields.word[wordOf(IPv4_DSCP)] = octet << shiftOf(IPv4_DSCP) | protocol << shiftOf(IPv4_PROTOCOL);
        static_assert(wordOf(SIPv4) == wordOf(DIPv4) + 1);
        putPair(fields, wordOf(DIPv4), be64(header + 12));
        addresses = fieldBit(IPv4_DSCP) | fieldBit(IPv4_PROTOCOL) | fieldBit(SIPv4) | fieldBit(DIPv4);
        ipVersion = 4;
        rest = rest.upTo(be16(header + 2));
        const uint32_t fragmentOffset = be16(header + 6) & 0x1FFF;
        if (fragmentOffset == 0 && rest.left >= headerBytes)
            transportHeader(
                protocol,
                rest.after(headerBytes)); // Model: no header is skipped here, not even authentication
    }

    [[gnu::always_inline]] void ipv6(Rest rest)
    {
        if (rest.left < kIpv6Bytes)
            return;
        const uint8_t *header = rest.at;
        if (header[0] >> 4 != 6)
            return;
        const uint32_t first = be32(header);
        put<FLOW_LABEL>(fields, first & 0xFFFFF);
        putPair(fields, wordOf(SIPv6_95_64), be64(header + 8));
        putPair(fields, wordOf(SIPv6_31_0), be64(header + 16));
        putPair(fields, wordOf(DIPv6_95_64), be64(header + 24));
        putPair(fields, wordOf(DIPv6_31_0), be64(header + 32));
        ipVersion = 6;
        rest = rest.after(kIpv6Bytes).upTo(be16(header + 4));

        uint32_t upper = header[6];
        const bool firstFragment = !isExtension(upper) || extensions(upper, rest);
        fields.word[wordOf(IPv6_TRAFFIC_CLASS)] =
            (first >> 20 & 0xFF) << shiftOf(IPv6_TRAFFIC_CLASS) | upper << shiftOf(IPv6_NEXT_HEADER);
        addresses =
            fieldBits(DIPv6_31_0, FLOW_LABEL) | fieldBit(IPv6_TRAFFIC_CLASS) | fieldBit(IPv6_NEXT_HEADER);
        if (firstFragment)
            transportHeader(upper, rest);
    }

    static bool isExtension(uint32_t next)
    {
        return next == kHopByHop || next == kRouting || next == kFragment || next == kDestinationOptions ||
               next == kAuthentication;
    }

    // Walks the extension headers after the base header. False: no transport header starts here, because a
    // header is cut off or the packet is a later fragment.
    static bool extensions(uint32_t &next, Rest &rest)
    {
        while (isExtension(next)) {
            if (rest.left < 8)
                return false;
            const uint8_t *header = rest.at;
            uint32_t bytes = 8;
            if (next == kAuthentication)
                bytes = (header[1] + 2u) * 4;
            else if (next != kFragment)
                bytes = (header[1] + 1u) * 8;
            if (rest.left < bytes)
                return false;
            const bool later = next == kFragment && (be16(header + 2) & 0xFFF8) != 0;
            next = header[0];
            rest = rest.after(bytes);
            // Model: no header follows the header of a later fragment, so its number is not followed.
            if (later)
                return false;
        }
        return true;
    }

    [[gnu::always_inline]] void pppoe(Rest rest, bool isSession)
    {
        if (rest.left < kPppoeBytes || rest.at[0] != 0x11)
            return;
        const uint8_t *header = rest.at;
        put<PPPOE_SESSION>(fields, be16(header + 2));
        session = fieldBit(PPPOE_SESSION);
        rest = rest.after(kPppoeBytes).upTo(be16(header + 4));
        if (!isSession || header[1] != 0 || rest.left < kPppProtocolBytes)
            return;
        const uint32_t protocol = be16(rest.at);
        rest = rest.after(kPppProtocolBytes);
        network = offset(rest); // Model: until here it was the PPPoE header
        if (protocol == kPppIpv4)
            ipv4(rest);
        else if (protocol == kPppIpv6)
            ipv6(rest);
    }

    void payload(uint32_t type, const Rest &rest)
    {
        switch (type) {
        case kTypeIpv4:
            ipv4(rest);
            break;
        case kTypeIpv6:
            ipv6(rest);
            break;
        case kTypePppoeDiscovery:
        case kTypePppoeSession:
            pppoe(rest, type == kTypePppoeSession);
            break;
        default:
            break;
        }
    }

    void typeField(uint32_t type)
    {
        put<ETYPE>(fields, type);
        types |= fieldBit(ETYPE);
    }

    // The words after a length of IEEE 802.3: LLC, perhaps SNAP. Sets the type, or 0, and what follows it.
    FrameType llc(uint32_t &type, Rest &rest)
    {
        rest = rest.upTo(type);
        type = 0;
        network = offset(rest);
        const uint8_t *header = rest.at;
        // Model: a SNAP header that is cut off is LLC.
        if (rest.left < kSnapBytes || header[0] != 0xAA || header[1] != 0xAA || header[2] != 0x03 ||
            header[3] != 0 || header[4] != 0 || header[5] != 0)
            return FrameType::Llc;
        type = be16(header + 6);
        typeField(type);
        rest = rest.after(kSnapBytes);
        network = offset(rest);
        return FrameType::Snap;
    }

    // The rest of a tag after its TPID, and the next length/type word. False: the frame ends before that
    // word.
    template <unsigned Vpm, unsigned Vid, unsigned Pbit>
    bool tag(uint32_t vpm, uint32_t &type, Rest &rest)
    {
        if (rest.left < 2)
            return false;
        const uint32_t control = be16(rest.at);
        put<Vpm>(fields, vpm);
        put<Vid>(fields, control & 0xFFF);
        put<Pbit>(fields, control >> 12);
        tagged |= fieldBit(Vpm) | fieldBit(Vid) | fieldBit(Pbit);
        ++tags;
        if (rest.left < 4)
            return false;
        type = be16(rest.at + 2);
        rest = rest.after(4);
        return true;
    }

    void typeAndPayload(uint16_t userTpid)
    {
        if (length < kTypeOffset + 2)
            return;
        uint32_t type = be16(data + kTypeOffset);
        Rest rest{data + kTypeOffset + 2, length - kTypeOffset - 2};
        uint32_t vpm = ifc::vpmOf(type, userTpid);
        if (vpm != ifc::kVpmNone) [[unlikely]] {
            if (!tag<VPM0, VID0, PBIT0>(vpm, type, rest))
                return;
            vpm = ifc::vpmOf(type, userTpid);
            if (vpm != ifc::kVpmNone && !tag<VPM1, VID1, PBIT1>(vpm, type, rest))
                return;
        }
        // Model: no tag is VPM code 0.
        types = fieldBit(VPM0) | fieldBit(VPM1) | fieldBit(FRAME_TYPE);

        FrameType kind = FrameType::EthernetII;
        if (type >= kFirstType) {
            typeField(type);
            network = offset(rest);
            if (type == kTypePppoeDiscovery)
                kind = FrameType::PppoeDiscovery;
            else if (type == kTypePppoeSession)
                kind = FrameType::PppoeSession;
        } else if (type <= kLastLength) {
            kind = llc(type, rest);
        } else {
            kind = FrameType::Undefined;
        }
        put<FRAME_TYPE>(fields, static_cast<uint32_t>(kind));
        payload(type, rest);
    }

    // Addresses are numbers of 48 bits.
    void destination(uint64_t address)
    {
        const uint64_t multicast = address >> 40 & 1;
        const uint64_t broadcast = address == 0xFFFFFFFFFFFF;
        static_assert(DmacType{1} == DmacType::Multicast && DmacType{2} == DmacType::Broadcast);
        put<DMAC_TYPE>(fields, static_cast<uint32_t>(multicast + broadcast));
        macs = fieldBit(DMAC) | fieldBit(DMAC_TYPE);
        putPair(fields, wordOf(DMAC), address);
    }

    void bothMacs(uint64_t to, uint64_t from)
    {
        destination(to);
        static_assert(wordOf(SMAC) == 1 && shiftOf(SMAC) == 16);
        putPair(fields, 1, to >> 32 | from << 16);
        macs |= fieldBit(SMAC);
    }

    void macAddresses()
    {
        const auto at = [&](uint32_t offset) {
            return uint64_t{be16(data + offset)} << 32 | be32(data + offset + 2);
        };
        if (length >= 2 * kMacBytes + 2)
            bothMacs(be64(data) >> 16, be64(data + kMacBytes) >> 16);
        else if (length >= 2 * kMacBytes)
            bothMacs(at(0), at(kMacBytes));
        else if (length >= kMacBytes)
            destination(at(0));
    }

    void sideData(const SideData &side)
    {
        if (side.sourceInterface >= 0) {
            put<SINF>(fields, static_cast<uint32_t>(side.sourceInterface & fieldOnes(SINF)));
            others |= fieldBit(SINF);
        }
        if (side.gemPort >= 0) {
            put<GEMPORT>(fields, static_cast<uint32_t>(side.gemPort & fieldOnes(GEMPORT)));
            others |= fieldBit(GEMPORT);
        }
    }

    // Takes all of them at once, as words of the network header. False: the frame is too short for that.
    bool userDefinedInOrder(const ParserSettings &settings)
    {
        using Halves = uint16_t __attribute__((vector_size(32)));
        if (network == 0 || length < network + sizeof(Halves))
            return false;
        Halves halves;
        __builtin_memcpy(&halves, data + network, sizeof halves);
        Halves keep;
        __builtin_memcpy(&keep, settings.udfKeep, sizeof keep);
        halves = (halves << 8 | halves >> 8) & keep;
        __builtin_memcpy(fields.word + IFC_LUT0_AREA_WORDS, &halves, sizeof halves);
        others |= uint64_t{settings.udfs} << UDF0;
        return true;
    }

    void userDefined(const ParserSettings &settings)
    {
        if (settings.udfsInOrder && userDefinedInOrder(settings)) [[likely]]
            return;
        for (unsigned left = settings.udfs; left != 0; left &= left - 1) {
            const unsigned n = static_cast<unsigned>(__builtin_ctz(left));
            const UdfPlace &place = settings.udf[n];
            uint32_t at = 0;
            if (place.base != UdfBase::Frame) {
                at = place.base == UdfBase::Network ? network : transport;
                if (at == 0)
                    continue;
            }
            at += place.offset;
            if (length < at + 2)
                continue;
            fields.word[IFC_LUT0_AREA_WORDS + n / 2] |= be16(data + at) << 16 * (n & 1);
            others |= fieldBit(UDF0 + n);
        }
    }

    uint64_t present() const { return macs | tagged | types | session | addresses | ports | others; }
};

} // namespace

void defaultUdfs(ParserSettings &settings)
{
    for (unsigned n = 0; n < 16; ++n)
        settings.udf[n] = {UdfBase::Network, static_cast<uint16_t>(2 * n)};
}

void prepareUdfs(ParserSettings &settings)
{
    ParserSettings ordered;
    defaultUdfs(ordered);
    settings.udfsInOrder = true;
    for (unsigned n = 0; n < 16; ++n) {
        settings.udfsInOrder = settings.udfsInOrder && settings.udf[n].base == ordered.udf[n].base &&
                               settings.udf[n].offset == ordered.udf[n].offset;
        settings.udfKeep[n] = (settings.udfs >> n & 1) != 0 ? 0xFFFF : 0;
    }
}

void parseFrame(const uint8_t *data, size_t length, const SideData &side, const ParserSettings &settings,
                ParsedFrame &parsed)
{
    // Offsets have 32 bits. Only the first 16 MB are looked at, so no offset overflows.
    constexpr size_t kFar = 1u << 24;
    clearFields(parsed.fields);
    Parser parser{data, static_cast<uint32_t>(length < kFar ? length : kFar), parsed.fields};
    parser.macAddresses();
    parser.typeAndPayload(settings.userTpid);
    parser.sideData(side);
    if (settings.udfs != 0)
        parser.userDefined(settings);
    parsed.fields.present = parser.present();
    parsed.network = parser.network;
    parsed.transport = parser.transport;
    parsed.tags = parser.tags;
    parsed.ipVersion = parser.ipVersion;
}

} // namespace engine
