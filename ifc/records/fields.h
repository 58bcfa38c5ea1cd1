// SPDX-License-Identifier: MIT OR GPL-2.0
// The 47 fields that a rule can compare: classes, widths, places, names.
//
// All headers of this folder are internal to the tree. They are freestanding, need no heap and no run-time
// initialisation, and hold constants and small functions without side effects. Types live in namespace ifc.
// Functions and tables have internal linkage, so that no user of them exports a symbol.
#pragma once

#include "ifc/ifc_glb.h"

namespace ifc
{

// A field of up to 48 bits inside a longer little-endian number.
struct FieldPlace {
    uint16_t lsb;
    uint8_t width; // in bits; 0: the id names no field
};

namespace
{

constexpr uint kFieldIds = 64; // the ids that the six bits of a LUT1 entry can name

// Ones in the lowest `count` bits, 0 to 63.
constexpr uint64_t lowBits(uint count)
{
    return (uint64_t{1} << count) - 1;
}

// Classes. Any 32-bit id is a valid argument.

constexpr bool isWideField(uint field) // a LUT0 rule can hold it
{
    return field >= 1 && field <= IFC_LUT0_FIELDS;
}

constexpr bool isNarrowField(uint field) // a LUT1 entry can hold it
{
    return field >= 1 && field <= IFC_LUT1_FIELDS;
}

constexpr bool isMac(uint field) // 48 bits; up to two LUT1 entries
{
    return field == DMAC || field == SMAC;
}

constexpr bool isWord(uint field) // one 32-bit LUT1 entry, with a reduced mask
{
    return field > IFC_LAST_MAC_FIELD && field <= IFC_LAST_WORD_FIELD;
}

constexpr bool isHalf(uint field) // one 16-bit LUT1 entry, with a plain mask
{
    return field > IFC_LAST_WORD_FIELD && field <= IFC_LUT1_FIELDS;
}

constexpr bool isUdf(uint field)
{
    return field >= UDF0 && field <= UDF15;
}

constexpr bool isIpv4Address(uint field)
{
    return field == DIPv4 || field == SIPv4;
}

// Fields 1 to 13 know the commands 0 and 1 only.
constexpr bool isCommandRefused(uint field, uint command)
{
    return field <= IFC_LAST_WORD_FIELD && command > 1;
}

// ifc_del_lut_rules_auto() refuses the other words: IPv6 addresses and the flow label.
constexpr bool isFieldDeletable(uint field)
{
    return !isWord(field) || isIpv4Address(field);
}

struct FieldPlaces {
    FieldPlace of[kFieldIds];
};

// Fields 1 to 31 follow each other without gaps in the mask area and in the key area of a LUT0 rule; `lsb`
// counts from the area's bit 0, which is bit 0 of its last word. No LUT0 rule holds the user-defined fields:
// their places continue after the area, for a field image of a whole frame.
constexpr FieldPlaces makeFieldPlaces()
{
    FieldPlaces places{};
    uint lsb = 0;
#define IFC_PLACE(id, name, bits)                       \
    places.of[id] = {static_cast<uint16_t>(lsb), bits}; \
    lsb += (bits);
    IFC_LUT0_FIELD_LIST(IFC_PLACE)
#undef IFC_PLACE
    lsb = 32 * IFC_LUT0_AREA_WORDS;
    for (uint field = UDF0; field <= UDF15; ++field, lsb += IFC_UDF_BITS)
        places.of[field] = {static_cast<uint16_t>(lsb), IFC_UDF_BITS};
    return places;
}

constexpr FieldPlaces kFieldPlaces = makeFieldPlaces();

constexpr bool areFieldWidthsThoseOfTheirClasses()
{
    for (uint field = 0; field < kFieldIds; ++field) {
        const uint width = kFieldPlaces.of[field].width;
        const uint most = isMac(field) ? 48 : isWord(field) ? 32 : isHalf(field) ? 16 : 0;
        if ((isMac(field) ? width != most : width > most) || (width != 0) != isNarrowField(field))
            return false;
    }
    return true;
}
static_assert(areFieldWidthsThoseOfTheirClasses());

// The highest field of an area ends below the 14 reserved bits of the area's first word.
static_assert(kFieldPlaces.of[DMAC_TYPE].lsb + kFieldPlaces.of[DMAC_TYPE].width ==
              32 * IFC_LUT0_AREA_WORDS - 14);

// `field` below 64, here and in the next two.
constexpr FieldPlace fieldPlace(uint field)
{
    return kFieldPlaces.of[field];
}

constexpr uint fieldWidth(uint field) // 0 for an id that names no field
{
    return kFieldPlaces.of[field].width;
}

constexpr uint64_t fieldOnes(uint field) // a mask of the whole field
{
    return lowBits(kFieldPlaces.of[field].width);
}

struct FieldNames {
    const char *of[kFieldIds];
};

constexpr FieldNames kFieldNames = {{
    nullptr,
#define IFC_FIELD_NAME(id, name, width) #name,
    IFC_LUT0_FIELD_LIST(IFC_FIELD_NAME)
#undef IFC_FIELD_NAME
        "UDF0",
    "UDF1",
    "UDF2",
    "UDF3",
    "UDF4",
    "UDF5",
    "UDF6",
    "UDF7",
    "UDF8",
    "UDF9",
    "UDF10",
    "UDF11",
    "UDF12",
    "UDF13",
    "UDF14",
    "UDF15",
}};
static_assert(kFieldNames.of[IFC_LUT1_FIELDS] != nullptr && kFieldNames.of[IFC_LUT1_FIELDS + 1] == nullptr);

// The name of the enumeration, or nullptr for an id that names no field. The driver prints the names in
// ifc_field_name instead, whose texts their owner may choose.
constexpr const char *fieldName(uint field)
{
    return field < kFieldIds ? kFieldNames.of[field] : nullptr;
}

// A value of up to 48 bits as two words: high holds bits 47..32 (its upper half is kept as given).
constexpr uint64_t joinWords(uint high, uint low)
{
    return uint64_t{high} << 32 | low;
}

constexpr uint highWord(uint64_t value)
{
    return static_cast<uint>(value >> 32);
}

constexpr uint lowWord(uint64_t value)
{
    return static_cast<uint>(value);
}

} // namespace
} // namespace ifc
