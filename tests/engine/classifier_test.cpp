// SPDX-License-Identifier: MIT OR GPL-2.0
// Rules that the rule layer wrote through the registers, found again by the engine in real frames.
#include "classifier_fixture.h"

using namespace engine;
using namespace frames;

namespace
{

const Bytes kFrame = macs() + word16(0x0800) + ipv4({}, ports());

} // namespace

TEST_F(ClassifierTest, ResultReachesTheDriversCheck)
{
    orva_ifc_param request{};
    add(request, DIPv4, 0, 0xFFFFFF00, 0x0A000000);
    add(request, DPORT, 0, 0xFFFF, 443);
    const int entry = ifc_set_lut_rules_auto(&request);
    ASSERT_GE(entry, 8);
    EXPECT_EQ(classify(kFrame).entry, entry);
    EXPECT_EQ(checkIFCResult(IFC_LUT1, entry - 8), 0);
    EXPECT_EQ(checkIFCResult(IFC_LUT1, entry - 7), -1);
    classify(macs() + word16(0x0806) + fill(46));
    EXPECT_EQ(checkIFCResult(0, -1), 0);

    EXPECT_EQ(ifc_set_lut0_rules(6, IFC_ENABLE, SPORT, 1, 0, 0xFFFF, 0, 1), 0);
    EXPECT_EQ(classify(macs() + word16(0x0800) + ipv4({.destination = 1}, ports())).entry, 6);
    EXPECT_EQ(checkIFCResult(IFC_LUT0, 6), 0);
    // Both hit: LUT0 decides, and the check sees that there was more than one.
    EXPECT_EQ(classify(kFrame).entry, 6);
    EXPECT_EQ(gpIfcPriv->lut0HitMap, 1u << 6);
    EXPECT_EQ(gpIfcPriv->lut1HitMap0, 1u << (entry - 8));
    EXPECT_EQ(checkIFCResult(IFC_LUT0, 6), -1);
}

TEST_F(ClassifierTest, TheGlobalSwitchStopsHitsAndCounters)
{
    ifc_set_lut0_rules(0, IFC_ENABLE, SPORT, 0, 0, 0, 0, 0);
    EXPECT_EQ(classify(kFrame).entry, 0);
    ifc_disable();
    EXPECT_EQ(classify(kFrame).entry, kNoEntry);
    EXPECT_EQ(checkIFCResult(0, -1), 0);
    unsigned long long bytes = 0;
    unsigned long long packets = 0;
    ifc_get_acnt(0, &bytes, &packets);
    EXPECT_EQ(packets, 1u);
    EXPECT_EQ(bytes, kFrame.size());
    ifc_enable();
    EXPECT_EQ(classify(kFrame).entry, 0);
}

TEST_F(ClassifierTest, CountsFramesAndBytesOfTheDecidingRuleOnly)
{
    ifc_set_lut0_rules(0, IFC_ENABLE, SPORT, 0, 0, 0, 0, 0);
    ifc_set_lut0_rules(1, IFC_ENABLE, SPORT, 0, 0, 0, 0, 0);
    for (unsigned n = 0; n < 3; ++n)
        classify(kFrame);
    unsigned long long bytes = 0;
    unsigned long long packets = 0;
    ifc_get_acnt(0, &bytes, &packets);
    EXPECT_EQ(packets, 3u);
    EXPECT_EQ(bytes, 3 * kFrame.size());
    ifc_get_acnt(1, &bytes, &packets);
    EXPECT_EQ(packets, 0u);
    clear_all_ifc_acnt();
    ifc_get_acnt(0, &bytes, &packets);
    EXPECT_EQ(packets, 0u);
}

TEST_F(ClassifierTest, CountersWrap)
{
    uint32_t counter[4] = {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0x00FFFFFF};
    addToCounter(counter, 65);
    EXPECT_EQ(counter[0], 64u);
    EXPECT_EQ(counter[1], 0u);
    EXPECT_EQ(counter[2], 0u);
    EXPECT_EQ(counter[3], 0u);
    counter[0] = 0xFFFFFFC0;
    counter[2] = 0xFFFFFFFF;
    addToCounter(counter, 0x40);
    EXPECT_EQ(counter[0], 0u);
    EXPECT_EQ(counter[1], 1u);
    EXPECT_EQ(counter[2], 0u);
    EXPECT_EQ(counter[3], 1u);
}

