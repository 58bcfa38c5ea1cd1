// SPDX-License-Identifier: MIT OR GPL-2.0
// Packs and unpacks the mask and key areas of a LUT0 rule.
#include "ifc/ifc_util.h"

#include <stddef.h>

#include "field_arrays.h"

namespace
{

// The place of each array word in an area. The two MAC addresses fill the words 0, 1 and 2 together.
struct Layout {
    ifc::FieldPlace slot[ifc::kArrayWords];
};

constexpr Layout makeLayout()
{
    Layout layout{};
    for (uint n = 0; n <= IFC_LAST_MAC_FIELD; ++n)
        layout.slot[n] = {static_cast<uint16_t>(32 * n), 32};
    for (uint field = IFC_LAST_MAC_FIELD + 1; field < ifc::kArrayWords; ++field)
        layout.slot[field] = ifc::fieldPlace(field);
    return layout;
}

constexpr Layout kLayout = makeLayout();

constexpr bool noSlotStraddlesWords()
{
    for (const ifc::FieldPlace &slot : kLayout.slot)
        if (slot.lsb % 32 + slot.width > 32)
            return false;
    return true;
}

static_assert(noSlotStraddlesWords());
static_assert(ifc::fieldPlace(IFC_LAST_MAC_FIELD + 1).lsb == 32 * (IFC_LAST_MAC_FIELD + 1));
static_assert(offsetof(IFC_LUT0_Format, bits.mask) == 4 * IFC_LUT0_MASK_WORD);
static_assert(offsetof(IFC_LUT0_Format, bits.key) == 4 * IFC_LUT0_KEY_WORD);

constexpr uint32_t ones(uint8_t width)
{
    return 0xFFFFFFFFu >> (32 - width);
}

// An area counts its words from the most significant one.
constexpr uint areaWord(const ifc::FieldPlace &slot)
{
    return IFC_LUT0_AREA_WORDS - 1 - slot.lsb / 32;
}

#ifdef __OPTIMIZE_SIZE__

void unpack(const uint32_t *area, uint *array)
{
    for (const ifc::FieldPlace &slot : kLayout.slot)
        *array++ = area[areaWord(slot)] >> slot.lsb % 32 & ones(slot.width);
}

void pack(uint32_t *area, const uint *array)
{
    for (const ifc::FieldPlace &slot : kLayout.slot) {
        uint32_t &word = area[areaWord(slot)];
        const uint32_t place = ones(slot.width) << slot.lsb % 32;
        word = (word & ~place) | (*array++ << slot.lsb % 32 & place);
    }
}

#else

// Slot `n` and those after it. Each word of the area is read once, and written once. All slots are constants.
template <uint n>
[[gnu::always_inline]] inline void unpackFrom(const uint32_t *area, uint *array, uint32_t word)
{
    constexpr ifc::FieldPlace slot = kLayout.slot[n];
    array[n] = word >> slot.lsb % 32 & ones(slot.width);
    if constexpr (n + 1 < ifc::kArrayWords) {
        constexpr uint next = areaWord(kLayout.slot[n + 1]);
        unpackFrom<n + 1>(area, array, next == areaWord(slot) ? word : area[next]);
    }
}

template <uint n>
[[gnu::always_inline]] inline void packFrom(uint32_t *area, const uint *array, uint32_t word)
{
    constexpr ifc::FieldPlace slot = kLayout.slot[n];
    constexpr uint32_t place = ones(slot.width) << slot.lsb % 32;
    word = (word & ~place) | (array[n] << slot.lsb % 32 & place);
    if constexpr (n + 1 == ifc::kArrayWords) {
        area[areaWord(slot)] = word;
    } else if constexpr (areaWord(kLayout.slot[n + 1]) == areaWord(slot)) {
        packFrom<n + 1>(area, array, word);
    } else {
        area[areaWord(slot)] = word;
        packFrom<n + 1>(area, array, area[areaWord(kLayout.slot[n + 1])]);
    }
}

void unpack(const uint32_t *area, uint *array)
{
    unpackFrom<0>(area, array, area[areaWord(kLayout.slot[0])]);
}

void pack(uint32_t *area, const uint *array)
{
    packFrom<0>(area, array, area[areaWord(kLayout.slot[0])]);
}

#endif

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
