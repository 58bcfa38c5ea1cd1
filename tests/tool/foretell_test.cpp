// SPDX-License-Identifier: MIT OR GPL-2.0
// Compares the tool's predictions with the rule layer's results, over random tables and requests.
// IFC_FORETELL in the environment sets the number of cases of each test (default 100,000).
#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/placement_plan.h"
#include "tools/ifcctl/core/rules.h"
#include "tools/ifcctl/core/values.h"

#include "engine/register_window.h"
#include "foretell_support.h"
#include "ifc/ifc_util.h"
#include "ifc/records/chip.h"
#include "platform/host/host_platform.h"
#include "tests/engine/random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <numeric>
#include <string>

using namespace ifcctl;

namespace
{

unsigned caseCount()
{
    return foretell::caseCount("IFC_FORETELL", 100000);
}

class Foretell : public testing::Test
{
protected:
    Foretell()
    {
        host::reset();
        host::attach(window_.get());
        host::setLogSink([this](std::string_view piece) { log_ += piece; });
        window_->powerOn({});
        // A revision whose LUT0 is never written: a rewrite of the tables then costs a quarter. Placement is
        // the same for every revision.
        host::setRevision(ifc::kRevisionsWithoutLut0[0]);
    }
    ~Foretell() override
    {
        host::reset();
        (void)clear_all_ifc_rules();
    }

    unsigned below(unsigned bound) { return random_.below(bound); }

    // Tables from empty to full, with chains and with leftovers that have no end flag.
    void randomTables()
    {
        (void)clear_all_ifc_rules();
        const unsigned wideShare = below(5);
        const unsigned narrowShare = below(9);
        for (auto &rule : IFC_LUT0_Rule)
            rule.bits.valid = below(4) < wideShare;
        for (auto &entry : IFC_LUT1_Rule) {
            if (below(8) >= narrowShare)
                continue;
            for (uint32_t &word : entry.word)
                word = random_.word();
            entry.type0.valid = 1;
        }
    }

    // Masks that LUT1 holds, widens, and does not hold.
    uint64_t randomMask(unsigned width)
    {
        const uint64_t ones = (uint64_t{1} << width) - 1;
        const uint64_t any = random_.wide();
        const unsigned count = 1 + below(width);
        uint64_t mask = ones;
        switch (below(6)) {
        case 0:
            mask = any & ones;
            break;
        case 1:
            mask = (uint64_t{1} << count) - 1;
            break;
        case 2:
            mask = ones & ~((uint64_t{1} << (width - count)) - 1);
            break;
        case 3: // ones in the middle
            mask = ((uint64_t{1} << count) - 1) << below(width - count + 1);
            break;
        default:
            break;
        }
        return mask != 0 ? mask : ones;
    }

    Match randomMatch()
    {
        std::array<unsigned, IFC_LUT1_FIELDS> fields{};
        std::iota(fields.begin(), fields.end(), 1u);
        // Often without user-defined fields, so that LUT0 is used.
        const unsigned most = below(3) == 0 ? IFC_LUT1_FIELDS : IFC_LUT0_FIELDS;
        for (unsigned n = 0; n < most; ++n)
            std::swap(fields[n], fields[n + below(most - n)]);
        const unsigned count = below(4) == 0 ? 1 + below(most) : 1 + below(12);
        Match match;
        for (unsigned n = 0; n < count; ++n) {
            Condition c;
            c.field = fields[n];
            c.command = below(c.field <= IFC_LAST_WORD_FIELD ? 2 : 4);
            c.mask = below(3) == 0 ? randomMask(ifc::fieldWidth(c.field)) : ifc::fieldOnes(c.field);
            c.key = random_.wide() & c.mask;
            c.word = ifc::fieldName(c.field);
            match.push_back(c);
        }
        return match;
    }

    int add(const Match &match)
    {
        orva_ifc_param request{};
        for (size_t n = 0; n < match.size(); ++n) {
            request.fieldIdx[n] = match[n].field;
            request.command[n] = match[n].command;
            request.mask_low[n] = static_cast<uint32_t>(match[n].mask);
            request.mask_high[n] = static_cast<uint32_t>(match[n].mask >> 32);
            request.key_low[n] = static_cast<uint32_t>(match[n].key);
            request.key_high[n] = static_cast<uint32_t>(match[n].key >> 32);
        }
        log_.clear();
        return ifc_set_lut_rules_auto(&request);
    }

    bool layerSaid(const char *text) const { return log_.find(text) != std::string::npos; }

