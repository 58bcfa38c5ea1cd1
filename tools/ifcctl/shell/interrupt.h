// SPDX-License-Identifier: MIT OR GPL-2.0
// Ctrl-C while a line is read: the read ends with EINTR, the program goes on.
#pragma once

#include <csignal>

namespace ifcctl
{

class InterruptCatch
{
public:
    InterruptCatch();
    ~InterruptCatch();
    InterruptCatch(const InterruptCatch &) = delete;
    InterruptCatch &operator=(const InterruptCatch &) = delete;

    bool happened() const;

private:
    struct sigaction before_ {
    };
};

} // namespace ifcctl
