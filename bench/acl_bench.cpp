// SPDX-License-Identifier: MIT OR GPL-2.0
// Compares the engine's matching with rte_acl of DPDK (AVX2, batches of 32), if it is installed.
#include "paired.h"

#include <cstdio>
#include <memory>
#include <vector>

#include "acl_peer.h"
#include "engine/fast_match.h"
#include "engine_tables.h"
#include "tests/engine/random.h"

using namespace engine;

namespace
{

// 40 rules of five fields, for the engine and for rte_acl.
struct FiveTuples {
    std::vector<FiveTupleRule> rules;
    std::vector<FiveTuple> keys;
    std::vector<FieldImage> images;
    std::unique_ptr<FastMatch> whole = std::make_unique<FastMatch>();
    static constexpr unsigned kTables = IFC_ACTIONS / IFC_LUT0_RULES;
    std::unique_ptr<FastMatch[]> tables = std::make_unique<FastMatch[]>(kTables);

    FiveTuples()
    {
        Random random(9);
        for (unsigned n = 0; n < IFC_ACTIONS; ++n)
            rules.push_back({{0xC0A80000u + (random.below(16) << 8) + random.below(256),
                              0xCB007100u + random.below(256), static_cast<uint16_t>(1024 + random.below(64)),
                              static_cast<uint16_t>(5000 + random.below(64)),
                              static_cast<uint8_t>(random.oneIn(2) ? 6 : 17)},
                             random.oneIn(2) ? 32u : 24u,
                             random.oneIn(2) ? 32u : 24u,
                             random.oneIn(2),
                             random.oneIn(3)});
        compileWhole();
        compileTables();
        for (unsigned n = 0; n < 1024; ++n) {
            // The values of a rule, often with one field changed.
            FiveTuple key = rules[random.below(IFC_ACTIONS)].key;
            if (random.oneIn(2))
                key.destination ^= random.below(256);
            if (random.oneIn(2))
                key.destinationPort = static_cast<uint16_t>(5000 + random.below(64));
            keys.push_back(key);
            FieldImage image{};
            setField(image, SIPv4, key.source);
            setField(image, DIPv4, key.destination);
            setField(image, IPv4_PROTOCOL, key.protocol);
            setField(image, SPORT, key.sourcePort);
            setField(image, DPORT, key.destinationPort);
            images.push_back(image);
        }
    }
    static gateway::Rule termsOf(const FiveTupleRule &rule)
    {
        using gateway::is;
        gateway::Rule terms = {is(SIPv4, rule.key.source, gateway::prefix(rule.sourceBits)),
                               is(DIPv4, rule.key.destination, gateway::prefix(rule.destinationBits)),
                               is(IPv4_PROTOCOL, rule.key.protocol)};
        if (!rule.anySourcePort)
            terms.push_back(is(SPORT, rule.key.sourcePort));
        if (!rule.anyDestinationPort)
            terms.push_back(is(DPORT, rule.key.destinationPort));
        return terms;
    }
    // The engine's matcher with all 40 rules at once, more than the tables can hold.
    void compileWhole()
    {
        whole->begin();
        for (unsigned n = 0; n < rules.size(); ++n) {
            whole->addRule(n);
            for (const gateway::Term &term : termsOf(rules[n]))
                whole->require(n, {static_cast<uint8_t>(term.field), term.command, 0, term.mask, term.key});
        }
        whole->finish();
    }
    // A table holds eight wide rules, so five tables are searched one after the other.
    void compileTables()
    {
        const auto image = std::make_unique<Tables>();
        for (unsigned t = 0; t < kTables; ++t) {
            *image = {};
            for (unsigned n = 0; n < IFC_LUT0_RULES; ++n)
                wideRule(*image, n, termsOf(rules[IFC_LUT0_RULES * t + n]));
            tables[t].compile(*image);
        }
    }
    static uint32_t firstOf(uint64_t rules)
    {
        return static_cast<uint32_t>(__builtin_ffsll(static_cast<long long>(rules)));
    }
    void classifyByTables(std::vector<uint32_t> &results) const
    {
        const FastMatch *const all = tables.get();
        uint32_t *result = results.data();
        for (const FieldImage &image : images) {
            uint64_t hits = 0;
            for (unsigned t = 0; t < kTables; ++t)
                hits |= all[t].match(image) << IFC_LUT0_RULES * t;
            *result++ = firstOf(hits);
        }
    }
    void classify(std::vector<uint32_t> &results) const
    {
        const FastMatch &all = *whole;
        uint32_t *result = results.data();
        for (const FieldImage &image : images)
            *result++ = firstOf(all.match(image));
    }
};

FiveTuples &fiveTuples()
{
    static FiveTuples all;
    return all;
}

void matchTables(benchmark::State &state)
{
    std::vector<uint32_t> results(fiveTuples().keys.size());
    for (auto _ : state) {
        fiveTuples().classifyByTables(results);
        benchmark::ClobberMemory();
    }
}

void matchWhole(benchmark::State &state)
{
    std::vector<uint32_t> results(fiveTuples().keys.size());
    for (auto _ : state) {
        fiveTuples().classify(results);
        benchmark::ClobberMemory();
    }
}

#ifdef IFC_HAVE_DPDK
void matchAcl(benchmark::State &state)
{
    std::vector<uint32_t> results(fiveTuples().keys.size());
    for (auto _ : state) {
        aclClassify(results);
        benchmark::ClobberMemory();
    }
}
#endif

BENCHMARK(matchTables);
BENCHMARK(matchWhole);
#ifdef IFC_HAVE_DPDK
BENCHMARK(matchAcl);
#endif

} // namespace

int main(int argc, char **argv)
{
    std::vector<uint32_t> own(fiveTuples().keys.size());
    std::vector<uint32_t> other(own.size());
    fiveTuples().classifyByTables(own);
    fiveTuples().classify(other);
    bool same = own == other;
#ifdef IFC_HAVE_DPDK
    if (!aclPrepare(fiveTuples().rules, fiveTuples().keys)) {
        std::fprintf(stderr, "acl_bench: rte_acl does not start here\n");
        return 1;
    }
    aclClassify(other);
    same = same && own == other;
#endif
    if (!same) {
        std::fprintf(stderr, "acl_bench: the sides disagree\n");
        return 1;
    }
    const paired::Collector collector = paired::runAll(argc, argv);
#ifdef IFC_HAVE_DPDK
    const auto keys = static_cast<double>(fiveTuples().keys.size());
    paired::printRatio(collector, "match of a key: 40 five-tuples at once", "matchWhole", "rte_acl",
                       "matchAcl", 0.6, keys);
    paired::printRatio(collector, "match of a key: 5 tables of 8 five-tuples", "matchTables", "rte_acl",
                       "matchAcl", 1.0, keys);
#else
    row::printMissing("match of a key", "rte_acl: not installed");
#endif
    return 0;
}
