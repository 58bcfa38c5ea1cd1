// SPDX-License-Identifier: MIT OR GPL-2.0
#include "history_file.h"

#include "tools/state/state_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ifcctl
{

namespace
{

constexpr size_t kMostLines = 1000; // that are loaded
constexpr mode_t kOwnerOnly = 0600;

state::FileError failed(const std::string &path)
{
    return {state::FileError::Reason::System, path + ": " + std::strerror(errno)};
}

} // namespace

std::string HistoryFile::defaultPath()
{
    const std::string chip = state::defaultPath();
    return chip.empty() ? "" : (std::filesystem::path(chip).parent_path() / "history").string();
}

std::vector<std::string> HistoryFile::load() const
{
    std::vector<std::string> lines;
    const auto content = path_.empty() ? std::nullopt : state::readUnlocked(path_);
    std::istringstream text(content.value_or(""));
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    if (lines.size() <= kMostLines)
        return lines;
    const bool tooLong = lines.size() > 2 * kMostLines;
    lines.erase(lines.begin(), lines.end() - kMostLines);
    if (tooLong) {
        std::string kept;
        for (const std::string &line : lines)
            kept += line + '\n';
        state::replaceFile(path_, path_ + ".new", kept); // keeps the mode
    }
    return lines;
}

void HistoryFile::add(const std::string &line) const
{
    if (path_.empty())
        return;
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), error);
    const int file = ::open(path_.c_str(),
                            O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, kOwnerOnly);
    if (file < 0)
        throw failed(path_);
    const std::string bytes = line + '\n';
    const bool written = ::fchmod(file, kOwnerOnly) == 0 &&
                         ::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    const state::FileError why = failed(path_);
    ::close(file);
    if (!written)
        throw why;
}

} // namespace ifcctl
