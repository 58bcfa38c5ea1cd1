// SPDX-License-Identifier: MIT OR GPL-2.0
#include "activity.h"

namespace ifcctl::report
{

void Activity::halve()
{
    for (auto &parts : parts_) {
        for (unsigned n = 0; n < kParts / 2; ++n)
            parts[n] = parts[2 * n] + parts[2 * n + 1];
        for (unsigned n = kParts / 2; n < kParts; ++n)
            parts[n] = 0;
    }
    width_ *= 2;
}

std::vector<uint64_t> Activity::of(unsigned entry) const
{
    const uint64_t used = (frames_ + width_ - 1) / width_;
    return {parts_[entry].begin(), parts_[entry].begin() + static_cast<long>(used)};
}

} // namespace ifcctl::report
