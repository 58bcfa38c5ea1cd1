// SPDX-License-Identifier: MIT OR GPL-2.0
#include "frame_capture.h"

#include "errors.h"
#include "pcap_source.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ifcctl
{

namespace
{

constexpr uint32_t kMagicMicroseconds = 0xA1B2C3D4;
constexpr uint32_t kMagicNanoseconds = 0xA1B23C4D;
constexpr std::array<uint16_t, 2> kVersion = {2, 4}; // major, minor
constexpr size_t kFileHeaderBytes = 24;
constexpr size_t kBufferBytes = 256 * 1024;
constexpr uint32_t kLinkTypeEthernet = 1;

} // namespace

bool PlainCapture::open(int descriptor)
{
    descriptor_ = descriptor;
    buffer_.resize(kBufferBytes);
    at_ = end_ = buffer_.data();
    if (!refill(kFileHeaderBytes))
        return false;
    swapped_ = false;
    uint32_t magic = word(0);
    swapped_ =
        magic == __builtin_bswap32(kMagicMicroseconds) || magic == __builtin_bswap32(kMagicNanoseconds);
    magic = word(0);
    if (magic != kMagicMicroseconds && magic != kMagicNanoseconds)
        return false;
    nanoseconds_ = magic == kMagicNanoseconds;
    const std::array<uint16_t, 2> version = {half(4), half(6)};
    if (version != kVersion || word(20) != kLinkTypeEthernet)
        return false;
    at_ += kFileHeaderBytes;
    return true;
}

// Moves what is left to the front and reads on until `wanted` bytes are there.
bool PlainCapture::refill(size_t wanted)
{
    size_t have = left();
    if (wanted > buffer_.size()) {
        std::vector<uint8_t> larger(wanted + kBufferBytes);
        std::memcpy(larger.data(), at_, have);
        buffer_.swap(larger);
    } else if (have != 0) {
        std::memmove(buffer_.data(), at_, have);
    }
    while (have < wanted) {
        const ssize_t got = ::read(descriptor_, buffer_.data() + have, buffer_.size() - have);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            readError_ = errno;
        if (got <= 0)
            break;
        have += static_cast<size_t>(got);
    }
    at_ = buffer_.data();
    end_ = at_ + have;
    return have >= wanted;
}

CaptureStatus PlainCapture::fail(const char *problem)
{
    problem_ = readError_ == 0 ? problem : std::strerror(readError_);
    return CaptureStatus::Bad;
}

struct FrameCapture::Pcap {
    pid_t unpacker = -1;
    std::unique_ptr<PcapSource> source;

    // The unpacker's exit code, once: 0 when there is none.
    int reap()
    {
        int status = 0;
        if (unpacker > 0)
            (void)waitpid(unpacker, &status, 0);
        unpacker = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    ~Pcap()
    {
        source.reset(); // closes the pipe first
        (void)reap();
    }
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
        throw usage("capture", path, "a capture file that can be read (" + why + ")");
    }
    if (S_ISREG(about.st_mode))
        size_ = static_cast<uint64_t>(about.st_size);
    plain_ = std::make_unique<PlainCapture>();
    try {
        if (S_ISREG(about.st_mode) && about.st_size == 0)
            bad("the file is empty");
        if (S_ISREG(about.st_mode) && plain_->open(descriptor_))
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
    const std::string where = frames_ == 0 ? "" : " behind frame " + std::to_string(frames_);
    const std::string name = path_ == "-" ? "standard input" : '\'' + path_ + '\'';
    throw Error(kExitUsage, "capture " + name + ": " + problem + where);
}

void FrameCapture::checkLinkType() const
{
    const PcapSource &source = *pcap_->source;
    if (source.linkType() != kLinkTypeEthernet)
        bad("link type " + source.linkTypeName() + "; accepted: EN10MB (Ethernet)");
    if (source.fcsLength() != 0)
        bad("its frames end with an FCS; accepted: frames without");
}

// What an unpacker gave up on ends like a shorter capture. gzip's 2 is a warning.
void FrameCapture::checkUnpacked()
{
    const int status = pcap_->reap();
    if (status != 0 && status != 2)
        bad("the compressed file is damaged");
}

namespace
{

// The program that unpacks a file that begins like this, or nullptr.
const char *unpackerOf(int descriptor)
{
    unsigned char start[4] = {};
    if (pread(descriptor, start, sizeof start, 0) != sizeof start)
        return nullptr;
    if (start[0] == 0x1F && start[1] == 0x8B)
        return "gzip";
    if (start[0] == 0x28 && start[1] == 0xB5 && start[2] == 0x2F && start[3] == 0xFD)
        return "zstd";
    if (start[0] == 0xFD && start[1] == '7' && start[2] == 'z' && start[3] == 'X')
        return "xz";
    return nullptr;
}

} // namespace

void FrameCapture::openPcap()
{
    pcap_ = std::make_unique<Pcap>();
    std::FILE *file = stdin;
    if (path_ != "-") {
        const char *unpacker = unpackerOf(descriptor_);
        int source = -1;
        if (unpacker != nullptr) {
            int ends[2];
            if (pipe2(ends, O_CLOEXEC) != 0)
                bad(std::string("no pipe to ") + unpacker);
            (void)lseek(descriptor_, 0, SEEK_SET);
            posix_spawn_file_actions_t wiring;
            posix_spawn_file_actions_init(&wiring);
            posix_spawn_file_actions_adddup2(&wiring, descriptor_, STDIN_FILENO);
            posix_spawn_file_actions_adddup2(&wiring, ends[1], STDOUT_FILENO);
            std::string name = unpacker;
            std::string flag = "-dc";
            char *arguments[] = {name.data(), flag.data(), nullptr};
            const int status = posix_spawnp(&pcap_->unpacker, unpacker, &wiring, nullptr, arguments, environ);
            posix_spawn_file_actions_destroy(&wiring);
            ::close(ends[1]);
            source = ends[0];
            if (status != 0) {
                pcap_->unpacker = -1;
                ::close(source);
                bad(std::string("it needs the program ") + unpacker);
            }
        } else {
            (void)lseek(descriptor_, 0, SEEK_SET);
            source = fcntl(descriptor_, F_DUPFD_CLOEXEC, 0);
        }
        file = fdopen(source, "rb");
        if (file == nullptr)
            bad(std::strerror(errno));
    }
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

bool FrameCapture::next(CapturedFrame &frame)
{
    if (plain_) {
        switch (plain_->next(frame)) {
        case CaptureStatus::Frame:
            ++frames_;
            consumed_ += frame.length;
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
    ++frames_;
    consumed_ += frame.length;
    return true;
}

namespace
{

Error cannotWrite(const std::string &path, const std::string &why)
{
    return usage("-o", path, "a file that can be written (" + why + ")");
}

mode_t modeOfNewFiles()
{
    const mode_t mask = umask(0);
    (void)umask(mask);
    return 0666 & ~mask;
}

} // namespace

CaptureWriter::CaptureWriter(const std::string &path, bool nanoseconds) : path_(path), target_(path)
{
    struct stat about {
    };
    const bool exists = stat(path.c_str(), &about) == 0;
    if (!exists && lstat(path.c_str(), &about) == 0)
        throw cannotWrite(path, "it is a link to nothing");
    if (exists && S_ISDIR(about.st_mode))
        throw cannotWrite(path, "it is a folder");
    if (exists && access(path.c_str(), W_OK) != 0)
        throw cannotWrite(path, std::strerror(errno));
    if (exists && !S_ISREG(about.st_mode)) {
        file_ = std::fopen(path.c_str(), "wb");
    } else {
        if (exists) {
            char *resolved = realpath(path.c_str(), nullptr);
            if (resolved != nullptr)
                target_ = resolved;
            std::free(resolved);
        }
        std::string name = target_ + ".XXXXXX";
        const int descriptor = mkostemp(name.data(), O_CLOEXEC);
        if (descriptor >= 0) {
            unfinished_ = name;
            if (exists) // stays its owner's, as far as we may
                (void)!fchown(descriptor, about.st_uid, about.st_gid);
            (void)fchmod(descriptor, exists ? about.st_mode & 0777 : modeOfNewFiles());
            file_ = fdopen(descriptor, "wb");
        }
    }
    if (file_ == nullptr)
        throw cannotWrite(path, std::strerror(errno));
    const uint32_t magic = nanoseconds ? kMagicNanoseconds : kMagicMicroseconds;
    const uint32_t rest[4] = {0, 0, PlainCapture::kMaxFrame, kLinkTypeEthernet};
    put(&magic, sizeof magic);
    put(kVersion.data(), sizeof kVersion);
    put(rest, sizeof rest);
}

CaptureWriter::~CaptureWriter()
{
    if (file_ == nullptr)
        return;
    (void)std::fclose(file_);
    if (!unfinished_.empty())
        (void)std::remove(unfinished_.c_str());
}

void CaptureWriter::bad() const
{
    throw outputFailed("-o '" + path_ + '\'');
}

void CaptureWriter::put(const void *data, size_t bytes)
{
    if (bytes != 0 && std::fwrite(data, 1, bytes, file_) != bytes)
        bad();
}

void CaptureWriter::write(const CapturedFrame &frame, const uint8_t *data, uint32_t length)
{
    if (length > PlainCapture::kMaxFrame)
        throw refused("-o", path_, "a frame of " + std::to_string(length) + " bytes; accepted: up to 262144");
    // What was cut off when the frame was captured stays cut off.
    const uint64_t whole = uint64_t{std::max(frame.wireLength, frame.length)} - frame.length + length;
    const auto wireLength = static_cast<uint32_t>(std::min<uint64_t>(whole, UINT32_MAX));
    const uint32_t header[4] = {frame.seconds, frame.fraction, length, wireLength};
    put(header, sizeof header);
    put(data, length);
}

void CaptureWriter::finish()
{
    std::FILE *file = file_;
    if (std::fflush(file) != 0)
        bad();
    file_ = nullptr;
    const bool closed = std::fclose(file) == 0;
    if (!closed || (!unfinished_.empty() && std::rename(unfinished_.c_str(), target_.c_str()) != 0)) {
        const int why = errno;
        if (!unfinished_.empty())
            (void)std::remove(unfinished_.c_str());
        errno = why;
        bad();
    }
}

} // namespace ifcctl