TEST_F(ClassifierTest, CountersCarryIntoEachOfTheirBits)
{
    for (unsigned bit = 0; bit < 64; ++bit) {
        const uint64_t below = (uint64_t{1} << bit) - 1;
        const auto low = static_cast<uint32_t>(below);
        const auto high = static_cast<uint32_t>(below >> 32);
        const uint64_t packets = bit < 56 ? below : 0;
        uint32_t counter[4] = {low, high, static_cast<uint32_t>(packets),
                               static_cast<uint32_t>(packets >> 32)};
        addToCounter(counter, 1);
        EXPECT_EQ(counter[0] | uint64_t{counter[1]} << 32, below + 1) << bit;
        EXPECT_EQ(counter[2] | uint64_t{counter[3]} << 32, packets + 1) << bit;
    }
}

TEST_F(ClassifierTest, CounterBindingsChangeNothing)
{
    ifc_set_lut0_rules(0, IFC_ENABLE, SPORT, 0, 0, 0, 0, 0);
    ifc_set_acnt(0, 5);
    ifc_set_action(0, IFC_ACT_CNT0, IFC_ENABLE, 7, 0, 0, 0);
    classify(kFrame);
    for (unsigned n = 0; n < IFC_COUNTERS; ++n)
        EXPECT_EQ(window.tables().counter[n][2], n == 0 ? 1u : 0u) << n;
}

TEST_F(ClassifierTest, SeesTablesTpidAndSwitchAsTheyChange)
{
    const Bytes tagged = macs() + tag(0x9100, 5) + word16(0x0806) + fill(46);
    ifc_set_lut1_rules(31, IFC_ENABLE, 1, VID0, 0, 0xFFF, 0, 5);
    EXPECT_EQ(classify(tagged).entry, kNoEntry);
    set_frame_engine_data(FE_TPID_CFG, 0x91000000);
    EXPECT_EQ(classify(tagged).entry, 39);
    ifc_disable();
    EXPECT_EQ(classify(tagged).entry, kNoEntry);
    ifc_enable();
    EXPECT_EQ(classify(tagged).entry, 39);
    ifc_set_lut1_rules(31, IFC_DISABLE, 1, VID0, 0, 0xFFF, 0, 5);
    EXPECT_EQ(classify(tagged).entry, kNoEntry);
}

TEST_F(ClassifierTest, ParsingSeesTheTpidAsItChanges)
{
    const Bytes tagged = macs() + tag(0x9100, 5) + word16(0x0806) + fill(46);
    ParsedFrame parsed;
    classifier->parse(tagged.data(), tagged.size(), {}, parsed);
    EXPECT_EQ(parsed.tags, 0);
    set_frame_engine_data(FE_TPID_CFG, 0x91000000);
    classifier->parse(tagged.data(), tagged.size(), {}, parsed);
    EXPECT_EQ(parsed.tags, 1);
}

TEST_F(ClassifierTest, UserDefinedFieldsAreComparedWhereConfigured)
{
    classifier->setUdf(7, {UdfBase::Transport, 2});
    ifc_set_lut1_rules(0, IFC_ENABLE, 1, UDF0 + 7, 0, 0xFFFF, 0, 443);
    EXPECT_EQ(classify(kFrame).entry, 8);
    classifier->setUdf(7, {UdfBase::Transport, 0});
    EXPECT_EQ(classify(kFrame).entry, kNoEntry);
}

// In the default order all sixteen are taken at once. A move of one, or of the rules, changes that at the
// next frame.
TEST_F(ClassifierTest, UserDefinedFieldsMoveBetweenFrames)
{
    const Bytes frame = macs() + word16(0x0806) + fill(14) + word16(0x2222) + word16(0x3333) + fill(28);
    classifier->setUdf(7, {UdfBase::Network, 14}); // the default place
    ifc_set_lut1_rules(0, IFC_ENABLE, 1, UDF0 + 7, 0, 0xFFFF, 0, 0x2222);
    EXPECT_EQ(classify(frame).entry, 8);
    classifier->setUdf(7, {UdfBase::Network, 16});
    EXPECT_EQ(classify(frame).entry, kNoEntry);
    classifier->setUdf(7, {UdfBase::Network, 14});
    EXPECT_EQ(classify(frame).entry, 8);
    ifc_set_lut1_rules(0, IFC_DISABLE, 1, UDF0 + 7, 0, 0xFFFF, 0, 0x2222);
    ifc_set_lut1_rules(1, IFC_ENABLE, 1, UDF0 + 8, 0, 0xFFFF, 0, 0x3333);
    EXPECT_EQ(classify(frame).entry, 9);
}

