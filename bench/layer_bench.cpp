// SPDX-License-Identifier: MIT OR GPL-2.0
// Compares operations of the rule layer with floors: a full rewrite and an automatic placement with their
// register accesses alone, through the same external accessors; the codec with straight-line code.
#include "paired.h"

#include "ifc/ifc_regs.h"
#include "ifc/ifc_util.h"
#include "tests/support/host/silent_services.h"

void straightUnpack(const IFC_LUT0_Format &rule, unsigned *masks, unsigned *keys);
void straightPack(IFC_LUT0_Format &rule, const unsigned *masks, const unsigned *keys);

namespace
{

void rewrite(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(write_all_ifc_rule_to_hw());
}

void command(uint32_t word)
{
    set_frame_engine_data(IFC_RULE_CFG, word);
    benchmark::DoNotOptimize(get_frame_engine_data(IFC_RULE_CFG));
}

// The same 528 writes of the same words, and the same 128 reads, in the same order. Command words cost
// nothing.
void rewriteAccesses()
{
    for (uint32_t rule = 0; rule < IFC_LUT0_RULES; ++rule) {
        set_frame_engine_data(IFC_DATA0, 0);
        command(rule);
        const uint32_t *word = IFC_LUT0_Rule[rule].word + IFC_LUT0_WORDS;
        for (uint32_t row = 0; row < IFC_LUT0_BODY_ROWS; ++row) {
            word -= IFC_ROW_WORDS;
            set_frame_engine_data(IFC_DATA0, word[3]);
            set_frame_engine_data(IFC_DATA0 + 4, word[2]);
            set_frame_engine_data(IFC_DATA0 + 8, word[1]);
            set_frame_engine_data(IFC_DATA0 + 12, word[0]);
            command(row);
        }
        set_frame_engine_data(IFC_DATA0, IFC_LUT0_Rule[rule].word[0]);
        command(rule);
    }
    for (uint32_t entry = 0; entry < IFC_LUT1_RULES; ++entry) {
        set_frame_engine_data(IFC_DATA0, IFC_LUT1_Rule[entry].word[1]);
        set_frame_engine_data(IFC_DATA1, IFC_LUT1_Rule[entry].word[0]);
        command(entry);
    }
}

void rewriteFloor(benchmark::State &state)
{
    for (auto _ : state)
        rewriteAccesses();
}

orva_ifc_param eightConditions()
{
    constexpr unsigned kFields[] = {SIPv4, DIPv4, IPv4_PROTOCOL, SPORT, DPORT, VID0, ETYPE, IPv4_DSCP};
    orva_ifc_param request{};
    unsigned n = 0;
    for (const unsigned field : kFields) {
        request.fieldIdx[n] = field;
        request.mask_low[n] = 0xFFFFFFFF;
        request.key_low[n] = 0x1234 + n;
        ++n;
    }
    return request;
}

// Each condition rewrites both tables, and so does the end. The tables are cleared in memory before each
// rule.
constexpr unsigned kRewritesOfEight = 9;

void placeEight(benchmark::State &state)
{
    orva_ifc_param request = eightConditions();
    for (auto _ : state) {
        (void)clear_all_ifc_rules();
        benchmark::DoNotOptimize(ifc_set_lut_rules_auto(&request));
    }
}

void placeFloor(benchmark::State &state)
{
    for (auto _ : state)
        for (unsigned n = 0; n < kRewritesOfEight; ++n)
            rewriteAccesses();
}

unsigned masks[32];
unsigned keys[32];

void codec(benchmark::State &state)
{
    for (auto _ : state) {
        get_lut0_mask_key(3, masks, keys);
        set_lut0_mask_key(3, masks, keys);
        benchmark::ClobberMemory();
    }
}

void straightCodec(benchmark::State &state)
{
    for (auto _ : state) {
        straightUnpack(IFC_LUT0_Rule[3], masks, keys);
        straightPack(IFC_LUT0_Rule[3], masks, keys);
        benchmark::ClobberMemory();
    }
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::RegisterBenchmark("rewrite", rewrite);
    benchmark::RegisterBenchmark("rewriteFloor", rewriteFloor);
    benchmark::RegisterBenchmark("codec", codec);
    benchmark::RegisterBenchmark("straightCodec", straightCodec);
    benchmark::RegisterBenchmark("placeEight", placeEight);
    benchmark::RegisterBenchmark("placeFloor", placeFloor);
    const auto collected = paired::runAll(argc, argv);
    paired::printRatio(collected, "full rewrite of both tables", "rewrite", "its register accesses",
                       "rewriteFloor", 1.1);
    paired::printRatio(collected, "codec of a wide rule, both ways", "codec", "straight-line code",
                       "straightCodec", 1.0);
    paired::printRatio(collected, "ifc_set_lut_rules_auto, 8 conditions", "placeEight",
                       "its register accesses", "placeFloor", 1.15);
    return 0;
}
