// SPDX-License-Identifier: MIT OR GPL-2.0
// The 47 comparable fields of one frame, side by side as the classifier compares them.
//
//   bits 0 to 593    fields 1 to 31, packed as in a LUT0 key area (ifc/ifc_glb.h), bit 0 = bit 0 of word 0
//   bits 608 to 863  the user-defined fields 32 to 47, 16 bits each
//
// These are the places of ifc/records/fields.h. Words count from the least significant end, unlike those of
// the records. A field that the frame does not have is 0, and its present bit is clear.
#pragma once

#include "ifc/records/fields.h"

namespace engine
{

using ifc::fieldOnes;
using ifc::fieldPlace;
using ifc::FieldPlace;

constexpr unsigned kFieldEnd = IFC_LUT1_FIELDS + 1; // field ids run from 1 to kFieldEnd - 1
constexpr unsigned kImageWords = (fieldPlace(UDF15).lsb + IFC_UDF_BITS) / 32;
static_assert(kImageWords == 27 && fieldPlace(UDF0).lsb == 608);

struct alignas(32) FieldImage {
    uint32_t word[kImageWords + 1]; // the last word is always 0: reading a field may read the next word too
    uint64_t present;               // bit f: the frame has field f
};

// Four vector stores. For this size compilers emit a call to memset or a slow string instruction.
inline void clearFields(FieldImage &image)
{
    using Quarter = uint32_t __attribute__((vector_size(32), may_alias));
    static_assert(sizeof(FieldImage) == 4 * sizeof(Quarter));
    auto *quarter = reinterpret_cast<Quarter *>(&image);
    quarter[0] = Quarter{};
    quarter[1] = Quarter{};
    quarter[2] = Quarter{};
    quarter[3] = Quarter{};
}

constexpr uint64_t fieldBit(unsigned field)
{
    return uint64_t{1} << field;
}

constexpr uint64_t kAllFields = fieldBit(kFieldEnd) - fieldBit(1);

inline bool hasField(const FieldImage &image, unsigned field)
{
    return (image.present & kAllFields) >> field & 1;
}

// 0 for a field that the frame does not have, and for an id that names no field.
inline uint64_t fieldValue(const FieldImage &image, unsigned field)
{
    const FieldPlace place = fieldPlace(field);
    const uint32_t *word = image.word + place.lsb / 32;
    const uint64_t pair = uint64_t{word[1]} << 32 | word[0];
    return pair >> place.lsb % 32 & fieldOnes(field);
}

// Bits above the field's width are dropped.
inline void setField(FieldImage &image, unsigned field, uint64_t value)
{
    const FieldPlace place = fieldPlace(field);
    uint32_t *word = image.word + place.lsb / 32;
    const uint64_t ones = fieldOnes(field) << place.lsb % 32;
    const uint64_t bits = value << place.lsb % 32 & ones;
    word[0] = (word[0] & ~static_cast<uint32_t>(ones)) | static_cast<uint32_t>(bits);
    word[1] = (word[1] & ~static_cast<uint32_t>(ones >> 32)) | static_cast<uint32_t>(bits >> 32);
    image.present |= fieldBit(field);
}

} // namespace engine
