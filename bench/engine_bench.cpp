// SPDX-License-Identifier: MIT OR GPL-2.0
// Compares the engine's speed with a full line and with the plain engine.
#include "paired.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "engine/classifier.h"
#include "engine_tables.h"
#include "frame_mix.h"
#include "gateway_rules.h"
#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"

using namespace engine;

namespace
{

constexpr double kLineRate = 14.88e6; // 64-byte frames on a 10 Gbit/s line

// Places the gateway's rules through the rule layer. False: one did not fit.
bool gatewayRules(RegisterWindow &window)
{
    host::reset();
    host::attach(&window);
    host::muteLog(true);
    clear_all_ifc_rules();
    bool good = true;
    for (const gateway::Rule &rule : gateway::rules()) {
        orva_ifc_param request = gateway::requestOf(rule);
        good = ifc_set_lut_rules_auto(&request) >= 0 && good;
    }
    host::reset();
    return good;
}

enum class Rules { Gateway, Equal };

// A classifier with rules in all 40 entries.
struct Bed {
    RegisterWindow window;
    std::unique_ptr<Classifier> classifier;

    Bed(Rules rules, Classifier::Method method)
    {
        window.powerOn({});
        bool good = true;
        if (rules == Rules::Gateway)
            good = gatewayRules(window);
        else
            equalRules(window.tables());
        for (const auto &rule : window.tables().lut0)
            good = good && wideValid(rule);
        for (const auto &entry : window.tables().lut1)
            good = good && narrowValid(entry);
        if (!good) {
            std::fprintf(stderr, "engine_bench: the rules do not fill the tables\n");
            std::exit(1);
        }
        window.write(IFC_GLB_CFG, IFC_GLB_CFG_ENABLE);
        classifier = std::make_unique<Classifier>(window);
        classifier->setMethod(method);
    }
    // Parse, match and count every frame once.
    unsigned pass()
    {
        unsigned hits = 0;
        ParsedFrame parsed;
        for (const frames::Bytes &frame : frameMix())
            hits += classifier->classify(frame.data(), frame.size(), {}, parsed).entry != kNoEntry;
        return hits;
    }
};

template <Rules Kind, Classifier::Method Method>
Bed &bedOf()
{
    static Bed bed(Kind, Method);
    return bed;
}

template <Rules Kind, Classifier::Method Method>
void frames2048(benchmark::State &state)
{
    Bed &bed = bedOf<Kind, Method>();
    for (auto _ : state)
        benchmark::DoNotOptimize(bed.pass());
}

void parseAlone(benchmark::State &state)
{
    ParserSettings settings;
    settings.udfs = 0;
    ParsedFrame parsed;
    for (auto _ : state) {
        for (const frames::Bytes &frame : frameMix()) {
            parseFrame(frame.data(), frame.size(), {}, settings, parsed);
            benchmark::DoNotOptimize(parsed.fields.present);
        }
    }
}

BENCHMARK_TEMPLATE(frames2048, Rules::Gateway, Classifier::Method::Fast)->Name("gatewayFast");
BENCHMARK_TEMPLATE(frames2048, Rules::Gateway, Classifier::Method::Plain)->Name("gatewayPlain");
BENCHMARK_TEMPLATE(frames2048, Rules::Equal, Classifier::Method::Fast)->Name("equalFast");
BENCHMARK_TEMPLATE(frames2048, Rules::Equal, Classifier::Method::Plain)->Name("equalPlain");
BENCHMARK(parseAlone);

// The number of frames that hit; 0 if the two engines disagree on a frame.
template <Rules Kind>
unsigned hitsOfBoth()
{
    unsigned hits = 0;
    ParsedFrame parsed;
    for (const frames::Bytes &frame : frameMix()) {
        Result results[2];
        results[0] = bedOf<Kind, Classifier::Method::Fast>().classifier->classify(frame.data(), frame.size(),
                                                                                  {}, parsed);
        results[1] = bedOf<Kind, Classifier::Method::Plain>().classifier->classify(frame.data(), frame.size(),
                                                                                   {}, parsed);
        if (hitBitsOf(results[0].hits) != hitBitsOf(results[1].hits))
            return 0;
        hits += results[0].entry != kNoEntry;
    }
    return hits;
}

// The rows of a set of rules, all 40 entries in use: against a full line, and against the plain engine.
void printFrames(const paired::Collector &collector, const std::string &rules, const char *fast,
                 const char *plain)
{
    const auto found = collector.times.find(fast);
    const auto slow = collector.times.find(plain);
    if (found == collector.times.end() || slow == collector.times.end())
        return;
    const auto count = static_cast<double>(frameMix().size());
    const auto rate = [count](const std::vector<double> &times) {
        return count / paired::median(times) * 1e9;
    };
    // A processor on which the plain engine does not reach this part of the line is too slow for the bound.
    constexpr double kPlainAtLeast = 0.2;
    const bool counts = rate(slow->second) / kLineRate >= kPlainAtLeast;
    row::print("parse, match, count: " + rules, row::number(rate(found->second) / 1e6, "M/s"),
               "10 Gbit/s line " + row::number(kLineRate / 1e6, "M/s"), rate(found->second) / kLineRate,
               counts ? row::Bound::AtLeast : row::Bound::None, 2);
    paired::printRatio(collector, "a frame: " + rules, fast, "plain engine", plain, 0.5, count);
}

} // namespace

int main(int argc, char **argv)
{
    const unsigned gatewayHits = hitsOfBoth<Rules::Gateway>();
    const unsigned equalHits = hitsOfBoth<Rules::Equal>();
    if (gatewayHits == 0 || equalHits == 0) {
        std::fprintf(stderr, "engine_bench: the two engines disagree\n");
        return 1;
    }
    const paired::Collector collector = paired::runAll(argc, argv);
    char gateway[40];
    std::snprintf(gateway, sizeof gateway, "gateway, %.0f %% hits",
                  100.0 * gatewayHits / static_cast<double>(frameMix().size()));
    printFrames(collector, gateway, "gatewayFast", "gatewayPlain");
    printFrames(collector, "\"equal\" alone", "equalFast", "equalPlain");
    const auto parse = collector.times.find("parseAlone");
    if (parse != collector.times.end())
        row::printAlone("parse alone, a frame",
                        paired::median(parse->second) / static_cast<double>(frameMix().size()), "ns");
    return 0;
}
