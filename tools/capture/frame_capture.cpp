// SPDX-License-Identifier: MIT OR GPL-2.0
#include "frame_capture.h"

#include "error.h"
#include "pcap_source.h"
#include "plain_capture.h"
#include "unpacker.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace capture
{

namespace
{

// gzip exits with 2 after a warning.
constexpr int kUnpackerWarning = 2;

} // namespace

struct FrameCapture::Pcap {
    // The source is destroyed first: it closes the pipe, so that the unpacker ends.
    Unpacker unpacker;
    std::unique_ptr<PcapSource> source;
};

FrameCapture::FrameCapture(const std::string &path) : path_(path)
{
    if (path == "-") {
        openPcap();
        return;
    }
    descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat about {
    };
    if (descriptor_ < 0 || fstat(descriptor_, &about) != 0 || S_ISDIR(about.st_mode)) {
        const std::string why = descriptor_ < 0 ? std::strerror(errno) : "it is a folder";
        if (descriptor_ >= 0)
            ::close(descriptor_);
        throw Error(Fault::Input, path,
                    "capture '" + path + "': accepted: a capture file that can be read (" + why + ")");
    }
    const bool regular = S_ISREG(about.st_mode);
    if (regular)
        size_ = static_cast<uint64_t>(about.st_size);
    plain_ = std::make_unique<PlainCapture>();
    try {
        if (regular && about.st_size == 0)
            bad("the file is empty");
        if (regular && plain_->open(descriptor_))
            return;
        plain_.reset();
        openPcap();
    } catch (...) {
        ::close(descriptor_);
        throw;
    }
}

FrameCapture::~FrameCapture()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

void FrameCapture::bad(const std::string &problem) const
{
    const std::string where = frames_ == 0 ? "" : " after frame " + std::to_string(frames_);
    const std::string name = path_ == "-" ? "standard input" : '\'' + path_ + '\'';
    throw Error(Fault::Input, path_, "capture " + name + ": " + problem + where);
}

void FrameCapture::checkLinkType() const
{
    const PcapSource &source = *pcap_->source;
    if (source.linkType() != kLinkTypeEthernet)
        bad("link type " + source.linkTypeName() + "; accepted: EN10MB (Ethernet)");
    if (source.fcsLength() != 0)
        bad("its frames end with an FCS; accepted: frames without");
}

// A damaged compressed file looks like a shorter capture. Only the unpacker's exit code shows the difference.
void FrameCapture::checkUnpacked()
{
    const int status = pcap_->unpacker.wait();
    if (status != 0 && status != kUnpackerWarning)
        bad("the compressed file is damaged");
}

// The file for libpcap, unpacked if necessary.
std::FILE *FrameCapture::openFile()
{
    int source = -1;
    if (const char *program = unpackerOf(descriptor_)) {
        source = pcap_->unpacker.start(program, descriptor_);
        if (source < 0)
            bad((source == -1 ? "no pipe to " : "it needs the program ") + std::string(program));
    } else {
        (void)lseek(descriptor_, 0, SEEK_SET);
        source = fcntl(descriptor_, F_DUPFD_CLOEXEC, 0);
    }
    std::FILE *file = fdopen(source, "rb");
    if (file == nullptr)
        bad(std::strerror(errno));
    return file;
}

void FrameCapture::openPcap()
{
    pcap_ = std::make_unique<Pcap>();
    std::FILE *file = path_ == "-" ? stdin : openFile();
    try {
        pcap_->source = std::make_unique<PcapSource>(file);
    } catch (const std::runtime_error &error) {
        bad(std::string(error.what()) + "; accepted: pcap or pcapng" +
            (path_ == "-" ? ", not packed" : ", also packed by gzip, zstd or xz"));
    }
    checkLinkType();
}

bool FrameCapture::nanoseconds() const
{
    return plain_ ? plain_->nanoseconds() : true;
}

uint64_t FrameCapture::consumed() const
{
    if (plain_)
        return consumed_;
    // libpcap, or the unpacker, reads from a copy of this descriptor, which has the same offset.
    const off_t at = size_ == 0 ? 0 : lseek(descriptor_, 0, SEEK_CUR);
    return at < 0 ? 0 : static_cast<uint64_t>(at);
}

void FrameCapture::count(const CapturedFrame &frame)
{
    ++frames_;
    consumed_ += kFrameHeaderBytes + frame.length;
}

bool FrameCapture::next(CapturedFrame &frame)
{
    if (plain_) {
        switch (plain_->next(frame)) {
        case CaptureStatus::Frame:
            count(frame);
            return true;
        case CaptureStatus::End:
            return false;
        case CaptureStatus::Bad:
            bad(plain_->problem());
        }
    }
    bool more = false;
    try {
        more = pcap_->source->next(frame);
    } catch (const std::runtime_error &error) {
        bad(error.what());
    }
    if (!more) {
        checkUnpacked();
        return false;
    }
    count(frame);
    return true;
}

} // namespace capture
