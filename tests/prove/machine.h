// SPDX-License-Identifier: MIT OR GPL-2.0
// A machine for the rule layer that is fast enough for billions of calls: the simulated registers, the text
// that was printed, and a spin lock that checks its use. There is one; a process that forks has its own.
#pragma once

#include "engine/register_window.h"
#include "ifc/ifc_util.h"

#include <cstdarg>
#include <string>

namespace machine
{

// Registers, tables, shadow, context and text all zero; revision 0; the default printer.
void reset();

engine::RegisterWindow &window();
void setRevision(int revision);

const std::string &text(); // printed since the last forgetText()
void forgetText();

// Replaces the formatting of text, until reset().
using Printer = void (*)(const char *format, va_list arguments);
void setPrinter(Printer printer);

// The accesses since the last forgetCounts().
struct Counts {
    unsigned reads;
    unsigned writes;
    unsigned outsideLock; // of both
    unsigned locks;
    unsigned queries; // for the revision
};
const Counts &counts();
void forgetCounts();

} // namespace machine
