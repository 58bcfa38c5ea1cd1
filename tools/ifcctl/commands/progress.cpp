// SPDX-License-Identifier: MIT OR GPL-2.0
#include "progress.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include <sys/ioctl.h>
#include <unistd.h>

namespace ifcctl
{

namespace
{

unsigned columnsOfStandardError()
{
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : 80;
}

std::string rateText(double perSecond)
{
    char text[40];
    if (perSecond >= 1e6)
        (void)std::snprintf(text, sizeof text, "%.2f M frames/s", perSecond / 1e6);
    else
        (void)std::snprintf(text, sizeof text, "%.0f k frames/s", perSecond / 1e3);
    return text;
}

std::string timeText(double seconds)
{
    char text[40];
    const auto whole = static_cast<unsigned long>(std::min(seconds + 0.5, 359999.0));
    if (whole >= 3600)
        (void)std::snprintf(text, sizeof text, "%lu:%02lu:%02lu left", whole / 3600, whole / 60 % 60,
                            whole % 60);
    else
        (void)std::snprintf(text, sizeof text, "%lu:%02lu left", whole / 60, whole % 60);
    return text;
}

} // namespace

Progress::Progress(const capture::FrameCapture &source)
    : capture_(source), shown_(isatty(STDERR_FILENO) != 0 && source.size() != 0)
{
}

Progress::~Progress()
{
    if (wrote_)
        std::fputs("\r\033[K", stderr);
}

void Progress::draw()
{
    constexpr auto kInterval = std::chrono::milliseconds(100);
    constexpr unsigned kMostBar = 40;
    const Clock::time_point now = Clock::now();
    if (wrote_ && now - drawn_ < kInterval)
        return;
    drawn_ = now;
    wrote_ = true;
    const double elapsed = std::max(std::chrono::duration<double>(now - begun_).count(), 1e-9);
    const double part =
        std::min(1.0, static_cast<double>(capture_.consumed()) / static_cast<double>(capture_.size()));
    char percent[16];
    (void)std::snprintf(percent, sizeof percent, "%3.0f %%", 100 * part);
    std::string line = std::string(percent) + "  " + rateText(static_cast<double>(frames_) / elapsed);
    if (part > 0)
        line += "  " + timeText(elapsed * (1 - part) / part);
    const unsigned columns = columnsOfStandardError();
    constexpr unsigned kAround = 4; // brackets, a space, and the last column stays free
    if (columns > line.size() + kAround) {
        const unsigned bar =
            std::min<unsigned>(kMostBar, columns - static_cast<unsigned>(line.size()) - kAround);
        const auto full = static_cast<unsigned>(part * bar);
        line = '[' + std::string(full, '#') + std::string(bar - full, '.') + "] " + line;
    }
    std::fprintf(stderr, "\r%.*s\033[K", static_cast<int>(columns - 1), line.c_str());
}

} // namespace ifcctl
