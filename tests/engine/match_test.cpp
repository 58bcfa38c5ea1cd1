// SPDX-License-Identifier: MIT OR GPL-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "engine/fast_match.h"
#include "engine/plain_match.h"
#include "random.h"

using namespace engine;

namespace
{

struct Both {
    std::unique_ptr<FastMatch> fast = std::make_unique<FastMatch>();
    Tables tables{};
    FieldImage fields{};

    // Both engines' answer, which must be one.
    Hits match()
    {
        Hits plain{};
        Hits quick{};
        plainMatch(tables, fields, plain);
        fast->compile(tables);
        quick = hitsOf(fast->match(fields));
        EXPECT_EQ(plain.lut0, quick.lut0);
        EXPECT_EQ(plain.lut1[0], quick.lut1[0]);
        EXPECT_EQ(quick.lut1[1], 0u);
        return plain;
    }
    void narrow(unsigned n, unsigned field, unsigned command, unsigned mask, unsigned key, bool end = true,
                unsigned sel = 0)
    {
        IFC_LUT1_Format view{};
        view.type0.field = field & 63;
        view.type0.command = command & 3;
        view.type0.sel = sel & 3;
        view.type0.end = end;
        view.type0.valid = 1;
        view.type0.mask = mask & 0xFFFF;
        view.type0.key = key & 0xFFFF;
        tables.lut1[n][0] = view.word[0];
        tables.lut1[n][1] = view.word[1];
    }
    void narrow32(unsigned n, unsigned field, unsigned command, unsigned direction, unsigned length,
                  uint32_t key, bool end = true)
    {
        IFC_LUT1_Format view{};
        view.type1.field = field & 63;
        view.type1.command = command & 1;
        view.type1.direction = direction & 1;
        view.type1.length = length & 31;
        view.type1.type = 1;
        view.type1.end = end;
        view.type1.valid = 1;
        view.type1.key = key;
        tables.lut1[n][0] = view.word[0];
        tables.lut1[n][1] = view.word[1];
    }
    bool entryHits(unsigned n) { return match().lut1[0] == 1u << n; }
};

// Expects what each command says of DPORT values around the key. hits(command, value) is the answer of a rule
// with mask 0xFFF0 and key 0x1238, so it compares with 0x1230.
template <typename Hits>
void expectCommands(Hits hits)
{
    EXPECT_TRUE(hits(0, 0x123F));
    EXPECT_FALSE(hits(0, 0x1240));
    EXPECT_FALSE(hits(1, 0x123F));
    EXPECT_TRUE(hits(1, 0x1240));
    EXPECT_TRUE(hits(2, 0x1230));
    EXPECT_TRUE(hits(2, 0xFFFF));
    EXPECT_FALSE(hits(2, 0x122F));
    EXPECT_TRUE(hits(3, 0x123F));
    EXPECT_TRUE(hits(3, 0));
    EXPECT_FALSE(hits(3, 0x1240));
}

} // namespace

TEST(Match, CommandsOfSixteenBitFields)
{
    Both both;
    expectCommands([&](unsigned command, unsigned value) {
        both.narrow(0, DPORT, command, 0xFFF0, 0x1238);
        both.fields = {};
        setField(both.fields, DPORT, value);
        return both.entryHits(0);
    });
}

TEST(Match, CommandsOfWideRules)
{
    Both both;
    expectCommands([&](unsigned command, unsigned value) {
        both.tables = {};
        IFC_LUT0_Format rule{};
        rule.bits.valid = 1;
        rule.bits.enable = 1u << (DPORT - 1);
        rule.bits.command_17_31 = command << 2 * (DPORT - 17) & 0x3FFFFFFF;
        rule.bits.mask.dport = 0xFFF0;
        rule.bits.key.dport = 0x1238;
        memcpy(both.tables.lut0[5], rule.word, sizeof rule.word);
        both.fields = {};
        setField(both.fields, DPORT, value);
        return both.match().lut0 == 1u << 5;
    });
}

TEST(Match, UpToField13OnlyTheLowerCommandBitCounts)
{
    Both both;
    for (unsigned command = 0; command < 4; ++command) {
        both.narrow(0, SMAC, command, 0xFFFF, 0x1234, true, IFC_LUT1_SEL_MAC_HIGH);
        both.fields = {};
        setField(both.fields, SMAC, 0x123400000000);
        EXPECT_EQ(both.entryHits(0), command % 2 == 0) << command;
        setField(both.fields, SMAC, 0x123500000000);
        EXPECT_EQ(both.entryHits(0), command % 2 == 1) << command;
    }
}

