// SPDX-License-Identifier: MIT OR GPL-2.0
// Lines that are folded at the terminal's width, and colours.
#include "tools/ifcctl/device/printer.h"

#include <gtest/gtest.h>

using namespace ifcctl;

namespace
{

TEST(Printer, FoldsAtSpaces)
{
    EXPECT_EQ(folded("short\n", 10), "short\n");
    EXPECT_EQ(folded("", 10), "");
    EXPECT_EQ(folded("one two three four\n", 10), "one two\n    three\n    four\n");
    EXPECT_EQ(folded("  one two three\nnext", 12), "  one two\n      three\nnext");
    EXPECT_EQ(folded("0123456789\n", 10), "0123456789\n");
}

TEST(Printer, FoldsInsideAWordThatIsTooLong)
{
    EXPECT_EQ(folded("leaves as 0123456789abcdef\n", 12), "leaves as\n    01234567\n    89abcdef\n");
    EXPECT_EQ(folded("0123456789abcdef\n", 10), "0123456789\n    abcdef\n");
}

TEST(Printer, TheRestOfACommentIsAComment)
{
    EXPECT_EQ(folded("# one two three\n", 12), "# one two\n#   three\n");
}

TEST(Printer, CountsCharactersNotBytes)
{
    EXPECT_EQ(folded("\xc3\xbc\xc3\xbc\xc3\xbc\xc3\xbc\n", 4), "\xc3\xbc\xc3\xbc\xc3\xbc\xc3\xbc\n");
}

TEST(Printer, LeavesLinesOfABatchAndColouredLines)
{
    const std::string batch = "rule add dst_mac \\\n    01:02:03:04:05:06\n";
    EXPECT_EQ(folded(batch, 10), batch);
    EXPECT_EQ(folded("rule add dst_port 80\nwords that fold\n", 10),
              "rule add dst_port 80\nwords that\n    fold\n");
    EXPECT_EQ(folded("\033[1mone two three four\n", 10), "\033[1mone two three four\n");
}

TEST(Printer, HighlightsVerdictsAndComments)
{
    EXPECT_EQ(highlighted("a FAILS b\n"), "a \033[31mFAILS\033[0m b\n");
    EXPECT_EQ(highlighted("  warning: x\nplain\n"), "  \033[33mwarning:\033[0m x\nplain\n");
    EXPECT_EQ(highlighted("rule add any  # 8\n"), "rule add any \033[2m # 8\033[0m\n");
    EXPECT_EQ(highlighted("# all\n"), "\033[2m# all\033[0m\n");
}

} // namespace
