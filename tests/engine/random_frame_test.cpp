// SPDX-License-Identifier: MIT OR GPL-2.0
// Random frames, byte by byte, and rules made for them: each rule hits its frame, and misses the same frame
// with one masked bit of one of its fields changed.
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "classifier_fixture.h"

using namespace engine;
using namespace frames;

namespace
{

constexpr uint16_t kUserTpid = 0x9100;
constexpr unsigned kTpids[] = {0, 0x8100, 0x88A8, kUserTpid}; // by VPM code

// Fields that have no bits of their own in a frame. For them the rule gets another key instead.
const std::map<unsigned, const char *> kWithoutOwnBits = {
    {FRAME_TYPE, "follows from the length/type word: another kind is another frame"},
    {DMAC_TYPE, "follows from DMAC: it changes with that field"},
};

// A single changed bit of these fields would change the headers of the frame, so change() does not make it:
//   VPM0, VPM1          the whole TPID is exchanged; a change to or from code 0 would add or remove a tag
//   ETYPE               the types of IP, PPPoE and tags, and words below 0x0600, announce other headers
//   IPv6_NEXT_HEADER    a number that becomes an extension header's begins a chain
// These fields change together, so a rule of the other conditions leaves them out:
//   DMAC                DMAC_TYPE, with the group bit and around broadcast
//   IPv4_PROTOCOL, IPv6_NEXT_HEADER    SPORT, DPORT

bool isExtension(unsigned next)
{
    return next == 0 || next == 43 || next == 44 || next == 51 || next == 60;
}

bool hasPorts(unsigned protocol)
{
    return protocol == 6 || protocol == 17 || protocol == 33 || protocol == 132 || protocol == 136;
}

// A type after which the classifier reads no header.
bool isOpaque(unsigned type)
{
    for (const unsigned known : {0x0800u, 0x86DDu, 0x8863u, 0x8864u, 0x8100u, 0x88A8u, unsigned{kUserTpid}}) {
        if (type == known)
            return false;
    }
    return type >= 0x0600;
}

struct Spot {
    size_t lsb;    // of the field: bit of the frame, counted from the first one sent
    unsigned bits; // that the frame has of the field
};

struct Frame {
    Bytes bytes;
    SideData side;
    UdfPlace udf[16] = {};
    std::map<unsigned, uint64_t>
        value; // of every field that the frame has; no UDF after the end of the frame
    std::map<unsigned, Spot> spot;
    size_t tpid[2] = {};
    bool laterFragment = false;
};

// Writes headers from the first bit on, and notes what each field gets.
class Writer
{
public:
    explicit Writer(Random &random) : random_(random) {}

    Frame make()
    {
        addresses();
        tags();
        lengthOrType();
        userDefined();
        if (!random_.oneIn(4))
            side(SINF, frame_.side.sourceInterface, 0x1F);
        if (!random_.oneIn(4))
            side(GEMPORT, frame_.side.gemPort, 0xFFFF);
        return frame_;
    }

private:
    unsigned below(unsigned bound) { return random_.below(bound); }
    size_t at() const { return bits_ / 8; }

    void append(unsigned width, uint64_t value)
    {
        for (unsigned n = width; n-- > 0; ++bits_) {
            if (bits_ % 8 == 0)
                frame_.bytes.push_back(0);
            frame_.bytes.back() |= static_cast<uint8_t>((value >> n & 1) << (7 - bits_ % 8));
        }
    }
    void append(unsigned width) { append(width, random_.wide()); }
    void field(unsigned id, unsigned width, uint64_t value)
    {
        value &= (uint64_t{1} << width) - 1;
        append(width, value);
        frame_.value[id] = value;
        frame_.spot[id] = {bits_ - 1, width};
    }
    void field(unsigned id, unsigned width) { field(id, width, random_.wide()); }
    void noise(size_t bytes)
    {
        while (bytes-- > 0)
            append(8);
    }
    void put16(size_t where, size_t value)
    {
        frame_.bytes[where] = static_cast<uint8_t>(value >> 8);
        frame_.bytes[where + 1] = static_cast<uint8_t>(value);
    }
    void side(unsigned id, int32_t &value, unsigned ones)
    {
        value = static_cast<int32_t>(random_.word() & ones);
        frame_.value[id] = static_cast<uint64_t>(value);
    }

