// SPDX-License-Identifier: MIT OR GPL-2.0
// The simulated register window and the services of the host.
#include "tests/support/host/layer_fixture.h"
#include "tests/support/surroundings.h"

#include <gtest/gtest-spi.h>

#include <cstring>

using namespace support;
using engine::AccessError;
using engine::TransferFault;

class WindowTest : public testing::Test
{
protected:
    WindowTest() { start({1, true}); }
    void start(const engine::Settings &settings)
    {
        chip.powerOn(settings);
        chip.onError(
            [](void *self, AccessError error, uint32_t value) {
                static_cast<WindowTest *>(self)->errors.emplace_back(error, value);
            },
            this);
        errors.clear();
    }
    void load(uint32_t d0, uint32_t d1, uint32_t d2, uint32_t d3)
    {
        chip.write(0xBFB50210, d0);
        chip.write(0xBFB50214, d1);
        chip.write(0xBFB50218, d2);
        chip.write(0xBFB5021C, d3);
    }
    engine::RegisterWindow chip;
    std::vector<std::pair<AccessError, uint32_t>> errors;
};

TEST_F(WindowTest, RowsReachTheirTables)
{
    load(1, 2, 3, 4);
    chip.write(0xBFB50204, command(7, 3, 0, 1));
    EXPECT_EQ(chip.tables().lut0[7][28], 1u);
    EXPECT_EQ(chip.tables().lut0[7][25], 4u);
    chip.write(0xBFB50204, command(7, 10, 0, 1));
    EXPECT_EQ(chip.tables().lut0[7][0], 1u);
    chip.write(0xBFB50204, command(31, 0, 1, 1));
    EXPECT_EQ(chip.tables().lut1[31][1], 1u);
    EXPECT_EQ(chip.tables().lut1[31][0], 2u);
    chip.write(0xBFB50204, command(39, 0, 2, 1));
    EXPECT_EQ(chip.tables().action[39][0], 4u);
    load(1, 2, 3, 0xFF000004);
    chip.write(0xBFB50204, command(39, 0, 3, 1));
    EXPECT_EQ(chip.tables().counter[39][3], 4u) << "the top byte does not exist";
    load(0, 0, 0, 0);
    chip.write(0xBFB50204, command(39, 0, 3, 0));
    EXPECT_EQ(chip.read(0xBFB50218), 3u);
    load(9, 9, 9, 9);
    chip.write(0xBFB50204, command(31, 0, 1, 0));
    EXPECT_EQ(chip.read(0xBFB50214), 2u);
    EXPECT_EQ(chip.read(0xBFB50218), 9u) << "what a row does not fill stays";
    EXPECT_TRUE(errors.empty());
}

TEST_F(WindowTest, MistakesAreReported)
{
    EXPECT_EQ(chip.read(0xBFB50208), 0u);
    EXPECT_EQ(chip.read(0xBFB50254), 0u) << "after the last one";
    chip.write(0xBFB50211, 1);
    chip.write(0xBFB50204, command(8, 0, 0, 1));
    chip.write(0xBFB50204, command(0, 11, 0, 1));
    chip.write(0xBFB50204, command(0, 1, 1, 1));
    chip.write(0xBFB50204, command(0, 0, 0, 2));
    chip.write(0xBFB50204, command(0, 0, 0, 1) | 0x08);
    chip.write(0xBFB50204, 0);
    const std::vector<std::pair<AccessError, uint32_t>> expected = {
        {AccessError::UnknownRegister, 0xBFB50208},
        {AccessError::UnknownRegister, 0xBFB50254},
        {AccessError::Unaligned, 0xBFB50211},
        {AccessError::IndexOutOfRange, command(8, 0, 0, 1)},
        {AccessError::RowOutOfRange, command(0, 11, 0, 1)},
        {AccessError::RowOutOfRange, command(0, 1, 1, 1)},
        {AccessError::ReservedCommand, command(0, 0, 0, 2)},
        {AccessError::ReservedCommand, command(0, 0, 0, 1) | 0x08},
        {AccessError::ReservedCommand, 0},
    };
    EXPECT_EQ(errors, expected);
    EXPECT_EQ(chip.errors(), 9u);
    start({1, false}); // not strict: they are counted only
    (void)chip.read(0xBFB50208);
    EXPECT_TRUE(errors.empty());
    EXPECT_EQ(chip.errors(), 1u);
}

TEST_F(WindowTest, EachCommandIsDoneAfterItsOwnReads)
{
    start({3, true});
    for (unsigned transfer = 0; transfer < 2; ++transfer) {
        chip.write(0xBFB50204, command(0, 0, 2, 0));
        for (unsigned n = 1; n <= 4; ++n)
            EXPECT_EQ(chip.read(0xBFB50204) >> 31, n < 3 ? 0u : 1u) << transfer << ", read " << n;
    }
    start({}); // unless it is said otherwise, from the first read on
    chip.write(0xBFB50204, command(0, 0, 2, 0));
    EXPECT_EQ(chip.read(0xBFB50204) >> 31, 1u);
}

