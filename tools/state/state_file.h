// SPDX-License-Identifier: MIT OR GPL-2.0
// A file that keeps bytes between runs, with one writer at a time. If a program is killed at any moment, the
// file has either the old content or the new.
//
// The lock is a separate file, FILE.lock, which is never removed. New content is written to
// FILE.new, flushed to the disk and renamed over FILE.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace state
{

class FileError : public std::runtime_error
{
public:
    enum class Reason {
        Busy,   // another program still held the lock after the wait
        System, // a system call failed
    };
    FileError(Reason reason, const std::string &text) : std::runtime_error(text), reason_(reason) {}
    Reason reason() const { return reason_; }

private:
    Reason reason_;
};

class StateFile
{
public:
    // Takes the lock, and with `makeFolder` makes the folder if it is missing. Waits up to `waitMilliseconds`
    // until another program releases it. A symbolic link is followed: the file that it names is replaced.
    // Throws FileError.
    StateFile(const std::string &path, unsigned waitMilliseconds, bool makeFolder = false);
    ~StateFile();
    StateFile(const StateFile &) = delete;
    StateFile &operator=(const StateFile &) = delete;

    // The content, or nothing if there is no such file. Throws FileError.
    std::optional<std::string> load() const;

    // Replaces the content. Throws FileError; the old content is then unchanged.
    void save(const std::string &bytes) const;

    const std::string &path() const { return path_; }

private:
    std::string path_;
    int lock_ = -1;
};

// Reads a file without a lock: the complete content of the last writer. Nothing if there is no such file.
// Throws FileError.
std::optional<std::string> readUnlocked(const std::string &path);

// Replaces the content of a file, or makes the file. A kill leaves the old content or the new. The bytes go
// to `unfinished` first, in the same folder. A symbolic link is followed. Throws FileError.
void replaceFile(const std::string &path, const std::string &unfinished, const std::string &bytes);

// The default place of a user's state: $XDG_STATE_HOME/ifcctl/chip.state, or
// ~/.local/state/ifcctl/chip.state (the folders of the XDG base directories). Empty if neither is known.
std::string defaultPath();

} // namespace state
