// SPDX-License-Identifier: MIT OR GPL-2.0
// The 47 comparable fields of one frame, side by side as the classifier compares them.
//
//   bits 0 to 593    fields 1 to 31, packed as in a LUT0 key area (ifc/ifc_glb.h), bit 0 = bit 0 of word 0
//   bits 608 to 863  the user-defined fields 32 to 47, 16 bits each
//
// Words count from the least significant end, unlike those of the records. A field that the frame does not
// have is 0 and its present bit is clear.
#pragma once

#include "ifc/ifc_glb.h"

namespace engine
{

constexpr unsigned kFieldEnd = IFC_LUT1_FIELDS + 1; // field ids run from 1 to kFieldEnd - 1
constexpr unsigned kImageWords = IFC_LUT0_AREA_WORDS + (UDF15 - UDF0 + 1) * IFC_UDF_BITS / 32;

struct FieldPlace {
    uint16_t lsb;
    uint8_t width; // 0: no field
};

struct FieldPlaces {
    FieldPlace place[64]; // of every id that six bits can name
};

constexpr FieldPlaces makeFieldPlaces()
{
    FieldPlaces places{};
    unsigned lsb = 0;
#define IFC_PLACE(id, name, bits)                          \
    places.place[id] = {static_cast<uint16_t>(lsb), bits}; \
    lsb += (bits);
    IFC_LUT0_FIELD_LIST(IFC_PLACE)
#undef IFC_PLACE
    for (unsigned n = UDF0; n <= UDF15; ++n)
        places.place[n] = {static_cast<uint16_t>(32 * IFC_LUT0_AREA_WORDS + IFC_UDF_BITS * (n - UDF0)),
                           IFC_UDF_BITS};
    return places;
}

inline constexpr FieldPlaces kFieldPlaces = makeFieldPlaces();

static_assert(kFieldPlaces.place[DMAC_TYPE].lsb + kFieldPlaces.place[DMAC_TYPE].width == 594);
static_assert(kFieldPlaces.place[UDF15].lsb + IFC_UDF_BITS == 32 * kImageWords);

struct alignas(32) FieldImage {
    uint32_t word[kImageWords + 1]; // the last one is always 0: a field may be read with its next word
    uint64_t present;               // bit f: the frame has field f
};

// In four stores; compilers make a call or a slow string instruction of a memset of this size.
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

constexpr uint64_t fieldOnes(unsigned field)
{
    return (uint64_t{1} << kFieldPlaces.place[field].width) - 1;
}

// 0 for a field that the frame does not have, and for an id that is none.
inline uint64_t fieldValue(const FieldImage &image, unsigned field)
{
    const FieldPlace place = kFieldPlaces.place[field];
    const uint32_t *word = image.word + place.lsb / 32;
    const uint64_t pair = uint64_t{word[1]} << 32 | word[0];
    return pair >> place.lsb % 32 & fieldOnes(field);
}

// Bits above the field's width are dropped.
inline void setField(FieldImage &image, unsigned field, uint64_t value)
{
    const FieldPlace place = kFieldPlaces.place[field];
    uint32_t *word = image.word + place.lsb / 32;
    const uint64_t ones = fieldOnes(field) << place.lsb % 32;
    const uint64_t bits = value << place.lsb % 32 & ones;
    word[0] = (word[0] & ~static_cast<uint32_t>(ones)) | static_cast<uint32_t>(bits);
    word[1] = (word[1] & ~static_cast<uint32_t>(ones >> 32)) | static_cast<uint32_t>(bits >> 32);
    image.present |= fieldBit(field);
}

} // namespace engine
