// SPDX-License-Identifier: MIT OR GPL-2.0
// A record as a row of single bits, the way a drawing of it is read.
#pragma once

#include <cstdint>
#include <vector>

namespace prove
{

class Bits
{
public:
    explicit Bits(unsigned count, bool value = false) : bits_(count, value) {}

    void put(unsigned lsb, unsigned width, uint64_t value)
    {
        for (unsigned n = 0; n < width; ++n, value /= 2)
            bits_[lsb + n] = value % 2 == 1;
    }
    uint64_t get(unsigned lsb, unsigned width) const
    {
        uint64_t value = 0;
        for (unsigned n = width; n-- > 0;)
            value = 2 * value + (bits_[lsb + n] ? 1 : 0);
        return value;
    }
    // `last`: the word that holds bits 0 to 31; the others stand before it.
    bool equals(const uint32_t *last) const
    {
        for (unsigned n = 0; n < bits_.size(); n += 32)
            if (last[-static_cast<int>(n / 32)] != get(n, 32))
                return false;
        return true;
    }

private:
    std::vector<bool> bits_;
};

} // namespace prove
