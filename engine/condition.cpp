// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/condition.h"

namespace engine
{

namespace
{

// Field f of an area whose last, least significant word stands at `last`; record words count downwards.
uint64_t areaValue(const uint32_t *last, unsigned field)
{
    const FieldPlace place = kFieldPlaces.place[field];
    const uint32_t *word = last - place.lsb / 32;
    uint64_t pair = word[0];
    if (place.lsb % 32 + place.width > 32)
        pair |= uint64_t{word[-1]} << 32;
    return pair >> place.lsb % 32 & fieldOnes(field);
}

constexpr unsigned kMaskLast = IFC_LUT0_MASK_WORD + IFC_LUT0_AREA_WORDS - 1;
constexpr unsigned kKeyLast = IFC_LUT0_KEY_WORD + IFC_LUT0_AREA_WORDS - 1;

} // namespace

Condition wideCondition(const uint32_t *rule, unsigned field)
{
    const uint32_t commands = field <= 16 ? rule[2] : rule[1];
    const unsigned code = commands >> 2 * ((field - 1) % 16);
    return {static_cast<uint8_t>(field), commandOf(field, code), 0, areaValue(rule + kMaskLast, field),
            areaValue(rule + kKeyLast, field)};
}

Condition narrowCondition(const uint32_t *entry)
{
    IFC_LUT1_Format view;
    view.word[0] = entry[0];
    view.word[1] = entry[1];
    const unsigned field = view.type0.field;
    if (view.type0.type == 0) {
        // Model: Sel counts in units of 16 bits from the field's least significant end.
        return {static_cast<uint8_t>(field), commandOf(field, view.type0.command),
                static_cast<uint8_t>(16 * view.type0.sel), view.type0.mask, view.type0.key};
    }
    const unsigned ones = view.type1.length;
    uint32_t mask = 0xFFFFFFFF;
    if (ones != 0)
        mask = view.type1.direction == IFC_LUT1_FROM_TOP ? mask << (32 - ones) : mask >> (32 - ones);
    return {static_cast<uint8_t>(field), commandOf(field, view.type1.command), 0, mask, view.type1.key};
}

} // namespace engine
