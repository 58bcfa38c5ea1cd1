// SPDX-License-Identifier: MIT OR GPL-2.0
// What ordered rules cost: processor time of plans and of the overlap of a pair, and register accesses.
// Usage: ruleset_bench [SETS [SEED]]: random sets to plan, and the first seed.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <vector>

#include "engine/register_window.h"
#include "gateway_rules.h"
#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"
#include "row.h"
#include "ruleset/ruleset.h"
#include "tests/ruleset/rule_support.h"

namespace
{

constexpr double kMedianBound = 200;   // microseconds of a plan
constexpr double kWorstBound = 20'000; // alike
constexpr double kBringUpBound = 0.02; // of the accesses of automatic placement
constexpr unsigned kAddBound = 40;     // accesses
constexpr unsigned kStretchBound = 64; // accesses in one hold of the lock

// Microseconds that this process has run.
double processorTime()
{
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

// A chip that counts its register accesses, all of them and in each hold of the lock.
class Chip
{
public:
    Chip()
    {
        host::reset();
        window_.powerOn({});
        window_.onAccess(
            [](void *self, const engine::Access &) {
                ++static_cast<Chip *>(self)->accesses;
                ++static_cast<Chip *>(self)->stretch_;
            },
            this);
        host::attach(&window_);
        host::setEventWatch([this](host::Event event) {
            if (event == host::Event::Unlock)
                longest = std::max(longest, stretch_);
            if (event == host::Event::Lock)
                stretch_ = 0;
        });
        std::fill(std::begin(IFC_LUT0_Rule), std::end(IFC_LUT0_Rule), IFC_LUT0_Format{});
        std::fill(std::begin(IFC_LUT1_Rule), std::end(IFC_LUT1_Rule), IFC_LUT1_Format{});
    }
    ~Chip() { host::reset(); }

    unsigned accesses = 0;
    unsigned longest = 0;

private:
    engine::RegisterWindow window_;
    unsigned stretch_ = 0;
};

using Set = std::unique_ptr<ifc_ruleset>;

Set newSet()
{
    Set set = std::make_unique<ifc_ruleset>();
    ifc_ruleset_init(set.get());
    return set;
}

void fail(const char *what)
{
    std::fprintf(stderr, "ruleset_bench: %s\n", what);
    std::exit(2);
}

// Random rules, by kind:
//   0  any conditions
//   1  addresses, protocol and ports, as an access list has them: most of them overlap
//   2  short chains that do not overlap
//   3  many masked conditions on one field of 16 bits
//   4  MAC addresses that differ from several, under masks
constexpr unsigned kKinds = 5;

ifc_rule_condition masked(Random &random, unsigned field, ifc_compare compare)
{
    const uint64_t mask = random.wide() & ifc::fieldOnes(field);
    return rules::compared(field, compare, random.wide() & mask, mask);
}

ifc_rule randomRuleOf(Random &random, unsigned kind)
{
    std::vector<ifc_rule_condition> conditions;
    switch (kind) {
    case 0:
        return rules::randomRule(random, 6);
    case 1:
        for (const IFC_FIELDS field : {SIPv4, DIPv4}) {
            const uint64_t mask = gateway::prefix(8 + random.below(17));
            if (random.oneIn(2))
                conditions.push_back(rules::equal(field, random.wide() & 0x0F0F0F00 & mask, mask));
        }
        if (random.oneIn(2))
            conditions.push_back(rules::equal(IPv4_PROTOCOL, random.oneIn(2) ? 6 : 17));
        conditions.push_back(
            rules::range(random.oneIn(2) ? DPORT : SPORT, random.below(1024), 1024 + random.below(60000)));
        break;
    case 2:
        conditions.push_back(rules::equal(VID0, random.below(4096)));
        if (random.oneIn(2))
            conditions.push_back(rules::equal(PBIT0, random.below(8)));
        break;
    case 3:
        for (unsigned n = 2 + random.below(14); n != 0; --n)
            conditions.push_back(masked(random, DPORT, static_cast<ifc_compare>(1 + random.below(3))));
        break;
    default:
        for (unsigned n = 1 + random.below(8); n != 0; --n)
            conditions.push_back(rules::compared(DMAC, IFC_COMPARE_NOT_EQUAL, random.below(4), 7));
        break;
    }
    return rules::ruleOf(conditions);
}

// Plans sets of 1 to 40 rules. Every second one stands in the tables before some of its rules are exchanged.
void planSets(unsigned sets, uint64_t firstSeed)
{
    std::vector<double> plans;
    std::vector<double> builds;
    double worst = 0;
    uint64_t worstSeed = 0;
    unsigned placed = 0;
    for (uint64_t seed = firstSeed; seed < firstSeed + sets; ++seed) {
        Random random(seed);
        const unsigned kind = random.below(kKinds + 1); // the last one: all kinds in one set
        const auto next = [&] { return randomRuleOf(random, kind == kKinds ? random.below(kKinds) : kind); };
        Chip chip;
        Set set = newSet();
        const unsigned wanted = 1 + random.below(IFC_RULESET_RULES);
        double begin = processorTime();
        for (unsigned n = 0; n < wanted; ++n) {
            const ifc_rule rule = next();
            if (ifc_ruleset_insert(set.get(), random.below(n + 1), &rule, nullptr) != IFC_RULESET_OK)
                fail("a rule is refused");
        }
        builds.push_back(processorTime() - begin);
        if (seed % 2 != 0) {
            // The largest number of these rules that has places.
            while (ifc_ruleset_apply(set.get(), 0, nullptr) != IFC_RULESET_OK)
                if (ifc_ruleset_remove(set.get(), random.below(ifc_ruleset_count(set.get()))) !=
                    IFC_RULESET_OK)
                    fail("no rule at all has a place");
            for (unsigned n = 1 + random.below(6); n != 0; --n) {
                const uint32_t count = ifc_ruleset_count(set.get());
                if (count != 0 && random.oneIn(2))
                    (void)ifc_ruleset_move(set.get(), random.below(count), random.below(count));
                if (count > 1 && random.oneIn(2))
                    (void)ifc_ruleset_remove(set.get(), random.below(count));
                const ifc_rule rule = next();
                (void)ifc_ruleset_insert(set.get(), 0, &rule, nullptr);
            }
        }
        begin = processorTime();
        placed += ifc_ruleset_plan(set.get(), nullptr) == IFC_RULESET_OK;
        plans.push_back(processorTime() - begin);
        if (plans.back() > worst) {
            worst = plans.back();
            worstSeed = seed;
        }
    }
    std::sort(plans.begin(), plans.end());
    std::sort(builds.begin(), builds.end());
    row::printAlone("sets to plan", sets, "");
    row::printAlone("sets with a layout", placed, "");
    row::printLimit("plan, median", plans[sets / 2], "us", kMedianBound);
    row::printAlone("plan, 99 of 100 within", plans[sets - 1 - sets / 100], "us");
    row::printLimit("plan, worst", plans.back(), "us", kWorstBound);
    row::printAlone("set of the worst plan", static_cast<double>(worstSeed), "");
    row::printAlone("all inserts of a set, median", builds[sets / 2], "us");
    row::printAlone("all inserts of a set, worst", builds.back(), "us");
}

void timeOverlap()
{
    for (unsigned kind = 0; kind < kKinds; ++kind) {
        Random random(kind);
        std::vector<ifc_rule> all;
        for (unsigned n = 0; n < 200; ++n)
            all.push_back(randomRuleOf(random, kind));
        unsigned overlaps = 0;
        double worst = 0;
        const double begin = processorTime();
        for (const ifc_rule &a : all) {
            const double first = processorTime();
            for (const ifc_rule &b : all)
                overlaps += static_cast<unsigned>(ifc_rule_overlap(&a, &b));
            worst = std::max(worst, (processorTime() - first) / static_cast<double>(all.size()));
        }
        const double pairs = static_cast<double>(all.size() * all.size());
        const std::string what = "overlap of a pair, kind " + std::to_string(kind);
        row::printAlone(what, (processorTime() - begin) / pairs, "us");
        row::printAlone(what + ", with the slowest rule", worst, "us");
        row::printAlone(what + ", overlap", 100 * overlaps / pairs, "%");
    }
}

ifc_rule ruleFrom(const gateway::Rule &given, unsigned number)
{
    ifc_rule rule = {};
    for (const gateway::Term &term : given)
        rule.condition[rule.count++] = {
            static_cast<uint8_t>(term.field), static_cast<uint8_t>(term.command), 0, 0, term.mask, term.key};
    rule.action.bits.queue = number % 8;
    rule.action.bits.enable = 1u << IFC_ACT_CHANNEL_QUEUE;
    return rule;
}

// As it is without ordered rules: automatic placement, and one sub-action for each rule.
unsigned placeAutomatically(const std::vector<gateway::Rule> &all)
{
    Chip chip;
    ifcSendToPpe = 1;
    unsigned number = 0;
    for (const gateway::Rule &given : all) {
        orva_ifc_param request = gateway::requestOf(given);
        const int action = host::quietly([&] { return ifc_set_lut_rules_auto(&request); });
        if (action < 0 || host::quietly([&] {
                              return ifc_set_action(static_cast<uint>(action), IFC_ACT_CHANNEL_QUEUE,
                                                    IFC_ENABLE, 0, number % 8, 0, 0);
                          }) < 0)
            fail("automatic placement refuses a rule");
        ++number;
    }
    return chip.accesses;
}

void insert(ifc_ruleset &set, uint32_t position, const gateway::Rule &rule, unsigned number)
{
    const ifc_rule made = ruleFrom(rule, number);
    if (ifc_ruleset_insert(&set, position, &made, nullptr) != IFC_RULESET_OK)
        fail("a rule of the gateway is refused");
}

void countAccesses()
{
    const std::vector<gateway::Rule> all = gateway::rules();
    const unsigned automatic = placeAutomatically(all);
    unsigned longest = 0;
    {
        Chip chip;
        Set set = newSet();
        for (unsigned n = 0; n < all.size(); ++n)
            insert(*set, n, all[n], n);
        if (ifc_ruleset_apply(set.get(), 0, nullptr) != IFC_RULESET_OK)
            fail("the gateway has no layout");
        row::print("the gateway's rules by one apply", row::number(chip.accesses, "accesses"),
                   "by automatic placement " + row::number(automatic, "accesses"),
                   double(chip.accesses) / automatic, row::Bound::AtMost, kBringUpBound);
        longest = chip.longest;
    }
    // Each rule of three entries in turn is the last one to come.
    unsigned most = 0;
    unsigned tried = 0;
    for (unsigned late = 0; late < all.size(); ++late) {
        ifc_rule_shape shape;
        const ifc_rule rule = ruleFrom(all[late], late);
        ifc_rule_shape_of(&rule, &shape);
        if (shape.narrow_entries != 3 || shape.counted != 3)
            continue;
        Chip chip;
        Set set = newSet();
        for (unsigned n = 0; n < all.size(); ++n)
            if (n != late)
                insert(*set, IFC_RULESET_LAST, all[n], n);
        if (ifc_ruleset_apply(set.get(), 0, nullptr) != IFC_RULESET_OK)
            fail("the gateway without a rule has no layout");
        chip.accesses = 0;
        ++tried;
        ifc_ruleset_report report;
        insert(*set, late, all[late], late);
        if (ifc_ruleset_apply(set.get(), 0, &report) != IFC_RULESET_OK)
            fail("a rule cannot be added");
        if (report.moved == 0)
            most = std::max(most, chip.accesses);
        longest = std::max(longest, chip.longest);
    }
    if (tried == 0 || most == 0)
        fail("no rule of three entries can be added without moves");
    row::printLimit("one more rule of three entries, none moves: most", most, "accesses", kAddBound);
    row::printLimit("longest hold of the lock", longest, "accesses", kStretchBound);
}

} // namespace

int main(int argc, char **argv)
{
    const int sets = argc > 1 ? std::atoi(argv[1]) : 10'000;
    if (sets <= 0) {
        std::fprintf(stderr, "usage: ruleset_bench [SETS [SEED]]\n");
        return 2;
    }
    planSets(static_cast<unsigned>(sets), argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1);
    timeOverlap();
    countAccesses();
    return 0;
}
