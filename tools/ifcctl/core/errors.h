// SPDX-License-Identifier: MIT OR GPL-2.0
// Why a line fails: one enumeration of reasons, each with its exit code.
#pragma once

#include <cerrno>
#include <cstring>
#include <exception>
#include <string>
#include <utility>

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

enum class Reason {
    Usage,         // the words or a file to be read are wrong
    Contradiction, // two conditions of a rule exclude each other

    PpeOff,            // the action needs the packet engine, which is off
    UserFieldInLut0,   // the rule goes to LUT0, which has no user-defined fields
    MaskNotContiguous, // LUT1 cannot hold this mask
    MaskStoredWider,   // LUT1 would compare more bits than asked
    NoSpace,           // no free place is large enough
    NeedsLut0,         // only LUT0 holds the rule, and this chip does not offer it
    OrderConflict,     // no places keep the order of the rules
    NeverDecides,      // under --strict: an earlier rule decides all its frames, or it fits none
    NotForAutomatic,   // automatic placement does not take such a rule
    NoTableHolds,      // neither table holds such a rule
    NoSetOperations,   // the device cannot update its rules as a set
    LayerRefused,      // the rule layer refused for a reason of its own
    NoSuchRule,        // no rule is there, or none has these conditions
    TakesOthersAlong,  // the automatic deletion would delete other rules as well
    TablesDiffer,      // hardware and shadow differ
    FrameTooLong,      // the frame does not fit into a capture file

    TimedOut, // a transfer did not complete
    DeviceFailed,
    OutputFailed,
};

constexpr ExitCode exitCodeOf(Reason reason)
{
    switch (reason) {
    case Reason::Usage:
    case Reason::Contradiction:
        return kExitUsage;
    case Reason::TimedOut:
        return kExitTimeout;
    case Reason::DeviceFailed:
        return kExitDevice;
    case Reason::OutputFailed:
        return kExitOutput;
    default:
        return kExitRefused;
    }
}

class Error : public std::exception
{
public:
    Error(Reason reason, std::string text) : reason_(reason), text_(std::move(text)) {}
    Reason reason() const { return reason_; }
    // As it was put together: it may hold any byte of the input, see printable().
    const std::string &text() const { return text_; }
    const char *what() const noexcept override { return text_.c_str(); }

private:
    Reason reason_;
    std::string text_;
};

// The words are wrong: names the field, its value and what is accepted.
inline Error usage(const std::string &field, const std::string &value, const std::string &accepted)
{
    return {Reason::Usage, field + " '" + value + "': accepted: " + accepted};
}

// The words are right, but the rule layer or its tables do not accept them.
inline Error refused(Reason reason, const std::string &field, const std::string &value,
                     const std::string &why)
{
    return {reason, field + " '" + value + "': refused: " + why};
}

// An output could not be written, for the reason in errno.
inline Error outputFailed(const std::string &where)
{
    return {Reason::OutputFailed, where + ": " + std::strerror(errno)};
}

inline Error timedOut(const std::string &more = "")
{
    return {Reason::TimedOut, "hardware: a transfer did not report completion within 3 reads" + more};
}

} // namespace ifcctl
