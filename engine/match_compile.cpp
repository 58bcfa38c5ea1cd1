// SPDX-License-Identifier: MIT OR GPL-2.0
// Compiles the tables into the programs of fast_match.h.
#include "engine/fast_match.h"

#include <stddef.h>

#include "engine/match_kinds.h"
#include "engine/plain_match.h"

namespace engine
{

namespace
{

constexpr unsigned kPresentWord = offsetof(FieldImage, present) / 4;
constexpr uint32_t kTopBit = 0x80000000;

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

// Bits of the same word that must be equal make one check. False: there is no room for another check.
bool FastMatch::addCheck(unsigned rule, unsigned word, uint32_t mask, uint32_t low, uint32_t span)
{
    for (unsigned n = 0; n < checks_ && span == 0; ++n) {
        Check &other = check_[n];
        if (other.rule == rule && other.word == word && other.span == 0 &&
            ((other.low ^ low) & other.mask & mask) == 0) {
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

bool FastMatch::addGroup(unsigned stretch)
{
    if (groups_ == kGroups)
        return false;
    __builtin_memset(&group_[groups_], 0, sizeof group_[groups_]); // a lane without rules fails none
    stretch_[groups_++] = static_cast<uint8_t>(stretch);
    return true;
}

// Puts a check into the groups of a program that starts at `first`: into the lane that has the same check, or
// into a free lane. False: there are no more groups.
bool FastMatch::placeInGroup(const Check &check, unsigned first)
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

bool FastMatch::addRow(unsigned word)
{
    if (rows_ == kRows)
        return false;
    __builtin_memset(&row_[rows_], 0, sizeof row_[rows_]); // a lane without a check passes
    row_[rows_++].word = word;
    return true;
}

// Puts a check into the rows that start at `first`, of an octet. False: there are no more rows.
bool FastMatch::placeInRow(const Check &check, unsigned first)
{
    const unsigned lane = check.rule % kLanes;
    unsigned n = first;
    while (n < rows_ && (row_[n].word != check.word || row_[n].mask[lane] != 0))
        ++n;
    if (n == rows_ && !addRow(check.word))
        return false;
    row_[n].mask[lane] = check.mask;
    row_[n].low[lane] = check.span == 0 ? check.low : check.low + kTopBit;
    row_[n].span[lane] = static_cast<int32_t>(check.span ^ kTopBit);
    return true;
}

// Calls use(check) for the checks of a program until one is false: those of its rules, and those of the
// present bitmap for the fields that are not `known`.
template <typename Use>
bool FastMatch::forEachCheck(const Program &program, uint64_t known, Use use) const
{
    for (unsigned n = 0; n < checks_; ++n) {
        if ((program.rules >> check_[n].rule & 1) != 0 && !use(check_[n]))
            return false;
    }
    for (HitBits left = program.rules; left != 0; left &= left - 1) {
        const unsigned rule = lowestBit(left);
        for (unsigned n = 0; n < kPresentWords; ++n) {
            const auto ask = static_cast<uint32_t>((present_[rule] & ~known) >> 32 * n);
            const auto word = static_cast<uint8_t>(kPresentWord + n);
            if (ask != 0 && !use(Check{static_cast<uint8_t>(rule), word, ask, ask, 0}))
                return false;
        }
    }
    return true;
}

// Emits a program as rows. False: they do not fit.
bool FastMatch::emitRows(Program &program, uint64_t known)
{
    program.octets = 0;
    program.nextOctets = static_cast<uint16_t>(octets_);
    for (unsigned shift = 0; shift < kRules; shift += kLanes) {
        Program octet = program;
        octet.rules &= HitBits{(1u << kLanes) - 1} << shift;
        const unsigned first = rows_;
        const auto place = [&](unsigned from, bool equal) {
            bool fits = forEachCheck(octet, known, [&](const Check &check) {
                return (check.span == 0) != equal || placeInRow(check, from);
            });
            while (fits && (rows_ - from) % kStep != 0)
                fits = addRow(0);
            return fits;
        };
        if (octets_ == kOctets || !place(first, true))
            return false;
        const unsigned others = rows_;
        if (!place(others, false))
            return false;
        if (rows_ == first)
            continue;
        const Octet made = {static_cast<uint16_t>(first), static_cast<uint16_t>(others - first),
                            static_cast<uint16_t>(rows_ - others), static_cast<uint16_t>(shift)};
        if (program.octets++ == 0)
            program.octet = made;
        else
            octet_[octets_++] = made;
    }
    return true;
}

// Emits a program for frames that have exactly the fields `present` of those `known`. Nothing known: the
// catch-all program. False: it does not fit.
bool FastMatch::emit(Program &program, uint64_t known, uint64_t present)
{
    program = {rules_, {}, 0, 0, 0, 0};
    for (HitBits left = rules_; left != 0; left &= left - 1) {
        const unsigned rule = lowestBit(left);
        if ((fields_[rule] & known & ~present) != 0)
            program.rules &= ~ruleBit(rule);
    }
    const unsigned first = groups_;
    bool fits = forEachCheck(program, known, [&](const Check &check) { return placeInGroup(check, first); });
    while (fits && (groups_ - first) % kStep != 0)
        fits = addGroup(0);
    if (!fits) {
        groups_ = first;
        return false;
    }
    program.firstGroup = static_cast<uint16_t>(first);
    program.endGroup = static_cast<uint16_t>(groups_);

    // Rows, if they cost less: about the number of instructions, and what a group waits for words that the
    // parser has just written one by one.
    constexpr unsigned kGroupCost = 15;
    constexpr unsigned kFoldCost = 20;
    constexpr unsigned kRowCost = 7;
    constexpr unsigned kOctetCost = 20;
    const unsigned firstRow = rows_;
    const unsigned firstOctet = octets_;
    Program rows = program;
    if (emitRows(rows, known) && rows.octets != 0 &&
        kRowCost * (rows_ - firstRow) + kOctetCost * rows.octets <
            kGroupCost * (groups_ - first) + kFoldCost) {
        program = rows;
        groups_ = first;
    } else {
        rows_ = firstRow;
        octets_ = firstOctet;
    }
    return true;
}

void FastMatch::finish()
{
    // The catch-all program always fits (static_assert in fast_match.h). Kinds whose own program does not fit
    // use it.
    static_assert(kPresentWord + kPresentWords <= kStretches * kLanes);
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
