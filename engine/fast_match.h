// SPDX-License-Identifier: MIT OR GPL-2.0
// Matching with vectors of eight 32-bit lanes (vector extensions of gcc and clang: without vector registers
// the compiler writes the same out in scalar code, with the same results). Rules stand side by side in the
// lanes, so a word of the field image is fetched once and compared with eight rules at a time.
//
// Wide rules: one column for each image word that some rule looks at; differences add up in the lanes.
// Narrow entries: sorted by image word, up to eight of the same word in a group. Chains resolve with one
// addition. What is not "masked equal to a key that is not 0" is answered by condition.h behind that.
#pragma once

#include <stddef.h>

#include "engine/condition.h"
#include "engine/hits.h"
#include "engine/register_window.h"

namespace engine
{

using Vector = uint32_t __attribute__((vector_size(32)));
constexpr unsigned kLanes = 8;

inline uint32_t orOfLanes(const Vector &lanes)
{
    Vector v = lanes;
    v |= __builtin_shufflevector(v, v, 4, 5, 6, 7, 0, 1, 2, 3);
    v |= __builtin_shufflevector(v, v, 2, 3, 0, 1, 6, 7, 4, 5);
    v |= __builtin_shufflevector(v, v, 1, 0, 3, 2, 5, 4, 7, 6);
    return v[0];
}

// Up to 8 * Vectors rules, each of masked words that must equal; all of a rule's must.
template <unsigned Vectors>
class Columns
{
public:
    // The present bitmap counts as two more words.
    static constexpr unsigned kWords = sizeof(FieldImage) / 4;

    void clear() { __builtin_memset(this, 0, sizeof *this); }

    void require(unsigned rule, unsigned word, uint32_t mask, uint32_t key)
    {
        unsigned n = 0;
        while (n < count_ && word_[n] != word)
            ++n;
        if (n == count_)
            word_[count_++] = static_cast<uint8_t>(word);
        mask_[n][rule / kLanes][rule % kLanes] |= mask;
        key_[n][rule / kLanes][rule % kLanes] |= key & mask;
    }

    // accepted[v] gets bit n for each rule 8 * v + n whose words are equal.
    void match(const FieldImage &fields, uint32_t (&accepted)[Vectors]) const
    {
        const auto *image = reinterpret_cast<const uint32_t *>(&fields);
        Vector different[Vectors] = {};
        for (unsigned n = 0; n < count_; ++n) {
            const Vector word = image[word_[n]] - Vector{};
            for (unsigned v = 0; v < Vectors; ++v)
                different[v] |= (word & mask_[n][v]) ^ key_[n][v];
        }
        constexpr Vector kBits = {1, 2, 4, 8, 16, 32, 64, 128};
        for (unsigned v = 0; v < Vectors; ++v)
            accepted[v] = orOfLanes(reinterpret_cast<Vector>(different[v] == 0) & kBits);
    }

private:
    Vector mask_[kWords][Vectors];
    Vector key_[kWords][Vectors];
    uint8_t word_[kWords];
    unsigned count_;
};

// The tables behind the register window, compiled.
class FastMatch
{
public:
    void compile(const Tables &tables);
    HitBits match(const FieldImage &fields) const;

    // Bit n: some entry looks at UDFn.
    uint16_t udfs() const { return udfs_; }

private:
    struct Group {
        Vector mask;
        Vector key;
        Vector bit; // of the entry in each lane, 0 in a lane without one
    };
    struct Residual {
        uint32_t bit;
        Condition condition;
    };

    struct Presence {
        uint8_t field;
        uint32_t bit;
    };

    void addWide(unsigned rule, const Condition &condition);
    void addNarrow(unsigned entry, const Condition &condition);
    void note(const Condition &condition);

    Columns<1> wide_;
    Group group_[IFC_LUT1_RULES];
    uint8_t groupWord_[IFC_LUT1_RULES];
    uint8_t groupFill_[IFC_LUT1_RULES];
    unsigned groups_ = 0;
    uint32_t wideValid_ = 0; // rules that can hit at all
    uint32_t start_ = 0;
    uint32_t end_ = 0;
    unsigned wideResiduals_ = 0;
    unsigned narrowResiduals_ = 0;
    Residual wideResidual_[IFC_LUT0_RULES * IFC_LUT0_FIELDS];
    Residual narrowResidual_[IFC_LUT1_RULES];
    unsigned presences_ = 0;
    Presence presence_[IFC_LUT1_RULES];
    uint16_t udfs_ = 0;
};

} // namespace engine
