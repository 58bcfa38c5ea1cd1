// SPDX-License-Identifier: MIT OR GPL-2.0
// Writes a plain pcap file.
#pragma once

#include "captured_frame.h"

#include <cstdio>
#include <string>

namespace capture
{

// The frames go to an unfinished file in the target's folder. It has no name, if the file system allows that,
// and goes away with the program. finish() gives it the target's name. Until then, and after an error, the
// target stays as it was. A device or a pipe is written directly. Throws Error.
class CaptureWriter
{
public:
    CaptureWriter(const std::string &path, bool nanoseconds);
    ~CaptureWriter();
    CaptureWriter(const CaptureWriter &) = delete;
    CaptureWriter &operator=(const CaptureWriter &) = delete;

    // `frame` gives time and wire length, `data` and `length` what is written.
    void write(const CapturedFrame &frame, const uint8_t *data, uint32_t length);
    void finish();

private:
    int openUnfinished();
    void giveName();
    void put(const void *data, size_t bytes);
    [[noreturn]] void bad() const;

    std::string path_;
    std::string target_;     // the path with its symbolic links resolved
    std::string unfinished_; // in the same folder; empty: it has no name, or the target is written directly
    bool hasNoName_ = false; // the unfinished file
    std::FILE *file_ = nullptr;
};

} // namespace capture