    void addresses()
    {
        constexpr uint64_t kGroup = uint64_t{1} << 40;
        const unsigned type = below(3);
        uint64_t address = random_.wide() & ~kGroup;
        if (type != 0)
            address = type == 1 ? address | kGroup : ~uint64_t{0};
        field(DMAC, 48, address);
        frame_.value[DMAC_TYPE] = type;
        field(SMAC, 48);
    }

    void tags()
    {
        const unsigned count = below(3);
        for (unsigned n = 0; n < 2; ++n) {
            const unsigned code = n < count ? 1 + below(3) : 0;
            frame_.value[n == 0 ? VPM0 : VPM1] = code;
            if (code == 0)
                continue;
            frame_.tpid[n] = at();
            append(16, kTpids[code]);
            field(n == 0 ? PBIT0 : PBIT1, 4);
            field(n == 0 ? VID0 : VID1, 12);
        }
    }

    unsigned opaqueType()
    {
        for (;;) {
            const unsigned type = random_.word() & 0xFFFF;
            if (isOpaque(type))
                return type;
        }
    }

    void lengthOrType()
    {
        enum { kEthernet, kLlc, kSnap, kUndefined };
        const unsigned framing = random_.oneIn(2) ? +kEthernet : below(4);
        // 0 opaque, 1 and 2 IP, 3 and 4 PPPoE
        const unsigned content = below(5);
        const unsigned types[] = {opaqueType(), 0x0800, 0x86DD, 0x8863, 0x8864};
        if (framing == kEthernet) {
            field(ETYPE, 16, types[content]);
            frame_.value[FRAME_TYPE] = content < 3 ? 0 : content;
            contentOf(content);
            padding();
        } else if (framing == kUndefined) {
            append(16, 0x05DD + below(0x23));
            frame_.value[FRAME_TYPE] = 5;
            payload();
        } else {
            const size_t length = at();
            append(16, 0);
            frame_.value[FRAME_TYPE] = framing;
            if (framing == kLlc) {
                network_ = at();
                append(24, 0x424203);
                payload();
            } else {
                append(48, 0xAAAA03000000);
                field(ETYPE, 16, types[content]);
                contentOf(content);
            }
            put16(length, at() - length - 2);
            padding();
        }
    }

    void contentOf(unsigned content)
    {
        network_ = at();
        if (content == 0)
            payload();
        else if (content <= 2)
            ip(content == 1);
        else
            pppoe(content == 4);
    }

    void pppoe(bool session)
    {
        append(8, 0x11);
        append(8, session ? 0x00 : 0x09);
        field(PPPOE_SESSION, 16);
        const size_t length = at();
        append(16, 0);
        if (session) {
            const unsigned inside = below(3);
            append(16, inside == 0 ? 0xC021 : inside == 1 ? 0x0021 : 0x0057);
            network_ = at();
            if (inside == 0)
                payload();
            else
                ip(inside == 1);
        } else {
            payload();
        }
        put16(length, at() - length - 2);
    }

    void ip(bool four)
    {
        constexpr unsigned kPortProtocols[] = {6, 17, 33, 132, 136};
        unsigned protocol = random_.oneIn(3) ? random_.word() & 0xFF : kPortProtocols[below(5)];
        if (!four && isExtension(protocol))
            protocol = 6;
        frame_.laterFragment = random_.oneIn(8);
        const size_t length = at() + (four ? 2 : 4);
        const size_t counted = four ? at() : at() + 40; // where the length counts from
        if (four)
            ipv4(protocol);
        else
            ipv6(protocol);
        if (!frame_.laterFragment) {
            transport_ = at();
            if (hasPorts(protocol)) {
                field(SPORT, 16);
                field(DPORT, 16);
            }
        }
        payload();
        put16(length, at() - counted);
    }

