// SPDX-License-Identifier: MIT OR GPL-2.0
// Reads every capture format that libpcap supports. In a build without libpcap this class reads none.
#pragma once

#include "captured_frame.h"

#include <cstdio>
#include <stdexcept>
#include <string>

namespace capture
{

class PcapSource
{
public:
    // Takes ownership of the file, even if it throws. Throws std::runtime_error with the reason.
    explicit PcapSource(std::FILE *file);
    ~PcapSource();
    PcapSource(const PcapSource &) = delete;
    PcapSource &operator=(const PcapSource &) = delete;

    uint32_t linkType() const;
    std::string linkTypeName() const;
    // From the file's header. 0: the frames have no FCS, or the header does not say.
    uint32_t fcsLength() const;
    // False at the end. Fractions are nanoseconds. Throws std::runtime_error.
    bool next(CapturedFrame &frame);

private:
    void *handle_;
};

} // namespace capture
