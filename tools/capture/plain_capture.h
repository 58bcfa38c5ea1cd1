// SPDX-License-Identifier: MIT OR GPL-2.0
// Reads the plain pcap format in large pieces: either byte order, microseconds or nanoseconds. Only Ethernet
// without FCS.
#pragma once

#include "captured_frame.h"
#include "pcap_format.h"

#include <string>
#include <vector>

namespace capture
{

enum class CaptureStatus { Frame, End, Bad };

class PlainCapture
{
public:
    // Reads the file header from a descriptor, which the caller keeps and closes. False: another format,
    // another version, or another link type than Ethernet.
    bool open(int descriptor);

    CaptureStatus next(CapturedFrame &frame)
    {
        if (left() < kFrameHeaderBytes && !refill(kFrameHeaderBytes))
            return readError_ == 0 && left() == 0 ? CaptureStatus::End
                                                  : fail("the file ends inside a frame's header");
        const uint32_t length = word(8);
        if (length > kMaxFrame)
            return fail("a frame claims more than 262144 bytes");
        if (left() < kFrameHeaderBytes + length && !refill(kFrameHeaderBytes + length))
            return fail("the file ends inside a frame");
        frame = {at_ + kFrameHeaderBytes, length, word(12), word(0), word(4)};
        at_ += kFrameHeaderBytes + length;
        return CaptureStatus::Frame;
    }

    bool nanoseconds() const { return nanoseconds_; }
    const std::string &problem() const { return problem_; } // after CaptureStatus::Bad

private:
    size_t left() const { return static_cast<size_t>(end_ - at_); }
    uint32_t word(size_t offset) const
    {
        uint32_t value;
        __builtin_memcpy(&value, at_ + offset, sizeof value);
        return swapped_ ? __builtin_bswap32(value) : value;
    }
    uint16_t half(size_t offset) const
    {
        uint16_t value;
        __builtin_memcpy(&value, at_ + offset, sizeof value);
        return swapped_ ? __builtin_bswap16(value) : value;
    }
    bool refill(size_t wanted);
    CaptureStatus fail(const char *problem);

    int descriptor_ = -1;
    std::vector<uint8_t> buffer_;
    const uint8_t *at_ = nullptr;
    const uint8_t *end_ = nullptr;
    bool swapped_ = false;
    bool nanoseconds_ = false;
    int readError_ = 0;
    std::string problem_;
};

} // namespace capture