namespace
{

// A wide rule with one condition, set bit by bit in the record's words.
void putWide(Tables &tables, unsigned n, unsigned field, unsigned command, uint64_t mask, uint64_t key)
{
    uint32_t *rule = tables.lut0[n];
    rule[0] = 0x80000000u | 1u << (field - 1);
    rule[field <= 16 ? 2 : 1] = command << 2 * ((field - 1) % 16);
    for (unsigned bit = 0; bit < fieldPlace(field).width; ++bit) {
        const unsigned at = fieldPlace(field).lsb + bit;
        const unsigned word = IFC_LUT0_AREA_WORDS - 1 - at / 32;
        rule[IFC_LUT0_MASK_WORD + word] |= static_cast<uint32_t>(mask >> bit & 1) << at % 32;
        rule[IFC_LUT0_KEY_WORD + word] |= static_cast<uint32_t>(key >> bit & 1) << at % 32;
    }
}

// Whether a command holds for a field that is below, at or above the key.
bool verdict(unsigned field, unsigned code, uint64_t value, uint64_t key)
{
    if (field <= 13)
        code &= 1;
    return code == 0 ? value == key : code == 1 ? value != key : code == 2 ? value >= key : value <= key;
}

} // namespace

TEST(Match, EveryCommandOfEveryField)
{
    for (unsigned field = 1; field < kFieldEnd; ++field) {
        const unsigned width = fieldPlace(field).width;
        const uint64_t ones = fieldOnes(field);
        // Below, at and above the key, in the lowest and in the highest bit.
        const uint64_t top = uint64_t{1} << (width - 1);
        const uint64_t key = width > 2 ? (0x123456789ABC & ones & ~(top | 1)) | 2 : 1;
        for (const uint64_t value : {key, key ^ 1, key ^ 2, key ^ top, ones, uint64_t{0}}) {
            for (unsigned code = 0; code < 4; ++code) {
                Both both;
                setField(both.fields, field, value);
                if (field <= IFC_LUT0_FIELDS) {
                    putWide(both.tables, 6, field, code, ones, key);
                    EXPECT_EQ(both.match().lut0, verdict(field, code, value, key) ? 1u << 6 : 0u)
                        << "wide " << field << " " << code;
                    both.tables = {};
                }
                if (field <= IFC_LAST_WORD_FIELD) {
                    // As 32 bits, which hold one command bit, and as 16 bits, which hold two.
                    both.narrow32(0, field, code, IFC_LUT1_FROM_TOP, 0, static_cast<uint32_t>(key));
                    EXPECT_EQ(both.entryHits(0), verdict(field, code, value & 0xFFFFFFFF, key & 0xFFFFFFFF))
                        << "32 bits " << field << " " << code;
                }
                both.narrow(0, field, code, 0xFFFF, static_cast<unsigned>(key & 0xFFFF));
                EXPECT_EQ(both.entryHits(0), verdict(field, code, value & 0xFFFF, key & 0xFFFF))
                    << "16 bits " << field << " " << code;
            }
        }
    }
}

// "Not equal" holds for an address in two entries when both halves differ, not when the address does.
TEST(Match, NotEqualMacInTwoEntriesWantsBothHalvesDifferent)
{
    for (const unsigned field : {DMAC, SMAC}) {
        Both both;
        both.narrow32(2, field, 1, IFC_LUT1_FROM_TOP, 0, 0x22334455, false);
        both.narrow(3, field, 1, 0xFFFF, 0x0011, true, IFC_LUT1_SEL_MAC_HIGH);
        const auto hits = [&](uint64_t address) {
            setField(both.fields, field, address);
            return both.entryHits(3);
        };
        EXPECT_FALSE(hits(0x001122334455));
        EXPECT_FALSE(hits(0x001122334454));
        EXPECT_FALSE(hits(0x801122334455));
        EXPECT_TRUE(hits(0x801122334454));
        // A wide rule compares the whole.
        both.tables = {};
        putWide(both.tables, 0, field, 1, fieldOnes(field), 0x001122334455);
        for (const uint64_t flipped : {0x0ull, 0x1ull, 0x800000000000ull, 0x800000000001ull}) {
            const uint64_t address = 0x001122334455 ^ flipped;
            setField(both.fields, field, address);
            EXPECT_EQ(both.match().lut0, flipped == 0 ? 0u : 1u);
        }
    }
}

