// SPDX-License-Identifier: MIT OR GPL-2.0
// A small generator whose sequence a seed determines on every machine, and random tables and frames from it.
#pragma once

#include <cstdint>

#include "engine/field_image.h"
#include "engine/register_window.h"

class Random
{
public:
    explicit Random(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15u + 1) {}
    uint32_t word()
    {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return static_cast<uint32_t>(state_ >> 16);
    }
    uint64_t wide() { return uint64_t{word()} << 32 | word(); }
    unsigned below(unsigned bound) { return word() % bound; }
    bool oneIn(unsigned n) { return below(n) == 0; }

private:
    uint64_t state_;
};

// Values from a small set, so that rules and frames meet.
inline uint64_t likelyValue(Random &random)
{
    switch (random.below(4)) {
    case 0:
        return random.below(3);
    case 1:
        return ~uint64_t{0} - random.below(3);
    case 2:
        return 0x0001000200030004u >> 16 * random.below(3);
    default:
        return random.wide();
    }
}

inline uint32_t likelyMask(Random &random)
{
    switch (random.below(4)) {
    case 0:
        return 0xFFFFFFFF;
    case 1:
        return 0;
    case 2:
        return 1u << random.below(32);
    default:
        return random.word();
    }
}

// Fields that a frame of some kind does not have: those of a set are missing together.
inline uint64_t absentInFrame(Random &random)
{
    using engine::fieldBit;
    constexpr uint64_t kOuter = fieldBit(VID0) | fieldBit(PBIT0);
    constexpr uint64_t kInner = fieldBit(VID1) | fieldBit(PBIT1);
    constexpr uint64_t kIpv4 =
        fieldBit(DIPv4) | fieldBit(SIPv4) | fieldBit(IPv4_PROTOCOL) | fieldBit(IPv4_DSCP);
    constexpr uint64_t kIpv6 = 2 * fieldBit(FLOW_LABEL) - fieldBit(DIPv6_31_0) + fieldBit(IPv6_NEXT_HEADER) +
                               fieldBit(IPv6_TRAFFIC_CLASS);
    constexpr uint64_t kPorts = fieldBit(SPORT) | fieldBit(DPORT);
    constexpr uint64_t kNetworks[] = {kIpv4 | kIpv6 | kPorts, kIpv6, kIpv4, kIpv6 | kPorts, kIpv4 | kPorts};
    constexpr uint64_t kTags[] = {0, kInner, kInner | kOuter};
    return kNetworks[random.below(5)] | kTags[random.below(3)] |
           (random.oneIn(2) ? fieldBit(PPPOE_SESSION) : 0);
}

// Half of the images are such as a frame gives, the others have any fields.
inline void randomFields(Random &random, engine::FieldImage &fields)
{
    fields = {};
    const uint64_t absent =
        random.oneIn(2) ? absentInFrame(random) : random.wide() & random.wide() & random.wide();
    for (unsigned f = 1; f < engine::kFieldEnd; ++f) {
        if ((absent >> f & 1) == 0)
            engine::setField(fields, f, likelyValue(random));
    }
}

// Any image at all, also those that no operation writes, thinned out so that rules do hit.
inline void randomTables(Random &random, engine::Tables &tables)
{
    tables = {};
    for (auto &rule : tables.lut0) {
        for (uint32_t &word : rule)
            word = random.word();
        for (unsigned n = 0; n < IFC_LUT0_AREA_WORDS; ++n) {
            rule[IFC_LUT0_MASK_WORD + n] = likelyMask(random) & likelyMask(random);
            rule[IFC_LUT0_KEY_WORD + n] = static_cast<uint32_t>(likelyValue(random));
        }
        uint32_t enable = random.word();
        for (unsigned n = random.below(5); n != 0; --n)
            enable &= random.word();
        rule[0] = (random.oneIn(4) ? 0 : 0x80000000u) | (enable & 0x7FFFFFFF);
        for (unsigned n = 1; n <= 2; ++n)
            rule[n] = random.oneIn(2) ? 0 : random.word();
    }
    for (auto &entry : tables.lut1) {
        IFC_LUT1_Format view{};
        view.word[0] = random.word();
        view.word[1] = random.oneIn(2) ? likelyMask(random) : static_cast<uint32_t>(likelyValue(random));
        view.type0.valid = !random.oneIn(6);
        view.type0.end = random.oneIn(2);
        if (!random.oneIn(8)) {
            view.type0.field = (1 + random.below(IFC_LUT1_FIELDS)) & 63;
            view.type0.command = random.oneIn(2) ? 0 : view.type0.command;
        }
        entry[0] = view.word[0];
        entry[1] = view.word[1];
    }
}
