// SPDX-License-Identifier: MIT OR GPL-2.0
// For any file the reader stops at the end or at an error, and never reads outside its buffer.
#include <sys/mman.h>
#include <unistd.h>

#include "tools/capture/plain_capture.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const int descriptor = memfd_create("capture", MFD_CLOEXEC);
    if (descriptor < 0 || write(descriptor, data, size) != static_cast<ssize_t>(size))
        return 0;
    (void)lseek(descriptor, 0, SEEK_SET);
    capture::PlainCapture reader;
    uint32_t sum = 0;
    if (reader.open(descriptor)) {
        for (capture::CapturedFrame frame{}; reader.next(frame) == capture::CaptureStatus::Frame;) {
            for (uint32_t n = 0; n < frame.length; ++n)
                sum += frame.data[n];
        }
    }
    [[maybe_unused]] static volatile uint32_t kept;
    kept = sum;
    (void)close(descriptor);
    return 0;
}