TEST(Match, AbsentFieldIsFalseForEveryCommand)
{
    Both both;
    for (unsigned command = 0; command < 4; ++command) {
        both.narrow(0, DPORT, command, 0, 0);
        both.fields = {};
        EXPECT_FALSE(both.entryHits(0)) << command;
        IFC_LUT0_Format rule{};
        rule.bits.valid = 1;
        rule.bits.enable = 1u << (DPORT - 1);
        rule.bits.command_17_31 = command << 2 * (DPORT - 17) & 0x3FFFFFFF;
        memcpy(both.tables.lut0[0], rule.word, sizeof rule.word);
        EXPECT_EQ(both.match().lut0, 0u) << command;
    }
}

TEST(Match, WideRuleWithoutConditionsHitsEveryFrame)
{
    Both both;
    both.tables.lut0[3][0] = 0x80000000;
    EXPECT_EQ(both.match().lut0, 1u << 3);
    both.tables.lut0[3][0] = 0x7FFFFFFF;
    EXPECT_EQ(both.match().lut0, 0u);
}

TEST(Match, MacHalvesAndLengthsAndDirections)
{
    Both both;
    both.narrow32(0, DMAC, 0, IFC_LUT1_FROM_TOP, 0, 0x22334455, false);
    both.narrow(1, DMAC, 0, 0xFFFF, 0x0011, true, IFC_LUT1_SEL_MAC_HIGH);
    setField(both.fields, DMAC, 0x001122334455);
    EXPECT_TRUE(both.entryHits(1));
    setField(both.fields, DMAC, 0x001122334454);
    EXPECT_FALSE(both.entryHits(1));
    setField(both.fields, DMAC, 0x801122334455);
    EXPECT_FALSE(both.entryHits(1));

    for (unsigned length = 0; length < 32; ++length) {
        for (unsigned direction = 0; direction < 2; ++direction) {
            both.tables = {};
            both.narrow32(7, SIPv4, 0, direction, length, 0xC0A80155);
            for (unsigned bit = 0; bit < 32; ++bit) {
                setField(both.fields, SIPv4, 0xC0A80155 ^ 1u << bit);
                const bool masked =
                    length == 0 || (direction == IFC_LUT1_FROM_TOP ? bit >= 32 - length : bit < length);
                EXPECT_EQ(both.entryHits(7), !masked) << length << " " << direction << " " << bit;
            }
        }
    }
}

TEST(Match, ChainsNeedAllTheirEntriesAndAnEnd)
{
    Both both;
    setField(both.fields, DPORT, 80);
    const auto entry = [&](unsigned n, bool matches, bool end) {
        both.narrow(n, DPORT, 0, 0xFFFF, matches ? 80 : 81, end);
    };
    entry(0, true, false);
    entry(1, true, false);
    entry(2, true, true);
    EXPECT_EQ(both.match().lut1[0], 1u << 2);
    entry(1, false, false);
    EXPECT_EQ(both.match().lut1[0], 0u);
    entry(1, true, false);
    entry(0, false, false);
    EXPECT_EQ(both.match().lut1[0], 0u);
    entry(0, true, false);
    entry(2, false, true);
    EXPECT_EQ(both.match().lut1[0], 0u);
    // After an end flag a new chain starts.
    entry(3, true, true);
    EXPECT_EQ(both.match().lut1[0], 1u << 3);
    // After a free entry a chain starts.
    entry(2, true, true);
    both.tables.lut1[1][0] = 0;
    EXPECT_EQ(both.match().lut1[0], 3u << 2);
    // Without an end flag there is no rule.
    entry(3, true, false);
    EXPECT_EQ(both.match().lut1[0], 1u << 2);
}

TEST(Match, ChainsEndAtTheSubTableBorder)
{
    Both both;
    setField(both.fields, DPORT, 80);
    both.narrow(14, DPORT, 0, 0xFFFF, 80, false);
    both.narrow(15, DPORT, 0, 0xFFFF, 80, false);
    both.narrow(16, DPORT, 0, 0xFFFF, 80, true);
    both.narrow(31, DPORT, 0, 0xFFFF, 80, false);
    EXPECT_EQ(both.match().lut1[0], 1u << 16);
    both.narrow(15, DPORT, 0, 0xFFFF, 80, true);
    EXPECT_EQ(both.match().lut1[0], 3u << 15);
    both.narrow(31, DPORT, 0, 0xFFFF, 80, true);
    EXPECT_EQ(both.match().lut1[0], 3u << 15 | 1u << 31);
}

