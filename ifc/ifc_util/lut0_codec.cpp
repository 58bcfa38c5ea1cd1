// SPDX-License-Identifier: MIT OR GPL-2.0
// Packs and unpacks the mask and key areas of a LUT0 rule.
#include "ifc/ifc_util.h"

#include <stddef.h>

namespace
{

// Where a word of the arrays stands in an area, counted from the area's bit 0.
struct Slot {
    uint16_t lsb;
    uint8_t width;
};

constexpr uint kSlots = 32;

struct Layout {
    Slot slot[kSlots];
    uint bits; // of the whole area
};

// Fields follow each other without gaps. The two MAC addresses fill the words 0, 1 and 2 of the arrays
// together.
constexpr Layout makeLayout()
{
    constexpr uint8_t widths[] = {
#define IFC_FIELD_WIDTH(id, name, width) width,
        IFC_LUT0_FIELD_LIST(IFC_FIELD_WIDTH)
#undef IFC_FIELD_WIDTH
    };
    static_assert(sizeof widths == IFC_LUT0_FIELDS);
    Layout layout{};
    uint lsb = 0;
    for (uint n = 0; n <= IFC_LAST_MAC_FIELD; ++n, lsb += 32)
        layout.slot[n] = {static_cast<uint16_t>(lsb), 32};
    for (uint field = IFC_LAST_MAC_FIELD + 1; field < kSlots; ++field) {
        const uint8_t width = widths[field - 1];
        layout.slot[field] = {static_cast<uint16_t>(lsb), width};
        lsb += width;
    }
    layout.bits = lsb;
    return layout;
}

constexpr Layout kLayout = makeLayout();

constexpr bool noSlotStraddlesWords()
{
    for (const Slot &slot : kLayout.slot)
        if (slot.lsb % 32 + slot.width > 32)
            return false;
    return true;
}

static_assert(noSlotStraddlesWords());
static_assert(kLayout.bits == 594 && kLayout.slot[DMAC_TYPE].lsb == 592 &&
              kLayout.slot[FLOW_LABEL].lsb == 416);
static_assert(sizeof(IFC_LUT0_Area) == 4 * IFC_LUT0_AREA_WORDS);
static_assert(offsetof(IFC_LUT0_Format, bits.mask) == 4 * IFC_LUT0_MASK_WORD);
static_assert(offsetof(IFC_LUT0_Format, bits.key) == 4 * IFC_LUT0_KEY_WORD);

constexpr uint32_t ones(uint8_t width)
{
    return 0xFFFFFFFFu >> (32 - width);
}

// An area counts its words from the most significant one.
constexpr uint areaWord(const Slot &slot)
{
    return IFC_LUT0_AREA_WORDS - 1 - slot.lsb / 32;
}

void unpack(const uint32_t *area, uint *array)
{
    for (const Slot &slot : kLayout.slot)
        *array++ = area[areaWord(slot)] >> slot.lsb % 32 & ones(slot.width);
}

void pack(uint32_t *area, const uint *array)
{
    for (const Slot &slot : kLayout.slot) {
        uint32_t &word = area[areaWord(slot)];
        const uint32_t place = ones(slot.width) << slot.lsb % 32;
        word = (word & ~place) | (*array++ << slot.lsb % 32 & place);
    }
}

} // namespace

void set_lut0_mask_key_to_array(IFC_LUT0_Format *lut0Rule, uint *Mask, uint *Key)
{
    unpack(lut0Rule->word + IFC_LUT0_MASK_WORD, Mask);
    unpack(lut0Rule->word + IFC_LUT0_KEY_WORD, Key);
}

void get_lut0_mask_key(int index, uint *Mask, uint *Key)
{
    set_lut0_mask_key_to_array(&IFC_LUT0_Rule[index], Mask, Key);
}

void set_lut0_mask_key(int index, uint *Mask, uint *Key)
{
    pack(IFC_LUT0_Rule[index].word + IFC_LUT0_MASK_WORD, Mask);
    pack(IFC_LUT0_Rule[index].word + IFC_LUT0_KEY_WORD, Key);
}
