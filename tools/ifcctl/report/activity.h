// SPDX-License-Identifier: MIT OR GPL-2.0
// How often each rule decided, over the course of a capture: equal parts of its frames, in constant memory.
#pragma once

#include "ifc/ifc_glb.h"

#include <array>
#include <cstdint>
#include <vector>

namespace ifcctl::report
{

class Activity
{
public:
    static constexpr unsigned kParts = 48;
    static constexpr unsigned kNoRule = IFC_ACTIONS;

    // The next frame; `entry`: the rule that decided, or kNoRule.
    void count(unsigned entry)
    {
        if (frames_ / width_ == kParts)
            halve();
        ++parts_[entry][static_cast<size_t>(frames_ / width_)];
        ++frames_;
    }
    // Frames of an entry by part; as many parts as there were frames for.
    std::vector<uint64_t> of(unsigned entry) const;

private:
    void halve();

    std::array<std::array<uint64_t, kParts>, IFC_ACTIONS + 1> parts_{};
    uint64_t width_ = 1; // frames of a part
    uint64_t frames_ = 0;
};

} // namespace ifcctl::report