    void ipv4(unsigned protocol)
    {
        const unsigned options = random_.oneIn(3) ? below(11) : 0;
        append(4, 4);
        append(4, 5 + options);
        field(IPv4_DSCP, 8);
        append(16, 0); // total length
        append(16);
        append(3);
        append(13, frame_.laterFragment ? 1 + below(0x1FFF) : 0);
        append(8);
        field(IPv4_PROTOCOL, 8, protocol);
        append(16); // checksum: the classifier does not look at it
        field(SIPv4, 32);
        field(DIPv4, 32);
        noise(4 * options);
    }

    void ipv6(unsigned protocol)
    {
        std::vector<unsigned> chain;
        for (unsigned n = below(4); n != 0; --n) {
            constexpr unsigned kExtensions[] = {0, 43, 51, 60};
            chain.push_back(kExtensions[below(4)]);
        }
        if (frame_.laterFragment)
            chain.push_back(44);
        else if (random_.oneIn(4))
            chain.insert(chain.begin() + below(static_cast<unsigned>(chain.size() + 1)), 44);

        append(4, 6);
        field(IPv6_TRAFFIC_CLASS, 8);
        field(FLOW_LABEL, 20);
        append(16, 0); // payload length
        nextHeader(chain.empty() ? nullptr : &chain.front(), protocol);
        append(8);
        for (unsigned n = 4; n-- > 0;)
            field(SIPv6_31_0 + n, 32);
        for (unsigned n = 4; n-- > 0;)
            field(DIPv6_31_0 + n, 32);
        for (size_t n = 0; n < chain.size(); ++n) {
            nextHeader(n + 1 == chain.size() ? nullptr : &chain[n + 1], protocol);
            if (chain[n] == 44) {
                append(8);
                append(13, frame_.laterFragment ? 1 + below(0x1FFF) : 0);
                append(3);
                append(32);
                continue;
            }
            const unsigned more = below(3);
            append(8, chain[n] == 51 ? 2 * more : more); // authentication counts fours and two less
            noise(6 + 8 * more);
        }
    }

    void nextHeader(const unsigned *extension, unsigned protocol)
    {
        if (extension != nullptr)
            append(8, *extension);
        else
            field(IPv6_NEXT_HEADER, 8, protocol);
    }

    void payload()
    {
        payload_ = at();
        noise(32 + below(40));
    }

    void padding() { noise(random_.oneIn(2) ? below(12) : 0); }

    // Sixteen words of the payload, each by one of the bases that the frame has.
    void userDefined()
    {
        unsigned order[16];
        for (unsigned n = 0; n < 16; ++n)
            order[n] = n;
        for (unsigned n = 16; n > 1; --n)
            std::swap(order[n - 1], order[below(n)]);
        for (unsigned n = 0; n < 16; ++n) {
            const size_t byte = payload_ + 2 * order[n];
            const std::pair<UdfBase, size_t> bases[] = {
                {UdfBase::Frame, 0}, {UdfBase::Network, network_}, {UdfBase::Transport, transport_}};
            auto base = bases[below(3)];
            if (base.second == 0)
                base = bases[0];
            frame_.udf[n] = {base.first, static_cast<uint16_t>(byte - base.second)};
            frame_.value[UDF0 + n] = unsigned{frame_.bytes[byte]} << 8 | frame_.bytes[byte + 1];
            frame_.spot[UDF0 + n] = {8 * byte + 15, 16};
        }
    }

