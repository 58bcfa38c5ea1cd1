// SPDX-License-Identifier: MIT OR GPL-2.0
// Rules that do not overlap get the places of automatic placement.
#include "random_sets.h"
#include "tests/support/host/layer_fixture.h"

#include <memory>

using namespace ruleset;

namespace
{

#ifdef __x86_64__
constexpr unsigned kStates = 1000;
#else
constexpr unsigned kStates = 100; // under emulation
#endif

class AutomaticTest : public LayerTest
{
protected:
    // Rules that already have places: as valid bits only, and as rules of the set that stay.
    void occupy(Random &random)
    {
        uint64_t used = 0;
        for (unsigned n = random.below(12); n != 0; --n) {
            Shape shape;
            shape.wideAllowed = random.oneIn(2);
            shape.narrowEntries = shape.wideAllowed ? 0 : static_cast<uint8_t>(1 + random.below(6));
            if (!random_sets::tryPlace(random, input, shape, used))
                continue;
            if (shape.wideAllowed)
                IFC_LUT0_Rule[shape.now.first].bits.valid = 1;
            for (unsigned entry = 0; !shape.wideAllowed && entry < shape.narrowEntries; ++entry)
                IFC_LUT1_Rule[shape.now.first + entry].type0.valid = 1;
            input.rule[input.count++] = shape;
        }
    }

    static unsigned entriesInUse()
    {
        unsigned used = 0;
        for (const IFC_LUT1_Format &entry : IFC_LUT1_Rule)
            used += entry.type0.valid;
        return used;
    }

    // Places a request as the layer does, and adds it as a new rule. False: the layer had no place.
    bool addNew(Random &random)
    {
        std::vector<support::RequestCondition> conditions;
        const unsigned count = 1 + random.below(12);
        const bool mac = random.oneIn(3);
        if (mac)
            conditions.push_back({DMAC, 0, 0xFFFF, 1});
        for (unsigned n = mac; n < count; ++n)
            conditions.push_back({14 + n, 0, 0xFF, 1});
        orva_ifc_param &request =
            support::requestOf(conditions.data(), static_cast<unsigned>(conditions.size()));
        const unsigned before = entriesInUse();
        const int action = ifc_set_lut_rules_auto(&request);
        support::forget();
        if (action == -1)
            return false;
        Shape shape;
        shape.wideAllowed = true;
        shape.countedEntries = static_cast<uint8_t>(count + mac);
        const unsigned written = entriesInUse() - before;
        shape.narrowEntries = static_cast<uint8_t>(written != 0 ? written : count);
        expected.push_back(static_cast<unsigned>(action));
        input.rule[input.count++] = shape;
        return true;
    }

    LayoutInput input;
    std::vector<unsigned> expected;
};

} // namespace

TEST_F(AutomaticTest, IndependentRulesLandWhereTheLayerPutsThem)
{
    const auto work = std::make_unique<LayoutWorkspace>();
    unsigned added = 0;
    unsigned wide = 0;
    for (uint64_t seed = 1; seed <= kStates; ++seed) {
        Random random(seed);
        support::powerOn();
        for (IFC_LUT0_Format &rule : IFC_LUT0_Rule)
            rule = {};
        for (IFC_LUT1_Format &entry : IFC_LUT1_Rule)
            entry = {};
        input = {};
        expected.clear();
        occupy(random);
        const unsigned standing = input.count;
        for (unsigned n = 1 + random.below(5); n != 0 && addNew(random); --n) {
        }
        LayoutAnswer answer;
        ASSERT_EQ(findLayout(input, *work, answer), LayoutResult::MovedFewest) << seed;
        ASSERT_EQ(answer.moves, 0u) << seed;
        for (unsigned n = 0; n < expected.size(); ++n) {
            ASSERT_EQ(placeNumber(answer.place[standing + n]), expected[n]) << seed << ", new rule " << n;
            ++added;
            wide += expected[n] < IFC_LUT0_RULES;
        }
    }
    EXPECT_GT(added, kStates);
    EXPECT_GT(wide, kStates / 10);
}
