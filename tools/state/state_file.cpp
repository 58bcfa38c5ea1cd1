// SPDX-License-Identifier: MIT OR GPL-2.0
#include "state_file.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace state
{

namespace
{

namespace fs = std::filesystem;

FileError systemError(const std::string &what, int error)
{
    return {FileError::Reason::System, what + ": " + std::strerror(error)};
}

class Descriptor
{
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor()
    {
        if (number_ >= 0)
            ::close(number_);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int number() const { return number_; }
    // Closes now and returns whether that worked: some file systems report a failed write only here.
    bool close()
    {
        const int number = number_;
        number_ = -1;
        return ::close(number) == 0;
    }

private:
    int number_;
};

bool writeAll(int descriptor, const std::string &bytes)
{
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::write(descriptor, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return false;
        done += static_cast<size_t>(count);
    }
    return true;
}

// The file at the end of a chain of symbolic links. It may be missing.
std::string followLinks(const std::string &path)
{
    constexpr int kMostLinks = 40;
    fs::path at = path;
    std::error_code error;
    for (int n = 0; n < kMostLinks && fs::is_symlink(at, error); ++n) {
        const fs::path target = fs::read_symlink(at, error);
        if (error)
            throw systemError(path, error.value());
        at = target.is_absolute() ? target : at.parent_path() / target;
    }
    if (fs::is_symlink(at, error))
        throw systemError(path, ELOOP);
    return at.string();
}

std::string folderOf(const std::string &path)
{
    const std::string folder = fs::path(path).parent_path().string();
    return folder.empty() ? "." : folder;
}

} // namespace

StateFile::StateFile(const std::string &path, unsigned waitMilliseconds, bool makeFolder)
    : path_(followLinks(path))
{
    std::error_code error;
    if (makeFolder)
        fs::create_directories(folderOf(path_), error);
    if (error)
        throw systemError(folderOf(path_), error.value());
    if (fs::exists(path_, error) && !fs::is_regular_file(path_, error))
        throw FileError(FileError::Reason::System, path_ + ": not a regular file");

    const std::string lockPath = path_ + ".lock";
    Descriptor descriptor(::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    if (descriptor.number() < 0)
        throw systemError(lockPath, errno);
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(waitMilliseconds);
    while (::flock(descriptor.number(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR)
            throw systemError(lockPath, errno);
        if (Clock::now() >= end)
            throw FileError(FileError::Reason::Busy, path_ + ": another program is using it");
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    lock_ = ::fcntl(descriptor.number(), F_DUPFD_CLOEXEC, 0); // shares the lock
    if (lock_ < 0)
        throw systemError(lockPath, errno);
}

StateFile::~StateFile()
{
    ::close(lock_);
}

std::optional<std::string> StateFile::load() const
{
    return readUnlocked(path_);
}

std::optional<std::string> readUnlocked(const std::string &path)
{
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)); // a pipe never waits
    if (file.number() < 0) {
        if (errno == ENOENT)
            return std::nullopt;
        throw systemError(path, errno);
    }
    std::string bytes;
    char buffer[8192];
    for (;;) {
        const ssize_t count = ::read(file.number(), buffer, sizeof buffer);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw systemError(path, errno);
        if (count == 0)
            return bytes;
        bytes.append(buffer, static_cast<size_t>(count));
        constexpr size_t kMost = 1 << 20; // far above any state; a device file would never end
        if (bytes.size() > kMost)
            return bytes;
    }
}

void StateFile::save(const std::string &bytes) const
{
    replaceFile(path_, path_ + ".new", bytes);
}

void replaceFile(const std::string &name, const std::string &fresh, const std::string &bytes)
{
    const std::string path = followLinks(name);
    mode_t mode = 0666; // less the umask
    struct stat old {
    };
    if (::stat(path.c_str(), &old) == 0)
        mode = old.st_mode & 07777;
    Descriptor file(::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, mode));
    if (file.number() < 0)
        throw systemError(fresh, errno);
    if (!writeAll(file.number(), bytes) || ::fsync(file.number()) != 0 || !file.close()) {
        const int error = errno;
        ::unlink(fresh.c_str());
        throw systemError(fresh, error);
    }
    if (::rename(fresh.c_str(), path.c_str()) != 0) {
        const int error = errno;
        ::unlink(fresh.c_str());
        throw systemError(path, error);
    }
    // Flushing the folder puts the new name on the disk.
    const Descriptor folder(::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.number() >= 0)
        (void)::fsync(folder.number());
}

std::string defaultPath()
{
    // A relative path is invalid in these variables and counts as not set.
    const auto absolute = [](const char *name) -> std::string {
        const char *value = std::getenv(name);
        return value != nullptr && value[0] == '/' ? value : "";
    };
    std::string folder = absolute("XDG_STATE_HOME");
    if (folder.empty() && !absolute("HOME").empty())
        folder = absolute("HOME") + "/.local/state";
    return folder.empty() ? "" : folder + "/ifcctl/chip.state";
}

} // namespace state
