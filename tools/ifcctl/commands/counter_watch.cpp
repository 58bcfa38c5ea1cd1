// SPDX-License-Identifier: MIT OR GPL-2.0
// counter watch: the counters of all rules with their rates, again and again.
#include "counter_commands.h"
#include "counter_table.h"
#include "live_screen.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace ifcctl
{

namespace
{

constexpr double kLeastSeconds = 0.1;
constexpr double kMostSeconds = 86400;
constexpr unsigned kMostReadings = 1000000;

struct Wish {
    double seconds = 1;
    std::optional<unsigned> count;
};

double secondsFrom(WordReader &words)
{
    const std::string accepted = "SECONDS, a number from 0.1 to 86400, or -n COUNT";
    const std::string &text = words.take("counter watch", accepted);
    const bool digits = !text.empty() && text.find_first_not_of("0123456789.") == std::string::npos &&
                        text.find('.') == text.rfind('.') && text.front() != '.' && text.back() != '.';
    const double value = digits ? std::strtod(text.c_str(), nullptr) : 0;
    if (!(value >= kLeastSeconds && value <= kMostSeconds))
        words.reject(accepted);
    return value;
}

Wish wishFrom(WordReader &words)
{
    Wish wish;
    bool timed = false;
    while (!words.atEnd()) {
        if (!wish.count && words.nextIs("-n")) {
            words.takeKey();
            wish.count = static_cast<unsigned>(words.takeNumber(1, kMostReadings));
        } else if (!timed) {
            wish.seconds = secondsFrom(words);
            timed = true;
        } else {
            words.expectEnd("counter watch");
        }
    }
    return wish;
}

std::string numberText(double value)
{
    char text[40];
    (void)std::snprintf(text, sizeof text, "%g", value);
    return text;
}

std::string headingOf(const Wish &wish, unsigned number)
{
    return "reading " + std::to_string(number) + (wish.count ? " of " + std::to_string(*wish.count) : "");
}

// Reads, shows and waits. `show` gets the number of the reading and the two readings; `wait` returns false to
// end.
template <typename Show, typename Wait>
void eachReading(Session &session, const Wish &wish, const Show &show, const Wait &wait)
{
    std::optional<Reading> earlier;
    for (unsigned number = 1;; ++number) {
        Reading reading = readRuleCounters(session);
        show(number, reading, earlier ? &*earlier : nullptr);
        earlier = std::move(reading);
        if (wish.count && number >= *wish.count)
            return;
        session.device().pause();
        const bool goesOn = wait();
        session.device().resume();
        if (!goesOn)
            return;
    }
}

} // namespace

void counterWatch(Session &session, WordReader &words)
{
    const Wish wish = wishFrom(words);
    if (!session.options().json && LiveScreen::possible()) {
        (void)readRuleCounters(session); // an error goes to the normal screen
        LiveScreen screen;
        const std::string every = ", every " + numberText(wish.seconds) + " s, q quits\n\n";
        eachReading(
            session, wish,
            [&](unsigned number, const Reading &reading, const Reading *earlier) {
                screen.draw(headingOf(wish, number) + every + counterTable(reading, earlier));
            },
            [&] { return screen.wait(wish.seconds); });
        return;
    }
    eachReading(
        session, wish,
        [&](unsigned number, const Reading &reading, const Reading *earlier) {
            session.print((number == 1 ? "" : "\n") + headingOf(wish, number) + '\n' +
                              counterTable(reading, earlier),
                          {{"reading", number},
                           {"seconds", secondsSince(earlier, reading)},
                           {"rules", counterJson(reading, earlier)}});
            if (std::fflush(stdout) != 0)
                throw outputFailed("standard output");
        },
        [&] {
            std::this_thread::sleep_for(std::chrono::duration<double>(wish.seconds));
            return true;
        });
}

} // namespace ifcctl
