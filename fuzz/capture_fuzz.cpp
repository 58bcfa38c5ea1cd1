// SPDX-License-Identifier: MIT OR GPL-2.0
// Any file: the reader ends with its last frame, with an end or with an error, and stays in its buffer.
#include <sys/mman.h>
#include <unistd.h>

#include "tools/ifcctl/frame_capture.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const int descriptor = memfd_create("capture", MFD_CLOEXEC);
    if (descriptor < 0 || write(descriptor, data, size) != static_cast<ssize_t>(size))
        return 0;
    (void)lseek(descriptor, 0, SEEK_SET);
    ifcctl::PlainCapture capture;
    uint32_t sum = 0;
    if (capture.open(descriptor)) {
        for (ifcctl::CapturedFrame frame{}; capture.next(frame) == ifcctl::CaptureStatus::Frame;) {
            for (uint32_t n = 0; n < frame.length; ++n)
                sum += frame.data[n];
        }
    }
    [[maybe_unused]] static volatile uint32_t kept;
    kept = sum;
    (void)close(descriptor);
    return 0;
}
