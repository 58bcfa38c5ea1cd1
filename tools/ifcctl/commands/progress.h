// SPDX-License-Identifier: MIT OR GPL-2.0
// How far a replay is: a bar, the rate and the time left, on standard error if that is a terminal.
#pragma once

#include "tools/capture/frame_capture.h"

#include <chrono>

namespace ifcctl
{

class Progress
{
public:
    explicit Progress(const capture::FrameCapture &source);
    // Erases the line.
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    // After each frame.
    void frame()
    {
        if (++frames_ % kEvery == 0 && shown_)
            draw();
    }

private:
    static constexpr uint64_t kEvery = 1u << 14; // frames between two looks at the clock

    void draw();

    using Clock = std::chrono::steady_clock;
    const capture::FrameCapture &capture_;
    bool shown_;
    uint64_t frames_ = 0;
    Clock::time_point begun_ = Clock::now();
    Clock::time_point drawn_;
    bool wrote_ = false;
};

} // namespace ifcctl
