// SPDX-License-Identifier: MIT OR GPL-2.0
// The record headers against the hardware's positions, and against what the operations write.
#include "tests/support/host/layer_fixture.h"

#include "ifc/records/action_record.h"
#include "ifc/records/chip.h"
#include "ifc/records/narrow_runs.h"
#include "ifc/records/wide_record.h"

#include <random>

using testing::ElementsAre;

namespace
{

class RecordRoom : public LayerTest
{
protected:
    std::mt19937 random{20};

    uint64_t number(unsigned bits)
    {
        const uint64_t value = static_cast<uint64_t>(random()) << 32 | random();
        return bits == 64 ? value : value & ((uint64_t{1} << bits) - 1);
    }
    unsigned below(unsigned end) { return static_cast<unsigned>(random() % end); }

    // A mask of `width` bits that is one run of ones from one end.
    uint64_t runMask(unsigned width)
    {
        const unsigned count = 1 + below(width);
        const uint64_t low = (uint64_t{1} << count) - 1;
        return below(2) ? low : low << (width - count);
    }
};

struct EntryRun {
    unsigned first, end;
    bool complete;
    bool operator==(const EntryRun &) const = default;
};

void PrintTo(const EntryRun &run, std::ostream *out)
{
    *out << run.first << "-" << run.end << (run.complete ? "" : " without end flag");
}

template <typename Next>
std::vector<EntryRun> visited(Next next)
{
    std::vector<EntryRun> runs;
    ifc::Chain run{};
    for (uint from = 0; next(from, run); from = run.end + 1)
        runs.push_back({run.first, run.end, run.complete});
    return runs;
}

std::vector<EntryRun> runsOf(const IFC_LUT1_Format *table)
{
    return visited([&](uint from, ifc::Chain &run) { return ifc::nextRun(table, from, run); });
}

std::vector<EntryRun> chainsOf(const IFC_LUT1_Format *table)
{
    return visited([&](uint from, ifc::Chain &run) { return ifc::nextChain(table, from, run); });
}

void occupy(unsigned first, unsigned last, bool end)
{
    for (unsigned n = first; n <= last; ++n)
        IFC_LUT1_Rule[n].word[0] = 0x8000u | (end && n == last ? 0x4000u : 0);
}

} // namespace

TEST_F(RecordRoom, FieldsHaveTheirClassesWidthsAndNames)
{
    using namespace ifc;
    EXPECT_EQ(fieldWidth(0), 0u);
    EXPECT_EQ(fieldWidth(1), 48u);
    EXPECT_EQ(fieldWidth(13), 20u);
    EXPECT_EQ(fieldWidth(14), 5u);
    EXPECT_EQ(fieldWidth(31), 2u);
    EXPECT_EQ(fieldWidth(32), 16u);
    EXPECT_EQ(fieldWidth(47), 16u);
    EXPECT_EQ(fieldWidth(48), 0u);
    EXPECT_EQ(fieldPlace(13).lsb, 416u);
    EXPECT_EQ(fieldPlace(31).lsb, 592u);
    EXPECT_EQ(fieldPlace(32).lsb, 608u);
    EXPECT_EQ(fieldPlace(47).lsb, 848u);
    EXPECT_EQ(fieldOnes(2), 0xFFFFFFFFFFFFu);
    EXPECT_STREQ(fieldName(1), "DMAC");
    EXPECT_STREQ(fieldName(31), "DMAC_TYPE");
    EXPECT_STREQ(fieldName(32), "UDF0");
    EXPECT_STREQ(fieldName(47), "UDF15");
    EXPECT_EQ(fieldName(0), nullptr);
    EXPECT_EQ(fieldName(48), nullptr);
    EXPECT_EQ(fieldName(0x80000001), nullptr);
    for (uint field = 0; field < 100; ++field) {
        EXPECT_EQ(isMac(field), field == 1 || field == 2) << field;
        EXPECT_EQ(isWord(field), field >= 3 && field <= 13) << field;
        EXPECT_EQ(isHalf(field), field >= 14 && field <= 47) << field;
        EXPECT_EQ(isUdf(field), field >= 32 && field <= 47) << field;
        EXPECT_EQ(isWideField(field), field >= 1 && field <= 31) << field;
        EXPECT_EQ(isNarrowField(field), field >= 1 && field <= 47) << field;
        EXPECT_EQ(isFieldDeletable(field), field < 5 || field > 13) << field;
        EXPECT_EQ(isCommandRefused(field, 2), field <= 13) << field;
        EXPECT_FALSE(isCommandRefused(field, 1)) << field;
    }
}

