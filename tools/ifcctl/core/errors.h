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
    kExitDiffers = 1, // `set diff` found a difference
    kExitUsage = 2,
    kExitRefused = 3,
    kExitTimeout = 4,
    kExitDevice = 5,
    kExitOutput = 6,
};

enum class Reason {
    Usage,         // wrong words, or a wrong file
    Contradiction, // two conditions of a rule exclude each other

    PpeOff,            // the action needs the packet engine, which is off
    UserFieldInLut0,   // the rule goes to LUT0, which has no user-defined fields
    MaskNotContiguous, // LUT1 cannot hold this mask
    MaskStoredWider,   // LUT1 would compare more bits than asked
    NoSpace,           // no free place is large enough
    NeedsLut0,         // only LUT0 holds the rule, and this chip does not use LUT0
    OrderConflict,     // no layout keeps the order of the rules
    NeverDecides,      // with --strict: an earlier rule decides all its frames, or it matches none
    NotForAutomatic,   // automatic placement does not support such a rule
    NoTableHolds,      // neither table holds such a rule
    NoSetOperations,   // the device cannot update its rules as a set
    LayerRefused,      // the rule layer refused for another reason
    NoSuchRule,        // no rule has this number or these conditions
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
    // The raw text. It may contain any byte of the input, see printable().
    const std::string &text() const { return text_; }
    const char *what() const noexcept override { return text_.c_str(); }

private:
    Reason reason_;
    std::string text_;
};

// For wrong words. The message names the field, its value and what is accepted.
inline Error usage(const std::string &field, const std::string &value, const std::string &accepted)
{
    return {Reason::Usage, field + " '" + value + "': accepted: " + accepted};
}

// For correct words that the rule layer or its tables do not accept.
inline Error refused(Reason reason, const std::string &field, const std::string &value,
                     const std::string &why)
{
    return {reason, field + " '" + value + "': refused: " + why};
}

// For an output that could not be written; errno has the reason.
inline Error outputFailed(const std::string &where)
{
    return {Reason::OutputFailed, where + ": " + std::strerror(errno)};
}

// For a line that ends with a backslash, without a next one.
inline Error noNextLine()
{
    return usage("line", "\\", "another line after it; this is the last one");
}

inline Error timedOut(const std::string &more = "")
{
    return {Reason::TimedOut, "hardware: a transfer did not report completion within 3 reads" + more};
}

} // namespace ifcctl