// parse() shows all sixteen; classify() takes out those that some rule looks at.
TEST_F(ClassifierTest, ParsingTakesAllUserDefinedFields)
{
    ifc_set_lut1_rules(0, IFC_ENABLE, 1, UDF0 + 3, 0, 0, 0, 0);
    const Bytes frame = macs() + word16(0x0806) + fill(46, 0x77);
    ParsedFrame parsed;
    classifier->classify(frame.data(), frame.size(), {}, parsed);
    EXPECT_EQ(parsed.fields.present >> UDF0, 1u << 3);
    classifier->parse(frame.data(), frame.size(), {}, parsed);
    EXPECT_EQ(parsed.fields.present >> UDF0, 0xFFFFu);
    for (unsigned n = 0; n < 16; ++n)
        EXPECT_EQ(fieldValue(parsed.fields, UDF0 + n), 0x7777u) << n;
    // parse() does not change what classify() does.
    classifier->classify(frame.data(), frame.size(), {}, parsed);
    EXPECT_EQ(parsed.fields.present >> UDF0, 1u << 3);
}

// An address that the driver puts into two entries: "not equal" wants both halves different.
TEST_F(ClassifierTest, NotEqualMacIsComparedByHalvesInNarrowEntriesOnly)
{
    const auto hits = [&](std::string_view source) {
        return classify(macs("02:11:22:33:44:55", source) + word16(0x0806) + fill(46)).entry;
    };
    orva_ifc_param request{};
    add(request, SMAC, 1, 0xFFFFFFFFFFFF, 0x0A66778899AA);
    const int entry = ifc_set_lut_rules_auto(&request);
    ASSERT_EQ(entry, 9); // two entries, 0 and 1
    EXPECT_EQ(hits("0a:66:77:88:99:aa"), kNoEntry);
    EXPECT_EQ(hits("0a:66:77:88:99:ab"), kNoEntry);
    EXPECT_EQ(hits("0b:66:77:88:99:aa"), kNoEntry);
    EXPECT_EQ(hits("0b:66:77:88:99:ab"), 9);
    clear_all_ifc_rules();
    ifc_set_lut0_rules(4, IFC_ENABLE, SMAC, 1, 0xFFFF, 0xFFFFFFFF, 0x0A66, 0x778899AA);
    EXPECT_EQ(hits("0a:66:77:88:99:aa"), kNoEntry);
    EXPECT_EQ(hits("0a:66:77:88:99:ab"), 4);
    EXPECT_EQ(hits("0b:66:77:88:99:aa"), 4);
}

TEST_F(ClassifierTest, ActionArrivesDecoded)
{
    ifc_set_lut0_rules(2, IFC_ENABLE, SPORT, 0, 0, 0, 0, 0);
    ifc_set_action(2, IFC_ACT_CHANNEL_QUEUE, IFC_ENABLE, 9, 3, 0, 0);
    ifc_set_action(2, IFC_ACT_VLAN0, IFC_ENABLE, 1, 1, 0x6, 0x123);
    const Result result = classify(kFrame);
    ASSERT_EQ(result.entry, 2);
    const Action action = classifier->action(result.entry, 0);
    EXPECT_EQ(action.on, 1u << IFC_ACT_CHANNEL_QUEUE | 1u << IFC_ACT_VLAN0);
    EXPECT_EQ(action.channel, 9);
    EXPECT_EQ(action.queue, 3);
    EXPECT_EQ(action.vid[0], 0x6123);
}

namespace
{

// A value of the field that matches the term.
uint64_t fulfil(Random &random, const Term &term)
{
    const uint64_t ones = fieldOnes(term.field);
    const uint64_t rest = random.wide() & ~term.mask & ones;
    const uint64_t key = term.key & term.mask & ones;
    switch (term.command) {
    case 1: {
        const uint64_t bit = term.mask & ones & (0 - (term.mask & ones));
        return (key ^ bit) | rest;
    }
    default:
        return key | rest;
    }
}

} // namespace