TEST_F(RecordRoom, WideRuleIsWhatTheSetterWrites)
{
    for (unsigned round = 0; round < 200; ++round) {
        IFC_LUT0_Rule[3] = {};
        std::vector<ifc::Condition> conditions;
        for (unsigned n = 0; n < 6; ++n) {
            const unsigned field = 1 + below(31);
            const unsigned command = below(field <= 13 ? 2 : 4);
            const auto part = static_cast<uint8_t>(ifc::isMac(field) ? 16 * below(3) : 0);
            const uint64_t mask = number(48) >> part << part;
            const uint64_t key = number(48) >> part << part;
            ASSERT_EQ(ifc_set_lut0_rules(3, IFC_ENABLE, field, command, static_cast<uint>(mask >> 32),
                                         static_cast<uint>(mask), static_cast<uint>(key >> 32),
                                         static_cast<uint>(key)),
                      0);
            conditions.push_back({static_cast<uint8_t>(field), static_cast<ifc::Command>(command), part,
                                  mask >> part, key >> part});
        }
        IFC_LUT0_Format rule;
        ASSERT_TRUE(ifc::encodeWide(rule, conditions.data(), static_cast<uint>(conditions.size())));
        for (unsigned n = 0; n < IFC_LUT0_WORDS; ++n)
            ASSERT_EQ(rule.word[n], IFC_LUT0_Rule[3].word[n]) << "word " << n;

        // And back: the last condition on a field counts, cut to its width.
        unsigned enabled = 0;
        for (uint field = ifc::nextWideField(rule.word, 0); field != 0;
             field = ifc::nextWideField(rule.word, field)) {
            ++enabled;
            const ifc::Condition got = ifc::decodeWide(rule.word, field);
            const ifc::Condition *want = nullptr;
            for (const ifc::Condition &c : conditions)
                if (c.field == field)
                    want = &c;
            ASSERT_NE(want, nullptr) << field;
            EXPECT_EQ(got.field, field);
            EXPECT_EQ(got.command, want->command);
            EXPECT_EQ(got.part, 0);
            EXPECT_EQ(got.mask, want->mask << want->part & ifc::fieldOnes(field));
            EXPECT_EQ(got.key, want->key << want->part & ifc::fieldOnes(field));
        }
        EXPECT_EQ(enabled, static_cast<unsigned>(__builtin_popcount(ifc::wideEnabled(rule.word))));
    }
}

TEST_F(RecordRoom, WideRuleLacksTheFieldsThatLut0DoesNotHold)
{
    const ifc::Condition conditions[] = {{DPORT, ifc::Command::Equal, 0, 0xFFFF, 80},
                                         {UDF0, ifc::Command::Equal, 0, 0xFFFF, 1}};
    IFC_LUT0_Format rule;
    EXPECT_FALSE(ifc::encodeWide(rule, conditions, 2));
    EXPECT_TRUE(ifc::wideValid(rule.word));
    EXPECT_EQ(ifc::wideEnabled(rule.word), 0x08000000u);
    EXPECT_TRUE(ifc::wideEnables(rule.word, 28));
    EXPECT_FALSE(ifc::wideEnables(rule.word, 27));
    EXPECT_EQ(ifc::nextWideField(rule.word, 28), 0u);
    IFC_LUT0_Format none;
    EXPECT_TRUE(ifc::encodeWide(none, conditions, 0));
    EXPECT_FALSE(ifc::wideValid(none.word));
}

