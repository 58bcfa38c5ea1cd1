// SPDX-License-Identifier: MIT OR GPL-2.0
// How a command names a rule.
#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/rule_name.h"

#include <gtest/gtest.h>

using namespace ifcctl;

namespace
{

TEST(RuleName, TableEntriesAreActionEntries)
{
    EXPECT_EQ(parseTableEntry("LUT0-0"), 0u);
    EXPECT_EQ(parseTableEntry("LUT0-7"), 7u);
    EXPECT_EQ(parseTableEntry("LUT1-0"), 8u);
    EXPECT_EQ(parseTableEntry("lut1-31"), 39u);
    for (const char *wrong : {"", "LUT0-8", "LUT1-32", "LUT1", "LUT1-", "LUT2-1", "LUT1-0x1", "LUT1-+1",
                              "LUT1 1", "9", "XLUT1-1"})
        EXPECT_FALSE(parseTableEntry(wrong)) << wrong;
    EXPECT_TRUE(isRuleName("12"));
    EXPECT_TRUE(isRuleName("LUT1-99")) << "so that the message is about an entry";
    EXPECT_FALSE(isRuleName("dst_port"));
    EXPECT_FALSE(isRuleName(""));
}

std::string taken(const std::string &word, const std::vector<RulePlace> &rules)
{
    WordReader words({word});
    try {
        return std::to_string(takeRule(words, "rule del", rules));
    } catch (const Error &error) {
        return error.text();
    }
}

TEST(RuleName, ARuleHasOneNumberAndEachOfItsEntriesNamesIt)
{
    const std::vector<RulePlace> rules = {{2, true, 2, 2}, {10, false, 0, 2}, {11, false, 3, 3}};
    EXPECT_EQ(taken("2", rules), "0");
    EXPECT_EQ(taken("LUT0-2", rules), "0");
    EXPECT_EQ(taken("10", rules), "1");
    for (const char *entry : {"LUT1-0", "LUT1-1", "lut1-2"})
        EXPECT_EQ(taken(entry, rules), "1") << entry;
    EXPECT_EQ(taken("0xb", rules), "2");
    EXPECT_EQ(taken("8", rules),
              "rule del '8': refused: no rule has this number; there are 2, 10, 11; LUT1 entries "
              "0-2 belong to rule 10");
    EXPECT_EQ(taken("LUT1-4", rules),
              "rule del 'LUT1-4': refused: no rule stands there; there are 2, 10, 11");
    EXPECT_EQ(taken("3", {}), "rule del '3': refused: no rule has this number; there are no rules");
    EXPECT_EQ(taken("3", {rules[2]}), "rule del '3': refused: no rule has this number; there is only 11");
    EXPECT_EQ(taken("40", rules),
              "rule del '40': accepted: a number from 0 to 39, or a table entry such as LUT0-2 or "
              "LUT1-3");
    std::vector<RulePlace> many;
    for (unsigned n = 0; n < 14; ++n)
        many.push_back({8 + n, false, n, n});
    EXPECT_EQ(taken("0", many),
              "rule del '0': refused: no rule has this number; there are 8, 9, 10, 11, 12, 13, 14, 15, "
              "16, 17, 18, 19 and 2 more");
}

} // namespace
