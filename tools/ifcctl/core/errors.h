// SPDX-License-Identifier: MIT OR GPL-2.0
// What stops a batch, each kind with its exit code.
#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace ifcctl
{

enum ExitCode {
    kExitDone = 0,
    kExitUsage = 2,
    kExitRefused = 3,
    kExitTimeout = 4,
    kExitDevice = 5,
    kExitOutput = 6,
};

class Error : public std::runtime_error
{
public:
    Error(ExitCode code, const std::string &text) : std::runtime_error(text), code_(code) {}
    ExitCode code() const { return code_; }

private:
    ExitCode code_;
};

// The words are wrong: names the field, its value and what is accepted.
inline Error usage(const std::string &field, const std::string &value, const std::string &accepted)
{
    return {kExitUsage, field + " '" + value + "': accepted: " + accepted};
}

// The words are right, but the rule layer or its tables do not take them.
inline Error refused(const std::string &field, const std::string &value, const std::string &reason)
{
    return {kExitRefused, field + " '" + value + "': refused: " + reason};
}

// What was to be written did not get there, for the reason in errno.
inline Error outputFailed(const std::string &where)
{
    return {kExitOutput, where + ": " + std::strerror(errno)};
}

} // namespace ifcctl