TEST_F(WindowTest, EachRegisterHoldsItsOwnWord)
{
    const uint32_t registers[] = {0xBFB50000, 0xBFB50200, 0xBFB50210, 0xBFB50214, 0xBFB50218, 0xBFB5021C,
                                  0xBFB50240, 0xBFB50244, 0xBFB50248, 0xBFB5024C, 0xBFB50250};
    for (const uint32_t reg : registers)
        chip.write(reg, ~reg);
    for (const uint32_t reg : registers)
        EXPECT_EQ(chip.read(reg), ~reg) << std::hex << reg;
}

TEST_F(WindowTest, FaultsHitTheirTransfersOnly)
{
    load(1, 2, 3, 4);
    chip.injectFault(TransferFault::DropWrite, 1, 1);
    chip.write(0xBFB50204, command(0, 0, 2, 1));
    chip.write(0xBFB50204, command(1, 0, 2, 1));
    EXPECT_EQ(chip.read(0xBFB50204) >> 31, 1u) << "it completes";
    chip.write(0xBFB50204, command(2, 0, 2, 1));
    EXPECT_EQ(chip.tables().action[0][3], 1u);
    EXPECT_EQ(chip.tables().action[1][3], 0u);
    EXPECT_EQ(chip.tables().action[2][3], 1u);
    chip.injectFault(TransferFault::StaleData, 0, 1);
    load(7, 7, 7, 7);
    chip.write(0xBFB50204, command(0, 0, 2, 0));
    EXPECT_EQ(chip.read(0xBFB50210), 7u);
    chip.injectFault(TransferFault::NeverComplete, 0, 1);
    chip.write(0xBFB50204, command(0, 0, 2, 0));
    for (int n = 0; n < 5; ++n)
        EXPECT_EQ(chip.read(0xBFB50204) >> 31, 0u);
}

TEST_F(WindowTest, TheHookSeesEachAccessAndItsUser)
{
    std::vector<engine::Access> seen;
    chip.onAccess(
        [](void *to, const engine::Access &a) {
            static_cast<std::vector<engine::Access> *>(to)->push_back(a);
        },
        &seen);
    chip.write(0xBFB50210, 0x1234);
    EXPECT_EQ(chip.read(0xBFB50210), 0x1234u);
    ASSERT_EQ(seen.size(), 2u);
    for (size_t n = 0; n < 2; ++n) {
        EXPECT_EQ(seen[n].kind, n == 0 ? engine::AccessKind::Write : engine::AccessKind::Read);
        EXPECT_EQ(seen[n].reg, 0xBFB50210u);
        EXPECT_EQ(seen[n].value, 0x1234u);
    }
    chip.onAccess(nullptr, nullptr);
    chip.read(0xBFB50210);
    EXPECT_EQ(seen.size(), 2u);
}

TEST_F(WindowTest, PowerOnForgetsEverything)
{
    const uint32_t registers[] = {0xBFB50000, 0xBFB50200, 0xBFB50204, 0xBFB50210, 0xBFB50214, 0xBFB50218,
                                  0xBFB5021C, 0xBFB50240, 0xBFB50244, 0xBFB50248, 0xBFB5024C, 0xBFB50250};
    for (const uint32_t reg : registers)
        chip.write(reg, 0xFFFFFFFF);
    for (unsigned sel = 0; sel < 4; ++sel)
        chip.write(0xBFB50204, command(1, 0, sel, 1));
    EXPECT_EQ(chip.read(0xBFB50204) >> 31, 1u);
    EXPECT_EQ(chip.errors(), 1u) << "the command of ones";
    chip.injectFault(TransferFault::NeverComplete, 0, 1);
    const uint32_t before = chip.generation();

    start({1, true});
    for (const uint32_t reg : registers)
        EXPECT_EQ(chip.read(reg), 0u) << std::hex << reg;
    const engine::Tables empty{};
    EXPECT_EQ(std::memcmp(&chip.tables(), &empty, sizeof empty), 0);
    EXPECT_EQ(chip.errors(), 0u);
    EXPECT_NE(chip.generation(), before);
    chip.write(0xBFB50204, command(0, 0, 2, 0));
    EXPECT_EQ(chip.read(0xBFB50204) >> 31, 1u) << "the fault is forgotten";
}