    Random &random_;
    Frame frame_;
    size_t bits_ = 0;
    size_t network_ = 0;
    size_t transport_ = 0;
    size_t payload_ = 0;
};

struct Changed {
    Bytes bytes;
    SideData side;
    std::set<unsigned> along; // other fields that change or disappear with it
};

// The frame with one bit of one field changed. None if that bit cannot be changed.
std::optional<Changed> change(const Frame &frame, unsigned field, unsigned bit)
{
    Changed changed{frame.bytes, frame.side, {}};
    const uint64_t value = frame.value.at(field) ^ uint64_t { 1 } << bit;
    switch (field) {
    case SINF:
        changed.side.sourceInterface ^= 1 << bit;
        return changed;
    case GEMPORT:
        changed.side.gemPort ^= 1 << bit;
        return changed;
    case VPM0:
    case VPM1: {
        const size_t at = frame.tpid[field == VPM0 ? 0 : 1];
        if (at == 0 || value == 0)
            return {};
        changed.bytes[at] = static_cast<uint8_t>(kTpids[value] >> 8);
        changed.bytes[at + 1] = static_cast<uint8_t>(kTpids[value]);
        return changed;
    }
    case ETYPE:
        if (!isOpaque(static_cast<unsigned>(value)) ||
            !isOpaque(static_cast<unsigned>(frame.value.at(field))))
            return {};
        break;
    case DMAC:
        if (bit == 40 || frame.value.at(DMAC_TYPE) == 2)
            changed.along = {DMAC_TYPE};
        break;
    case IPv6_NEXT_HEADER:
        if (!frame.laterFragment && isExtension(static_cast<unsigned>(value)))
            return {};
        changed.along = {SPORT, DPORT};
        break;
    case IPv4_PROTOCOL:
        changed.along = {SPORT, DPORT};
        break;
    default:
        break;
    }
    const auto spot = frame.spot.find(field);
    if (spot == frame.spot.end() || bit >= spot->second.bits)
        return {};
    const size_t at = spot->second.lsb - bit;
    changed.bytes[at / 8] ^= static_cast<uint8_t>(0x80 >> at % 8);
    return changed;
}

constexpr uint64_t kMacLow = 0xFFFFFFFF;

bool fulfilled(const Term &term, uint64_t value, bool narrow)
{
    const uint64_t have = value & term.mask;
    const uint64_t want = term.key & term.mask;
    switch (term.command) {
    case 0:
        return have == want;
    case 1: // two narrow entries hold an address, and each must differ
        if (narrow && term.field <= IFC_LAST_MAC_FIELD && (term.mask & kMacLow) != 0 &&
            (term.mask & ~kMacLow) != 0)
            return (have & kMacLow) != (want & kMacLow) && (have & ~kMacLow) != (want & ~kMacLow);
        return have != want;
    case 2:
        return have >= want;
    default:
        return have <= want;
    }
}

uint64_t oneBitOf(Random &random, uint64_t bits)
{
    for (unsigned skip = random.below(static_cast<unsigned>(__builtin_popcountll(bits))); skip != 0; --skip)
        bits &= bits - 1;
    return bits & (0 - bits);
}

// A condition that this value meets, sometimes by a single bit.
Term termFor(Random &random, unsigned field, uint64_t value, bool narrow)
{
    const uint64_t ones = fieldOnes(field);
    uint64_t mask = random.oneIn(3) ? ones : random.wide() & ones;
    if (narrow && field <= IFC_LAST_WORD_FIELD)
        mask = contiguousMask(random, field);
    else if (mask == 0)
        mask = oneBitOf(random, ones);
    Term term{field, random.below(field <= IFC_LAST_WORD_FIELD ? 2 : 4), mask, value};
    const uint64_t masked = mask & ones;
    if (term.command == 1) {
        for (const uint64_t half : {masked & kMacLow, masked & ~kMacLow})
            term.key ^= half != 0 ? oneBitOf(random, half) : 0;
        if (!narrow)
            term.key = value ^ oneBitOf(random, masked);
    } else if (term.command != 0) {
        // Moves the key below (command 2) or above the value by one bit, but never by the highest.
        const uint64_t free = term.command == 2 ? value & masked : ~value & masked;
        uint64_t highest = free;
        while ((highest & (highest - 1)) != 0)
            highest &= highest - 1;
        const uint64_t lower = free & ~highest;
        term.key ^= lower != 0 && random.oneIn(2) ? oneBitOf(random, lower) : 0;
    }
    term.key ^= random.wide() & ~mask & ones; // what is not masked does not matter
    return term;
}

unsigned entriesOf(const std::vector<Term> &terms)
{
    unsigned count = 0;
    for (const Term &term : terms)
        count += term.field <= IFC_LAST_MAC_FIELD ? 2 : 1;
    return count;
}

constexpr unsigned kWideFrom = 9; // entries: the driver then takes LUT0

// Some of the frame's fields: for a narrow rule few, for a wide one nine entries or more where it has them.
std::vector<Term> termsFor(Random &random, const Frame &frame, bool narrow)
{
    std::vector<unsigned> fields;
    for (const auto &[field, value] : frame.value) {
        if (narrow || field <= IFC_LUT0_FIELDS)
            fields.push_back(field);
    }
    for (size_t n = fields.size(); n > 1; --n)
        std::swap(fields[n - 1], fields[random.below(static_cast<unsigned>(n))]);
    const unsigned wanted = narrow ? 1 + random.below(7) : kWideFrom + random.below(12);
    std::vector<Term> terms;
    for (const unsigned field : fields) {
        if (entriesOf(terms) >= wanted)
            break;
        terms.push_back(termFor(random, field, frame.value.at(field), narrow));
    }
    return terms;
}

class RandomFrames : public ClassifierTest
{
protected:
    static int place(const std::vector<Term> &terms)
    {
        orva_ifc_param request{};
        for (const Term &term : terms)
            add(request, term.field, term.command, term.mask, term.key);
        return host::quietly([&] { return ifc_set_lut_rules_auto(&request); });
    }

