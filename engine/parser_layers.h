// SPDX-License-Identifier: MIT OR GPL-2.0
// What the parser's layers share: where fields lie in the image, the rest of a layer, what was found so far.
#pragma once

#include "engine/frame_parser.h"
#include "engine/wire.h"

namespace engine
{
namespace // internal linkage: each user compiles its own copy
{

constexpr unsigned wordOf(unsigned field)
{
    return fieldPlace(field).lsb / 32;
}

constexpr unsigned shiftOf(unsigned field)
{
    return fieldPlace(field).lsb % 32;
}

constexpr uint64_t fieldBits(unsigned first, unsigned last)
{
    return (fieldBit(last) << 1) - fieldBit(first);
}

// Each field is put once, into an image of zeros.
template <unsigned Field>
inline void put(FieldImage &image, uint32_t value)
{
    static_assert(shiftOf(Field) + fieldPlace(Field).width <= 32);
    image.word[wordOf(Field)] |= value << shiftOf(Field);
}

// Two words at once, the lower one first.
inline void putPair(FieldImage &image, unsigned word, uint64_t value)
{
    __builtin_memcpy(image.word + word, &value, sizeof value);
}

// What is left of a layer: `left` bytes from `at` on.
struct Rest {
    const uint8_t *at;
    uint32_t left;

    Rest after(uint32_t bytes) const { return {at + bytes, left - bytes}; }
    Rest upTo(uint32_t bytes) const { return {at, bytes < left ? bytes : left}; }
};

// The state of all layers. Fields go to the image. Everything else stays here until the end, so that
// compilers can keep it in registers across writes to the image. Each layer notes its present fields in a
// variable of its own: a single variable would be written too often.
struct ParserLayers {
    const uint8_t *data;
    uint32_t length;
    FieldImage &fields;
    uint64_t macs = 0; // fields that are present
    uint64_t tagged = 0;
    uint64_t types = 0;
    uint64_t session = 0;
    uint64_t addresses = 0;
    uint64_t ports = 0;
    uint64_t others = 0;
    uint32_t network = 0;
    uint32_t transport = 0;
    uint8_t tags = 0;
    uint8_t ipVersion = 0;

    uint32_t offset(const Rest &rest) const { return static_cast<uint32_t>(rest.at - data); }
};

} // namespace
} // namespace engine
