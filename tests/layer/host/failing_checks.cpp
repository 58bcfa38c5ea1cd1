// SPDX-License-Identifier: MIT OR GPL-2.0
#include "failing_checks.h"

#include "tests/support/check.h"

namespace
{

int calls;

int next()
{
    return ++calls;
}

void assertInside(bool &wentOn)
{
    ASSERT_EQ(1, 2) << "stops here";
    wentOn = true;
}

} // namespace

void failEqual()
{
    calls = 0;
    EXPECT_EQ(next(), 7) << "the note, " << 5 << " " << support::hex(255);
    if (calls != 1)
        support::Failure(__FILE__, __LINE__, "a value is worked out once");
}

void failText()
{
    EXPECT_STREQ("one\n", "two\n");
}

void failTrue()
{
    EXPECT_TRUE(calls < 0);
}

bool failAssert()
{
    bool wentOn = false;
    assertInside(wentOn);
    return wentOn;
}

bool holdAll()
{
    bool other = false;
    if (calls >= 0) {
        EXPECT_EQ(-1, -1);
    } else {
        other = true;
    }
    EXPECT_NE(1, 2);
    EXPECT_GT(2, 1);
    EXPECT_FALSE(other);
    EXPECT_STREQ("same", "same");
    return !other;
}
