// SPDX-License-Identifier: MIT OR GPL-2.0
// Every capture format that libpcap reads. A build without libpcap has the same names, and reads none.
#pragma once

#include "frame_capture.h"

#include <cstdio>
#include <stdexcept>

namespace ifcctl
{

class PcapSource
{
public:
    // Takes the file over. Throws std::runtime_error with what is wrong with it.
    explicit PcapSource(std::FILE *file);
    ~PcapSource();
    PcapSource(const PcapSource &) = delete;
    PcapSource &operator=(const PcapSource &) = delete;

    uint32_t linkType() const;
    std::string linkTypeName() const;
    uint32_t
    fcsLength() const; // as the file's header states it; 0 = the frames have none, or nothing is said
    bool next(CapturedFrame &frame); // false at the end; fractions are nanoseconds; throws std::runtime_error

private:
    void *handle_;
};

} // namespace ifcctl
