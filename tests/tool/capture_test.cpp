// SPDX-License-Identifier: MIT OR GPL-2.0
// The capture library: both readers read the writer's files; faults are distinguished.
#include "tools/capture/capture_writer.h"
#include "tools/capture/error.h"
#include "tools/capture/frame_capture.h"
#include "tools/capture/plain_capture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

using namespace capture;

namespace
{

class Captures : public testing::Test
{
protected:
    Captures()
    {
        std::string name = testing::TempDir() + "captures.XXXXXX";
        folder_ = mkdtemp(name.data());
    }
    ~Captures() override { std::filesystem::remove_all(folder_); }

    std::string path(const std::string &name) const { return folder_ / name; }

    void write(const std::string &name, const std::vector<std::vector<uint8_t>> &frames, bool nanoseconds)
    {
        CaptureWriter writer(path(name), nanoseconds);
        uint32_t number = 0;
        for (const auto &frame : frames) {
            const auto length = static_cast<uint32_t>(frame.size());
            writer.write({frame.data(), length, length + 4, 7, ++number}, frame.data(), length);
        }
        writer.finish();
    }

    std::filesystem::path folder_;
};

std::optional<Fault> faultOf(const std::function<void()> &action)
{
    try {
        action();
    } catch (const Error &error) {
        return error.fault();
    }
    return std::nullopt;
}

TEST_F(Captures, BothReadersReadWhatWasWritten)
{
    // The last frame is longer than the fast reader's buffer.
    const std::vector<std::vector<uint8_t>> frames = {{1, 2, 3}, {}, std::vector<uint8_t>(kMaxFrame, 9)};
    for (const bool nanoseconds : {false, true}) {
        write("out", frames, nanoseconds);
        FrameCapture any(path("out"));
        EXPECT_EQ(any.nanoseconds(), nanoseconds);
        PlainCapture plain;
        const int descriptor = open(path("out").c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_TRUE(plain.open(descriptor));
        CapturedFrame one{};
        CapturedFrame two{};
        for (uint32_t n = 0; n < frames.size(); ++n) {
            ASSERT_TRUE(any.next(one));
            ASSERT_EQ(plain.next(two), CaptureStatus::Frame);
            for (const CapturedFrame &frame : {one, two}) {
                EXPECT_EQ(std::vector<uint8_t>(frame.data, frame.data + frame.length), frames[n]);
                EXPECT_EQ(frame.wireLength, frame.length + 4);
                EXPECT_EQ(frame.seconds, 7u);
                EXPECT_EQ(frame.fraction, n + 1);
            }
        }
        EXPECT_FALSE(any.next(one));
        EXPECT_EQ(plain.next(two), CaptureStatus::End);
        close(descriptor);
    }
}

TEST_F(Captures, TargetChangesOnlyWhenFinished)
{
    write("out", {{1}}, false);
    {
        CaptureWriter writer(path("out"), false);
        const uint8_t byte = 2;
        writer.write({&byte, 1, 1, 0, 0}, &byte, 1);
    }
    FrameCapture capture(path("out"));
    CapturedFrame frame{};
    ASSERT_TRUE(capture.next(frame));
    EXPECT_EQ(frame.data[0], 1);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_), {}), 1)
        << "no unfinished file stays";
}

TEST_F(Captures, FaultsAreToldApart)
{
    EXPECT_EQ(faultOf([&] { FrameCapture capture(path("none")); }), Fault::Input);
    EXPECT_EQ(faultOf([&] { FrameCapture capture(folder_); }), Fault::Input);
    EXPECT_EQ(faultOf([&] { CaptureWriter writer(folder_, false); }), Fault::OutputPlace);
    EXPECT_EQ(faultOf([&] { CaptureWriter writer(path("no/such/out"), false); }), Fault::OutputPlace);
    CaptureWriter writer(path("out"), false);
    const std::vector<uint8_t> frame(kMaxFrame + 1);
    EXPECT_EQ(faultOf([&] {
                  writer.write({frame.data(), 1, 1, 0, 0}, frame.data(), kMaxFrame + 1);
              }),
              Fault::FrameLength);
    if (std::filesystem::exists("/dev/full")) {
        EXPECT_EQ(faultOf([&] {
                      CaptureWriter full("/dev/full", false);
                      full.finish();
                  }),
                  Fault::OutputWrite);
    }
}

} // namespace
