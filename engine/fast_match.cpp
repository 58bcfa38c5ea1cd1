// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/fast_match.h"

#include "engine/plain_match.h"

namespace engine
{

namespace
{

constexpr unsigned kPresentWord = offsetof(FieldImage, present) / 4;

// Mask and key of a condition where they stand in the image, from word `word` on.
struct Placed {
    unsigned word;
    uint64_t mask;
    uint64_t key;
    bool possible; // false: the key asks for bits that the field does not have
};

Placed place(const Condition &condition)
{
    const FieldPlace where = kFieldPlaces.place[condition.field];
    const uint64_t reach = fieldOnes(condition.field) >> condition.part;
    const uint64_t mask = condition.mask & reach;
    const unsigned lsb = where.lsb + condition.part;
    return {lsb / 32, mask << lsb % 32, (condition.key & mask) << lsb % 32,
            (condition.key & condition.mask & ~reach) == 0};
}

bool isField(unsigned field)
{
    return field != 0 && field < kFieldEnd;
}

} // namespace

void FastMatch::note(const Condition &condition)
{
    if (condition.field >= UDF0 && condition.field < kFieldEnd)
        udfs_ |= static_cast<uint16_t>(1u << (condition.field - UDF0));
}

void FastMatch::addWide(unsigned rule, const Condition &condition)
{
    note(condition);
    if (condition.command != Command::Equal) {
        wideResidual_[wideResiduals_++] = {1u << rule, condition};
        return;
    }
    const Placed placed = place(condition);
    const auto half = [](uint64_t value, unsigned n) { return static_cast<uint32_t>(value >> 32 * n); };
    for (unsigned n = 0; n < 2; ++n) {
        if (half(placed.mask, n) != 0)
            wide_.require(rule, placed.word + n, half(placed.mask, n), half(placed.key, n));
    }
    // An absent field is 0 in the image: only a key of 0 has to ask whether it is there.
    const uint64_t present = fieldBit(condition.field);
    for (unsigned n = 0; n < 2 && placed.key == 0; ++n) {
        if (half(present, n) != 0)
            wide_.require(rule, kPresentWord + n, half(present, n), half(present, n));
    }
}

void FastMatch::addNarrow(unsigned entry, const Condition &condition)
{
    note(condition);
    if (!isField(condition.field))
        return; // in no group: it never holds
    const Placed placed = place(condition);
    const uint64_t low = placed.mask & UINT32_MAX;
    const bool oneWord = low == placed.mask || low == 0;
    if (condition.command != Command::Equal || !oneWord) {
        narrowResidual_[narrowResiduals_++] = {1u << entry, condition};
        return;
    }
    if (!placed.possible)
        return;
    // An absent field is 0 in the image: only a key of 0 has to ask whether it is there.
    if (placed.key == 0)
        presence_[presences_++] = {condition.field, 1u << entry};
    const unsigned up = low == 0 ? 1 : 0;
    const unsigned word = placed.mask != 0 ? placed.word + up : 0; // no bits to compare: any word will do
    unsigned n = 0;
    while (n < groups_ && (groupWord_[n] != word || groupFill_[n] == kLanes))
        ++n;
    if (n == groups_) {
        __builtin_memset(&group_[groups_], 0, sizeof group_[groups_]);
        groupFill_[groups_] = 0;
        groupWord_[groups_++] = static_cast<uint8_t>(word);
    }
    const unsigned lane = groupFill_[n]++;
    group_[n].mask[lane] = static_cast<uint32_t>(placed.mask >> 32 * up);
    group_[n].key[lane] = static_cast<uint32_t>(placed.key >> 32 * up);
    group_[n].bit[lane] = 1u << entry;
}

void FastMatch::compile(const Tables &tables)
{
    wide_.clear();
    groups_ = 0;
    wideValid_ = 0;
    start_ = 0;
    end_ = 0;
    wideResiduals_ = 0;
    narrowResiduals_ = 0;
    presences_ = 0;
    udfs_ = 0;
    for (unsigned n = 0; n < IFC_LUT0_RULES; ++n) {
        const uint32_t *rule = tables.lut0[n];
        if (!wideValid(rule))
            continue;
        wideValid_ |= 1u << n;
        for (uint32_t left = wideEnabled(rule); left != 0; left &= left - 1)
            addWide(n, wideCondition(rule, static_cast<unsigned>(__builtin_ctz(left)) + 1));
    }
    Chain chain{};
    for (unsigned from = 0; nextChain(tables, from, chain); from = chain.end + 1) {
        start_ |= 1u << chain.first;
        end_ |= 1u << chain.end;
        for (unsigned n = chain.first; n <= chain.end; ++n)
            addNarrow(n, narrowCondition(tables.lut1[n]));
    }
}

HitBits FastMatch::match(const FieldImage &fields) const
{
    uint32_t wide[1];
    wide_.match(fields, wide);
    uint32_t lut0 = wide[0] & wideValid_;
    for (unsigned n = 0; n < wideResiduals_ && lut0 != 0; ++n) {
        const Residual &residual = wideResidual_[n];
        if ((lut0 & residual.bit) != 0 && !holds(residual.condition, fields))
            lut0 &= ~residual.bit;
    }

    Vector held = {};
    for (unsigned n = 0; n < groups_; ++n) {
        const Group &group = group_[n];
        const Vector word = fields.word[groupWord_[n]] - Vector{};
        held |= reinterpret_cast<Vector>((word & group.mask) == group.key) & group.bit;
    }
    uint32_t narrow = orOfLanes(held);
    for (unsigned n = 0; n < presences_; ++n) {
        const uint32_t absent = ~static_cast<uint32_t>(fields.present >> presence_[n].field) & 1;
        narrow &= ~(presence_[n].bit & (0 - absent));
    }
    for (unsigned n = 0; n < narrowResiduals_; ++n) {
        if (holds(narrowResidual_[n].condition, fields))
            narrow |= narrowResidual_[n].bit;
    }

    // A carry runs from each chain's start through the conditions that hold and comes out at its end.
    narrow = ((narrow & ~end_) + start_) & end_ & narrow;
    return HitBits{narrow} << IFC_LUT0_RULES | lut0;
}

} // namespace engine
