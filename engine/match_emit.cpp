// SPDX-License-Identifier: MIT OR GPL-2.0
// Emits the checks of rules as programs: groups, rows, or look-ups of bytes.
#include "engine/fast_match.h"

#include <stddef.h>

namespace engine
{

namespace
{

constexpr unsigned kPresentWord = offsetof(FieldImage, present) / 4;
constexpr uint32_t kTopBit = 0x80000000;

// The estimated costs of the forms, in instructions. A group also waits for words that the parser has just
// written one by one. A look-up of a byte costs more than its instructions, as was measured: its tables fill
// the first cache.
constexpr unsigned kGroupCost = 15;
constexpr unsigned kFoldCost = 20;
constexpr unsigned kRowCost = 7;
constexpr unsigned kOctetCost = 20;
constexpr unsigned kByteCost = 8;
constexpr unsigned kNever = ~0u;

} // namespace

bool FastMatch::addGroup(unsigned stretch)
{
    static_assert(kPresentWord + kPresentWords <= kStretches * kLanes);
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

// Emits a program as groups. False: they do not fit.
bool FastMatch::emitGroups(Program &program, uint64_t known, bool withEquals)
{
    const unsigned first = groups_;
    bool fits = forEachCheck(program, known, [&](const Check &check) {
        return (check.span == 0 && !withEquals) || placeInGroup(check, first);
    });
    while (fits && (groups_ - first) % kStep != 0)
        fits = addGroup(0);
    program.firstGroup = static_cast<uint16_t>(first);
    program.endGroup = static_cast<uint16_t>(groups_);
    return fits;
}

// Adds the table of a byte of the image, for all rules that check it for equality. There is room.
void FastMatch::addTable(unsigned byte)
{
    const Program all = {rules_, {}, 0, 0, 0, 0, 0, 0};
    const auto forEach = [&](auto use) {
        (void)forEachCheck(all, 0, [&](const Check &check) {
            const auto mask = static_cast<uint8_t>(check.mask >> byte % 4 * 8);
            if (check.span == 0 && check.word == byte / 4 && mask != 0)
                use(ruleBit(check.rule), mask, static_cast<uint8_t>(check.low >> byte % 4 * 8));
            return true;
        });
    };
    HitBits rules = 0;
    forEach([&](HitBits rule, uint8_t, uint8_t) { rules |= rule; });
    bytes_.add(byte, rules);
    forEach([&](HitBits rule, uint8_t mask, uint8_t key) { bytes_.pass(byte, rule, mask, key); });
}

// Emits the checks for equality of a program as look-ups of bytes, and the others as groups. False: they do
// not fit, or the look-ups alone cost `limit`.
bool FastMatch::emitBytes(Program &program, uint64_t known, unsigned limit)
{
    bool wanted[sizeof(FieldImage)] = {};
    (void)forEachCheck(program, known, [&](const Check &check) {
        for (unsigned n = 0; n < sizeof(Word) && check.span == 0; ++n)
            wanted[check.word * sizeof(Word) + n] |= (check.mask >> 8 * n & 0xFF) != 0;
        return true;
    });
    unsigned lookUps = 0;
    unsigned tables = 0;
    for (unsigned byte = 0; byte < sizeof wanted; ++byte) {
        lookUps += wanted[byte];
        tables += wanted[byte] && !bytes_.has(byte);
    }
    if (kByteCost * lookUps >= limit || tables > bytes_.room())
        return false;
    program.firstByte = static_cast<uint16_t>(bytes_.listed());
    for (unsigned byte = 0; byte < sizeof wanted; ++byte) {
        if (!wanted[byte])
            continue;
        if (!bytes_.has(byte))
            addTable(byte);
        bytes_.list(byte);
    }
    bytes_.makeEven(program.firstByte);
    program.endByte = static_cast<uint16_t>(bytes_.listed());
    return emitGroups(program, known, false);
}

// Emits a program for frames that have exactly the fields `present` of those `known`, in the form that costs
// least. Nothing known: the catch-all program. False: it does not fit.
bool FastMatch::emit(Program &program, uint64_t known, uint64_t present)
{
    program = {rules_, {}, 0, 0, 0, 0, 0, 0};
    for (HitBits left = rules_; left != 0; left &= left - 1) {
        const unsigned rule = lowestBit(left);
        if ((fields_[rule] & known & ~present) != 0)
            program.rules &= ~ruleBit(rule);
    }
    const unsigned groups = groups_;
    const unsigned rows = rows_;
    const unsigned octets = octets_;
    const unsigned bytes = bytes_.listed();
    const auto groupsCost = [&] {
        return groups_ == groups ? 0 : kGroupCost * (groups_ - groups) + kFoldCost;
    };

    Program asGroups = program;
    const unsigned costAsGroups = emitGroups(asGroups, known, true) ? groupsCost() : kNever;
    groups_ = groups;
    Program asRows = program;
    const bool rowsFit = emitRows(asRows, known) && asRows.octets != 0;
    const unsigned costAsRows = rowsFit ? kRowCost * (rows_ - rows) + kOctetCost * asRows.octets : kNever;
    Program asBytes = program;
    const unsigned best = costAsRows < costAsGroups ? costAsRows : costAsGroups;
    const bool bytesFit = emitBytes(asBytes, known, best);
    const unsigned costAsBytes = bytesFit ? kByteCost * (bytes_.listed() - bytes) + groupsCost() : kNever;

    const bool takeBytes = costAsBytes < best;
    const bool takeRows = !takeBytes && costAsRows < costAsGroups;
    if (!takeRows) {
        rows_ = rows;
        octets_ = octets;
    }
    if (!takeBytes) {
        groups_ = groups;
        bytes_.unlist(bytes);
    }
    program = takeBytes ? asBytes : takeRows ? asRows : asGroups;
    return takeBytes || takeRows || (costAsGroups != kNever && emitGroups(program, known, true));
}

} // namespace engine
