// SPDX-License-Identifier: MIT OR GPL-2.0
// Replaces pcap_source.cpp where there is no libpcap.
#include "pcap_source.h"

namespace capture
{

PcapSource::PcapSource(std::FILE *file) : handle_(nullptr)
{
    if (file != stdin)
        (void)std::fclose(file);
    throw std::runtime_error("this ifcctl was built without libpcap; accepted: a plain pcap file");
}

PcapSource::~PcapSource() = default;

uint32_t PcapSource::linkType() const
{
    return 0;
}

std::string PcapSource::linkTypeName() const
{
    return "";
}

uint32_t PcapSource::fcsLength() const
{
    return 0;
}

bool PcapSource::next(CapturedFrame &)
{
    return false;
}

} // namespace capture
