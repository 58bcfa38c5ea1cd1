// SPDX-License-Identifier: MIT OR GPL-2.0
// LUT1 entries: one condition in one or two entries.
//
// An entry is read from its two words in record order: `word` of IFC_LUT1_Format, a row of the engine's
// table.
#pragma once

#include "ifc/records/reduced_mask.h"

namespace ifc
{
namespace
{

constexpr uint kEntryWords = 2;

// Word 0 of an entry.
constexpr uint32_t kNarrowField = 0x3Fu;
constexpr uint kNarrowCommandLsb = 6;
constexpr uint kNarrowDirectionLsb = 7; // type 1
constexpr uint kNarrowSelLsb = 8;       // type 0: two bits
constexpr uint kNarrowLengthLsb = 8;    // type 1: five bits
constexpr uint32_t kNarrowType1 = 1u << 13;
constexpr uint32_t kNarrowEnd = 1u << 14;
constexpr uint32_t kNarrowValid = 1u << 15;
constexpr uint32_t kNarrowUnused = 0xFFFF0000u;   // of both types: no operation sets or tests them
constexpr uint32_t kNarrowUnusedType0 = 7u << 10; // of type 0 as well; in type 1 bits of the length

constexpr bool narrowValid(const uint32_t *entry)
{
    return (entry[0] & kNarrowValid) != 0;
}

constexpr bool narrowEnd(const uint32_t *entry)
{
    return (entry[0] & kNarrowEnd) != 0;
}

constexpr uint narrowField(const uint32_t *entry) // 0 to 63
{
    return entry[0] & kNarrowField;
}

constexpr bool isWordEntry(const uint32_t *entry) // type 1: 32 bits under a length and a direction
{
    return (entry[0] & kNarrowType1) != 0;
}

// The code as it stands in the record: one bit of a type 1 entry, two bits of a type 0 entry.
constexpr uint narrowCommand(const uint32_t *entry)
{
    return entry[0] >> kNarrowCommandLsb & (isWordEntry(entry) ? 1 : 3);
}

// The mask of an entry: 32 bits of a type 1 entry, 16 bits of a type 0 entry.
constexpr uint narrowMask(const uint32_t *entry)
{
    if (!isWordEntry(entry))
        return entry[1] >> 16;
    return wordMask(entry[0] >> kNarrowDirectionLsb & 1, entry[0] >> kNarrowLengthLsb & 0x1F);
}

constexpr uint narrowKey(const uint32_t *entry)
{
    return isWordEntry(entry) ? entry[1] : entry[1] & 0xFFFF;
}

// The lowest bit of the field that the entry compares. Sel counts in units of 16 bits. The operations
// write 0 and 2 only; for 1 and 3 this is the engine's model.
constexpr uint narrowPart(const uint32_t *entry)
{
    return isWordEntry(entry) ? 0 : 16 * (entry[0] >> kNarrowSelLsb & 3);
}

// The condition of an entry, whether valid or not. The command is the code of the record.
constexpr Condition decodeNarrow(const uint32_t *entry)
{
    return {static_cast<uint8_t>(narrowField(entry)), static_cast<Command>(narrowCommand(entry)),
            static_cast<uint8_t>(narrowPart(entry)), narrowMask(entry), narrowKey(entry)};
}

// How many entries ifc_set_lut1_rules() writes for this field and mask argument: 1 or 2.
constexpr uint narrowEntries(uint field, uint mask)
{
    if (!isMac(field))
        return 1;
    const MacMask mac = splitMacMask(mask);
    return mac.high != 0 && mac.lowLength != 0 ? 2 : 1;
}

// How many entries the automatic placement counts for a condition. A MAC counts as two, even if it needs one.
constexpr uint countedEntries(uint field)
{
    return isMac(field) ? 2 : 1;
}

// Makes a type 1 entry: 32 bits under a mask of `length` ones, where 32 is stored as 0. The unused bits stay.
constexpr void setWordEntry(IFC_LUT1_Format &entry, uint field, uint command, uint end, uint direction,
                            uint length, uint key)
{
    entry.word[0] = (entry.word[0] & kNarrowUnused) | kNarrowValid | ((end & 1) != 0 ? kNarrowEnd : 0) |
                    kNarrowType1 | (length & 0x1F) << kNarrowLengthLsb |
                    (direction & 1) << kNarrowDirectionLsb | (command & 1) << kNarrowCommandLsb |
                    (field & kNarrowField);
    entry.word[1] = key;
}

// Makes a type 0 entry: 16 bits. Known: bits 10 to 12 keep what a former type 1 entry left there.
constexpr void setHalfEntry(IFC_LUT1_Format &entry, uint field, uint command, uint end, uint sel, uint mask,
                            uint key)
{
    entry.word[0] = (entry.word[0] & (kNarrowUnused | kNarrowUnusedType0)) | kNarrowValid |
                    ((end & 1) != 0 ? kNarrowEnd : 0) | (sel & 3) << kNarrowSelLsb |
                    (command & 3) << kNarrowCommandLsb | (field & kNarrowField);
    entry.word[1] = mask << 16 | (key & 0xFFFF);
}

// Writes a condition as ifc_set_lut1_rules() does, with its arguments: `mask` is the reduced mask of the
// fields 1 to 13 and the 16-bit mask of the others; `field` is 1 to 47. Returns the number of entries
// written, 1 or 2; of two the second has the end flag.
constexpr uint writeNarrow(IFC_LUT1_Format *entries, uint field, uint command, uint end, uint mask,
                           uint keyHigh, uint keyLow)
{
    if (isWord(field)) {
        setWordEntry(entries[0], field, command, end, mask >> 31, mask, keyLow);
        return 1;
    }
    if (!isMac(field)) {
        setHalfEntry(entries[0], field, command, end, IFC_LUT1_SEL_FIELD, mask, keyLow);
        return 1;
    }
    const MacMask mac = splitMacMask(mask);
    const uint second = mac.lowLength != 0 && mac.high != 0 ? 1 : 0;
    if (mac.lowLength != 0)
        setWordEntry(entries[0], field, command, second != 0 ? 0 : end, mac.direction, mac.lowLength, keyLow);
    if (mac.high != 0)
        setHalfEntry(entries[second], field, command, end, IFC_LUT1_SEL_MAC_HIGH, mac.high, keyHigh);
    return second + 1;
}

// The entries of one condition: what ifc_set_lut1_rules() makes of free entries, after the automatic
// placement has reduced the mask. Returns their number; 0: the mask cannot be reduced (reduceFieldMask() says
// why), no LUT1 entry holds the field, or `part` is not 0 for a field of up to 32 bits.
constexpr uint encodeNarrow(const Condition &condition, bool end, IFC_LUT1_Format (&entries)[2])
{
    const uint field = condition.field;
    if (!isNarrowField(field) || (condition.part != 0 && !isMac(field)))
        return 0;
    const uint64_t key = condition.key << condition.part;
    uint mask = lowWord(condition.mask);
    if (!isHalf(field)) {
        mask = reduceFieldMask(field, condition.mask << condition.part).word;
        if (mask == kReduceFailed)
            return 0;
    }
    entries[0] = {};
    entries[1] = {};
    return writeNarrow(entries, field, static_cast<uint>(condition.command), end, mask, highWord(key),
                       lowWord(key));
}

// Checks the places above against the bit-field views (not with clang; wide_record.h says why).
static_assert(sizeof(IFC_LUT1_Format) == 4 * kEntryWords);
#ifndef __clang__
struct NarrowWords {
    uint32_t word[kEntryWords];
};
using Type0View = decltype(IFC_LUT1_Format::type0);
using Type1View = decltype(IFC_LUT1_Format::type1);

constexpr bool agreeWithType0View()
{
    IFC_LUT1_Format entry = {{0xFFFFFFFFu, 0}};
    setHalfEntry(entry, 42, 2, 1, 2, 0x8001, 0x4002);
    const auto view = __builtin_bit_cast(Type0View, NarrowWords{{entry.word[0], entry.word[1]}});
    return view.field == 42 && view.command == 2 && view.sel == 2 && view.unused1 == 7 && view.type == 0 &&
           view.end == 1 && view.valid == 1 && view.unused2 == 0xFFFF && view.mask == 0x8001 &&
           view.key == 0x4002 && narrowField(entry.word) == 42 && narrowCommand(entry.word) == 2 &&
           narrowPart(entry.word) == 32 && narrowMask(entry.word) == 0x8001 &&
           narrowKey(entry.word) == 0x4002 && narrowEnd(entry.word) && narrowValid(entry.word) &&
           !isWordEntry(entry.word);
}
static_assert(agreeWithType0View());

constexpr bool agreeWithType1View()
{
    IFC_LUT1_Format entry = {{0xFFFF0000u, 0}};
    setWordEntry(entry, 13, 1, 0, IFC_LUT1_FROM_BOTTOM, 20, 0x87654321);
    const auto view = __builtin_bit_cast(Type1View, NarrowWords{{entry.word[0], entry.word[1]}});
    return view.field == 13 && view.command == 1 && view.direction == 1 && view.length == 20 &&
           view.type == 1 && view.end == 0 && view.valid == 1 && view.unused == 0xFFFF &&
           view.key == 0x87654321 && narrowField(entry.word) == 13 && narrowCommand(entry.word) == 1 &&
           narrowPart(entry.word) == 0 && narrowMask(entry.word) == 0x000FFFFF &&
           narrowKey(entry.word) == 0x87654321 && !narrowEnd(entry.word) && narrowValid(entry.word) &&
           isWordEntry(entry.word);
}
static_assert(agreeWithType1View());
#endif

} // namespace
} // namespace ifc