TEST_F(RecordRoom, PlacesAreThoseOfTheBitFieldViews)
{
    IFC_LUT0_Format rule{};
    ifc::setWideMask(rule.word, SMAC, 0xBBBB0000CCCC);
    ifc::setWideKey(rule.word, SINF, 31);
    ifc::setWideCommand(rule.word, 17, 2);
    EXPECT_EQ(rule.bits.mask.smac_15_0, 0xCCCCu);
    EXPECT_EQ(rule.bits.mask.smac_47_16, 0xBBBB0000u);
    EXPECT_EQ(rule.bits.key.sinf, 31u);
    EXPECT_EQ(rule.bits.command_17_31, 2u);

    IFC_LUT1_Format entry{};
    ifc::setHalfEntry(entry, 42, 2, 1, 2, 0x8001, 0x4002);
    EXPECT_EQ(entry.word[0], 0xC2AAu);
    EXPECT_EQ(entry.word[1], 0x80014002u);
    ifc::setWordEntry(entry, 13, 1, 0, 1, 20, 0x87654321);
    EXPECT_EQ(entry.word[0], 0xB4CDu);
    EXPECT_EQ(entry.word[1], 0x87654321u);

    IFC_Action_Format action{};
    ifc::setActionField(action.word, ifc::kCnt0, 0x2B);
    ifc::setActionField(action.word, ifc::kNbq, 0xFF);
    EXPECT_EQ(action.bits.cnt0_5_4, 2u);
    EXPECT_EQ(action.bits.cnt0_3_0, 0xBu);
    EXPECT_EQ(action.word[0], 0xF8000000u);
    EXPECT_EQ(ifc::getActionField(action.word, ifc::kCnt0), 0x2Bu);
    EXPECT_EQ(ifc::getActionField(action.word, ifc::kNbq), 31u);
}

TEST_F(RecordRoom, NarrowEntriesAreWhatTheSetterWrites)
{
    for (unsigned round = 0; round < 2000; ++round) {
        const unsigned field = 1 + below(47);
        const unsigned command = below(field <= 13 ? 2 : 4);
        const bool end = below(2) != 0;
        const bool mac = field <= 2;
        uint64_t mask = mac ? runMask(48) : field <= 13 ? runMask(32) : number(32);
        if (below(8) == 0)
            mask = number(mac ? 48 : 32);
        const uint64_t key = number(48);

        __builtin_memset(IFC_LUT1_Rule, 0, sizeof IFC_LUT1_Rule);
        uint argument = static_cast<uint>(mask);
        if (field <= 13)
            argument = change_mask_from_48_to_32(mac ? static_cast<uint>(mask >> 32) : 0,
                                                 static_cast<uint>(mask), mac ? 48 : 32);
        unsigned written = 0;
        if (field > 13 || argument != 0xFFFFFFFF) {
            const int next =
                ifc_set_lut1_rules(4, IFC_ENABLE, end, field, command, argument,
                                   mac ? static_cast<uint>(key >> 32) : 0, static_cast<uint>(key));
            ASSERT_GT(next, 4);
            written = static_cast<unsigned>(next) - 4;
            EXPECT_EQ(ifc::narrowEntries(field, argument), written);
        }

        IFC_LUT1_Format entries[2];
        const ifc::Condition condition = {static_cast<uint8_t>(field), static_cast<ifc::Command>(command), 0,
                                          mask, key};
        ASSERT_EQ(ifc::encodeNarrow(condition, end, entries), written)
            << "field " << field << std::hex << mask;
        uint64_t compared = 0;
        for (unsigned n = 0; n < written; ++n) {
            EXPECT_EQ(entries[n].word[0], IFC_LUT1_Rule[4 + n].word[0]);
            EXPECT_EQ(entries[n].word[1], IFC_LUT1_Rule[4 + n].word[1]);
            const ifc::Condition got = ifc::decodeNarrow(entries[n].word);
            EXPECT_EQ(got.field, field);
            EXPECT_EQ(static_cast<unsigned>(got.command), command);
            EXPECT_EQ(ifc::narrowEnd(entries[n].word), end && n + 1 == written);
            compared |= got.mask << got.part;
            EXPECT_EQ((got.key ^ key >> got.part) & got.mask, 0u);
        }
        if (written == 0)
            continue;
        EXPECT_EQ(ifc::expandMask(field, argument), compared) << field;
    }
}

