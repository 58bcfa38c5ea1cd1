// SPDX-License-Identifier: MIT OR GPL-2.0
// Rates between two readings of a counter, and the text for monitoring systems.
#include "tools/ifcctl/core/metrics_text.h"

#include <gtest/gtest.h>

#include <cstdint>

using namespace ifcctl;

namespace
{

constexpr uint64_t kLastPacket = (uint64_t{1} << 56) - 1;

void grows(const Counter &earlier, const Counter &later, uint64_t frames, uint64_t bytes)
{
    const Counter grown = growth(earlier, later);
    EXPECT_EQ(grown.frames, frames);
    EXPECT_EQ(grown.bytes, bytes);
}

} // namespace

TEST(CounterRates, the_difference_of_two_readings)
{
    grows({10, 600}, {10, 600}, 0, 0);
    grows({10, 600}, {13, 780}, 3, 180);
}

TEST(CounterRates, packets_wrap_at_56_bits_and_bytes_at_64)
{
    grows({kLastPacket, 600}, {0, 660}, 1, 60);
    grows({kLastPacket - 9, UINT64_MAX - 99}, {10, 900}, 20, 1000);
    grows({5, UINT64_MAX}, {6, 59}, 1, 60);
}

TEST(CounterRates, after_a_reset_the_later_reading_counts)
{
    grows({1000, 60000}, {3, 180}, 3, 180);
    grows({1000, 60000}, {0, 0}, 0, 0);
    // Half of the range is the border between growth and reset.
    grows({0, 0}, {kLastPacket / 2, 1}, kLastPacket / 2, 1);
    grows({1, 0}, {kLastPacket / 2 + 2, 1}, kLastPacket / 2 + 2, 1);
    grows({2, 0}, {kLastPacket / 2 + 2, 1}, kLastPacket / 2, 1);
}

TEST(CounterRates, per_second)
{
    const auto rates = ratesOf({kLastPacket, 100}, {4, 1600}, 0.5);
    ASSERT_TRUE(rates);
    EXPECT_EQ(rates->frames, 10);
    EXPECT_EQ(rates->bytes, 3000);
    EXPECT_FALSE(ratesOf({0, 0}, {1, 60}, 0));
}

TEST(CounterRates, in_text)
{
    EXPECT_EQ(rateText(0), "0");
    EXPECT_EQ(rateText(0.04), "0.0");
    EXPECT_EQ(rateText(3.25), "3.2");
    EXPECT_EQ(rateText(99.5), "99.5");
    EXPECT_EQ(rateText(148809.5), "148810");
}

TEST(MetricsText, labels_are_escaped)
{
    EXPECT_EQ(labelValue("dst_port 53"), "dst_port 53");
    EXPECT_EQ(labelValue("a\\b\"c\nd"), "a\\\\b\\\"c\\nd");
}

TEST(MetricsText, the_formats_differ_by_the_name_of_the_family)
{
    const std::vector<RuleMetrics> rules = {{8, "LUT1 entry 0", "dst_port 53", {kLastPacket, UINT64_MAX}}};
    const std::string labels = "{rule=\"8\",place=\"LUT1 entry 0\",match=\"dst_port 53\"} ";
    const auto expected = [&](const std::string &suffix) {
        return "# HELP ifc_rule_packets" + suffix +
               " Frames that the rule decided.\n# TYPE ifc_rule_packets" + suffix +
               " counter\nifc_rule_packets_total" + labels + "72057594037927935\n" + "# HELP ifc_rule_bytes" +
               suffix + " Bytes of the frames that the rule decided.\n" + "# TYPE ifc_rule_bytes" + suffix +
               " counter\nifc_rule_bytes_total" + labels + "18446744073709551615\n# EOF\n";
    };
    EXPECT_EQ(metricsText(rules, MetricsFormat::Prometheus), expected("_total"));
    EXPECT_EQ(metricsText(rules, MetricsFormat::OpenMetrics), expected(""));
}
