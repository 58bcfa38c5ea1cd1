// SPDX-License-Identifier: MIT OR GPL-2.0
// Tests of the portable tests' vocabulary: which checks pass and which fail.
#include "failing_checks.h"
#include "tests/support/host/layer_fixture.h"

#include <gtest/gtest-spi.h>

using namespace support;

class CheckTest : public LayerTest
{
};

TEST_F(CheckTest, AFailureNamesBothValues)
{
    EXPECT_NONFATAL_FAILURE(failEqual(), "next() == 7: 1 (0x1), 7 (0x7) the note, 5 0xff");
    EXPECT_NONFATAL_FAILURE(failText(), "got 'one\\n', expected 'two\\n'");
    EXPECT_NONFATAL_FAILURE(failTrue(), "calls < 0 does not hold");
    EXPECT_TRUE(holdAll());
}

TEST_F(CheckTest, AnAssertionEndsItsFunction)
{
    bool wentOn = true;
    EXPECT_NONFATAL_FAILURE(wentOn = failAssert(), "1 == 2: 1 (0x1), 2 (0x2) stops here");
    EXPECT_FALSE(wentOn);
}

TEST_F(CheckTest, AnyEventBreaksTheSilence)
{
    EXPECT_NO_TRAFFIC();
    (void)GET_HIR();
    EXPECT_NONFATAL_FAILURE(EXPECT_NO_TRAFFIC(), "got 'query for the revision', expected 'none'");
    forget();
    mdelay(3);
    EXPECT_NONFATAL_FAILURE(EXPECT_NO_TRAFFIC(), "got 'wait 3 ms', expected 'none'");
    forget();
    ifc_spin_unlock_irqrestore(&gpIfcPriv->lock, ifc_spin_lock_irqsave(&gpIfcPriv->lock));
    EXPECT_NONFATAL_FAILURE(EXPECT_NO_TRAFFIC(), "got 'lock', expected 'none'");
    forget();
    (void)printk("text\n");
    EXPECT_NO_TRAFFIC(); // printed text has its own check
    EXPECT_NONFATAL_FAILURE(EXPECT_NOTHING_PRINTED(), "piece 0 of 0: got 'text\\n', expected '(the end)'");
}

TEST_F(CheckTest, TrafficIsComparedInOrderAndToItsEnd)
{
    (void)ifc_enable();
    EXPECT_TRAFFIC(Traffic().read(0xBFB50200, 0).write(0xBFB50200, 1));
    EXPECT_NONFATAL_FAILURE(EXPECT_TRAFFIC(Traffic().read(0xBFB50200, 0)),
                            "event 1 of 1: got 'write bfb50200 00000001', expected 'the end'");
    EXPECT_NONFATAL_FAILURE(EXPECT_TRAFFIC(Traffic().read(0xBFB50200, 0).write(0xBFB50200, 1).unlock()),
                            "event 2 of 3: got 'the end', expected 'unlock'");
    EXPECT_NONFATAL_FAILURE(EXPECT_TRAFFIC(Traffic().read(0xBFB50200, 1).write(0xBFB50200, 1)),
                            "event 0 of 2: got 'read bfb50200 00000000', expected 'read bfb50200 00000001'");
    EXPECT_NONFATAL_FAILURE(EXPECT_TRAFFIC(Traffic().write(0xBFB50200, 1).read(0xBFB50200, 0)),
                            "event 0 of 2");
}

TEST_F(CheckTest, TextIsComparedPieceByPiece)
{
    (void)printk("one\n");
    (void)printk("two");
    EXPECT_PRINTED("one\n", "two");
    EXPECT_NONFATAL_FAILURE(EXPECT_PRINTED("one\n"), "piece 1 of 1: got 'two', expected '(the end)'");
    EXPECT_NONFATAL_FAILURE(EXPECT_PRINTED("one\ntwo"), "piece 0 of 1");
    EXPECT_STREQ(text(), "one\ntwo");
}

TEST_F(CheckTest, OnlyAWholePrefixOfSourceAndLineIsCut)
{
    for (const char *const line : {"a_1.cpp [12]: x", ".cpp [12]: x", "a.cpp [012]: x", "a.cpp []: x",
                                   "a.cpp [1] x", "A.cpp [1]: x", "a.cpp [1", "a.cp"}) {
        forget();
        (void)printk("%s", line);
        EXPECT_STREQ(piece(0), std::string_view(line).starts_with("a_1") ? "@x" : line);
    }
}

TEST_F(CheckTest, AChangeOfAnyTableIsSeen)
{
    expectNothingChanges([] { return 0; });
    EXPECT_NONFATAL_FAILURE(expectNothingChanges([] { IFC_LUT0_Rule[7].word[40] ^= 1; }), "tables stay");
    EXPECT_NONFATAL_FAILURE(expectNothingChanges([] { IFC_LUT1_Rule[31].word[1] ^= 1; }), "tables stay");
    EXPECT_NONFATAL_FAILURE(expectNothingChanges([] { hardware().counter[39][3] ^= 1; }), "tables stay");
}

TEST_F(CheckTest, ARecordThatIsFullIsNotTakenForWhole)
{
    for (unsigned n = 0; n < 20000; ++n)
        (void)GET_HIR();
    EXPECT_NONFATAL_FAILURE((void)events(), "room for all events");
    forget();
    EXPECT_NO_TRAFFIC();
}