TEST_F(RecordRoom, SomeConditionsHaveNoNarrowEntry)
{
    IFC_LUT1_Format entries[2];
    const auto count = [&entries](ifc::Condition c) { return ifc::encodeNarrow(c, true, entries); };
    EXPECT_EQ(count({0, ifc::Command::Equal, 0, 1, 0}), 0u);
    EXPECT_EQ(count({48, ifc::Command::Equal, 0, 1, 0}), 0u);
    EXPECT_EQ(count({DIPv4, ifc::Command::Equal, 0, 0x00FFFF00, 0}), 0u);
    EXPECT_EQ(count({ETYPE, ifc::Command::Equal, 16, 0xFFFF, 0}), 0u);
    // The upper half of a MAC address as decoded, with its part.
    EXPECT_EQ(count({SMAC, ifc::Command::NotEqual, 32, 0xFF00, 0x1200}), 1u);
    EXPECT_EQ(entries[0].word[0], 0xC242u);
    EXPECT_EQ(entries[0].word[1], 0xFF001200u);
}

TEST_F(RecordRoom, ReductionsSayWhyTheyFail)
{
    using ifc::MaskFault;
    const auto fault = [](uint high, uint low, int width) { return ifc::reduceMask(high, low, width).fault; };
    EXPECT_EQ(fault(0, 0, 32), MaskFault::NoEnd);
    EXPECT_EQ(fault(0, 0x00FFFF00, 32), MaskFault::NoEnd);
    EXPECT_EQ(fault(0xFFFF, 0x10, 48), MaskFault::NoEnd);
    EXPECT_EQ(fault(0, 0, 48), MaskFault::NotOneRun);
    EXPECT_EQ(fault(0xFF00, 0x0000FFFF, 48), MaskFault::NotOneRun);
    EXPECT_EQ(fault(0x1FF00, 0, 48), MaskFault::NotOneRun);
    EXPECT_EQ(fault(0, 0xF0000001, 32), MaskFault::NotOneRun);
    EXPECT_EQ(fault(0, 0, 40), MaskFault::NotOneRun);
    EXPECT_EQ(fault(0xFF00, 0, 48), MaskFault::None);
    EXPECT_EQ(ifc::reduceMask(0xFF00, 0, 48).word, 8u);
    EXPECT_EQ(ifc::reduceMask(0x0001, 0xFFFFFFFF, 48).word, 0x8000002Fu);
    EXPECT_EQ(ifc::reduceFieldMask(DMAC, 0xFFFFFFFFFFFF).word, 48u);
    EXPECT_EQ(ifc::reduceFieldMask(DIPv4, 0x7FFFFFFF).word, 0x8000001Fu);
    EXPECT_EQ(ifc::reduceMask(0, 0, 48).word, 0xFFFFFFFFu);
}

// The reduced mask of one to fifteen ones above the low word stands for 47 bits.
TEST_F(RecordRoom, ExpandedMaskIsWhatTheEntriesCompare)
{
    EXPECT_EQ(ifc::expandMask(DMAC, ifc::reduceFieldMask(DMAC, 0x0001FFFFFFFF).word), 0x7FFFFFFFFFFFu);
    EXPECT_EQ(ifc::expandMask(DMAC, 0xFFFFFFFF), 0xFFFFFFFFFFFFu);
    EXPECT_EQ(ifc::expandMask(DMAC, 24), 0xFFFFFF000000u);
    EXPECT_EQ(ifc::expandMask(DMAC, 0x80000008), 0xFFu);
    EXPECT_EQ(ifc::expandMask(SIPv4, 32), 0xFFFFFFFFu);
    EXPECT_EQ(ifc::expandMask(SIPv4, 24), 0xFFFFFF00u);
    EXPECT_EQ(ifc::expandMask(SIPv4, 0x80000008), 0xFFu);
    EXPECT_EQ(ifc::expandMask(DPORT, 0xABCD1234), 0x1234u);
}