    HitBits hits(const Bytes &bytes, const SideData &side)
    {
        ParsedFrame parsed;
        classifier->setMethod(Classifier::Method::Plain);
        const HitBits plain = hitBitsOf(classifier->classify(bytes.data(), bytes.size(), side, parsed).hits);
        classifier->setMethod(Classifier::Method::Fast);
        const HitBits fast = hitBitsOf(classifier->classify(bytes.data(), bytes.size(), side, parsed).hits);
        EXPECT_EQ(plain, fast);
        return fast;
    }
};

constexpr HitBits bitOf(int entry)
{
    return HitBits{1} << entry;
}

// A masked bit that `possible` accepts. None if there is no such bit.
template <typename Possible>
std::optional<unsigned> turningBit(Random &random, uint64_t mask, Possible possible)
{
    std::vector<unsigned> bits;
    for (; mask != 0; mask &= mask - 1) {
        const unsigned bit = engine::lowestBit(mask);
        if (possible(bit))
            bits.push_back(bit);
    }
    if (bits.empty())
        return {};
    return bits[random.below(static_cast<unsigned>(bits.size()))];
}

constexpr uint64_t oneBit(unsigned bit)
{
    return uint64_t{1} << bit;
}

} // namespace

TEST_F(RandomFrames, HitTheirRulesAndMissThemWithOneBitChanged)
{
    Random random(4711);
    set_frame_engine_data(FE_TPID_CFG, unsigned{kUserTpid} << 16);
    // By table (0 wide, 1 narrow) and field: commands seen, frames changed, keys changed instead.
    unsigned commands[2][kFieldEnd] = {};
    unsigned changes[2][kFieldEnd] = {};
    unsigned keys[2][kFieldEnd] = {};
    unsigned othersHeld = 0;

    for (unsigned round = 0; round < 3000; ++round) {
        const bool narrow = !random.oneIn(3);
        const Frame frame = Writer(random).make();
        for (unsigned n = 0; n < 16; ++n)
            classifier->setUdf(n, frame.udf[n]);
        const std::vector<Term> terms = termsFor(random, frame, narrow);
        if (narrow != (entriesOf(terms) < kWideFrom))
            continue; // a frame with too few fields for a wide rule

        clear_all_ifc_rules();
        const int entry = place(terms);
        ASSERT_GE(entry, 0);
        ASSERT_EQ(entry >= 8, narrow);
        ASSERT_EQ(hits(frame.bytes, frame.side), bitOf(entry)) << "round " << round;

        // Each condition alone makes the rule miss.
        std::vector<std::pair<Term, Changed>> changed;
        std::vector<Term> unchanged;
        for (const Term &term : terms) {
            const uint64_t value = frame.value.at(term.field);
            ASSERT_TRUE(fulfilled(term, value, narrow));
            commands[narrow][term.field] |= 1u << term.command;
            const auto bit = turningBit(random, term.mask & fieldOnes(term.field), [&](unsigned n) {
                return !fulfilled(term, value ^ oneBit(n), narrow) && change(frame, term.field, n);
            });
            if (!bit) {
                unchanged.push_back(term);
                continue;
            }
            changed.emplace_back(term, *change(frame, term.field, *bit));
            ASSERT_EQ(hits(changed.back().second.bytes, changed.back().second.side), 0u)
                << "round " << round << " field " << term.field << " command " << term.command;
            ++changes[narrow][term.field];
        }

        // The other conditions still hold: a rule of them alone hits the changed frame.
        if (!changed.empty()) {
            const auto &[term, other] = changed[random.below(static_cast<unsigned>(changed.size()))];
            std::vector<Term> others;
            for (const Term &one : terms) {
                if (one.field != term.field && other.along.count(one.field) == 0)
                    others.push_back(one);
            }
            if (!others.empty() && narrow == (entriesOf(others) < kWideFrom)) {
                const int second = place(others);
                ASSERT_GE(second, 0);
                ASSERT_EQ(hits(frame.bytes, frame.side), bitOf(entry) | bitOf(second)) << "round " << round;
                ASSERT_EQ(hits(other.bytes, other.side), bitOf(second))
                    << "round " << round << " field " << term.field;
                ++othersHeld;
            }
        }

        // If the frame has no bit to change, the rule gets another key.
        if (!unchanged.empty()) {
            const Term &term = unchanged[random.below(static_cast<unsigned>(unchanged.size()))];
            const uint64_t value = frame.value.at(term.field);
            const auto bit = turningBit(random, term.mask & fieldOnes(term.field), [&](unsigned n) {
                return !fulfilled({term.field, term.command, term.mask, term.key ^ oneBit(n)}, value, narrow);
            });
            if (!bit)
                continue;
            std::vector<Term> rule = terms;
            for (Term &one : rule)
                one.key ^= one.field == term.field ? oneBit(*bit) : 0;
            clear_all_ifc_rules();
            ASSERT_GE(place(rule), 0);
            ASSERT_EQ(hits(frame.bytes, frame.side), 0u)
                << "round " << round << " field " << term.field << " command " << term.command;
            ++keys[narrow][term.field];
        }
    }

    for (unsigned field = 1; field < kFieldEnd; ++field) {
        for (const bool narrow : {false, true}) {
            if (!narrow && field > IFC_LUT0_FIELDS)
                continue;
            EXPECT_EQ(commands[narrow][field], field <= IFC_LAST_WORD_FIELD ? 3u : 15u) << field;
            if (kWithoutOwnBits.count(field) != 0) {
                EXPECT_EQ(changes[narrow][field], 0u) << field << " " << kWithoutOwnBits.at(field);
                EXPECT_GT(keys[narrow][field], 20u) << field;
            } else {
                EXPECT_GT(changes[narrow][field], 20u) << field << (narrow ? " narrow" : " wide");
            }
        }
    }
    EXPECT_GT(othersHeld, 1500u);
}
