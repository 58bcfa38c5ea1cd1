// SPDX-License-Identifier: MIT OR GPL-2.0
// Compares the tool's predictions for ordered rules with their results, over random tables and rules on a
// simulated chip. IFC_FORETELL_SETS in the environment sets the number of cases of each test (default 200).
#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/device/rule_set.h"

#include "foretell_support.h"
#include "ifc/ifc_util.h"
#include "ifc/records/chip.h"
#include "tests/ruleset/rule_support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>

using namespace ifcctl;

namespace
{

unsigned caseCount()
{
    return foretell::caseCount("IFC_FORETELL_SETS", 200);
}

// The tables of the hardware and their shadow.
struct State {
    explicit State(Session &session) : hardware(session.device().window().tables()) {}
    bool operator==(const State &other) const
    {
        return std::memcmp(&hardware, &other.hardware, sizeof hardware) == 0 && shadow == other.shadow;
    }
    engine::Tables hardware;
    foretell::Shadow shadow;
};

class ForetellSet : public testing::Test
{
protected:
    // Tables from empty to full, filled by the set and sometimes by automatic placement.
    void randomTables()
    {
        (void)clear_all_ifc_rules();
        (void)write_all_ifc_rule_to_hw();
        for (unsigned wanted = random_.below(30); wanted != 0; --wanted) {
            RuleSet set(session_);
            try {
                set.insert(random_.below(set.count() + 1), randomRule());
                (void)set.apply();
            } catch (const Error &) { // this one does not fit
            }
        }
        if (random_.oneIn(4)) {
            // A leftover without an end flag.
            IFC_LUT1_Format &entry = IFC_LUT1_Rule[random_.below(IFC_LUT1_RULES)];
            if (entry.type0.valid == 0) {
                entry.type0.field = DPORT;
                entry.type0.valid = 1;
                (void)write_all_ifc_rule_to_hw();
            }
        }
    }

    ifc_rule randomRule() { return rules::randomRule(random_, 6); }

    Random random_{20260711};
    Session session_{Options{}};
};

TEST_F(ForetellSet, PlanSaysWhatApplyDoes)
{
    std::map<std::string, unsigned> seen;
    for (unsigned n = 0; n < caseCount() && !HasFailure(); ++n) {
        SCOPED_TRACE("case " + std::to_string(n));
        randomTables();
        const State before(session_);
        RuleSet set(session_);
        ifc_ruleset_report plan{};
        try {
            const unsigned position = random_.below(set.count() + 1);
            set.insert(position, randomRule());
            plan = set.plan();
        } catch (const Error &error) {
            ++seen[error.reason() == Reason::NoSpace         ? "no space"
                   : error.reason() == Reason::OrderConflict ? "order"
                                                             : "no table"];
            ASSERT_EQ(exitCodeOf(error.reason()), kExitRefused) << error.text();
            if (!set.edits().empty()) {
                EXPECT_THROW((void)set.apply(), Error);
            }
            ASSERT_TRUE(before == State(session_)) << "a refusal changes nothing";
            continue;
        }
        ASSERT_TRUE(before == State(session_)) << "a plan changes nothing";
        ++seen[plan.moved != 0 ? "moved" : "placed"];
        const ifc_ruleset_report done = set.apply();
        ASSERT_LE(done.accesses, plan.accesses);
        ASSERT_EQ(done.moved, plan.moved);
        for (unsigned position = 0; position < set.count(); ++position)
            ASSERT_EQ(std::memcmp(&plan.place[position], &done.place[position], sizeof *plan.place), 0);
        // The tables are as predicted.
        const RuleSet again(session_);
        ASSERT_EQ(again.count(), set.count());
        for (unsigned position = 0; position < set.count(); ++position)
            ASSERT_TRUE(again.find(set.number(position)).has_value());
        const State after(session_);
        ASSERT_EQ(std::memcmp(after.hardware.lut1, after.shadow.narrow, sizeof after.shadow.narrow), 0);
        ASSERT_EQ(std::memcmp(after.hardware.lut0, after.shadow.wide, sizeof after.shadow.wide), 0);
    }
    for (const char *kind : {"placed", "moved", "no space", "order"})
        EXPECT_GT(seen[kind], caseCount() / 500) << kind;
}

TEST_F(ForetellSet, FitsSaysHowManyAddsSucceed)
{
    unsigned most = 0;
    for (unsigned n = 0; n < caseCount() / 5 && !HasFailure(); ++n) {
        SCOPED_TRACE("case " + std::to_string(n));
        randomTables();
        const ifc_rule rule = randomRule();
        const unsigned fits = RuleSet(session_).countFits(rule);
        unsigned added = 0;
        for (;; ++added) {
            RuleSet set(session_);
            try {
                set.append(rule);
                (void)set.apply();
            } catch (const Error &) {
                break;
            }
            ASSERT_LE(added, IFC_RULESET_RULES);
        }
        ASSERT_EQ(added, fits);
        most = std::max(most, fits);
    }
    EXPECT_GT(most, 8u);
}

} // namespace