TEST_F(RecordRoom, RunsOfEntriesEndAtTheFlagAtAGapAndAtTheSubTable)
{
    __builtin_memset(IFC_LUT1_Rule, 0, sizeof IFC_LUT1_Rule);
    EXPECT_THAT(runsOf(IFC_LUT1_Rule), ElementsAre());
    occupy(0, 2, true);
    occupy(3, 3, true);
    occupy(5, 6, false);
    occupy(14, 17, true);
    occupy(31, 31, true);
    EXPECT_THAT(runsOf(IFC_LUT1_Rule),
                ElementsAre(EntryRun{0, 2, true}, EntryRun{3, 3, true}, EntryRun{5, 6, false},
                            EntryRun{14, 15, false}, EntryRun{16, 17, true}, EntryRun{31, 31, true}));
    EXPECT_THAT(chainsOf(IFC_LUT1_Rule), ElementsAre(EntryRun{0, 2, true}, EntryRun{3, 3, true},
                                                     EntryRun{16, 17, true}, EntryRun{31, 31, true}));
    // A flag on a free entry ends nothing.
    IFC_LUT1_Rule[7].word[0] = 0x4000;
    EXPECT_EQ(runsOf(IFC_LUT1_Rule).size(), 6u);

    std::vector<std::pair<unsigned, unsigned>> free;
    ifc::FreeRun run{};
    for (uint from = 0; ifc::nextFreeRun(IFC_LUT1_Rule, from, run); from = run.first + run.length)
        free.emplace_back(run.first, run.length);
    using Pair = std::pair<unsigned, unsigned>;
    EXPECT_THAT(free, ElementsAre(Pair{4, 1}, Pair{7, 7}, Pair{18, 13}));
}

TEST_F(RecordRoom, FreeRunsDoNotCrossTheSubTables)
{
    __builtin_memset(IFC_LUT1_Rule, 0, sizeof IFC_LUT1_Rule);
    ifc::FreeRun run{};
    ASSERT_TRUE(ifc::nextFreeRun(IFC_LUT1_Rule, 0, run));
    EXPECT_EQ(run.first, 0u);
    EXPECT_EQ(run.length, 16u);
    ASSERT_TRUE(ifc::nextFreeRun(IFC_LUT1_Rule, 16, run));
    EXPECT_EQ(run.first, 16u);
    EXPECT_EQ(run.length, 16u);
    EXPECT_FALSE(ifc::nextFreeRun(IFC_LUT1_Rule, 32, run));
    for (IFC_LUT1_Format &entry : IFC_LUT1_Rule)
        entry.word[0] = 0x8000;
    EXPECT_FALSE(ifc::nextFreeRun(IFC_LUT1_Rule, 0, run));
}

// The engine's tables are plain words; the same walk takes them.
TEST_F(RecordRoom, WalksOverTheEnginesTablesToo)
{
    engine::Tables &tables = chip.tables();
    tables.lut1[16][0] = 0x8000;
    tables.lut1[17][0] = 0xC000;
    ifc::Chain chain{};
    ASSERT_TRUE(ifc::nextChain(tables.lut1, 0, chain));
    EXPECT_EQ(chain.first, 16u);
    EXPECT_EQ(chain.end, 17u);
}

TEST_F(RecordRoom, EnableBitsFollowTheRevision)
{
    EXPECT_EQ(ifc::enableMask(IFC_ACT_CHANNEL_QUEUE, 13), 1u << 0);
    EXPECT_EQ(ifc::enableMask(IFC_ACT_CNT1, 13), 1u << 4);
    EXPECT_EQ(ifc::enableMask(IFC_ACT_KEEP_PCP, 13), 1u << 13);
    EXPECT_EQ(ifc::enableMask(IFC_ACT_CNT0, 12), 1u << 3);
    EXPECT_EQ(ifc::enableMask(IFC_ACT_CNT1, 12), 1u << 3);
    EXPECT_EQ(ifc::enableMask(IFC_ACT_KEEP_PCP, 12), 1u << 12);
    for (const int revision : {12, 13}) {
        EXPECT_EQ(ifc::enableMask(IFC_ACT_CPU_NBQ, revision), 0u);
        EXPECT_EQ(ifc::enableMask(IFC_ACT_OWF, revision), 0u);
        EXPECT_EQ(ifc::enableMask(IFC_ACT_DPI, revision), 1u << 13);
    }
    uint32_t words[4] = {0x00010000, 0, 0, 0}; // enable bit 4
    EXPECT_TRUE(ifc::isSubActionOn(words, IFC_ACT_CNT1, 13));
    EXPECT_FALSE(ifc::isSubActionOn(words, IFC_ACT_MTR_G, 13));
    EXPECT_TRUE(ifc::isSubActionOn(words, IFC_ACT_MTR_G, 12));
    EXPECT_FALSE(ifc::isSubActionOn(words, IFC_ACT_CPU_NBQ, 13));
    words[0] = 0x04000800; // cpu and owf
    EXPECT_TRUE(ifc::isSubActionOn(words, IFC_ACT_CPU_NBQ, 13));
    EXPECT_TRUE(ifc::isSubActionOn(words, IFC_ACT_OWF, 13));
}