    Random random_{20240607};
    std::unique_ptr<engine::RegisterWindow> window_ = std::make_unique<engine::RegisterWindow>();
    std::string log_;
};

std::string describe(const Match &match)
{
    std::string text;
    for (const Condition &c : match)
        text += std::string(ifc::fieldName(c.field)) + ' ' + formatHex(c.command) + ' ' + formatHex(c.mask) +
                ' ' + formatHex(c.key) + ", ";
    return text;
}

// The number that `validate` predicts, or the reason of its refusal.
struct Verdict {
    int id = -1;
    Plan plan{};
    Reason reason = Reason::Usage;
};

Verdict foretell(const Match &match, bool force)
{
    Verdict verdict;
    try {
        verdict.plan = planPlacement(match, force);
        verdict.id = static_cast<int>(verdict.plan.id());
    } catch (const Error &error) {
        verdict.reason = error.reason();
    }
    return verdict;
}

// An add of the tool: plan, then the rule layer.
TEST_F(Foretell, ValidateSaysThePlaceOrTheRefusal)
{
    const unsigned cases = caseCount();
    std::map<std::string, unsigned> seen;
    for (unsigned n = 0; n < cases && !HasFailure(); ++n) {
        SCOPED_TRACE("case " + std::to_string(n));
        randomTables();
        const Match match = randomMatch();
        const foretell::Shadow before;
        const Verdict verdict = foretell(match, below(2) == 0);
        const foretell::Shadow after;
        ASSERT_EQ(std::memcmp(&before, &after, sizeof before), 0) << "a plan changes nothing";
        const int id = add(match);

        if (verdict.id >= 0) {
            ++seen[verdict.plan.lut0 ? "LUT0" : "LUT1"];
            ASSERT_EQ(id, verdict.id) << describe(match);
            // Exactly the predicted entries are new.
            for (unsigned entry = 0; entry < IFC_LUT1_RULES; ++entry) {
                const bool planned =
                    !verdict.plan.lut0 && entry >= verdict.plan.first && entry <= verdict.plan.last;
                ASSERT_EQ(IFC_LUT1_Rule[entry].type0.valid, planned || before.narrow[entry].type0.valid)
                    << entry << " of " << verdict.plan.place() << ": " << describe(match);
            }
            for (unsigned rule = 0; rule < IFC_LUT0_RULES; ++rule) {
                const bool planned = verdict.plan.lut0 && rule == verdict.plan.first;
                ASSERT_EQ(IFC_LUT0_Rule[rule].bits.valid, planned || before.wide[rule].bits.valid) << rule;
            }
            continue;
        }
        switch (verdict.reason) {
        case Reason::NoSpace:
            ++seen["no space"];
            ASSERT_EQ(id, -1);
            ASSERT_TRUE(layerSaid("lut1 has no space yet")) << describe(match);
            break;
        case Reason::MaskNotContiguous: // the layer looks for space first
            ++seen["mask"];
            ASSERT_EQ(id, -1);
            ASSERT_TRUE(layerSaid("mask error") || layerSaid("lut1 has no space yet")) << describe(match);
            break;
        case Reason::
            MaskStoredWider: { // refused by the tool alone: force finds the place, or the real refusal
            ++seen["wider"];
            before.restore();
            const Verdict forced = foretell(match, true);
            ASSERT_EQ(forced.id, add(match)) << describe(match);
            break;
        }
        case Reason::UserFieldInLut0:
            ++seen["user-defined"];
            // Known: the layer puts at most 31 conditions into LUT0 and drops the others without a word.
            ASSERT_TRUE(id == -1 || match.size() > 31) << describe(match);
            break;
        default:
            FAIL() << "another reason: " << describe(match);
        }
    }
    for (const char *kind : {"LUT0", "LUT1", "no space", "mask", "wider", "user-defined"})
        EXPECT_GT(seen[kind], cases / 2000) << kind;
}

TEST_F(Foretell, FitsSaysHowManyAddsSucceed)
{
    const unsigned cases = caseCount();
    unsigned most = 0;
    for (unsigned n = 0; n < cases && !HasFailure(); ++n) {
        SCOPED_TRACE("case " + std::to_string(n));
        randomTables();
        const Match match = randomMatch();
        const bool force = below(2) == 0;
        const unsigned fits = countFits(match, force);
        unsigned added = 0;
        while (foretell(match, force).id >= 0) {
            ASSERT_GE(add(match), 0) << describe(match);
            ++added;
            ASSERT_LE(added, IFC_ACTIONS);
        }
        ASSERT_EQ(added, fits) << describe(match);
        most = std::max(most, fits);
    }
    EXPECT_GT(most, 16u);
}

} // namespace
