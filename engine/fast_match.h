// SPDX-License-Identifier: MIT OR GPL-2.0
// Matching by bit vectors: for each byte of the field image that some rule looks at, a table of 256 words
// tells which of up to 64 lanes accept it. A frame costs one look-up and one AND a byte, whatever the number
// of rules; a word holds all lanes, so code with and without vector registers is the same and gives the same.
//
// Lanes 0 to 7 are the LUT0 rules, 8 to 39 the LUT1 entries. Conditions that are not "masked equal" are
// answered behind the look-ups. Chains of narrow entries resolve with one addition.
#pragma once

#include "engine/condition.h"
#include "engine/hits.h"
#include "engine/register_window.h"

namespace engine
{

using Lanes = uint64_t;

constexpr unsigned kImageBytes = kImageWords * 4;
constexpr unsigned kPresentBytes = (kFieldEnd + 7) / 8;

// The look-up tables alone: lanes of "these bytes, masked, equal those". Large (about 230 KB).
class LaneTables
{
public:
    void clear();
    // Lane `lane` accepts only images whose word `word`, masked, equals the masked key.
    void require(unsigned lane, unsigned word, uint32_t mask, uint32_t key);
    // Lane `lane` accepts only frames that have all these fields.
    void requirePresent(unsigned lane, uint64_t fields);
    void compile();

    Lanes values(const FieldImage &fields) const
    {
        const uint8_t *bytes = reinterpret_cast<const uint8_t *>(fields.word);
        return lookUp(bytes, valueBytes_, valueCount_, 0);
    }
    Lanes presence(const FieldImage &fields) const
    {
        const uint8_t *bytes = reinterpret_cast<const uint8_t *>(&fields.present);
        return lookUp(bytes, presentBytes_, presentCount_, valueCount_);
    }

private:
    Lanes lookUp(const uint8_t *bytes, const uint8_t *which, unsigned count, unsigned table) const
    {
        const Lanes(*lanes)[256] = lanes_ + table;
        Lanes even = ~Lanes{0};
        Lanes odd = ~Lanes{0};
        unsigned n = 0;
        for (; n + 2 <= count; n += 2) {
            even &= lanes[n][bytes[which[n]]];
            odd &= lanes[n + 1][bytes[which[n + 1]]];
        }
        if (n < count)
            even &= lanes[n][bytes[which[n]]];
        return even & odd;
    }

    static constexpr unsigned kBytes = kImageBytes + kPresentBytes;

    Lanes lanes_[kBytes][256];
    uint8_t valueBytes_[kImageBytes];
    uint8_t presentBytes_[kPresentBytes];
    unsigned valueCount_ = 0;
    unsigned presentCount_ = 0;
    uint32_t mask_[64][kImageWords];
    uint32_t key_[64][kImageWords];
    uint64_t present_[64];
};

// The tables behind the register window, compiled.
class FastMatch
{
public:
    void compile(const Tables &tables);
    void match(const FieldImage &fields, Hits &hits) const;

    // Bit n: some entry looks at UDFn.
    uint16_t udfs() const { return udfs_; }

private:
    struct Residual {
        Lanes lane;
        Condition condition;
    };
    static constexpr unsigned kMaxResiduals = IFC_LUT0_RULES * IFC_LUT0_FIELDS + IFC_LUT1_RULES;

    void add(unsigned lane, const Condition &condition, bool invertible);

    LaneTables tables_;
    Lanes valid_ = 0;  // lanes that can hit at all
    Lanes invert_ = 0; // lanes whose one condition is "masked not equal"
    uint32_t start_ = 0;
    uint32_t end_ = 0;
    unsigned residuals_ = 0;
    Residual residual_[kMaxResiduals];
    uint16_t udfs_ = 0;
};

} // namespace engine