// Each sub-action on a zeroed entry, with values cut to the width. The bits of the entry are literals.
TEST_F(RecordRoom, SubActionsSetTheFieldsThatTheSetterSets)
{
    ifcSendToPpe = 1;
    for (uint subAction = 0; subAction < IFC_ACT_COUNT; ++subAction) {
        const uint values[4] = {static_cast<uint>(random()), static_cast<uint>(random()),
                                static_cast<uint>(random()), static_cast<uint>(random())};
        __builtin_memset(chip.tables().action[9], 0, sizeof chip.tables().action[9]);
        ASSERT_EQ(ifc_set_action(9, subAction, IFC_ENABLE, values[0], values[1], values[2], values[3]), 0);
        uint32_t words[4] = {};
        for (uint n = 0; n < 4; ++n)
            ifc::setActionField(words, ifc::kSetFields[subAction][n], values[n]);
        ifc::setActionField(words, ifc::kEnable, ifc::enableMask(subAction, GET_HIR()));
        for (uint n = 0; n < 4; ++n)
            EXPECT_EQ(words[n], chip.tables().action[9][n]) << "sub-action " << subAction << " word " << n;
    }
    EXPECT_EQ(ifc::actionFieldMost(ifc::kCnt0), 63u);
    EXPECT_EQ(ifc::actionFieldMost(ifc::kSpTag), 0xFFFFu);
    EXPECT_EQ(ifc::actionFieldMost({}), 0u);
}

TEST_F(RecordRoom, ChipFacts)
{
    EXPECT_TRUE(ifc::hasWritableLut0(12));
    EXPECT_TRUE(ifc::hasWritableLut0(13));
    EXPECT_FALSE(ifc::hasWritableLut0(14));
    EXPECT_FALSE(ifc::hasWritableLut0(15));
    EXPECT_EQ(ifc::vpmOf(0x8100, 0), 1u);
    EXPECT_EQ(ifc::vpmOf(0x88A8, 0), 2u);
    EXPECT_EQ(ifc::vpmOf(0x9100, 0x9100), 3u);
    EXPECT_EQ(ifc::vpmOf(0x8100, 0x8100), 1u);
    EXPECT_EQ(ifc::vpmOf(0, 0), 0u);
    EXPECT_EQ(ifc::tpidOf(1, 0x9100), 0x8100u);
    EXPECT_EQ(ifc::tpidOf(2, 0x9100), 0x88A8u);
    EXPECT_EQ(ifc::tpidOf(3, 0x9100), 0x9100u);
    EXPECT_EQ(ifc::tpidOf(3, 0), 0u);
    EXPECT_EQ(ifc::tpidOf(0, 0x9100), 0u);
    EXPECT_EQ(ifc::tpidOf(4, 0x9100), 0u);
    EXPECT_EQ(ifc::actionOfEntry(31), 39u);
    EXPECT_EQ(ifc::entryOfAction(8), 0u);
    EXPECT_TRUE(ifc::isWideAction(7));
    EXPECT_FALSE(ifc::isWideAction(8));
    EXPECT_EQ(ifc::effectiveCommand(13, ifc::Command::LessOrEqual), ifc::Command::NotEqual);
    EXPECT_EQ(ifc::effectiveCommand(14, ifc::Command::LessOrEqual), ifc::Command::LessOrEqual);
}