// Each rule that the automatic placement writes hits the fields made for it; with one masked bit changed in
// one field it does not.
TEST_F(ClassifierTest, RandomlyPlacedRulesHitWhatTheyDescribeAndNothingBeside)
{
    Random random(77);
    unsigned wide = 0;
    unsigned narrow = 0;
    unsigned changed = 0;
    for (unsigned round = 0; round < 400; ++round) {
        clear_all_ifc_rules();
        orva_ifc_param request{};
        std::vector<Term> terms;
        uint64_t used = 0;
        const unsigned conditions = 1 + random.below(random.oneIn(2) ? 4 : 14);
        for (unsigned n = 0; n < conditions; ++n) {
            const unsigned field = 1 + random.below(conditions < 7 ? IFC_LUT1_FIELDS : IFC_LUT0_FIELDS);
            if ((used >> field & 1) != 0)
                continue;
            used |= fieldBit(field);
            // In narrow entries "not equal" compares the halves of a MAC one by one, so it is left out here.
            const unsigned command = field <= IFC_LAST_MAC_FIELD    ? 0
                                     : field <= IFC_LAST_WORD_FIELD ? random.below(2)
                                                                    : random.below(4);
            Term term{field, command, contiguousMask(random, field), random.wide() & fieldOnes(field)};
            terms.push_back(term);
            add(request, field, command, term.mask, term.key);
        }
        const int entry = host::quietly([&] { return ifc_set_lut_rules_auto(&request); });
        ASSERT_GE(entry, 0);
        ++(entry < 8 ? wide : narrow);

        FieldImage fields{};
        for (const Term &term : terms)
            setField(fields, term.field, fulfil(random, term));
        for (const auto method : {Classifier::Method::Fast, Classifier::Method::Plain}) {
            classifier->setMethod(method);
            reportHits(hitsOf(classifier->match(fields)), *gpIfcPriv);
            ASSERT_EQ(checkIFCResult(entry < 8 ? IFC_LUT0 : IFC_LUT1, entry < 8 ? entry : entry - 8), 0)
                << "round " << round;
            for (const Term &term : terms) {
                // One masked bit, chosen so that the verdict must turn.
                const uint64_t ones = term.mask & fieldOnes(term.field);
                if (ones == 0)
                    continue;
                FieldImage other = fields;
                const uint64_t value = fieldValue(fields, term.field);
                uint64_t bit = ones & (0 - ones);
                if (term.command == 2) {
                    bit = value & ones & (0 - (value & ones));
                } else if (term.command == 3) {
                    bit = ~value & ones & (0 - (~value & ones));
                } else if (term.command == 0) {
                    do
                        bit = uint64_t{1} << random.below(48);
                    while ((bit & ones) == 0);
                }
                if (bit == 0)
                    continue;
                other.present &= ~fieldBit(term.field);
                setField(other, term.field, value ^ bit);
                reportHits(hitsOf(classifier->match(other)), *gpIfcPriv);
                ASSERT_EQ(checkIFCResult(0, -1), 0)
                    << "round " << round << " field " << term.field << " command " << term.command;
                ++changed;
            }
        }
    }
    EXPECT_GT(wide, 50u);
    EXPECT_GT(narrow, 100u);
    EXPECT_GT(changed, 2000u);
}

// The same with bytes: conditions taken from a frame hit it, and miss it when the byte is another.
TEST_F(ClassifierTest, FramesBuiltForARuleHitIt)
{
    const Bytes base =
        macs() + tag(0x88A8, 0x3ABC) + tag(0x8100, 0x5123) + word16(0x86DD) + ipv6({}, ports());
    ParsedFrame parsed = parse(base);
    // Field, and a byte of the frame whose bit 4 belongs to it.
    const std::pair<unsigned, size_t> places[] = {{DMAC, 5},          {SMAC, 11},
                                                  {VID0, 15},         {VID1, 19},
                                                  {ETYPE, 21},        {FLOW_LABEL, 25},
                                                  {SIPv6_127_96, 33}, {SIPv6_31_0, 45},
                                                  {DIPv6_127_96, 49}, {DIPv6_63_32, 57},
                                                  {DIPv6_31_0, 61},   {SPORT, 63},
                                                  {DPORT, 65},        {IPv6_TRAFFIC_CLASS, 23}};
    for (const auto &[field, at] : places) {
        for (const bool wide : {false, true}) {
            clear_all_ifc_rules();
            orva_ifc_param request{};
            const uint64_t mask = field == FLOW_LABEL ? 0xFFFFF : fieldOnes(field);
            add(request, field, 0, mask, fieldValue(parsed.fields, field));
            if (wide) {
                for (const unsigned more : {FRAME_TYPE, VPM0, VPM1, PBIT0, PBIT1, DMAC_TYPE, SIPv6_63_32,
                                            SIPv6_95_64, DIPv6_95_64, IPv6_NEXT_HEADER})
                    add(request, more, 0, fieldOnes(more), fieldValue(parsed.fields, more));
            }
            const int entry = ifc_set_lut_rules_auto(&request);
            ASSERT_EQ(entry < 8, wide);
            EXPECT_EQ(classify(base).entry, entry) << field;
            Bytes other = base;
            other[at] ^= 0x10;
            EXPECT_EQ(classify(other).entry, kNoEntry) << field;
        }
    }
}
