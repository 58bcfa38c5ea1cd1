// SPDX-License-Identifier: MIT OR GPL-2.0
// The lines of earlier shells, one a line of a file that only its owner may read.
#pragma once

#include "tools/ifcctl/core/word_reader.h"

#include <string>

namespace ifcctl
{

class HistoryFile
{
public:
    // "": keeps nothing.
    explicit HistoryFile(std::string path) : path_(std::move(path)) {}

    // The last lines, oldest first. Shortens a file that has grown long. Throws state::FileError.
    std::vector<std::string> load() const;
    // Adds a line at the end; other shells may do so as well. Throws state::FileError.
    void add(const std::string &line) const;

    // `history` in the folder of the user's state; "" if there is no such folder.
    static std::string defaultPath();

private:
    std::string path_;
};

} // namespace ifcctl
