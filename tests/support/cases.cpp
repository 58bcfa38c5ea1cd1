// SPDX-License-Identifier: MIT OR GPL-2.0
// The portable tests by number, as a machine runs them.
#include "layer.h"
#include "surroundings.h"

namespace support
{

const Case *testNumber(unsigned n)
{
    for (unsigned group = 0; group < kGroupCount; ++group) {
        if (n < kGroups[group]->count)
            return &kGroups[group]->cases[n];
        n -= kGroups[group]->count;
    }
    return nullptr;
}

} // namespace support

extern "C" {

using namespace support;

const char *support_test_subject(unsigned n)
{
    const Case *const found = testNumber(n);
    return found != nullptr ? found->subject : nullptr;
}

const char *support_test_behaviour(unsigned n)
{
    const Case *const found = testNumber(n);
    return found != nullptr ? found->behaviour : nullptr;
}

void support_test_run(unsigned n)
{
    const Case *const test = testNumber(n);
    whenPrinting(nullptr);
    setRevision(0);
    powerOn();
    test->run();
    if (surroundings_errors() != 0)
        Failure(test->file, test->line, "every access is one that the hardware knows");
    if (lockIsHeld())
        Failure(test->file, test->line, "the lock is released");
    whenPrinting(nullptr);
    setRevision(0);
}
}