TEST(Match, SelCountsInSixteenBits)
{
    Both both;
    setField(both.fields, SMAC, 0x111122223333);
    for (const auto &[sel, key] : {std::pair{0u, 0x3333u}, {1u, 0x2222u}, {2u, 0x1111u}, {3u, 0u}}) {
        both.narrow(4, SMAC, 0, 0xFFFF, key, true, sel);
        EXPECT_TRUE(both.entryHits(4)) << sel;
        both.narrow(4, SMAC, 0, 0xFFFF, key ^ 1, true, sel);
        EXPECT_FALSE(both.entryHits(4)) << sel;
    }
}

TEST(Match, EntriesThatNameNoFieldNeverHit)
{
    Both both;
    for (unsigned field = 1; field < kFieldEnd; ++field)
        setField(both.fields, field, 0);
    both.fields.present = ~uint64_t{0}; // even if the image claims to have such a field
    for (const unsigned field : {0u, 48u, 63u}) {
        for (unsigned command = 0; command < 4; ++command) {
            both.narrow(0, field, command, 0, 0);
            EXPECT_EQ(both.match().lut1[0], 0u) << field;
        }
    }
}

TEST(Match, LowestHitDecidesLut0First)
{
    const auto decides = [](uint32_t lut0, uint32_t lut1) {
        return decidingEntry(hitBitsOf({lut0, {lut1, 0}}));
    };
    EXPECT_EQ(decides(0, 0), kNoEntry);
    EXPECT_LT(decides(0, 0), 0) << "no rule has such a number";
    EXPECT_EQ(decides(0x90, 1), 4);
    EXPECT_EQ(decides(0, 0x80000000), 39);
    EXPECT_EQ(decides(0, 0x81), 8);
}

TEST(Match, HitsReplaceThoseOfTheFrameBefore)
{
    IFC_Private_T driver = {};
    driver.lut0HitMap = driver.lut1HitMap0 = driver.lut1HitMap1 = ~0u;
    reportHits({5, {6, 7}}, driver);
    EXPECT_EQ(driver.lut0HitMap, 5u);
    EXPECT_EQ(driver.lut1HitMap0, 6u);
    EXPECT_EQ(driver.lut1HitMap1, 7u);
}

// Any tables and any fields: two million comparisons in an optimised build, a tenth in a debug build.
TEST(Match, FastEqualsPlainOnRandomTablesAndFields)
{
    Random random(20240601);
    auto fast = std::make_unique<FastMatch>();
    auto tables = std::make_unique<Tables>();
    uint64_t wide = 0;
    uint64_t chains = 0;
#ifdef NDEBUG
    constexpr unsigned kTables = 4000;
#else
    constexpr unsigned kTables = 400;
#endif
    for (unsigned t = 0; t < kTables; ++t) {
        randomTables(random, *tables);
        fast->compile(*tables);
        for (unsigned n = 0; n < 500; ++n) {
            FieldImage fields;
            randomFields(random, fields);
            Hits plain{};
            Hits quick{};
            plainMatch(*tables, fields, plain);
            quick = hitsOf(fast->match(fields));
            ASSERT_EQ(plain.lut0, quick.lut0) << "table " << t << " frame " << n;
            ASSERT_EQ(plain.lut1[0], quick.lut1[0]) << "table " << t << " frame " << n;
            wide += static_cast<unsigned>(__builtin_popcount(plain.lut0));
            chains += static_cast<unsigned>(__builtin_popcount(plain.lut1[0]));
        }
    }
    // Rules of both tables did hit, so the comparison is not empty.
    EXPECT_GT(wide, kTables * 100u);
    EXPECT_GT(chains, kTables * 100u);
}

