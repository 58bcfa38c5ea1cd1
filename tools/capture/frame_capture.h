// SPDX-License-Identifier: MIT OR GPL-2.0
// Reads any capture file: plain pcap by our own reader, other formats by libpcap. The program of the
// compression unpacks compressed files.
#pragma once

#include "captured_frame.h"

#include <memory>
#include <string>

namespace capture
{

class PlainCapture;

// "-" is standard input. Throws Error when the capture cannot be read.
class FrameCapture
{
public:
    explicit FrameCapture(const std::string &path);
    ~FrameCapture();
    FrameCapture(const FrameCapture &) = delete;
    FrameCapture &operator=(const FrameCapture &) = delete;

    bool next(CapturedFrame &frame); // false at the end
    bool nanoseconds() const;
    uint64_t size() const { return size_; } // of the file, in bytes; 0 if unknown
    uint64_t consumed() const;              // of the file, approximately; also of a packed one

private:
    struct Pcap;

    void openPcap();
    std::FILE *openFile();
    void checkLinkType() const;
    void checkUnpacked();
    void count(const CapturedFrame &frame);
    [[noreturn]] void bad(const std::string &problem) const;

    std::string path_;
    int descriptor_ = -1;
    uint64_t size_ = 0;
    uint64_t consumed_ = 0; // by plain_
    uint64_t frames_ = 0;
    std::unique_ptr<PlainCapture> plain_;
    std::unique_ptr<Pcap> pcap_;
};

} // namespace capture
