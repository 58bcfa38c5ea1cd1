// SPDX-License-Identifier: MIT OR GPL-2.0
// Compares a full rewrite of both tables with a lower bound: only its 528 writes and 128 reads, to an array,
// through the same external accessors.
#include "paired.h"

#include "ifc/ifc_regs.h"
#include "ifc/ifc_util.h"

namespace
{

volatile uint32_t registers[256];

} // namespace

extern "C" {
__attribute__((noinline)) uint32_t get_frame_engine_data(uint32_t reg)
{
    return registers[(reg - FE_BASE) / 4 % 256] | IFC_RULE_CFG_DONE;
}
__attribute__((noinline)) void set_frame_engine_data(uint32_t reg, uint32_t value)
{
    registers[(reg - FE_BASE) / 4 % 256] = value;
}
int GET_HIR(void)
{
    return 0;
}
int printk(const char *, ...)
{
    return 0;
}
void mdelay(unsigned long) {}
unsigned long ifc_spin_lock_irqsave(spinlock_t *)
{
    return 0;
}
void ifc_spin_unlock_irqrestore(spinlock_t *, unsigned long) {}
}

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

// The same 528 writes of the same words, and the same 128 reads, in the same order. Command words cost nothing.
void floorOfIt(benchmark::State &state)
{
    for (auto _ : state) {
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
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::RegisterBenchmark("rewrite", rewrite);
    benchmark::RegisterBenchmark("floor", floorOfIt);
    const auto collected = paired::runAll(argc, argv);
    std::printf("%-44s %12s %12s\n", "", "ours", "floor");
    paired::printRatio(collected, "full rewrite : its register accesses alone", "rewrite", "floor", 0);
    return 0;
}