TEST_F(WindowTest, PowerOnNoiseDependsOnTheSeedOnly)
{
    engine::RegisterWindow other;
    const uint32_t registers[] = {0xBFB50000, 0xBFB50200, 0xBFB50204, 0xBFB50240,
                                  0xBFB50244, 0xBFB50248, 0xBFB5024C, 0xBFB50250};
    for (const uint32_t reg : registers)
        chip.write(reg, 0xFFFFFFFF);
    chip.powerOn({}, 5);
    for (const uint32_t reg : registers)
        EXPECT_EQ(chip.read(reg), 0u) << std::hex << reg << ": noise is in tables and data only";
    EXPECT_NE(chip.tables().lut0[0][0], 0u) << "the first word";
    other.powerOn({}, 5);
    EXPECT_EQ(std::memcmp(&chip.tables(), &other.tables(), sizeof chip.tables()), 0);
    other.powerOn({}, 6);
    EXPECT_NE(std::memcmp(&chip.tables(), &other.tables(), sizeof chip.tables()), 0);
    for (const auto &counter : chip.tables().counter)
        EXPECT_EQ(counter[3] >> 24, 0u);
    const engine::Tables empty{};
    other.powerOn({}, 0);
    EXPECT_NE(std::memcmp(&other.tables(), &empty, sizeof empty), 0) << "a seed of 0 is a seed, too";
    other.powerOn({}, 5);
    for (const uint32_t reg : {0xBFB50210, 0xBFB50214, 0xBFB50218, 0xBFB5021C}) {
        EXPECT_NE(chip.read(reg), 0u) << std::hex << reg;
        EXPECT_EQ(chip.read(reg), other.read(reg)) << std::hex << reg;
    }
}

TEST_F(WindowTest, TheGenerationMovesWithTheTables)
{
    const uint32_t before = chip.generation();
    chip.write(0xBFB50204, command(0, 0, 2, 0));
    EXPECT_EQ(chip.generation(), before) << "reading changes nothing";
    chip.write(0xBFB50204, command(0, 0, 1, 1));
    EXPECT_NE(chip.generation(), before);
}

class HostTest : public LayerTest
{
protected:
    std::vector<std::string> complaints;
    HostTest()
    {
        host::setMisuseHandler([this](std::string_view what) { complaints.emplace_back(what); });
    }
};

TEST_F(HostTest, TheSpinLockNoticesMisuse)
{
    spinlock_t lock{};
    spinlock_t other{};
    host::setEventWatch(nullptr); // the recorder has a check of its own
    ifc_spin_unlock_irqrestore(&lock, 0);
    const unsigned long flags = ifc_spin_lock_irqsave(&lock);
    (void)ifc_spin_lock_irqsave(&lock);
    ifc_spin_unlock_irqrestore(&lock, flags + 1);
    other.locked = 1;
    (void)ifc_spin_lock_irqsave(&lock);
    ifc_spin_unlock_irqrestore(&other, flags);
    ASSERT_EQ(complaints.size(), 4u);
    EXPECT_EQ(complaints[0], "released, but nobody holds it");
    EXPECT_EQ(complaints[1], "taken twice");
    EXPECT_EQ(complaints[2], "released with an interrupt state other than the saved one");
    EXPECT_EQ(complaints[3], "released, but another one is held");
}

TEST_F(HostTest, TheRecorderChecksTheLock)
{
    EXPECT_NONFATAL_FAILURE(support_heard(SUPPORT_UNLOCK, 0, 0), "the lock is held when it is released");
    support_heard(SUPPORT_LOCK, 0, 0);
    EXPECT_NONFATAL_FAILURE(support_heard(SUPPORT_LOCK, 0, 0), "the lock is taken once");
    IFC_LUT1_Rule[31].word[1] ^= 1;
    EXPECT_NONFATAL_FAILURE(support_heard(SUPPORT_UNLOCK, 0, 0), "the shadow stays while the lock is held");
}

TEST_F(HostTest, TimePassesInDelaysOnly)
{
    mdelay(5);
    mdelay(7);
    EXPECT_EQ(host::clockMilliseconds(), 12u);
}

TEST_F(HostTest, ARevisionSourceAnswersUntilARevisionIsSet)
{
    int asked = 0;
    host::setRevision(3);
    host::setRevisionSource([&asked] { return 10 + asked++; });
    EXPECT_EQ(GET_HIR(), 10);
    EXPECT_EQ(GET_HIR(), 11);
    host::setRevision(4);
    EXPECT_EQ(GET_HIR(), 4);
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(host::revisionQueries(), 3u);
}

TEST_F(HostTest, AMutedLogIsSilent)
{
    host::quietly([] { return printk("%d\n", 1); });
    EXPECT_NOTHING_PRINTED();
    (void)printk("%s-%04x\n", "a", 0xBEu);
    EXPECT_STREQ(text(), "a-00be\n");
}
