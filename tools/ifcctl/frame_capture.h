// SPDX-License-Identifier: MIT OR GPL-2.0
// Frames from capture files. The plain pcap format is read here, in large pieces; libpcap reads all else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ifcctl
{

struct CapturedFrame {
    const uint8_t *data; // until the next frame is read
    uint32_t length;     // as captured
    uint32_t wireLength; // as it was on the wire
    uint32_t seconds;
    uint32_t fraction; // in the unit of the file
};

enum class CaptureStatus { Frame, End, Bad };

// The plain pcap format: a 24-byte file header, then frames with 16-byte headers, in either byte order, with
// microseconds or nanoseconds. Ethernet without FCS only.
class PlainCapture
{
public:
    // Reads the file header from a descriptor, which stays the caller's. False: not this format, not this
    // version of it, or not Ethernet alone.
    bool open(int descriptor);

    // A frame longer than this is no Ethernet frame but damage.
    static constexpr uint32_t kMaxFrame = 262144;

    CaptureStatus next(CapturedFrame &frame)
    {
        if (left() < kRecordBytes && !refill(kRecordBytes))
            return readError_ == 0 && left() == 0 ? CaptureStatus::End
                                                  : fail("the file ends inside a frame's header");
        const uint32_t length = word(8);
        if (length > kMaxFrame)
            return fail("a frame claims more than 262144 bytes");
        if (left() < kRecordBytes + length && !refill(kRecordBytes + length))
            return fail("the file ends inside a frame");
        frame = {at_ + kRecordBytes, length, word(12), word(0), word(4)};
        at_ += kRecordBytes + length;
        return CaptureStatus::Frame;
    }

    bool nanoseconds() const { return nanoseconds_; }
    const std::string &problem() const { return problem_; } // behind Bad

private:
    static constexpr size_t kRecordBytes = 16;

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

// Any capture file, "-" for standard input. Throws Error when it cannot be read.
class FrameCapture
{
public:
    explicit FrameCapture(const std::string &path);
    ~FrameCapture();
    FrameCapture(const FrameCapture &) = delete;
    FrameCapture &operator=(const FrameCapture &) = delete;

    bool next(CapturedFrame &frame); // false at the end
    bool nanoseconds() const;
    uint64_t size() const { return size_; }         // of the file, 0 when unknown
    uint64_t consumed() const { return consumed_; } // of it, about

private:
    struct Pcap;

    void openPcap();
    void checkLinkType() const;
    void checkUnpacked();
    [[noreturn]] void bad(const std::string &problem) const;

    std::string path_;
    int descriptor_ = -1;
    uint64_t size_ = 0;
    uint64_t consumed_ = 0;
    uint64_t frames_ = 0;
    std::unique_ptr<PlainCapture> plain_;
    std::unique_ptr<Pcap> pcap_;
};

// Writes a plain pcap file. It gets its name when it is complete; before, and after an error, what had the
// name keeps it. What is no plain file (a device, a pipe) is written as it stands. Throws Error.
class CaptureWriter
{
public:
    CaptureWriter(const std::string &path, bool nanoseconds);
    ~CaptureWriter();
    CaptureWriter(const CaptureWriter &) = delete;
    CaptureWriter &operator=(const CaptureWriter &) = delete;

    void write(const CapturedFrame &frame, const uint8_t *data, uint32_t length);
    void finish();

private:
    void put(const void *data, size_t bytes);
    [[noreturn]] void bad() const;

    std::string path_;
    std::string target_;     // what the path names behind symbolic links
    std::string unfinished_; // beside it; empty: written directly
    std::FILE *file_ = nullptr;
};

} // namespace ifcctl
