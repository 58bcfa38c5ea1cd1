// SPDX-License-Identifier: MIT OR GPL-2.0
// Random rules and action entries: what is printed reads back with the same meaning. IFC_RULE_TEXTS in the
// environment sets the number of cases of each test (default 10,000).
#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/rule_words.h"
#include "tools/ifcctl/core/values.h"

#include "ifc/ifc_util.h"
#include "ifc/records/chip.h"
#include "platform/host/host_platform.h"
#include "tests/engine/random.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <tuple>

using namespace ifcctl;

namespace
{

unsigned caseCount()
{
    const char *text = std::getenv("IFC_RULE_TEXTS");
    return text == nullptr ? 10000 : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

uint64_t onesOf(unsigned field)
{
    return (uint64_t{1} << ifc::fieldWidth(field)) - 1;
}

// The meaning of the conditions, however they are divided: each required bit separately, a range as its two
// bounds.
using Statement = std::tuple<unsigned, unsigned, uint64_t, uint64_t>; // field, comparison, mask, key
std::multiset<Statement> meaningOf(const ifc_rule &rule)
{
    std::multiset<Statement> all;
    for (unsigned n = 0; n < rule.count; ++n) {
        const ifc_rule_condition &c = rule.condition[n];
        if (c.compare == IFC_COMPARE_RANGE) {
            all.emplace(c.field, IFC_COMPARE_AT_LEAST, onesOf(c.field), c.key);
            all.emplace(c.field, IFC_COMPARE_AT_MOST, onesOf(c.field), c.key_last);
        } else if (c.compare == IFC_COMPARE_EQUAL && c.mask != 0) {
            for (uint64_t bit = 1; bit != 0 && bit <= c.mask; bit <<= 1)
                if ((c.mask & bit) != 0)
                    all.emplace(c.field, c.compare, bit, c.key & bit);
        } else {
            all.emplace(c.field, c.compare, c.mask, c.key);
        }
    }
    return all;
}

bool sameRecords(const ifc_rule &one, const ifc_rule &other)
{
    ifc_rule_shape shape{};
    ifc_rule_shape shapeOfOther{};
    ifc_rule_shape_of(&one, &shape);
    ifc_rule_shape_of(&other, &shapeOfOther);
    if (std::memcmp(&shape, &shapeOfOther, sizeof shape) != 0)
        return false;
    if (shape.wide != 0) {
        IFC_LUT0_Format a{};
        IFC_LUT0_Format b{};
        ifc_rule_encode_wide(&one, &a);
        ifc_rule_encode_wide(&other, &b);
        return std::memcmp(&a, &b, sizeof a) == 0;
    }
    IFC_LUT1_Format a[16] = {};
    IFC_LUT1_Format b[16] = {};
    if (shape.narrow_entries != 0) {
        ifc_rule_encode_narrow(&one, a);
        ifc_rule_encode_narrow(&other, b);
    }
    return std::memcmp(a, b, sizeof a) == 0;
}

class RuleTexts : public testing::Test
{
protected:
    RuleTexts()
    {
        host::reset();
        window_->powerOn({});
        host::attach(window_.get());
        host::setLogSink([](std::string_view) {});
    }
    ~RuleTexts() override
    {
        host::reset();
        ifcSendToPpe = 0;
    }

    uint64_t randomMask(unsigned field)
    {
        const unsigned width = ifc::fieldWidth(field);
        const unsigned count = random_.below(width + 1);
        switch (random_.below(6)) {
        case 0:
            return random_.wide() & onesOf(field);
        case 1:
            return (uint64_t{1} << count) - 1;
        case 2:
            return onesOf(field) & ~((uint64_t{1} << count) - 1);
        default:
            return onesOf(field);
        }
    }

    // Values that have names or that make conditions meet are frequent.
    uint64_t randomValue(unsigned field)
    {
        static const unsigned known[] = {0x0800, 0x86DD, 0x0806, 58, 6, 17, 0xB8, 46};
        return (random_.oneIn(2) ? known[random_.below(8)] : likelyValue(random_)) & onesOf(field);
    }

    ifc_rule_condition randomCondition(unsigned field)
    {
        ifc_rule_condition c{};
        c.field = static_cast<uint8_t>(field);
        c.compare = static_cast<uint8_t>(random_.oneIn(2) ? 0 : random_.below(ifc::isHalf(field) ? 5 : 2));
        c.mask = randomMask(field);
        c.key = randomValue(field) & c.mask;
        if (c.compare == IFC_COMPARE_RANGE) {
            const uint64_t other = random_.oneIn(2) ? c.key | 3 : randomValue(field);
            c.mask = onesOf(field);
            c.key_last = static_cast<uint16_t>(std::max(c.key, other & c.mask));
        }
        return c;
    }

    ifc_rule randomRule()
    {
        static const unsigned likely[] = {
            PBIT0,     PBIT1,      IPv4_DSCP,    IPv6_TRAFFIC_CLASS, IPv4_PROTOCOL,
            ETYPE,     DIPv6_31_0, DIPv6_127_96, IPv6_NEXT_HEADER,   DMAC,
            FLOW_LABEL};
        ifc_rule rule{};
        const unsigned count = random_.oneIn(8) ? random_.below(16) : random_.below(5);
        while (rule.count < count) {
            const unsigned field =
                random_.oneIn(2) ? likely[random_.below(11)] : 1 + random_.below(IFC_LUT1_FIELDS);
            rule.condition[rule.count++] = randomCondition(field);
            // An address, in either order of its words.
            if (!random_.oneIn(3) || rule.count + 4 > count)
                continue;
            const unsigned lowest = random_.oneIn(2) ? DIPv6_31_0 : SIPv6_31_0;
            const bool rising = random_.oneIn(2);
            const unsigned words = 1 + random_.below(4);
            for (unsigned n = 0; n < words; ++n) {
                const unsigned word = rising ? 4 - words + n : 3 - n;
                ifc_rule_condition c = randomCondition(lowest + word);
                c.compare = IFC_COMPARE_EQUAL;
                if (word != 4 - words)
                    c.mask = onesOf(c.field);
                c.key &= c.mask;
                rule.condition[rule.count++] = c;
            }
        }
        return rule;
    }

    void expectReadsBack(const ifc_rule &rule)
    {
        const std::string text = matchText(rule);
        ifc_rule read{};
        try {
            WordReader words(wordsOf(text));
            readMatch(words, read);
            EXPECT_TRUE(words.atEnd());
        } catch (const Error &error) {
            FAIL() << text << ": " << error.text();
        }
        exact_ += sameRecords(rule, read);
        ++compared_;
        ASSERT_EQ(meaningOf(read), meaningOf(rule)) << text << "\nthen\n" << matchText(read);
        ASSERT_EQ(matchText(read), text);
    }

    unsigned below(unsigned bound) { return random_.below(bound); }

    Random random_{20260711};
    unsigned exact_ = 0;
    unsigned compared_ = 0;
    std::unique_ptr<engine::RegisterWindow> window_ = std::make_unique<engine::RegisterWindow>();
};

TEST_F(RuleTexts, RulesReadBack)
{
    for (unsigned n = 0; n < caseCount() && !HasFatalFailure(); ++n)
        expectReadsBack(randomRule());
    // Except those whose address words are in reverse order.
    std::printf("%u of %u rules with the same records\n", exact_, compared_);
    EXPECT_GT(exact_, compared_ * 9 / 10);
}

// Any table contents.
TEST_F(RuleTexts, RecordsOfAnyContentReadBack)
{
    unsigned rules = 0;
    for (unsigned n = 0; n < caseCount() && !HasFatalFailure(); ++n) {
        ifc_rule rule{};
        if (random_.oneIn(2)) {
            IFC_LUT0_Format record{};
            for (uint32_t &word : record.word)
                word = random_.word();
            record.word[0] |= 0x80000000u;
            if (!random_.oneIn(4))
                record.word[0] &= 0x80000000u | (random_.word() & random_.word() & random_.word());
            ifc_rule_decode_wide(&record, &rule);
        } else {
            IFC_LUT1_Format chain[4];
            for (IFC_LUT1_Format &entry : chain)
                for (uint32_t &word : entry.word)
                    word = random_.word();
            if (ifc_rule_decode_narrow(chain, 1 + below(4), &rule) != 0)
                continue;
        }
        ++rules;
        expectReadsBack(rule);
    }
    EXPECT_GT(rules, caseCount() / 2);
    std::printf("%u of %u rules with the same records\n", exact_, compared_);
}

TEST_F(RuleTexts, ActionEntriesOfAnyContentReadBack)
{
    for (unsigned n = 0; n < caseCount(); ++n) {
        IFC_Action_Format entry{};
        for (uint32_t &word : entry.word)
            word = random_.word() & (random_.oneIn(2) ? random_.word() : 0xFFFFFFFF);
        if (random_.oneIn(2))
            for (uint32_t &word : entry.word)
                word &= random_.word() & random_.word() & random_.word();
        entry.word[2] &= ~0x80u; // belongs to no field
        const int revision = random_.oneIn(2) ? 12 : 0;
        const std::string text = actionText(entry, revision);
        IFC_Action_Format read{};
        if (!text.empty()) {
            WordReader words(wordsOf(text));
            ASSERT_NO_THROW(read = readAction(words, revision)) << text;
        }
        ASSERT_EQ(std::memcmp(&read, &entry, sizeof read), 0) << text;
    }
}

// Compares words with their operation.
TEST_F(RuleTexts, ActionWordsProgramWhatTheLayerPrograms)
{
    struct SubAction {
        unsigned number;
        std::vector<std::pair<const char *, unsigned>> words; // with the number of values
    };
    static const SubAction subActions[] = {
        {0, {{"channel", 32}, {"queue", 8}}},
        {1, {{"fport", 16}, {"nbq", 32}}},
        {2, {{"sp_tag", 65536}}},
        {3, {{"count", 64}}},
        {4, {{"count1", 32}}},
        {5, {{"meter", 256}}},
        {6, {{"ds_octet", 256}}},
        {7, {{"traffic_class", 256}}},
        {8, {{"vpm0", 4}, {"vo0", 4}, {"vprio0", 16}, {"vid0", 4096}}},
        {9, {{"vo1", 4}, {"vprio1", 16}, {"vid1", 4096}}},
        {10, {{"fqos", 2}}},
        {11, {{"fast", 2}}},
        {12, {{"mc", 2}}},
        {13, {{"keep_pcp", 2}}},
        {14, {{"cpu", 2}, {"nbq", 32}}},
        {15, {{"owf", 2}}},
        {16, {{"dpi", 2}}},
    };
    ifcSendToPpe = 1;
    for (unsigned n = 0; n < caseCount() / 4; ++n) {
        const int revision = random_.oneIn(2) ? 12 : 0;
        const unsigned index = below(IFC_ACTIONS);
        host::setRevision(revision);
        (void)ifc_clear_action(index);
        const bool toCpu = random_.oneIn(2);
        std::string line;
        for (const SubAction &sub : subActions) {
            if (!random_.oneIn(4) || sub.number == (toCpu ? 1u : 14u))
                continue;
            unsigned values[4] = {};
            for (size_t v = 0; v < sub.words.size(); ++v) {
                values[v] = below(sub.words[v].second);
                line += sub.words[v].first + (' ' + std::to_string(values[v])) + ' ';
            }
            ASSERT_EQ(
                ifc_set_action(index, sub.number, IFC_ENABLE, values[0], values[1], values[2], values[3]), 0);
        }
        if (line.empty())
            continue;
        WordReader words(wordsOf(line));
        const IFC_Action_Format entry = readAction(words, revision);
        for (unsigned w = 0; w < 4; ++w)
            ASSERT_EQ(entry.word[w], window_->tables().action[index][w]) << line << " word " << w;
    }
}

} // namespace
