// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/byte_tables.h"

namespace engine
{

void ByteTables::clear()
{
    steps_ = 0;
    tables_ = 0;
    __builtin_memset(number_, 0, sizeof number_);
}

void ByteTables::add(unsigned byte, HitBits rules)
{
    HitBits *const failed = &failed_[tables_ * kValues];
    for (unsigned value = 0; value < kValues; ++value)
        failed[value] = rules;
    number_[byte] = static_cast<uint8_t>(++tables_);
}

void ByteTables::pass(unsigned byte, HitBits rule, uint8_t mask, uint8_t key)
{
    HitBits *const failed = &failed_[(number_[byte] - 1u) * kValues];
    const unsigned free = ~mask & (kValues - 1);
    unsigned bits = 0;
    do {
        failed[(key & mask) | bits] &= ~rule;
        bits = (bits - free) & free; // the next value of the free bits
    } while (bits != 0);
}

void ByteTables::list(unsigned byte)
{
    step_[steps_++] = {byte, (number_[byte] - 1u) * kValues};
}

void ByteTables::makeEven(unsigned first)
{
    if ((steps_ - first) % 2 != 0) {
        step_[steps_] = step_[steps_ - 1];
        ++steps_;
    }
}

} // namespace engine
