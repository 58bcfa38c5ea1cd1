// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/frame_parser.h"

#include "engine/network_layers.h"
#include "ifc/records/chip.h"

namespace engine
{

namespace
{

constexpr uint32_t kPppoeBytes = 6;
constexpr uint32_t kPppProtocolBytes = 2;
constexpr uint32_t kSnapBytes = 8;

// The layers of a frame from its front.
struct Parser : NetworkLayers {
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
            put<SINF>(fields,
                      static_cast<uint32_t>(static_cast<uint64_t>(side.sourceInterface) & fieldOnes(SINF)));
            others |= fieldBit(SINF);
        }
        if (side.gemPort >= 0) {
            put<GEMPORT>(fields,
                         static_cast<uint32_t>(static_cast<uint64_t>(side.gemPort) & fieldOnes(GEMPORT)));
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
    Parser parser{{{data, static_cast<uint32_t>(length < kFar ? length : kFar), parsed.fields}}};
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
