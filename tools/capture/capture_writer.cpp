// SPDX-License-Identifier: MIT OR GPL-2.0
#include "capture_writer.h"

#include "error.h"
#include "pcap_format.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace capture
{

namespace
{

constexpr const char *kDescriptors = "/proc/self/fd";

Error cannotCreate(const std::string &path, const std::string &why)
{
    return {Fault::OutputPlace, path, why};
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
        throw cannotCreate(path, "the link leads to no file");
    if (exists && S_ISDIR(about.st_mode))
        throw cannotCreate(path, "it is a folder");
    if (exists && access(path.c_str(), W_OK) != 0)
        throw cannotCreate(path, std::strerror(errno));
    if (exists && !S_ISREG(about.st_mode)) {
        file_ = std::fopen(path.c_str(), "wb");
    } else {
        if (exists) {
            char *resolved = realpath(path.c_str(), nullptr);
            if (resolved != nullptr)
                target_ = resolved;
            std::free(resolved);
        }
        const int descriptor = openUnfinished();
        if (descriptor >= 0) {
            if (exists) // keeps its owner, as far as permissions allow
                (void)!fchown(descriptor, about.st_uid, about.st_gid);
            (void)fchmod(descriptor, exists ? about.st_mode & 0777 : modeOfNewFiles());
            file_ = fdopen(descriptor, "wb");
        }
    }
    if (file_ == nullptr)
        throw cannotCreate(path, std::strerror(errno));
    const uint32_t magic = nanoseconds ? kMagicNanoseconds : kMagicMicroseconds;
    const uint32_t rest[4] = {0, 0, kMaxFrame, kLinkTypeEthernet};
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

int CaptureWriter::openUnfinished()
{
    const size_t slash = target_.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : target_.substr(0, slash + 1);
    int descriptor = -1;
    if (access(kDescriptors, X_OK) == 0) // giveName() needs it
        descriptor = open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
    hasNoName_ = descriptor >= 0;
    if (hasNoName_)
        return descriptor;
    std::string name = target_ + ".XXXXXX";
    descriptor = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor >= 0)
        unfinished_ = name;
    return descriptor;
}

// A name beside the target, which rename() can put into the target's place.
void CaptureWriter::giveName()
{
    const std::string name = target_ + '.' + std::to_string(getpid()) + ".new";
    const std::string file = std::string(kDescriptors) + '/' + std::to_string(fileno(file_));
    (void)std::remove(name.c_str()); // of a program that was killed
    if (linkat(AT_FDCWD, file.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) != 0)
        bad();
    unfinished_ = name;
}

void CaptureWriter::bad() const
{
    throw Error(Fault::OutputWrite, path_, std::strerror(errno));
}

void CaptureWriter::put(const void *data, size_t bytes)
{
    if (bytes != 0 && std::fwrite(data, 1, bytes, file_) != bytes)
        bad();
}

void CaptureWriter::write(const CapturedFrame &frame, const uint8_t *data, uint32_t length)
{
    if (length > kMaxFrame)
        throw Error(Fault::FrameLength, path_,
                    "a frame of " + std::to_string(length) + " bytes; accepted: up to " +
                        std::to_string(kMaxFrame));
    // The capture may have cut the frame: the number of missing bytes stays the same.
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
    if (hasNoName_)
        giveName();
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

} // namespace capture
