// SPDX-License-Identifier: MIT OR GPL-2.0
// Checks for equality by look-ups: a table for a byte of the field image says for each value of the byte
// which rules fail. All programs share the tables, and each looks only at its own rules. Words of the image
// are little-endian.
#pragma once

#include "engine/field_image.h"
#include "engine/hits.h"

namespace engine
{

class ByteTables
{
public:
    static constexpr unsigned kPrograms = 31;

    void clear();
    bool has(unsigned byte) const { return number_[byte] != 0; }
    unsigned room() const { return kTables - tables_; } // for tables
    // Adds the table of a byte of the image, by which `rules` fail, whatever the value. There is room.
    void add(unsigned byte, HitBits rules);
    // Lets one of these rules pass where the byte has the bits of `key` under `mask`.
    void pass(unsigned byte, HitBits rule, uint8_t mask, uint8_t key);

    // Lists a byte for look-ups. There is room for kPrograms lists of all bytes that have a table.
    void list(unsigned byte);
    // Lists the last byte once more if the list from `first` is odd.
    void makeEven(unsigned first);
    unsigned listed() const { return steps_; }
    void unlist(unsigned steps) { steps_ = steps; }

    // The rules that fail by the bytes listed from `first` to before `end`, an even number.
    HitBits failed(unsigned first, unsigned end, const FieldImage &fields) const
    {
        const auto *image = reinterpret_cast<const unsigned char *>(&fields);
        HitBits even = 0;
        HitBits odd = 0;
        for (const Step *step = step_ + first; step != step_ + end; step += 2) {
            even |= failed_[step[0].first + image[step[0].byte]];
            odd |= failed_[step[1].first + image[step[1].byte]];
        }
        return even | odd;
    }

private:
    static constexpr unsigned kValues = 256;
    static constexpr unsigned kTables = 16; // 32 KiB
    static constexpr unsigned kSteps = kPrograms * kTables;
    static_assert(kTables % 2 == 0);
    struct Step {
        uint32_t byte;
        uint32_t first; // of the byte's table, in failed_
    };
    unsigned steps_ = 0;
    unsigned tables_ = 0;
    uint8_t number_[sizeof(FieldImage)]; // of the byte's table, from 1; 0: none
    Step step_[kSteps];
    HitBits failed_[kTables * kValues];
};

} // namespace engine
