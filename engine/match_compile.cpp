// SPDX-License-Identifier: MIT OR GPL-2.0
// Compiles the tables into checks, and these into the programs of fast_match.h (match_emit.cpp).
#include "engine/fast_match.h"

#include "engine/match_kinds.h"
#include "engine/plain_match.h"

namespace engine
{

namespace
{

constexpr uint64_t kTagKinds[] = {0, kOuterFields, kOuterFields | kInnerFields};
constexpr uint64_t kNetworkKinds[] = {0, kIpv4Fields, kIpv4Fields | kPortFields, kIpv6Fields,
                                      kIpv6Fields | kPortFields};
constexpr uint64_t kSessionKinds[] = {0, kSessionFields};

} // namespace

void FastMatch::begin()
{
    groups_ = 0;
    rows_ = 0;
    octets_ = 0;
    bytes_.clear();
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

// Bits of the same word that must be equal make one check; a rule that wants two values of a bit never hits.
// False: there is no room for another check.
bool FastMatch::addCheck(unsigned rule, unsigned word, uint32_t mask, uint32_t low, uint32_t span)
{
    for (unsigned n = 0; n < checks_ && span == 0; ++n) {
        Check &other = check_[n];
        if (other.rule == rule && other.word == word && other.span == 0) {
            if (((other.low ^ low) & other.mask & mask) != 0)
                rules_ &= ~ruleBit(rule);
            other.mask |= mask;
            other.low |= low;
            return true;
        }
    }
    if (checks_ == kChecks)
        return false;
    check_[checks_++] = {static_cast<uint8_t>(rule), static_cast<uint8_t>(word), mask, low, span};
    return true;
}

bool FastMatch::require(unsigned rule, const Condition &condition)
{
    const uint64_t field = fieldBit(condition.field);
    const uint64_t reach = fieldOnes(condition.field) >> condition.part;
    const uint64_t mask = condition.mask & reach;
    const uint64_t key = condition.key & condition.mask;
    const bool zeroHolds = compares(condition.command, 0, key);
    const bool anyHolds = mask == 0 || (key & ~reach) != 0; // or none does: the field cannot reach the key
    if ((field & kAllFields) == 0 || (anyHolds && !zeroHolds)) {
        rules_ &= ~ruleBit(rule);
        return true;
    }
    fieldsOfAll_ |= field;
    fields_[rule] |= field;
    if (zeroHolds)
        present_[rule] |= field; // an absent field is 0 in the image
    if (anyHolds)
        return true;

    const unsigned lsb = fieldPlace(condition.field).lsb + condition.part;
    const auto half = [&](uint64_t value, unsigned n) {
        return static_cast<uint32_t>(value << lsb % 32 >> 32 * n);
    };
    const bool twoWords = half(mask, 0) != 0 && half(mask, 1) != 0;
    if (twoWords && condition.command != Command::Equal) {
        if (residuals_ == kResiduals) {
            rules_ &= ~ruleBit(rule);
            return false;
        }
        residual_[residuals_++] = {static_cast<uint8_t>(rule), condition};
        residualRules_ |= ruleBit(rule);
        return true;
    }
    bool fits = true;
    for (unsigned n = 0; n < 2; ++n) {
        const unsigned word = lsb / 32 + n;
        const uint32_t m = half(mask, n);
        const uint32_t k = half(key, n);
        if (m == 0)
            continue;
        switch (condition.command) {
        case Command::Equal:
            fits = fits && addCheck(rule, word, m, k, 0);
            break;
        case Command::NotEqual:
            fits = fits && addCheck(rule, word, m, k + 1, UINT32_MAX - 1);
            break;
        case Command::GreaterOrEqual:
            fits = fits && addCheck(rule, word, m, k, m - k);
            break;
        case Command::LessOrEqual:
            fits = fits && addCheck(rule, word, m, 0, k);
            break;
        }
    }
    if (!fits)
        rules_ &= ~ruleBit(rule);
    return fits;
}

void FastMatch::finish()
{
    // The catch-all program always fits (static_assert in fast_match.h). Kinds whose own program does not fit
    // use it.
    static_assert(1 + sizeof kTagKinds / 8 * (sizeof kNetworkKinds / 8) * (sizeof kSessionKinds / 8) ==
                  ByteTables::kPrograms);
    Kind &any = kind_[kAnyKind];
    (void)emit(any.program, 0, 0);
    for (Kind &kind : kind_)
        kind = {~uint64_t{0}, any.program};
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
        for (unsigned field = ifc::nextWideField(rule, 0); field != 0;
             field = ifc::nextWideField(rule, field))
            (void)require(n, wideCondition(rule, field)); // always fits: kChecks counts every field
    }
    Chain chain{};
    for (unsigned from = 0; nextChain(tables, from, chain); from = chain.end + 1) {
        addRule(IFC_LUT0_RULES + chain.end);
        for (unsigned n = chain.first; n <= chain.end; ++n)
            (void)require(IFC_LUT0_RULES + chain.end, narrowCondition(tables.lut1[n]));
    }
    finish();
}

} // namespace engine
