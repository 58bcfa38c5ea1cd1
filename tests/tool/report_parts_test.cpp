// SPDX-License-Identifier: MIT OR GPL-2.0
// The report's parts by themselves: escaping, elements, activity.
#include "tools/ifcctl/report/activity.h"
#include "tools/ifcctl/report/html.h"
#include "tools/ifcctl/report/sections.h"

#include <gtest/gtest.h>

#include <numeric>

namespace ifcctl::report
{

namespace
{

const std::string kReplacement = "\xEF\xBF\xBD";

TEST(ReportText, MarkupIsEscaped)
{
    EXPECT_EQ(escaped("<a href=\"x\" b='y'>&amp;"), "&lt;a href=&quot;x&quot; b=&#39;y&#39;&gt;&amp;amp;");
    EXPECT_EQ(escaped("caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"),
              "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80");
    EXPECT_EQ(escaped("a\nb\tc"), "a\nb\tc");
}

TEST(ReportText, WhatIsNoTextBecomesTheReplacementCharacter)
{
    using namespace std::string_literals;
    const std::string bad[] = {"\0"s,           "\x1b"s,         "\x7f"s,         "\xC2\x9B"s,
                               "\xE2\x80\xAE"s, "\xE2\x81\xA6"s, "\xEF\xBF\xBE"s, "\xEF\xB7\x90"s};
    for (const std::string &text : bad)
        EXPECT_EQ(escaped("a" + text + "b"), "a" + kReplacement + "b");
    // Each byte that belongs to no character by itself: cut off, too long, surrogates, above the last one.
    EXPECT_EQ(escaped("\xC3"), kReplacement);
    EXPECT_EQ(escaped("\xFF<"), kReplacement + "&lt;");
    EXPECT_EQ(escaped("\xC0\xBC"), kReplacement + kReplacement);
    EXPECT_EQ(escaped("\xE0\x80\xBC"), kReplacement + kReplacement + kReplacement);
    EXPECT_EQ(escaped("\xED\xA0\x80"), kReplacement + kReplacement + kReplacement);
    EXPECT_EQ(escaped("\xF4\x90\x80\x80"), kReplacement + kReplacement + kReplacement + kReplacement);
}

TEST(ReportText, ElementsAreClosedAndAttributesEscaped)
{
    Html html;
    html.open("p", {{"title", "\"><script>"}}).text("<").element("b", "&").close();
    EXPECT_EQ(html.done(), "<p title=\"&quot;&gt;&lt;script&gt;\">&lt;<b>&amp;</b></p>");
    EXPECT_TRUE(html.complete());
    html.open("p");
    EXPECT_FALSE(html.complete());
}

TEST(ReportText, NumbersAndShares)
{
    const std::string gap = "\xE2\x80\xAF";
    EXPECT_EQ(thousands(0), "0");
    EXPECT_EQ(thousands(999), "999");
    EXPECT_EQ(thousands(1000), "1" + gap + "000");
    EXPECT_EQ(thousands(1234567), "1" + gap + "234" + gap + "567");
    EXPECT_EQ(counted(1, "frame"), "1 frame");
    EXPECT_EQ(counted(2, "frame"), "2 frames");
    EXPECT_EQ(share(1, 3), "33.3\xC2\xA0%");
    EXPECT_EQ(share(0, 0), "0.0\xC2\xA0%");
    EXPECT_EQ(share(5, 5), "100.0\xC2\xA0%");
}

TEST(ReportActivity, EachPartHasAsManyFrames)
{
    for (const unsigned frames : {0u, 1u, 47u, 48u, 49u, 96u, 97u, 1000u, 100000u}) {
        Activity activity;
        for (unsigned n = 0; n < frames; ++n)
            activity.count(n % 3 == 0 ? 5 : Activity::kNoRule);
        const auto five = activity.of(5);
        const auto none = activity.of(Activity::kNoRule);
        ASSERT_EQ(five.size(), none.size());
        ASSERT_LE(five.size(), Activity::kParts);
        EXPECT_EQ(std::accumulate(five.begin(), five.end(), uint64_t{0}), (frames + 2) / 3) << frames;
        EXPECT_EQ(std::accumulate(none.begin(), none.end(), uint64_t{0}), frames - (frames + 2) / 3)
            << frames;
        for (size_t n = 1; n + 1 < five.size(); ++n)
            EXPECT_EQ(five[n] + none[n], five[0] + none[0]) << frames;
        EXPECT_EQ(activity.of(0), std::vector<uint64_t>(five.size(), 0));
    }
}

TEST(ReportActivity, KeepsTheOrderOfTheCapture)
{
    Activity activity;
    for (unsigned n = 0; n < 4800; ++n)
        activity.count(n < 2400 ? 1 : 2);
    const auto first = activity.of(1);
    const auto second = activity.of(2);
    unsigned both = 0;
    for (size_t n = 0; n < first.size(); ++n)
        both += first[n] != 0 && second[n] != 0;
    EXPECT_LE(both, 1u);
    EXPECT_NE(first.front(), 0u);
    EXPECT_NE(second.back(), 0u);
}

} // namespace

} // namespace ifcctl::report
