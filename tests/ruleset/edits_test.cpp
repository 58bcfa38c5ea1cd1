// SPDX-License-Identifier: MIT OR GPL-2.0
// Lists of edits: they give the same set as single calls, and the report names the edit that failed.
#include "ruleset/edits.h"

#include "tests/engine/classifier_fixture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

namespace
{

ifc_rule ruleOfPort(uint64_t port)
{
    ifc_rule rule = {};
    rule.count = 1;
    rule.condition[0] = {DPORT, IFC_COMPARE_EQUAL, 0, 0, 0xFFFF, port};
    return rule;
}

class EditsTest : public ClassifierTest
{
protected:
    void SetUp() override
    {
        ClassifierTest::SetUp();
        ifc_ruleset_init(set.get());
    }

    static ifc_ruleset_edit edit(ifc_ruleset_edit_kind kind, uint32_t position, uint32_t argument = 0,
                                 const ifc_rule &rule = {})
    {
        return {kind, position, argument, 0, rule};
    }
    static ifc_ruleset_edit insertPort(uint32_t position, uint64_t port)
    {
        return edit(IFC_RULESET_INSERT, position, 0, ruleOfPort(port));
    }

    int run(const std::vector<ifc_ruleset_edit> &edits, uint32_t flags = 0)
    {
        return ifc_ruleset_run(set.get(), edits.data(), static_cast<uint32_t>(edits.size()), flags, &report,
                               &failed);
    }
    std::vector<uint64_t> ports()
    {
        std::vector<uint64_t> list;
        for (unsigned n = 0; n < ifc_ruleset_count(set.get()); ++n)
            list.push_back(ifc_ruleset_rule(set.get(), n)->condition[0].key);
        return list;
    }

