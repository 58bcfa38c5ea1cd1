// SPDX-License-Identifier: MIT OR GPL-2.0
// LUT0 rules: valid bit, enable bitmap, commands, masks and keys of the 41 words.
//
// A rule is given by its words in record order (`word` of IFC_LUT0_Format; a row of the engine's table).
// `field` is 1 to 31 throughout.
#pragma once

#include "ifc/records/condition.h"

namespace ifc
{
namespace
{

constexpr uint32_t kWideValid = 0x80000000u; // in word 0, above the enable bitmap
constexpr uint kCommandsPerWord = 16;        // two bits each: fields 1 to 16 in word 2, the others in word 1
constexpr uint32_t kCommandBits17To31 = 0x3FFFFFFFu;

constexpr bool wideValid(const uint32_t *rule)
{
    return (rule[0] & kWideValid) != 0;
}

// Bit f - 1: field f is compared.
constexpr uint32_t wideEnabled(const uint32_t *rule)
{
    return rule[0] & ~kWideValid;
}

constexpr bool wideEnables(const uint32_t *rule, uint field)
{
    return (rule[0] >> (field - 1) & 1) != 0;
}

// The lowest enabled field above `field` (0 to 31); 0: there is none. Visits all of them like this:
//   for (uint field = nextWideField(rule, 0); field != 0; field = nextWideField(rule, field))
constexpr uint nextWideField(const uint32_t *rule, uint field)
{
    const uint32_t left = wideEnabled(rule) >> field;
    return left != 0 ? field + 1 + static_cast<uint>(__builtin_ctz(left)) : 0;
}

constexpr uint commandWord(uint field)
{
    return field <= kCommandsPerWord ? 2 : 1;
}

constexpr uint commandLsb(uint field)
{
    return 2 * ((field - 1) % kCommandsPerWord);
}

// The 2-bit code as it stands in the record, also for fields that know one bit only.
constexpr uint wideCommand(const uint32_t *rule, uint field)
{
    return rule[commandWord(field)] >> commandLsb(field) & 3;
}

// Known: a command above 3 is not cut to two bits, so it spills into the fields above. It ends with the
// word in word 2, and in word 1 with the 30 command bits.
constexpr void setWideCommand(uint32_t *rule, uint field, uint command)
{
    uint32_t &word = rule[commandWord(field)];
    const uint32_t bits = (word & ~(3u << commandLsb(field))) | command << commandLsb(field);
    word = field <= kCommandsPerWord ? bits : (bits & kCommandBits17To31) | (word & ~kCommandBits17To31);
}

// A field of an area whose last, least significant word is `last`. Words of a record count downwards.
constexpr uint64_t areaField(const uint32_t *last, uint field)
{
    const FieldPlace place = fieldPlace(field);
    const uint32_t *word = last - place.lsb / 32;
    uint64_t pair = word[0];
    if (place.lsb % 32u + place.width > 32)
        pair |= uint64_t{word[-1]} << 32;
    return pair >> place.lsb % 32 & lowBits(place.width);
}

constexpr void setAreaField(uint32_t *last, uint field, uint64_t value)
{
    const FieldPlace place = fieldPlace(field);
    uint32_t *word = last - place.lsb / 32;
    const uint64_t ones = lowBits(place.width) << place.lsb % 32;
    const uint64_t bits = value << place.lsb % 32 & ones;
    word[0] = (word[0] & ~lowWord(ones)) | lowWord(bits);
    if (highWord(ones) != 0)
        word[-1] = (word[-1] & ~highWord(ones)) | highWord(bits);
}

constexpr uint kMaskLastWord = IFC_LUT0_MASK_WORD + IFC_LUT0_AREA_WORDS - 1;
constexpr uint kKeyLastWord = IFC_LUT0_KEY_WORD + IFC_LUT0_AREA_WORDS - 1;

// Masks and keys, right-aligned, up to 48 bits. Setting drops the bits above the field's width.
constexpr uint64_t wideMask(const uint32_t *rule, uint field)
{
    return areaField(rule + kMaskLastWord, field);
}

constexpr uint64_t wideKey(const uint32_t *rule, uint field)
{
    return areaField(rule + kKeyLastWord, field);
}

constexpr void setWideMask(uint32_t *rule, uint field, uint64_t mask)
{
    setAreaField(rule + kMaskLastWord, field, mask);
}

constexpr void setWideKey(uint32_t *rule, uint field, uint64_t key)
{
    setAreaField(rule + kKeyLastWord, field, key);
}

// The condition on `field`, whether enabled or not. The command is the code of the record.
constexpr Condition decodeWide(const uint32_t *rule, uint field)
{
    return {static_cast<uint8_t>(field), static_cast<Command>(wideCommand(rule, field)), 0,
            wideMask(rule, field), wideKey(rule, field)};
}

// Adds one condition as ifc_set_lut0_rules() does: sets valid bit, enable bit, command, mask and key, and
// changes nothing else. False, and nothing is changed: a LUT0 rule does not hold this field.
constexpr bool addToWide(IFC_LUT0_Format &rule, const Condition &condition)
{
    if (!isWideField(condition.field))
        return false;
    rule.word[0] |= kWideValid | 1u << (condition.field - 1);
    setWideCommand(rule.word, condition.field, static_cast<uint>(condition.command));
    setWideMask(rule.word, condition.field, condition.mask << condition.part);
    setWideKey(rule.word, condition.field, condition.key << condition.part);
    return true;
}

// A rule of `count` conditions: what ifc_set_lut0_rules() makes of a free rule, one condition after the
// other. False: some field does not fit, and the rule lacks it.
constexpr bool encodeWide(IFC_LUT0_Format &rule, const Condition *conditions, uint count)
{
    rule = {};
    bool good = true;
    for (uint n = 0; n < count; ++n)
        good = addToWide(rule, conditions[n]) && good;
    return good;
}

// Checks the places above against the bit-field view. Clang 14 cannot cast bit-fields in a constant
// expression; there the unit tests compare at run time.
static_assert(sizeof(IFC_LUT0_Area) == 4 * IFC_LUT0_AREA_WORDS);
static_assert(sizeof(IFC_LUT0_Format) == 4 * IFC_LUT0_WORDS);
#ifndef __clang__
struct WideWords {
    uint32_t word[IFC_LUT0_WORDS];
};
using WideView = decltype(IFC_LUT0_Format::bits);

constexpr bool agreeWithWideView()
{
    WideWords words{};
    words.word[0] = kWideValid;
    WideView view = __builtin_bit_cast(WideView, words);
    if (view.valid != 1 || view.enable != 0)
        return false;
    words.word[0] = ~kWideValid;
    setWideCommand(words.word, 1, 3);
    setWideCommand(words.word, 16, 1);
    setWideCommand(words.word, 17, 2);
    setWideCommand(words.word, 31, 3);
    view = __builtin_bit_cast(WideView, words);
    if (view.valid != 0 || view.enable != 0x7FFFFFFF || view.command_1_16 != 0x40000003 ||
        view.command_17_31 != 0x30000002 || view.reserved != 0)
        return false;

    // Each field holds its own id, once as mask and once as key.
    for (uint field = 1; field <= IFC_LUT0_FIELDS; ++field) {
        setWideMask(words.word, field, field);
        setWideKey(words.word, field, field);
    }
    // MAC addresses also in their upper bits, above and below the border between the two words.
    setWideMask(words.word, DMAC, 0xAAAA00000001);
    setWideMask(words.word, SMAC, 0xBBBB0000CCCC);
    view = __builtin_bit_cast(WideView, words);
    const IFC_LUT0_Area &m = view.mask;
    const IFC_LUT0_Area &k = view.key;
    if (m.dmac_31_0 != 1 || m.dmac_47_32 != 0xAAAA || m.smac_15_0 != 0xCCCC || m.smac_47_16 != 0xBBBB0000 ||
        k.dmac_31_0 != 1 || k.dmac_47_32 != 0 || k.smac_15_0 != 2 || k.smac_47_16 != 0 || m.reserved != 0 ||
        k.reserved != 0)
        return false;
#define IFC_SAME(field, member)                                                           \
    if (m.member != ((field)&fieldOnes(field)) || k.member != ((field)&fieldOnes(field))) \
        return false;
    IFC_SAME(DIPv4, dipv4)
    IFC_SAME(SIPv4, sipv4)
    IFC_SAME(DIPv6_31_0, dipv6_31_0)
    IFC_SAME(DIPv6_63_32, dipv6_63_32)
    IFC_SAME(DIPv6_95_64, dipv6_95_64)
    IFC_SAME(DIPv6_127_96, dipv6_127_96)
    IFC_SAME(SIPv6_31_0, sipv6_31_0)
    IFC_SAME(SIPv6_63_32, sipv6_63_32)
    IFC_SAME(SIPv6_95_64, sipv6_95_64)
    IFC_SAME(SIPv6_127_96, sipv6_127_96)
    IFC_SAME(FLOW_LABEL, flow_label)
    IFC_SAME(SINF, sinf)
    IFC_SAME(FRAME_TYPE, frame_type)
    IFC_SAME(VPM0, vpm0)
    IFC_SAME(VPM1, vpm1)
    IFC_SAME(VID0, vid0)
    IFC_SAME(PBIT0, pbit0)
    IFC_SAME(VID1, vid1)
    IFC_SAME(PBIT1, pbit1)
    IFC_SAME(ETYPE, etype)
    IFC_SAME(GEMPORT, gemport)
    IFC_SAME(IPv4_PROTOCOL, ipv4_protocol)
    IFC_SAME(IPv6_NEXT_HEADER, ipv6_next_header)
    IFC_SAME(IPv4_DSCP, ipv4_dscp)
    IFC_SAME(IPv6_TRAFFIC_CLASS, ipv6_traffic_class)
    IFC_SAME(DPORT, dport)
    IFC_SAME(SPORT, sport)
    IFC_SAME(PPPOE_SESSION, pppoe_session)
    IFC_SAME(DMAC_TYPE, dmac_type)
#undef IFC_SAME
    return true;
}
static_assert(agreeWithWideView());
#endif

} // namespace
} // namespace ifc
