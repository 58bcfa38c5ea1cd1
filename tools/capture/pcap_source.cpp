// SPDX-License-Identifier: MIT OR GPL-2.0
#include "pcap_source.h"

#include <pcap/pcap.h>

namespace capture
{

namespace
{

pcap_t *pcap(void *handle)
{
    return static_cast<pcap_t *>(handle);
}

} // namespace

PcapSource::PcapSource(std::FILE *file)
{
    char problem[PCAP_ERRBUF_SIZE] = "";
    handle_ = pcap_fopen_offline_with_tstamp_precision(file, PCAP_TSTAMP_PRECISION_NANO, problem);
    if (handle_ != nullptr)
        return;
    if (file != stdin)
        (void)std::fclose(file);
    throw std::runtime_error(problem);
}

PcapSource::~PcapSource()
{
    pcap_close(pcap(handle_));
}

uint32_t PcapSource::linkType() const
{
    return static_cast<uint32_t>(pcap_datalink(pcap(handle_)));
}

std::string PcapSource::linkTypeName() const
{
    const int type = pcap_datalink(pcap(handle_));
    const char *name = pcap_datalink_val_to_name(type);
    return name == nullptr ? std::to_string(type) : name;
}

uint32_t PcapSource::fcsLength() const
{
    const auto extension = static_cast<uint32_t>(pcap_datalink_ext(pcap(handle_)));
    return LT_FCS_LENGTH_PRESENT(extension) != 0 ? LT_FCS_LENGTH(extension) : 0;
}

bool PcapSource::next(CapturedFrame &frame)
{
    pcap_pkthdr *header = nullptr;
    const u_char *data = nullptr;
    const int status = pcap_next_ex(pcap(handle_), &header, &data);
    if (status == PCAP_ERROR_BREAK)
        return false;
    if (status != 1)
        throw std::runtime_error(pcap_geterr(pcap(handle_)));
    frame = {data, header->caplen, header->len, static_cast<uint32_t>(header->ts.tv_sec),
             static_cast<uint32_t>(header->ts.tv_usec)};
    return true;
}

} // namespace capture
