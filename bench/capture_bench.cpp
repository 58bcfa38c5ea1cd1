// SPDX-License-Identifier: MIT OR GPL-2.0
// Compares the reader of captures with libpcap's.
#include "paired.h"

#include <cstdio>
#include <cstdlib>

#include <pcap/pcap.h>

#include <fcntl.h>
#include <unistd.h>

#include "tools/capture/plain_capture.h"

namespace
{

// A file of 64-byte frames, removed when the process ends.
class CaptureFile
{
public:
    static constexpr unsigned kFrames = 400000;
    CaptureFile()
    {
        const int descriptor = mkstemp(name_);
        std::FILE *file = descriptor < 0 ? nullptr : fdopen(descriptor, "wb");
        if (file == nullptr) {
            std::perror(name_);
            std::exit(1);
        }
        const uint32_t header[6] = {0xA1B2C3D4, 4u << 16 | 2, 0, 0, 262144, 1};
        std::fwrite(header, 1, sizeof header, file);
        uint32_t record[4 + 16] = {0, 0, 64, 64};
        for (unsigned n = 0; n < kFrames; ++n) {
            record[4] = n;
            std::fwrite(record, 1, sizeof record, file);
        }
        std::fclose(file);
    }
    ~CaptureFile() { unlink(name_); }
    const char *name() const { return name_; }

private:
    char name_[32] = "/tmp/capture_bench_XXXXXX";
};

const CaptureFile &captureFile()
{
    static const CaptureFile file;
    return file;
}

uint64_t readOwn()
{
    uint64_t sum = 0;
    capture::PlainCapture reader;
    const int descriptor = open(captureFile().name(), O_RDONLY | O_CLOEXEC);
    if (reader.open(descriptor)) {
        for (capture::CapturedFrame frame{}; reader.next(frame) == capture::CaptureStatus::Frame;)
            sum += frame.data[0] + frame.length;
    }
    close(descriptor);
    return sum;
}

uint64_t readPcap()
{
    uint64_t sum = 0;
    char problem[PCAP_ERRBUF_SIZE];
    pcap_t *capture = pcap_open_offline(captureFile().name(), problem);
    if (capture == nullptr)
        return 0;
    pcap_pkthdr *header = nullptr;
    const u_char *data = nullptr;
    while (pcap_next_ex(capture, &header, &data) == 1)
        sum += data[0] + header->caplen;
    pcap_close(capture);
    return sum;
}

void captureOwn(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(readOwn());
}

void capturePcap(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(readPcap());
}

BENCHMARK(captureOwn);
BENCHMARK(capturePcap);

} // namespace

int main(int argc, char **argv)
{
    if (readOwn() == 0 || readOwn() != readPcap()) {
        std::fprintf(stderr, "capture_bench: the two sides disagree\n");
        return 1;
    }
    const paired::Collector collector = paired::runAll(argc, argv);
    paired::printRatio(collector, "reading a captured frame of 64 bytes", "captureOwn", "pcap_next_ex",
                       "capturePcap", 0.2, CaptureFile::kFrames);
    return 0;
}
