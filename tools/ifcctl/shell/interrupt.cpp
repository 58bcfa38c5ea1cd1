// SPDX-License-Identifier: MIT OR GPL-2.0
#include "interrupt.h"

namespace ifcctl
{

namespace
{

volatile std::sig_atomic_t interrupted = 0;

} // namespace

InterruptCatch::InterruptCatch()
{
    interrupted = 0;
    struct sigaction handler {
    };
    handler.sa_handler = [](int) { interrupted = 1; }; // without SA_RESTART
    (void)sigemptyset(&handler.sa_mask);
    (void)sigaction(SIGINT, &handler, &before_);
}

InterruptCatch::~InterruptCatch()
{
    (void)sigaction(SIGINT, &before_, nullptr);
}

bool InterruptCatch::happened() const
{
    return interrupted != 0;
}

} // namespace ifcctl
