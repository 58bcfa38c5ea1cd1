// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/fast_match.h"

#include <stddef.h>

#include "engine/plain_match.h"

namespace engine
{

namespace
{

constexpr unsigned kPresentWord = offsetof(FieldImage, present) / 4;
constexpr uint32_t kTopBit = 0x80000000;

// The fields that come together with each of these, or with none of them. Frames are of few kinds.
constexpr uint64_t kBaseFields = fieldBit(DMAC) | fieldBit(SMAC) | fieldBit(DMAC_TYPE) |
                                 fieldBit(FRAME_TYPE) | fieldBit(VPM0) | fieldBit(VPM1);
constexpr uint64_t kOuterFields = fieldBit(VID0) | fieldBit(PBIT0);
constexpr uint64_t kInnerFields = fieldBit(VID1) | fieldBit(PBIT1);
constexpr uint64_t kIpv4Fields =
    fieldBit(DIPv4) | fieldBit(SIPv4) | fieldBit(IPv4_PROTOCOL) | fieldBit(IPv4_DSCP);
constexpr uint64_t kIpv6Fields = ((fieldBit(FLOW_LABEL) << 1) - fieldBit(DIPv6_31_0)) |
                                 fieldBit(IPv6_NEXT_HEADER) | fieldBit(IPv6_TRAFFIC_CLASS);
constexpr uint64_t kPortFields = fieldBit(SPORT) | fieldBit(DPORT);
constexpr uint64_t kSessionFields = fieldBit(PPPOE_SESSION);
constexpr uint64_t kKnownFields =
    kBaseFields | kOuterFields | kInnerFields | kIpv4Fields | kIpv6Fields | kPortFields | kSessionFields;

constexpr uint64_t kTagKinds[] = {0, kOuterFields, kOuterFields | kInnerFields};
constexpr uint64_t kNetworkKinds[] = {0, kIpv4Fields, kIpv4Fields | kPortFields, kIpv6Fields,
                                      kIpv6Fields | kPortFields};
constexpr uint64_t kSessionKinds[] = {0, kSessionFields};

// Tells the kinds apart by one field of each set.
constexpr unsigned kindOf(uint64_t present)
{
    static_assert(VID1 == VID0 + 2 && IPv6_NEXT_HEADER == IPv4_PROTOCOL + 1 && PPPOE_SESSION == SPORT + 1);
    return (present >> VID0 & 5) | (present >> (IPv4_PROTOCOL - 3) & 0x18) | (present >> (SPORT - 5) & 0x60);
}

constexpr HitBits ruleBit(unsigned rule)
{
    return HitBits{1} << rule;
}

// Where a rule stands in the lanes: in which half of them, and its bit there.
constexpr unsigned halfOf(unsigned rule)
{
    return rule < IFC_LUT0_RULES ? rule / (IFC_LUT0_RULES / 2) : (rule - IFC_LUT0_RULES) / IFC_LUT1_SUB_TABLE;
}

constexpr uint32_t laneBit(unsigned rule)
{
    return rule < IFC_LUT0_RULES ? 1u << rule
                                 : 1u << (IFC_LUT0_RULES + (rule - IFC_LUT0_RULES) % IFC_LUT1_SUB_TABLE);
}

// The inverse of both.
constexpr HitBits hitBits(uint32_t half0, uint32_t half1)
{
    constexpr uint32_t kWide = (1u << IFC_LUT0_RULES) - 1;
    return half0 | (half1 & kWide) | HitBits{half1 & ~kWide} << IFC_LUT1_SUB_TABLE;
}

} // namespace

void FastMatch::begin()
{
    groups_ = 0;
    residuals_ = 0;
    residualRules_ = 0;
    rules_ = 0;
    fieldsOfAll_ = 0;
    checks_ = 0;
}

void FastMatch::addRule(unsigned rule)
{
    rules_ |= ruleBit(rule);
    fields_[rule] = 0;
    present_[rule] = 0;
}

// What must be equal in the same word is one check.
void FastMatch::addCheck(unsigned rule, unsigned word, uint32_t mask, uint32_t low, uint32_t span)
{
    for (unsigned n = 0; n < checks_ && span == 0; ++n) {
        Check &other = check_[n];
        if (other.rule == rule && other.word == word && other.span == 0 &&
            ((other.low ^ low) & other.mask & mask) == 0) {
            other.mask |= mask;
            other.low |= low;
            return;
        }
    }
    check_[checks_++] = {static_cast<uint8_t>(rule), static_cast<uint8_t>(word), mask, low, span};
}

void FastMatch::require(unsigned rule, const Condition &condition)
{
    const uint64_t field = fieldBit(condition.field);
    const uint64_t reach = fieldOnes(condition.field) >> condition.part;
    const uint64_t mask = condition.mask & reach;
    const uint64_t key = condition.key & condition.mask;
    const bool zeroHolds = compares(condition.command, 0, key);
    const bool anyHolds = mask == 0 || (key & ~reach) != 0; // or none: the field cannot reach the key
    if ((field & kAllFields) == 0 || (anyHolds && !zeroHolds)) {
        rules_ &= ~ruleBit(rule);
        return;
    }
    fieldsOfAll_ |= field;
    fields_[rule] |= field;
    if (zeroHolds)
        present_[rule] |= field; // an absent field is 0 in the image
    if (anyHolds)
        return;

    const unsigned lsb = kFieldPlaces.place[condition.field].lsb + condition.part;
    const auto half = [&](uint64_t value, unsigned n) {
        return static_cast<uint32_t>(value << lsb % 32 >> 32 * n);
    };
    const bool twoWords = half(mask, 0) != 0 && half(mask, 1) != 0;
    if (twoWords && condition.command != Command::Equal) {
        residual_[residuals_++] = {static_cast<uint8_t>(rule), condition};
        residualRules_ |= ruleBit(rule);
        return;
    }
    for (unsigned n = 0; n < 2; ++n) {
        const unsigned word = lsb / 32 + n;
        const uint32_t m = half(mask, n);
        const uint32_t k = half(key, n);
        if (m == 0)
            continue;
        switch (condition.command) {
        case Command::Equal:
            addCheck(rule, word, m, k, 0);
            break;
        case Command::NotEqual:
            addCheck(rule, word, m, k + 1, UINT32_MAX - 1);
            break;
        case Command::GreaterOrEqual:
            addCheck(rule, word, m, k, m - k);
            break;
        case Command::LessOrEqual:
            addCheck(rule, word, m, 0, k);
            break;
        }
    }
}

bool FastMatch::addGroup(unsigned stretch)
{
    if (groups_ == kGroups)
        return false;
    __builtin_memset(&group_[groups_], 0, sizeof group_[groups_]); // a lane without rules fails none
    stretch_[groups_++] = static_cast<uint8_t>(stretch);
    return true;
}

// Puts a check into the groups of a program: where it already stands, or into a lane that is free. False:
// there are no more groups.
bool FastMatch::place(const Check &check, unsigned first)
{
    const unsigned lanes = halfOf(check.rule) * kLanes / 2;
    const unsigned index = check.word % kLanes;
    const uint32_t low = check.low + kTopBit;
    const auto span = static_cast<int32_t>(check.span ^ kTopBit);
    for (unsigned n = first; n < groups_ || addGroup(check.word - index); ++n) {
        if (stretch_[n] != check.word - index)
            continue;
        Group &group = group_[n];
        for (unsigned lane = lanes; lane < lanes + kLanes / 2; ++lane) {
            const bool same = group.index[lane] == index && group.mask[lane] == check.mask &&
                              group.low[lane] == low && group.span[lane] == span;
            if (group.rules[lane] != 0 && !same)
                continue;
            group.index[lane] = index;
            group.mask[lane] = check.mask;
            group.low[lane] = low;
            group.span[lane] = span;
            group.rules[lane] |= laneBit(check.rule);
            return true;
        }
    }
    return false;
}

// A program for frames that have the known fields `present`, or for whatever frame.
bool FastMatch::emit(Program &program, uint64_t known, uint64_t present)
{
    program.rules = rules_;
    for (HitBits left = rules_; left != 0; left &= left - 1) {
        const unsigned rule = lowestBit(left);
        if ((fields_[rule] & known & ~present) != 0)
            program.rules &= ~ruleBit(rule);
    }
    const unsigned first = groups_;
    bool fits = true;
    for (unsigned n = 0; n < checks_; ++n) {
        if ((program.rules >> check_[n].rule & 1) != 0)
            fits = fits && place(check_[n], first);
    }
    for (HitBits left = program.rules; left != 0; left &= left - 1) {
        const unsigned rule = lowestBit(left);
        for (unsigned n = 0; n < 2; ++n) {
            const auto ask = static_cast<uint32_t>((present_[rule] & ~known) >> 32 * n);
            const auto word = static_cast<uint8_t>(kPresentWord + n);
            if (ask != 0)
                fits = fits && place({static_cast<uint8_t>(rule), word, ask, ask, 0}, first);
        }
    }
    while (fits && (groups_ - first) % kStep != 0)
        fits = addGroup(0);
    if (!fits)
        groups_ = first;
    program.first = static_cast<uint16_t>(first);
    program.end = static_cast<uint16_t>(groups_);
    return fits;
}

void FastMatch::finish()
{
    // The program for whatever frame always fits, and does for a kind whose own does not.
    emit(any_, 0, 0);
    for (Kind &kind : kind_)
        kind = {~uint64_t{0}, any_};
    for (const uint64_t tags : kTagKinds) {
        for (const uint64_t network : kNetworkKinds) {
            for (const uint64_t session : kSessionKinds) {
                const uint64_t present = kBaseFields | tags | network | session;
                Program program;
                if (emit(program, kKnownFields, present))
                    kind_[kindOf(present)] = {present, program};
            }
        }
    }
}

void FastMatch::compile(const Tables &tables)
{
    begin();
    for (unsigned n = 0; n < IFC_LUT0_RULES; ++n) {
        const uint32_t *rule = tables.lut0[n];
        if (!wideValid(rule))
            continue;
        addRule(n);
        for (uint32_t left = wideEnabled(rule); left != 0; left &= left - 1)
            require(n, wideCondition(rule, static_cast<unsigned>(__builtin_ctz(left)) + 1));
    }
    Chain chain{};
    for (unsigned from = 0; nextChain(tables, from, chain); from = chain.end + 1) {
        addRule(IFC_LUT0_RULES + chain.end);
        for (unsigned n = chain.first; n <= chain.end; ++n)
            require(IFC_LUT0_RULES + chain.end, narrowCondition(tables.lut1[n]));
    }
    finish();
}

HitBits FastMatch::failedResiduals(const FieldImage &fields) const
{
    HitBits failed = 0;
    for (unsigned n = 0; n < residuals_; ++n) {
        if (!holds(residual_[n].condition, fields))
            failed |= ruleBit(residual_[n].rule);
    }
    return failed;
}

// One word of a stretch for each lane.
void FastMatch::wordsAt(const Word *stretch, const Vector &index, Vector &words)
{
#if __has_builtin(__builtin_shuffle)
    using Stretch = Word __attribute__((vector_size(32), aligned(4)));
    words = __builtin_shuffle(*reinterpret_cast<const Stretch *>(stretch), index);
#else
    for (unsigned lane = 0; lane < kLanes; ++lane)
        words[lane] = stretch[index[lane]];
#endif
}

HitBits FastMatch::match(const FieldImage &fields) const
{
    const auto *image = reinterpret_cast<const Word *>(&fields);
    const Kind &kind = kind_[kindOf(fields.present)];
    const Program &program = (fields.present & kKnownFields) == kind.present ? kind.program : any_;
    Vector failed = {};
    for (size_t n = program.first; n < program.end; n += kStep) {
        for (size_t m = n; m < n + kStep; ++m) {
            Vector words;
            wordsAt(image + stretch_[m], group_[m].index, words);
            const auto over = reinterpret_cast<SignedVector>((words & group_[m].mask) - group_[m].low);
            failed |= reinterpret_cast<Vector>(over > group_[m].span) & group_[m].rules;
        }
    }
#if __has_builtin(__builtin_shuffle)
    failed |= __builtin_shuffle(failed, Vector{2, 3, 0, 1, 6, 7, 4, 5});
    failed |= __builtin_shuffle(failed, Vector{1, 0, 3, 2, 5, 4, 7, 6});
#else
    for (unsigned lane = 1; lane < kLanes / 2; ++lane) {
        failed[0] |= failed[lane];
        failed[kLanes / 2] |= failed[kLanes / 2 + lane];
    }
#endif
    HitBits hits = program.rules & ~hitBits(failed[0], failed[kLanes / 2]);
    if ((hits & residualRules_) != 0) [[unlikely]]
        hits &= ~failedResiduals(fields);
    return hits;
}

} // namespace engine
