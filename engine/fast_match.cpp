// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/fast_match.h"

#include "engine/plain_match.h"

namespace engine
{

void LaneTables::clear()
{
    __builtin_memset(mask_, 0, sizeof mask_);
    __builtin_memset(key_, 0, sizeof key_);
    __builtin_memset(present_, 0, sizeof present_);
}

void LaneTables::require(unsigned lane, unsigned word, uint32_t mask, uint32_t key)
{
    mask_[lane][word] |= mask;
    key_[lane][word] |= key & mask;
}

void LaneTables::requirePresent(unsigned lane, uint64_t fields)
{
    present_[lane] |= fields;
}

namespace
{

// The lanes that accept a byte, for all its 256 values.
struct ByteOfLanes {
    uint8_t mask[64];
    uint8_t key[64];

    bool used() const
    {
        uint8_t any = 0;
        for (const uint8_t lane : mask)
            any |= lane;
        return any != 0;
    }
    void fill(Lanes *lanes) const
    {
        for (unsigned value = 0; value < 256; ++value) {
            Lanes accepted = 0;
            for (unsigned lane = 0; lane < 64; ++lane)
                accepted |= static_cast<Lanes>((value & mask[lane]) == key[lane]) << lane;
            lanes[value] = accepted;
        }
    }
};

} // namespace

void LaneTables::compile()
{
    ByteOfLanes byte;
    valueCount_ = 0;
    for (unsigned n = 0; n < kImageBytes; ++n) {
        for (unsigned lane = 0; lane < 64; ++lane) {
            byte.mask[lane] = static_cast<uint8_t>(mask_[lane][n / 4] >> n % 4 * 8);
            byte.key[lane] = static_cast<uint8_t>(key_[lane][n / 4] >> n % 4 * 8);
        }
        if (!byte.used())
            continue;
        byte.fill(lanes_[valueCount_]);
        valueBytes_[valueCount_++] = static_cast<uint8_t>(n);
    }
    presentCount_ = 0;
    for (unsigned n = 0; n < kPresentBytes; ++n) {
        for (unsigned lane = 0; lane < 64; ++lane)
            byte.mask[lane] = byte.key[lane] = static_cast<uint8_t>(present_[lane] >> 8 * n);
        if (!byte.used())
            continue;
        byte.fill(lanes_[valueCount_ + presentCount_]);
        presentBytes_[presentCount_++] = static_cast<uint8_t>(n);
    }
}

namespace
{

constexpr unsigned kNarrowLane = IFC_LUT0_RULES;

constexpr Lanes laneBit(unsigned lane)
{
    return Lanes{1} << lane;
}

} // namespace

// `invertible`: the lane has this condition only.
void FastMatch::add(unsigned lane, const Condition &condition, bool invertible)
{
    const unsigned field = condition.field;
    if (field == 0 || field >= kFieldEnd) {
        valid_ &= ~laneBit(lane);
        return;
    }
    if (field >= UDF0)
        udfs_ |= static_cast<uint16_t>(1u << (field - UDF0));
    tables_.requirePresent(lane, fieldBit(field));

    const bool inverted = condition.command == Command::NotEqual && invertible;
    if (condition.command != Command::Equal && !inverted) {
        residual_[residuals_++] = {laneBit(lane), condition};
        return;
    }
    // Mask and key where the field stands in the image. Above a field's width a frame has zeros.
    const FieldPlace place = kFieldPlaces.place[field];
    const uint64_t reach = fieldOnes(field) >> condition.part;
    if ((condition.key & condition.mask & ~reach) != 0) {
        if (!inverted)
            valid_ &= ~laneBit(lane);
        return;
    }
    if (inverted)
        invert_ |= laneBit(lane);
    if ((condition.mask & reach) == 0)
        return;
    const unsigned lsb = place.lsb + condition.part;
    const uint64_t mask = (condition.mask & reach) << lsb % 32;
    const uint64_t key = condition.key << lsb % 32;
    tables_.require(lane, lsb / 32, static_cast<uint32_t>(mask), static_cast<uint32_t>(key));
    if (mask >> 32 != 0)
        tables_.require(lane, lsb / 32 + 1, static_cast<uint32_t>(mask >> 32),
                        static_cast<uint32_t>(key >> 32));
}

void FastMatch::compile(const Tables &tables)
{
    tables_.clear();
    valid_ = 0;
    invert_ = 0;
    start_ = 0;
    end_ = 0;
    residuals_ = 0;
    udfs_ = 0;
    for (unsigned n = 0; n < IFC_LUT0_RULES; ++n) {
        const uint32_t *rule = tables.lut0[n];
        if (!wideValid(rule))
            continue;
        valid_ |= laneBit(n);
        for (uint32_t left = wideEnabled(rule); left != 0; left &= left - 1)
            add(n, wideCondition(rule, static_cast<unsigned>(__builtin_ctz(left)) + 1), false);
    }
    Chain chain{};
    for (unsigned from = 0; nextChain(tables, from, chain); from = chain.end + 1) {
        start_ |= 1u << chain.first;
        end_ |= 1u << chain.end;
        for (unsigned n = chain.first; n <= chain.end; ++n) {
            valid_ |= laneBit(kNarrowLane + n);
            add(kNarrowLane + n, narrowCondition(tables.lut1[n]), true);
        }
    }
    tables_.compile();
}

void FastMatch::match(const FieldImage &fields, Hits &hits) const
{
    Lanes lanes = (tables_.values(fields) ^ invert_) & tables_.presence(fields) & valid_;
    for (unsigned n = 0; n < residuals_; ++n) {
        const Residual &residual = residual_[n];
        if ((lanes & residual.lane) != 0 && !holds(residual.condition, fields))
            lanes &= ~residual.lane;
    }
    // A carry runs from each chain's start through the conditions that hold and comes out at its end.
    const uint32_t narrow = static_cast<uint32_t>(lanes >> kNarrowLane);
    hits.lut0 = static_cast<uint32_t>(lanes & (laneBit(kNarrowLane) - 1));
    hits.lut1[0] = ((narrow & ~end_) + start_) & end_ & narrow;
    hits.lut1[1] = 0;
}

} // namespace engine
