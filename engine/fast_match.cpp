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

// The kinds of frames: each of these sets of fields is there or not.
constexpr uint64_t kTagFields = fieldBit(VID0) | fieldBit(PBIT0) | fieldBit(VID1) | fieldBit(PBIT1);
constexpr uint64_t kIpv4Fields =
    fieldBit(DIPv4) | fieldBit(SIPv4) | fieldBit(IPv4_PROTOCOL) | fieldBit(IPv4_DSCP);
constexpr uint64_t kIpv6Fields = ((fieldBit(FLOW_LABEL) << 1) - fieldBit(DIPv6_31_0)) |
                                 fieldBit(IPv6_NEXT_HEADER) | fieldBit(IPv6_TRAFFIC_CLASS);
constexpr uint64_t kPppoeFields = fieldBit(PPPOE_SESSION);
constexpr uint64_t kKinds[] = {kTagFields, kIpv4Fields, kIpv6Fields, kPppoeFields};

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

// Puts a check into the groups from `first` on: where it already stands, or into a lane that is free. False:
// there are no more groups.
bool FastMatch::place(const Check &check, unsigned first)
{
    const unsigned lanes = halfOf(check.rule) * kLanes / 2;
    const uint32_t low = check.low + kTopBit;
    const auto span = static_cast<int32_t>(check.span ^ kTopBit);
    for (unsigned n = first;; ++n) {
        if (n == groups_) {
            if (n == kGroups)
                return false;
            __builtin_memset(&group_[n], 0, sizeof group_[n]);
            word_[n] = check.word;
            ++groups_;
        }
        Group &group = group_[n];
        if (word_[n] != check.word)
            continue;
        for (unsigned lane = lanes; lane < lanes + kLanes / 2; ++lane) {
            const bool same =
                group.mask[lane] == check.mask && group.low[lane] == low && group.span[lane] == span;
            if (group.rules[lane] != 0 && !same)
                continue;
            group.mask[lane] = check.mask;
            group.low[lane] = low;
            group.span[lane] = span;
            group.rules[lane] |= laneBit(check.rule);
            return true;
        }
    }
}

bool FastMatch::emit(unsigned program)
{
    HitBits rules = rules_;
    for (HitBits left = rules; left != 0; left &= left - 1) {
        const unsigned rule = static_cast<unsigned>(__builtin_ctzll(left));
        for (unsigned n = 0; n < sizeof kKinds / sizeof *kKinds; ++n) {
            if ((program >> n & 1) == 0 && (fields_[rule] & kKinds[n]) != 0)
                rules &= ~ruleBit(rule);
        }
    }
    const unsigned first = groups_;
    for (unsigned n = 0; n < checks_; ++n) {
        if ((rules >> check_[n].rule & 1) != 0 && !place(check_[n], first)) {
            groups_ = first;
            return false;
        }
    }
    while ((groups_ - first) % kStep != 0) {
        if (groups_ == kGroups) {
            groups_ = first;
            return false;
        }
        __builtin_memset(&group_[groups_], 0, sizeof group_[groups_]);
        word_[groups_++] = 0;
    }
    program_[program] = {rules, static_cast<uint16_t>(first), static_cast<uint16_t>(groups_)};
    return true;
}

void FastMatch::finish()
{
    for (HitBits left = rules_; left != 0; left &= left - 1) {
        const unsigned rule = static_cast<unsigned>(__builtin_ctzll(left));
        for (unsigned n = 0; n < 2; ++n) {
            const auto present = static_cast<uint32_t>(present_[rule] >> 32 * n);
            if (present != 0)
                addCheck(rule, kPresentWord + n, present, present, 0);
        }
    }
    // The program of all rules always fits, and does for a kind whose own does not.
    emit(kPrograms - 1);
    for (unsigned program = 0; program < kPrograms - 1; ++program) {
        if (!emit(program))
            program_[program] = program_[kPrograms - 1];
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

unsigned FastMatch::programOf(const FieldImage &fields)
{
    const auto has = [&](unsigned kind) {
        return static_cast<unsigned>((fields.present & kKinds[kind]) != 0);
    };
    return has(0) + 2 * has(1) + 4 * has(2) + 8 * has(3);
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

HitBits FastMatch::match(const FieldImage &fields) const
{
    using Word = uint32_t __attribute__((may_alias)); // the present bitmap is two more words
    const auto *image = reinterpret_cast<const Word *>(&fields);
    const Program &program = program_[programOf(fields)];
    Vector failed = {};
    for (size_t n = program.first; n < program.end; n += kStep) {
        for (size_t m = 0; m < kStep; ++m) {
            const Group &group = group_[n + m];
            const Vector word = image[word_[n + m]] - Vector{};
            const auto over = reinterpret_cast<SignedVector>((word & group.mask) - group.low);
            failed |= reinterpret_cast<Vector>(over > group.span) & group.rules;
        }
    }
    failed |= __builtin_shufflevector(failed, failed, 2, 3, 0, 1, 6, 7, 4, 5);
    failed |= __builtin_shufflevector(failed, failed, 1, 0, 3, 2, 5, 4, 7, 6);
    HitBits hits = program.rules & ~hitBits(failed[0], failed[kLanes / 2]);
    if ((hits & residualRules_) != 0) [[unlikely]]
        hits &= ~failedResiduals(fields);
    return hits;
}

} // namespace engine
