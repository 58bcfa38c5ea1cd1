// SPDX-License-Identifier: MIT OR GPL-2.0
#include "plain_capture.h"

#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace capture
{

namespace
{

constexpr size_t kBufferBytes = 256 * 1024;

} // namespace

bool PlainCapture::open(int descriptor)
{
    descriptor_ = descriptor;
    buffer_.resize(kBufferBytes);
    at_ = end_ = buffer_.data();
    if (!refill(kFileHeaderBytes))
        return false;
    swapped_ = false;
    uint32_t magic = word(0);
    swapped_ =
        magic == __builtin_bswap32(kMagicMicroseconds) || magic == __builtin_bswap32(kMagicNanoseconds);
    magic = word(0);
    if (magic != kMagicMicroseconds && magic != kMagicNanoseconds)
        return false;
    nanoseconds_ = magic == kMagicNanoseconds;
    const std::array<uint16_t, 2> version = {half(4), half(6)};
    if (version != kVersion || word(20) != kLinkTypeEthernet)
        return false;
    at_ += kFileHeaderBytes;
    return true;
}

// Moves the unread bytes to the front of the buffer, then reads until `wanted` bytes are there.
bool PlainCapture::refill(size_t wanted)
{
    size_t have = left();
    if (wanted > buffer_.size()) {
        std::vector<uint8_t> larger(wanted + kBufferBytes);
        std::memcpy(larger.data(), at_, have);
        buffer_.swap(larger);
    } else if (have != 0) {
        std::memmove(buffer_.data(), at_, have);
    }
    while (have < wanted) {
        const ssize_t got = ::read(descriptor_, buffer_.data() + have, buffer_.size() - have);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            readError_ = errno;
        if (got <= 0)
            break;
        have += static_cast<size_t>(got);
    }
    at_ = buffer_.data();
    end_ = at_ + have;
    return have >= wanted;
}

CaptureStatus PlainCapture::fail(const char *problem)
{
    problem_ = readError_ == 0 ? problem : std::strerror(readError_);
    return CaptureStatus::Bad;
}

} // namespace capture
