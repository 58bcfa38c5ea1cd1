// SPDX-License-Identifier: MIT OR GPL-2.0
// A batch goes on after the chip has fallen silent in an update: the next command takes the update back
// first.
#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/device/hardware.h"
#include "tools/ifcctl/device/rule_set.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace ifcctl;

namespace
{

constexpr unsigned kForever = 1000000;

ifc_rule onPort(unsigned port)
{
    ifc_rule made{};
    made.count = 1;
    made.condition[0] = {DPORT, IFC_COMPARE_EQUAL, 0, 0, 0xFFFF, port};
    made.action.word[2] = port;
    return made;
}

} // namespace

TEST(ToolFailedUndo, TheNextCommandTakesTheUpdateBack)
{
    Session session{Options{}};
    engine::RegisterWindow &chip = session.device().window();
    {
        RuleSet set(session);
        for (unsigned n = 0; n < 5; ++n)
            set.append(onPort(n));
        (void)set.apply();
    }
    unsigned halfDone = 0;
    for (unsigned good = 0;; ++good) {
        const engine::Tables before = chip.tables();
        bool failed = false;
        {
            RuleSet set(session);
            set.remove(3);
            set.insert(0, onPort(100 + good));
            chip.injectFault(engine::TransferFault::NeverComplete, good, kForever);
            try {
                (void)set.apply();
            } catch (const Error &error) {
                failed = true;
                EXPECT_NE(error.text().find("as they were"), std::string::npos);
            }
        }
        if (!failed)
            break;
        halfDone += tablesDiffer(session.device());
        if (std::memcmp(&before, &chip.tables(), sizeof before) != 0) {
            EXPECT_THROW(RuleSet{session}, Error); // still silent
        }
        chip.injectFault(engine::TransferFault::None, 0, 0);
        RuleSet next(session);
        ASSERT_EQ(std::memcmp(&before, &chip.tables(), sizeof before), 0) << good;
        ASSERT_EQ(next.count(), 5u);
        next.move(4, 0);
        (void)next.apply();
        ASSERT_FALSE(tablesDiffer(session.device()));
    }
    EXPECT_GT(halfDone, 3u);
}