    std::unique_ptr<ifc_ruleset> set = std::make_unique<ifc_ruleset>();
    ifc_ruleset_report report{};
    uint32_t failed = 0;
};

TEST_F(EditsTest, EachKindDoesWhatItsCallDoes)
{
    ifc_rule other = ruleOfPort(9);
    other.action.bits.nbq = 5;
    ASSERT_EQ(run({insertPort(0, 1), insertPort(IFC_RULESET_LAST, 2), insertPort(0, 3), insertPort(1, 4),
                   edit(IFC_RULESET_MOVE, 3, 0), edit(IFC_RULESET_REMOVE, 1),
                   edit(IFC_RULESET_REPLACE, 2, IFC_RULESET_CONDITIONS | IFC_RULESET_ACTION, other)}),
              IFC_RULESET_OK);
    EXPECT_EQ(ports(), (std::vector<uint64_t>{2, 4, 9}));
    EXPECT_EQ(ifc_ruleset_rule(set.get(), 2)->action.bits.nbq, 5u);
    EXPECT_EQ(failed, IFC_RULESET_NO_EDIT);
    EXPECT_EQ(report.added, 3);
    const auto applied = std::make_unique<ifc_ruleset>();
    ASSERT_EQ(ifc_ruleset_read(applied.get(), nullptr), IFC_RULESET_OK);
    EXPECT_EQ(ifc_ruleset_count(applied.get()), 3u);
    ASSERT_EQ(run({edit(IFC_RULESET_CLEAR, 0)}), IFC_RULESET_OK);
    EXPECT_EQ(report.deleted, 3);
}

TEST_F(EditsTest, AFailureNamesItsEditAndTouchesNoTable)
{
    const uint32_t before = ifc_ruleset_checksum(IFC_LUT0_Rule, IFC_LUT1_Rule);
    EXPECT_EQ(run({insertPort(0, 1), insertPort(5, 2)}), IFC_RULESET_BAD_POSITION);
    EXPECT_EQ(failed, 1u);
    EXPECT_EQ(report.result, IFC_RULESET_BAD_POSITION);
    ifc_ruleset_init(set.get());
    ifc_ruleset_edit bad = insertPort(0, 1);
    bad.rule.condition[0].field = 48;
    EXPECT_EQ(run({insertPort(0, 1), bad}), IFC_RULESET_BAD_RULE);
    EXPECT_EQ(report.reason, static_cast<uint32_t>(IFC_RULESET_BAD_FIELD));
    EXPECT_EQ(failed, 1u);
    bad.kind = 6;
    EXPECT_EQ(run({bad}), IFC_RULESET_BAD_POSITION);
    EXPECT_EQ(failed, 0u);
    EXPECT_EQ(ifc_ruleset_checksum(IFC_LUT0_Rule, IFC_LUT1_Rule), before);
}

TEST_F(EditsTest, APlanTouchesNothingAndCountsWhatTheApplyMakes)
{
    const engine::Tables before = window.tables();
    ASSERT_EQ(run({insertPort(0, 1), insertPort(1, 2)}, IFC_RULESET_PLAN_ONLY), IFC_RULESET_OK);
    EXPECT_EQ(report.added, 2);
    const uint32_t planned = report.accesses;
    EXPECT_EQ(memcmp(&window.tables(), &before, sizeof before), 0);
    ifc_ruleset_init(set.get());
    ASSERT_EQ(run({insertPort(0, 1), insertPort(1, 2)}), IFC_RULESET_OK);
    EXPECT_GT(planned, 0u);
    EXPECT_LE(report.accesses, planned);
}

// Calls without arguments set no result; the run does.
TEST_F(EditsTest, AFailureOfAnyKindIsInTheReport)
{
    ASSERT_EQ(run({insertPort(0, 1)}), IFC_RULESET_OK);
    ASSERT_EQ(report.added, 1);
    EXPECT_EQ(run({edit(IFC_RULESET_MOVE, 0, 0), edit(IFC_RULESET_REMOVE, 1)}), IFC_RULESET_BAD_POSITION);
    EXPECT_EQ(report.result, IFC_RULESET_BAD_POSITION);
    EXPECT_EQ(report.added, 0); // nothing is left of the report before
    EXPECT_EQ(failed, 1u);
    EXPECT_EQ(run({edit(IFC_RULESET_MOVE, 0, 1)}), IFC_RULESET_BAD_POSITION);
    EXPECT_EQ(report.result, IFC_RULESET_BAD_POSITION);
}

TEST_F(EditsTest, RunWithoutAReport)
{
    const ifc_ruleset_edit edits[] = {insertPort(0, 1), edit(IFC_RULESET_REMOVE, 1)};
    EXPECT_EQ(ifc_ruleset_run(set.get(), edits, 2, 0, nullptr, nullptr), IFC_RULESET_BAD_POSITION);
    EXPECT_EQ(ifc_ruleset_run(set.get(), edits, 1, 0, nullptr, &failed), IFC_RULESET_OK);
    EXPECT_EQ(failed, IFC_RULESET_NO_EDIT);
    EXPECT_EQ(ports(), (std::vector<uint64_t>{1, 1}));
}

// A reserved entry stays until the list claims it.
TEST_F(EditsTest, ReservedEntriesAreClaimed)
{
    ASSERT_EQ(ifc_set_lut1_rules(3, IFC_ENABLE, 0, DPORT, 0, 0xFFFF, 0, 53), 4);
    ASSERT_EQ(ifc_ruleset_read(set.get(), &report), IFC_RULESET_OK);
    ASSERT_EQ(run({}), IFC_RULESET_OK);
    EXPECT_NE(IFC_LUT1_Rule[3].word[0], 0u);
    ASSERT_EQ(run({edit(IFC_RULESET_CLAIM, 0)}), IFC_RULESET_OK);
    EXPECT_EQ(IFC_LUT1_Rule[3].word[0], 0u);
    EXPECT_EQ(window.tables().lut1[3][0], 0u);
}

// The expected values come from another program that follows the algorithm's description, octet by octet.
TEST_F(EditsTest, TheChecksumIsFnv1a)
{
    IFC_LUT0_Format lut0[IFC_LUT0_RULES] = {};
    IFC_LUT1_Format lut1[IFC_LUT1_RULES] = {};
    EXPECT_EQ(ifc_ruleset_checksum(lut0, lut1), 0x37F61C45u);
    uint32_t n = 0;
    for (IFC_LUT0_Format &rule : lut0)
        for (uint32_t &word : rule.word)
            word = ++n * 0x9E3779B1u;
    n = 0;
    for (IFC_LUT1_Format &entry : lut1)
        for (uint32_t &word : entry.word)
            word = ++n * 0x85EBCA6Bu;
    EXPECT_EQ(ifc_ruleset_checksum(lut0, lut1), 0x3D3330EDu);
}

TEST_F(EditsTest, TheChecksumSeesEachWordOfBothTables)
{
    EXPECT_EQ(ifc_ruleset_checksum(IFC_LUT0_Rule, IFC_LUT1_Rule),
              ifc_ruleset_checksum(IFC_LUT0_Rule, IFC_LUT1_Rule));
    const uint32_t before = ifc_ruleset_checksum(IFC_LUT0_Rule, IFC_LUT1_Rule);
    IFC_LUT0_Rule[7].word[40] ^= 1u << 31;
    EXPECT_NE(ifc_ruleset_checksum(IFC_LUT0_Rule, IFC_LUT1_Rule), before);
    IFC_LUT0_Rule[7].word[40] ^= 1u << 31;
    IFC_LUT1_Rule[31].word[1] ^= 1;
    EXPECT_NE(ifc_ruleset_checksum(IFC_LUT0_Rule, IFC_LUT1_Rule), before);
    IFC_LUT1_Rule[31].word[1] ^= 1;
    EXPECT_EQ(ifc_ruleset_checksum(IFC_LUT0_Rule, IFC_LUT1_Rule), before);
}

} // namespace
