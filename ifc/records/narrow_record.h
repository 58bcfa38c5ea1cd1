// SPDX-License-Identifier: MIT OR GPL-2.0
// LUT1 entries: one condition in one or two entries, reduced masks, chains.
//
// An entry is read from its two words in record order (`word` of IFC_LUT1_Format; a row of the engine's
// table). A table is anything that yields an entry by its index: IFC_LUT1_Rule, or the engine's words.
#pragma once

#include "ifc/records/condition.h"

namespace ifc
{

// Why a mask cannot be reduced.
enum class MaskFault : uint8_t {
    None,
    NoEnd,     // no end of the low word is covered: a 32-bit mask of 0, or ones inside the low word only
    NotOneRun, // not one run of ones from one end of the mask's width (also: a 48-bit mask of 0)
};

// A run of ones from one end, as LUT1 stores it: bit 31 the direction, bits 5..0 the number of ones.
struct ReducedMask {
    uint word; // kReduceFailed unless fault is None
    MaskFault fault;
};

// Entries first to end, all in one sub-table. A chain's `end` has the end flag and numbers its action.
struct Chain {
    uint first;
    uint end;
    bool complete; // false: no end flag before a free entry or the end of the sub-table; never hits
};

namespace
{

constexpr uint kEntryWords = 2;
constexpr uint kMacBits = 48;

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
constexpr uint32_t kNarrowUnusedType0 = 7u << 10; // as well

// Reduced masks.
constexpr uint kReduceFailed = 0xFFFFFFFFu;
constexpr uint kReducedFromBottom = 0x80000000u; // else the ones start at the most significant bit
constexpr uint kReducedCount = 0x3Fu;

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

// The 32-bit mask of a run of `length` ones, 0 to 31; 0 means 32.
constexpr uint wordMask(uint direction, uint length)
{
    if (length == 0)
        return 0xFFFFFFFFu;
    return direction == IFC_LUT1_FROM_TOP ? 0xFFFFFFFFu << (32 - length) : 0xFFFFFFFFu >> (32 - length);
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

// Ones from bit 0 upwards and nothing else (also no ones at all).
constexpr bool isLowRun(uint value)
{
    return (value & (value + 1)) == 0;
}

// Their number, 0 to 31.
constexpr uint lowRunLength(uint value)
{
    return static_cast<uint>(__builtin_ctz(value + 1));
}

// Reduces a mask of `width` bits: 48 with bits 47..32 in `high`, or 32, where `high` does not count. Other
// widths reduce like 32, but for a low word of 0.
constexpr ReducedMask reduceMask(uint high, uint low, int width)
{
    constexpr ReducedMask notOneRun = {kReduceFailed, MaskFault::NotOneRun};
    const bool mac = width == static_cast<int>(kMacBits);
    const bool top = (low & 0x80000000u) != 0;
    const bool bottom = (low & 1) != 0;

    if (!top && !bottom) {
        if (width == 32 || low != 0)
            return {kReduceFailed, MaskFault::NoEnd};
        // Ones in the high word only. They must start at bit 47, so the zeros below them are a low run. The
        // whole word is compared: bits above 15 become part of that run and make it too long.
        const uint zeros = high ^ 0xFFFF;
        if (!mac || (high & 0x8000) == 0 || !isLowRun(zeros))
            return notOneRun;
        return {16 - lowRunLength(zeros), MaskFault::None};
    }

    if (top && bottom) {
        if (low != 0xFFFFFFFFu)
            return notOneRun;
        if (!mac || high == 0xFFFF)
            return {mac ? 48u : 32u, MaskFault::None};
        if (high == 0)
            return {kReducedFromBottom + 32, MaskFault::None};
        // Known: 1 to 15 ones above the low word reduce to 47 bits, whatever their number.
        if ((high & 0x8000) == 0 && isLowRun(high))
            return {kReducedFromBottom + 47, MaskFault::None};
        return notOneRun;
    }

    if (bottom) {
        if ((mac && high != 0) || !isLowRun(low))
            return notOneRun;
        return {kReducedFromBottom + lowRunLength(low), MaskFault::None};
    }

    if ((mac && high != 0xFFFF) || !isLowRun(~low))
        return notOneRun;
    return {(mac ? 16 : 0) + 32 - lowRunLength(~low), MaskFault::None};
}

// The same for a field from 1 to 13, with the mask in one number. The automatic placement reduces it so.
constexpr ReducedMask reduceFieldMask(uint field, uint64_t mask)
{
    return isMac(field) ? reduceMask(highWord(mask), lowWord(mask), 48) : reduceMask(0, lowWord(mask), 32);
}

// A reduced MAC mask, split over the two halves of an address.
struct MacMask {
    uint high;      // 16-bit mask of address bits 47..32; 0: no type 0 entry
    uint lowLength; // number of masked bits among address bits 31..0, 0 to 32; 0: no type 1 entry
    uint direction;
};

constexpr MacMask splitMacMask(uint reduced)
{
    const uint direction = reduced >> 31;
    const uint count = reduced & kReducedCount;
    if (count == 0 || count > 47)
        return {0xFFFF, 32, direction};
    if (direction == IFC_LUT1_FROM_TOP) {
        const uint high = count < 16 ? count : 16;
        return {0xFFFFu << (16 - high) & 0xFFFF, count - high, direction};
    }
    const uint low = count < 32 ? count : 32;
    return {(1u << (count - low)) - 1, low, direction};
}

// The mask that the entries of a field compare, from the mask argument of ifc_set_lut1_rules(): the
// reduced mask of the fields 1 to 13, any word of it, or the 16-bit mask of the others.
constexpr uint64_t expandMask(uint field, uint mask)
{
    if (isMac(field)) {
        const MacMask mac = splitMacMask(mask);
        const uint low = mac.lowLength != 0 ? wordMask(mac.direction, mac.lowLength & 0x1F) : 0;
        return joinWords(mac.high, low);
    }
    return isWord(field) ? wordMask(mask >> 31, mask & 0x1F) : mask & 0xFFFF;
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

// The words of an entry of a table.
constexpr const uint32_t *wordsOf(const IFC_LUT1_Format &entry)
{
    return entry.word;
}

constexpr const uint32_t *wordsOf(const uint32_t *entry)
{
    return entry;
}

constexpr bool isLastOfSubTable(uint entry)
{
    return entry % IFC_LUT1_SUB_TABLE == IFC_LUT1_SUB_TABLE - 1;
}

// The next run of valid entries up to the first end flag, inside a sub-table: a chain, or a run that lacks
// its end flag. `from` is 0, or the entry after the end of the run before. False: there is none. Visits all
// of them like this:
//   for (uint from = 0; nextRun(table, from, run); from = run.end + 1)
template <typename Table>
constexpr bool nextRun(const Table &table, uint from, Chain &run)
{
    uint entry = from;
    while (entry < IFC_LUT1_RULES && !narrowValid(wordsOf(table[entry])))
        ++entry;
    if (entry >= IFC_LUT1_RULES)
        return false;
    run.first = entry;
    while (!narrowEnd(wordsOf(table[entry])) && !isLastOfSubTable(entry) &&
           narrowValid(wordsOf(table[entry + 1])))
        ++entry;
    run.end = entry;
    run.complete = narrowEnd(wordsOf(table[entry]));
    return true;
}

// The same for chains only: runs without an end flag are left out, since no frame hits them.
template <typename Table>
constexpr bool nextChain(const Table &table, uint from, Chain &chain)
{
    while (nextRun(table, from, chain)) {
        if (chain.complete)
            return true;
        from = chain.end + 1;
    }
    return false;
}

// A run of free entries inside a sub-table.
struct FreeRun {
    uint first;
    uint length;
};

// The next free run that starts at entry `from` or later. `from` is 0, or first + length of the run before.
template <typename Table>
constexpr bool nextFreeRun(const Table &table, uint from, FreeRun &run)
{
    uint entry = from;
    while (entry < IFC_LUT1_RULES && narrowValid(wordsOf(table[entry])))
        ++entry;
    if (entry >= IFC_LUT1_RULES)
        return false;
    run.first = entry;
    while (!isLastOfSubTable(entry) && !narrowValid(wordsOf(table[entry + 1])))
        ++entry;
    run.length = entry + 1 - run.first;
    return true;
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
