// SPDX-License-Identifier: MIT OR GPL-2.0
// Implements ifc_platform.h for a host process: a log that tests and tools can read, a spin lock that notices
// misuse, a clock that only mdelay() advances, a chip revision, and register accessors that reach the
// simulated register window.
#pragma once

#include <functional>
#include <string_view>

#include "engine/register_window.h"
#include "ifc_platform.h"

namespace host
{

// Receives every piece of log text. Default (an empty function): standard error.
using LogSink = std::function<void(std::string_view)>;
void setLogSink(LogSink sink);

// While the log is muted, printk() drops its text.
void muteLog(bool mute);
// Runs an operation with the log muted and returns its result.
template <typename Operation>
auto quietly(const Operation &operation)
{
    struct Guard {
        Guard() { muteLog(true); }
        ~Guard() { muteLog(false); }
    } guard;
    return operation();
}

// The chip that the accessors reach. There is one at a time; the caller keeps it alive.
void attach(engine::RegisterWindow *window);

void setRevision(int revision);
// This function answers each query until the next setRevision().
void setRevisionSource(std::function<int()> source);
unsigned revisionQueries(); // since the last reset()

unsigned long clockMilliseconds(); // simulated time spent in mdelay() since the last reset()

// Called at every lock, unlock, wait and query of the revision, in the order in which they happen. For tests
// that watch the lock discipline. Default: an empty function.
enum class Event { Lock, Unlock, Delay, RevisionQuery };
using EventWatch = std::function<void(Event)>;
void setEventWatch(EventWatch watch);

bool lockHeld();

// Replaces the abort on misuse of the spin lock. Default (an empty function): a line on standard error,
// abort.
using Misuse = std::function<void(std::string_view)>;
void setMisuseHandler(Misuse handler);

// Resets everything: default sink, watch and misuse handler, revision 0, clock 0, nothing attached.
void reset();

} // namespace host
