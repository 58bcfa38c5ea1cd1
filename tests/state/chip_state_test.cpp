// SPDX-License-Identifier: MIT OR GPL-2.0
#include "tools/state/chip_state.h"

#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace
{

using state::ChipState;
using state::Damage;

// Every word is different, so the test detects swapped words.
ChipState noise(uint32_t seed)
{
    ChipState chip;
    static_assert(sizeof chip % 4 == 0 && std::is_trivially_copyable_v<ChipState>);
    std::mt19937 random(seed);
    std::vector<uint32_t> words(sizeof chip / 4);
    for (uint32_t &word : words)
        word = static_cast<uint32_t>(random());
    std::memcpy(static_cast<void *>(&chip), words.data(), sizeof chip);
    return chip;
}

bool same(const ChipState &a, const ChipState &b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

TEST(ChipState, bytes_give_back_the_same_state)
{
    for (uint32_t seed = 0; seed < 100; ++seed) {
        const ChipState chip = noise(seed);
        ChipState back;
        ASSERT_EQ(state::decode(state::encode(chip), back), Damage::None);
        EXPECT_TRUE(same(chip, back));
    }
}

TEST(ChipState, words_stand_where_the_format_says)
{
    const ChipState chip = noise(7);
    const std::string bytes = state::encode(chip);
    ASSERT_EQ(bytes.size(), 4484u);
    const auto at = [&bytes](size_t offset) {
        uint32_t word = 0;
        std::memcpy(&word, bytes.data() + offset, 4);
        return word;
    };
    EXPECT_EQ(bytes.substr(0, 8), "IFCSTATE");
    EXPECT_EQ(at(8), 1u);
    EXPECT_EQ(at(12), 4484u);
    EXPECT_EQ(at(16), chip.revision);
    EXPECT_EQ(at(20), chip.sendToPpe);
    EXPECT_EQ(at(32), chip.hitMaps[2]);
    EXPECT_EQ(at(36), chip.tpidConfig);
    EXPECT_EQ(at(40), chip.globalConfig);
    EXPECT_EQ(at(44), chip.counterBinding[0]);
    EXPECT_EQ(at(64), chip.tables.lut0[0][0]);
    EXPECT_EQ(at(1376), chip.tables.lut1[0][0]);
    EXPECT_EQ(at(1632), chip.tables.action[0][0]);
    EXPECT_EQ(at(2272), chip.tables.counter[0][0]);
    EXPECT_EQ(at(2912), chip.shadowLut0[0].word[0]);
    EXPECT_EQ(at(4224), chip.shadowLut1[0].word[0]);
    EXPECT_EQ(at(4476), chip.shadowLut1[31].word[1]);
}

TEST(ChipState, the_checksum_is_the_standard_one)
{
    EXPECT_EQ(state::crc32("123456789"), 0xCBF43926u);
}

TEST(ChipState, a_flipped_bit_is_seen)
{
    std::string bytes = state::encode(noise(1));
    const ChipState before = noise(2);
    ChipState chip = before;
    // Every third one: the checksum takes long in a debug build.
    for (size_t bit = 0; bit < 8 * bytes.size(); bit += 3) {
        const char whole = bytes[bit / 8];
        bytes[bit / 8] = static_cast<char>(whole ^ 1 << bit % 8);
        ASSERT_NE(state::decode(bytes, chip), Damage::None) << bit;
        ASSERT_TRUE(same(chip, before)) << bit;
        bytes[bit / 8] = whole;
    }
}

TEST(ChipState, every_cut_is_seen)
{
    const std::string good = state::encode(noise(1));
    for (size_t length = 0; length < good.size(); ++length) {
        ChipState chip;
        EXPECT_EQ(state::decode(good.substr(0, length), chip), Damage::Truncated) << length;
    }
    ChipState chip;
    EXPECT_EQ(state::decode(good + '\0', chip), Damage::Longer);
}

TEST(ChipState, foreign_and_newer_files_are_told_apart)
{
    ChipState chip;
    EXPECT_EQ(state::decode("#!/bin/sh\nrule add dst_port 53\n", chip), Damage::Foreign);
    EXPECT_EQ(state::decode("x", chip), Damage::Foreign);
    std::string newer = state::encode(chip);
    newer[8] = 2;
    EXPECT_EQ(state::decode(newer, chip), Damage::Newer);
    EXPECT_EQ(state::decode(newer + "what a later version adds", chip), Damage::Newer);
    std::string none = state::encode(chip);
    none[8] = 0;
    EXPECT_EQ(state::decode(none, chip), Damage::Checksum);
}

TEST(ChipState, a_chip_that_is_restored_is_the_one_that_was_captured)
{
    engine::RegisterWindow first;
    first.powerOn({}, 11);
    host::attach(&first);
    ifcSendToPpe = 1;
    host::quietly([] {
        (void)ifc_set_lut0_rules(3, IFC_ENABLE, DPORT, 0, 0, 0xFFFF, 0, 5060);
        (void)ifc_set_lut1_rules(0, IFC_ENABLE, 1, ETYPE, 0, 0xFFFF, 0, 0x0800);
        (void)ifc_set_action(3, IFC_ACT_CHANNEL_QUEUE, IFC_ENABLE, 1, 7, 0, 0);
        (void)ifc_set_acnt(3, 5);
        return ifc_enable();
    });
    gpIfcPriv->lut0HitMap = 8;
    first.write(FE_TPID_CFG, 0x91000000);
    const ChipState chip = state::capture(first, 12);

    host::quietly([] { return clear_all_ifc_rules(); });
    ifcSendToPpe = 0;
    gpIfcPriv->lut0HitMap = 0;
    engine::RegisterWindow second;
    second.powerOn({});
    state::restore(chip, second);
    EXPECT_TRUE(same(state::capture(second, 12), chip));
    EXPECT_EQ(IFC_LUT0_Rule[3].bits.valid, 1u);
    EXPECT_EQ(second.globalConfig() & 1, 1u);
    EXPECT_EQ(second.tpidConfig(), 0x91000000u);

    host::quietly([] { return clear_all_ifc_rules(); });
    *gpIfcPriv = IFC_Private_T{};
    ifcSendToPpe = 0;
    host::reset();
}

} // namespace