namespace
{

// Expects that rules hit exactly where all of their conditions hold, with images of the rules' keys, often
// with one field changed. Returns the number of hits.
uint64_t expectHolds(Random &random, const std::vector<std::vector<Condition>> &rules, uint64_t alsoPresent)
{
    const auto fast = std::make_unique<FastMatch>();
    fast->begin();
    for (unsigned n = 0; n < rules.size(); ++n) {
        fast->addRule(n);
        for (const Condition &condition : rules[n])
            EXPECT_TRUE(fast->require(n, condition));
    }
    fast->finish();
    uint64_t hits = 0;
    for (unsigned image = 0; image < 500; ++image) {
        FieldImage fields{};
        const auto &like = rules[random.below(static_cast<unsigned>(rules.size()))];
        for (const Condition &condition : like)
            if (!random.oneIn(12))
                setField(fields, condition.field, condition.key);
        const Condition &changed = like[random.below(static_cast<unsigned>(like.size()))];
        if (random.oneIn(2))
            setField(fields, changed.field, changed.key ^ uint64_t{1} << random.below(32));
        fields.present |= alsoPresent;
        HitBits expected = 0;
        for (unsigned n = 0; n < rules.size(); ++n)
            expected |= HitBits{std::all_of(rules[n].begin(), rules[n].end(),
                                            [&](const Condition &c) { return holds(c, fields); })}
                        << n;
        EXPECT_EQ(fast->match(fields), expected) << image;
        hits += expected != 0;
    }
    return hits;
}

} // namespace

// Forty rules that compare few bytes are matched by look-ups of bytes; more bytes than there are tables, and
// other commands, in other forms.
TEST(Match, FortyRulesHitWhereTheirConditionsHold)
{
    Random random(20261121);
    const std::vector<unsigned> few = {SIPv4, DIPv4, IPv4_PROTOCOL, SPORT, DPORT};
    const std::vector<unsigned> many = {DMAC,         SMAC,       DIPv6_127_96, DIPv6_31_0,
                                        SIPv6_127_96, SIPv6_31_0, DPORT};
    for (unsigned round = 0; round < 60; ++round) {
        const bool others = round % 3 == 1;
        const std::vector<unsigned> &compared = round % 4 == 3 ? many : few;
        std::vector<std::vector<Condition>> rules(IFC_ACTIONS);
        for (auto &rule : rules) {
            for (const unsigned field : compared) {
                const uint64_t ones = fieldOnes(field);
                const uint64_t mask = random.oneIn(2) ? ones : ones << random.below(9) & ones;
                const auto command = others && random.oneIn(8) ? Command::GreaterOrEqual : Command::Equal;
                const uint64_t key = 0x0A0B0C0D0000 + random.below(4) * 0x11;
                // Zero passes for an absent field in some rules, so that the present bitmap decides.
                if (!random.oneIn(8))
                    rule.push_back(
                        {static_cast<uint8_t>(field), command, 0, mask, random.oneIn(16) ? 0 : key});
            }
            rule.push_back({DPORT, Command::Equal, 0, 0xF000, 0});
        }
        uint64_t hits = expectHolds(random, rules, 0);
        hits += expectHolds(random, rules, kBaseFields);
        EXPECT_GT(hits, 100u) << round;
    }
}

// Rules that compare the same few words, and not for equality: rows, which take the rules in eights.
TEST(Match, RulesThatCompareTheSameWordsHitWhereTheirConditionsHold)
{
    Random random(20261122);
    for (unsigned round = 0; round < 40; ++round) {
        std::vector<std::vector<Condition>> rules(8 + round % 5 * 8);
        for (auto &rule : rules)
            for (const unsigned field : {SIPv4, DIPv4, SPORT, DPORT, DMAC_TYPE, IPv4_PROTOCOL}) {
                const auto command = static_cast<Command>(1 + random.below(3)); // never Equal
                if (field != DPORT && random.oneIn(8))
                    continue;
                rule.push_back({static_cast<uint8_t>(field), command, 0, fieldOnes(field),
                                uint64_t{0x0A0B0C0D0000} + random.below(4) * 0x11});
            }
        // The second eight hit tagged frames only, so a program for others has no row for them.
        for (size_t n = 8; n < 16 && n < rules.size(); ++n)
            rules[n].push_back({VID0, Command::GreaterOrEqual, 0, 0xFFF, 0});
        // Frames of no kind, and of two kinds, each of which has a program of its own.
        const uint64_t kind = kBaseFields | kIpv4Fields | kPortFields;
        uint64_t hits = expectHolds(random, rules, 0);
        hits += expectHolds(random, rules, kind);
        hits += expectHolds(random, rules, kind | kOuterFields);
        EXPECT_GT(hits, 10u) << round;
    }
}

