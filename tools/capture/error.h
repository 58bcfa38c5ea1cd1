// SPDX-License-Identifier: MIT OR GPL-2.0
// What can go wrong with a capture file.
#pragma once

#include <stdexcept>
#include <string>

namespace capture
{

enum class Fault {
    Input,       // the capture cannot be read
    OutputPlace, // the output file cannot be created there
    FrameLength, // the frame is too long to be written
    OutputWrite, // a write failed
};

// what() is the reason. Of Fault::Input it includes the file's name.
class Error : public std::runtime_error
{
public:
    Error(Fault fault, const std::string &path, const std::string &reason)
        : std::runtime_error(reason), fault_(fault), path_(path)
    {
    }
    Fault fault() const { return fault_; }
    const std::string &path() const { return path_; }

private:
    Fault fault_;
    std::string path_;
};

} // namespace capture
