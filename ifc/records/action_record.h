// SPDX-License-Identifier: MIT OR GPL-2.0
// Action entries: places of the fields, what each sub-action sets and prints, enable bits by chip revision.
//
// An entry is given by its four words in record order (`word` of IFC_Action_Format; a row of the engine's
// table).
#pragma once

#include "ifc/records/chip.h"

namespace ifc
{

// A field by its place in the 128-bit entry, in which every field is contiguous. Width 0: no field.
struct ActionField {
    uint8_t lsb;
    uint8_t width;
};

namespace
{

constexpr uint kActionWords = 4;

constexpr ActionField kQueue = {0, 3};
constexpr ActionField kChannel = {3, 5};
constexpr ActionField kFport = {8, 4};
constexpr ActionField kSpTag = {12, 16}; // special tag or GEM port
constexpr ActionField kCnt0 = {28, 6};   // in two words
constexpr ActionField kCnt1 = {34, 5};
constexpr ActionField kMtrG = {40, 8};
constexpr ActionField kIpv4Dscp = {48, 8};
constexpr ActionField kIpv6TrafficClass = {56, 8};
constexpr ActionField kVid0 = {64, 16};
constexpr ActionField kVid0Low = {64, 12};
constexpr ActionField kVid0High = {76, 4};
constexpr ActionField kVid1 = {80, 16};
constexpr ActionField kVid1Low = {80, 12};
constexpr ActionField kVid1High = {92, 4};
constexpr ActionField kVo0 = {96, 2};
constexpr ActionField kVo1 = {98, 2};
constexpr ActionField kVpm0 = {100, 2};
constexpr ActionField kFqos = {102, 1};
constexpr ActionField kFast = {103, 1};
constexpr ActionField kMc = {104, 1};
constexpr ActionField kKeepPcp = {105, 1};
constexpr ActionField kDpi = {106, 1};
constexpr ActionField kOwf = {107, 1};
constexpr ActionField kEnable = {108, 14};
constexpr ActionField kCpu = {122, 1};
constexpr ActionField kNbq = {123, 5};

// The fields that value0 to value3 of ifc_set_action() go to, by sub-action number (IFC_ACT_CHANNEL_QUEUE to
// IFC_ACT_DPI). Width 0: the value is not used.
constexpr uint kSubActionValues = 4;
constexpr ActionField kSetFields[IFC_ACT_COUNT][kSubActionValues] = {
    {kChannel, kQueue},
    {kFport, kNbq},
    {kSpTag},
    {kCnt0},
    {kCnt1},
    {kMtrG},
    {kIpv4Dscp},
    {kIpv6TrafficClass},
    {kVpm0, kVo0, kVid0High, kVid0Low},
    {kVo1, kVid1High, kVid1Low}, // Known: no TPID selector for tag 1, so its values start one earlier
    {kFqos},
    {kFast},
    {kMc},
    {kKeepPcp},
    {kCpu, kNbq},
    {kOwf},
    {kDpi},
};

// The fields that are printed for a sub-action, in this order: those that it sets, but the two pieces of a
// VLAN tag as one number.
constexpr uint kSubActionShown = 3;
struct ShownFields {
    ActionField of[IFC_ACT_COUNT][kSubActionShown];
};
constexpr ShownFields kShownFields = [] {
    ShownFields shown{};
    for (uint action = 0; action < IFC_ACT_COUNT; ++action)
        for (uint n = 0; n < kSubActionShown; ++n)
            shown.of[action][n] = kSetFields[action][n];
    shown.of[IFC_ACT_VLAN0][2] = kVid0;
    shown.of[IFC_ACT_VLAN1][1] = kVid1;
    shown.of[IFC_ACT_VLAN1][2] = {};
    return shown;
}();

// The largest value that the field stores. Larger ones are cut to its width by ifc_set_action().
constexpr uint actionFieldMost(ActionField field)
{
    return (1u << field.width) - 1;
}

// The field starts in words[actionWord()]; a field in two words continues in the word before.
constexpr uint actionWord(ActionField field)
{
    return kActionWords - 1 - field.lsb / 32;
}

constexpr uint getActionField(const uint32_t *words, ActionField field)
{
    const uint word = actionWord(field);
    const uint64_t above = word == 0 ? 0 : words[word - 1];
    return static_cast<uint>((above << 32 | words[word]) >> field.lsb % 32) & actionFieldMost(field);
}

constexpr void setActionField(uint32_t *words, ActionField field, uint value)
{
    const uint word = actionWord(field);
    const uint64_t place = uint64_t{actionFieldMost(field)} << field.lsb % 32;
    const uint64_t bits = uint64_t{value} << field.lsb % 32 & place;
    words[word] = (words[word] & ~static_cast<uint32_t>(place)) | static_cast<uint32_t>(bits);
    if (word != 0)
        words[word - 1] =
            (words[word - 1] & ~static_cast<uint32_t>(place >> 32)) | static_cast<uint32_t>(bits >> 32);
}

// The bit that switches a sub-action on, as a mask of the 14-bit enable bitmap. 0: the sub-action has none
// (cpu and nbq, owf). Revision 12 has one bit for both counters, so there the bits of the sub-actions 4 to 13
// are one lower. Known: dpi uses the bit that keep pcp has on the other revisions.
constexpr uint enableMask(uint subAction, int revision)
{
    if (subAction == IFC_ACT_DPI)
        return 1u << IFC_ACT_KEEP_PCP;
    if (subAction > IFC_ACT_KEEP_PCP)
        return 0;
    const bool lower = revision == kRevisionSharedCounterEnable && subAction >= IFC_ACT_CNT1;
    return 1u << (lower ? subAction - 1 : subAction);
}
static_assert(kEnable.width == IFC_ACT_KEEP_PCP + 1);

// Whether a sub-action is on: by its enable bit, or by its own flag where it has none.
constexpr bool isSubActionOn(const uint32_t *words, uint subAction, int revision)
{
    if (subAction == IFC_ACT_CPU_NBQ)
        return getActionField(words, kCpu) != 0;
    if (subAction == IFC_ACT_OWF)
        return getActionField(words, kOwf) != 0;
    return (getActionField(words, kEnable) & enableMask(subAction, revision)) != 0;
}

// Checks the places above against the bit-field view (not with clang; wide_record.h says why).
static_assert(sizeof(IFC_Action_Format) == 4 * kActionWords);
#ifndef __clang__
struct ActionWords {
    uint32_t word[kActionWords];
};
using ActionView = decltype(IFC_Action_Format::bits);

constexpr ActionView viewWith(ActionField field, uint value)
{
    ActionWords words{};
    setActionField(words.word, field, value);
    return __builtin_bit_cast(ActionView, words);
}

// All ones in the field: its member is full, and the members next to it in the same word are empty.
#define IFC_SAME(field, member)                                                                 \
    static_assert(viewWith(field, ~0u).member == actionFieldMost(field));                       \
    static_assert([] {                                                                          \
        ActionView view{};                                                                      \
        view.member = actionFieldMost(field);                                                   \
        const auto words = __builtin_bit_cast(ActionWords, view);                               \
        for (uint n = 0; n < kActionWords; ++n)                                                 \
            if (words.word[n] != __builtin_bit_cast(ActionWords, viewWith(field, ~0u)).word[n]) \
                return false;                                                                   \
        return getActionField(words.word, field) == actionFieldMost(field);                     \
    }());
IFC_SAME(kQueue, queue)
IFC_SAME(kChannel, channel)
IFC_SAME(kFport, fport)
IFC_SAME(kSpTag, sp_tag)
IFC_SAME(kCnt1, cnt1)
IFC_SAME(kMtrG, mtr_g)
IFC_SAME(kIpv4Dscp, ipv4_dscp)
IFC_SAME(kIpv6TrafficClass, ipv6_traffic_class)
IFC_SAME(kVid0Low, vid0_11_0)
IFC_SAME(kVid0High, vid0_15_12)
IFC_SAME(kVid1Low, vid1_11_0)
IFC_SAME(kVid1High, vid1_15_12)
IFC_SAME(kVo0, vo0)
IFC_SAME(kVo1, vo1)
IFC_SAME(kVpm0, vpm0)
IFC_SAME(kFqos, fqos)
IFC_SAME(kFast, fast)
IFC_SAME(kMc, mc)
IFC_SAME(kKeepPcp, keep_pcp)
IFC_SAME(kDpi, dpi)
IFC_SAME(kOwf, owf)
IFC_SAME(kEnable, enable)
IFC_SAME(kCpu, cpu)
IFC_SAME(kNbq, nbq)
#undef IFC_SAME
// Each of these spans two members.
static_assert(viewWith(kCnt0, 0x2B).cnt0_5_4 == 2 && viewWith(kCnt0, 0x2B).cnt0_3_0 == 0xB);
static_assert(viewWith(kVid0, 0xA123).vid0_15_12 == 0xA && viewWith(kVid0, 0xA123).vid0_11_0 == 0x123);
static_assert(viewWith(kVid1, 0xA123).vid1_15_12 == 0xA && viewWith(kVid1, 0xA123).vid1_11_0 == 0x123);
#endif

} // namespace
} // namespace ifc