// Many rules that compare the same bytes for equality, in frames of two kinds. The tables of bytes have room
// for one of them; the program for the other takes another form.
TEST(Match, RulesThatCompareManyBytesForEqualityHitWhereTheirConditionsHold)
{
    Random random(20261123);
    const unsigned ipv4[] = {SIPv4, DIPv4, SPORT, DPORT, IPv4_PROTOCOL};
    const unsigned ipv6[] = {SIPv6_31_0, DIPv6_31_0, SPORT, DPORT, IPv6_NEXT_HEADER};
    for (unsigned round = 0; round < 10; ++round) {
        std::vector<std::vector<Condition>> rules(40);
        for (unsigned n = 0; n < rules.size(); ++n)
            for (const unsigned field : n % 2 != 0 ? ipv6 : ipv4)
                rules[n].push_back({static_cast<uint8_t>(field), Command::Equal, 0, fieldOnes(field),
                                    (uint64_t{0x0A0B0C0D} + random.below(2)) & fieldOnes(field)});
        uint64_t hits = expectHolds(random, rules, 0);
        hits += expectHolds(random, rules, kBaseFields | kIpv4Fields | kPortFields);
        hits += expectHolds(random, rules, kBaseFields | kIpv6Fields | kPortFields);
        EXPECT_GT(hits, 10u) << round;
    }
}

TEST(Match, TablesOfBytesCountTheirRoom)
{
    const auto tables = std::make_unique<engine::ByteTables>();
    tables->clear();
    EXPECT_EQ(tables->room(), 16u);
    for (unsigned byte = 0; byte < 16; ++byte) {
        EXPECT_FALSE(tables->has(byte));
        tables->add(byte, ~HitBits{0});
        EXPECT_TRUE(tables->has(byte));
        EXPECT_EQ(tables->room(), 15 - byte);
    }
}

TEST(Match, RuleThatWantsTwoValuesOfABitNeverHits)
{
    for (const uint64_t mask : {0xFFFFu, 0xFFFEu}) {
        const auto fast = std::make_unique<FastMatch>();
        fast->begin();
        fast->addRule(5);
        EXPECT_TRUE(fast->require(5, {DPORT, Command::Equal, 0, mask, 80}));
        EXPECT_TRUE(fast->require(5, {DPORT, Command::Equal, 0, 0xFFFF, 81}));
        fast->finish();
        for (const unsigned port : {80u, 81u}) {
            FieldImage fields{};
            setField(fields, DPORT, port);
            EXPECT_EQ(fast->match(fields) != 0, mask == 0xFFFE && port == 81) << mask << " " << port;
        }
    }
}

// The tables of one chip always fit; a caller that adds rules of its own may ask for more.
TEST(Match, RuleWithTooManyConditionsNeverHits)
{
    for (const Command command : {Command::NotEqual, Command::GreaterOrEqual}) {
        for (const unsigned field : {unsigned{DMAC}, unsigned{DPORT}}) { // residuals, checks
            const auto fast = std::make_unique<FastMatch>();
            fast->begin();
            fast->addRule(0);
            fast->addRule(1);
            EXPECT_TRUE(fast->require(1, {DPORT, Command::Equal, 0, 0xFFFF, 80}));
            unsigned accepted = 0;
            while (accepted < 1000 && fast->require(0, {static_cast<uint8_t>(field), command, 0,
                                                        fieldOnes(field), accepted + 1}))
                ++accepted;
            EXPECT_GE(accepted, 48u);
            EXPECT_LT(accepted, 1000u);
            fast->finish();
            FieldImage fields{};
            setField(fields, DMAC, 0xFFFFFFFFFFFF);
            setField(fields, DPORT, 80);
            EXPECT_EQ(fast->match(fields), HitBits{1} << 1);
            // Not even where all that there was room for holds.
            setField(fields, DPORT, 0xFFFF);
            EXPECT_EQ(fast->match(fields), HitBits{0});
        }
    }
}

// A condition that no frame meets needs no room.
TEST(Match, RuleWithAConditionOnNoFieldNeverHits)
{
    const auto fast = std::make_unique<FastMatch>();
    fast->begin();
    fast->addRule(4);
    EXPECT_TRUE(fast->require(4, {63, Command::Equal, 0, 0xFFFF, 1}));
    EXPECT_TRUE(fast->require(4, {DPORT, Command::Equal, 0, 0xFFFF, 80}));
    fast->finish();
    FieldImage fields{};
    setField(fields, DPORT, 80);
    EXPECT_EQ(fast->match(fields), HitBits{0});
}
