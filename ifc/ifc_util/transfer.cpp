// SPDX-License-Identifier: MIT OR GPL-2.0
// Register transfer: one row, the full rewrite, clearing, the classifier's switch.
#include "ifc/ifc_util.h"

#include "ifc/records/chip.h"

#include "report.h"
#include "window.h"

// The kernel's error number; a platform's header may have it already.
#ifndef ETIME
#define ETIME 62
#endif

// The full rewrite has its work for each row inlined and rare cases out of line, so that its loops are little
// more than their register accesses. A build for size does neither.
#ifdef __OPTIMIZE_SIZE__
#define IFC_EACH_ROW
#define IFC_RARE
#else
#define IFC_EACH_ROW [[gnu::always_inline]] inline
#define IFC_RARE     [[gnu::noinline, gnu::cold]]
#endif

namespace
{

constexpr int RETRY = 3; // reads of the done bit
static_assert(ETIME == 62, "the result of a time-out is part of the interface");

// Known: each comparison reads the revision afresh.
bool lut0IsWritable()
{
    for (const int revision : ifc::kRevisionsWithoutLut0)
        if (GET_HIR() == revision)
            return false;
    return true;
}

IFC_RARE void trace(uint32_t command)
{
    IFC_REPORT("ifcSetRuleConfig is 0x%08x.\n", command);
}

bool isDone(uint32_t reg, uint32_t doneBit)
{
    return (get_frame_engine_data(reg) & doneBit) != 0;
}

// Waits after a first read that did not see the done bit.
IFC_RARE int waitLonger(uint32_t reg, uint32_t doneBit)
{
    for (int reads = 1;; ++reads) {
        mdelay(1); // Known: also after the last read
        if (reads == RETRY)
            return -ETIME;
        if (isDone(reg, doneBit))
            return 0;
    }
}

IFC_RARE int finishLate()
{
    const int result = waitLonger(IFC_RULE_CFG, IFC_RULE_CFG_DONE);
    if (result < 0)
        IFC_REPORT("Timeout for set IFC Rule configuration.\n");
    return result;
}

// Sends a command word and waits until it is done.
IFC_EACH_ROW int transfer(uint32_t command)
{
    if (ifc::traces(DBG_MSG)) [[unlikely]]
        trace(command);
    set_frame_engine_data(IFC_RULE_CFG, command);
    if (isDone(IFC_RULE_CFG, IFC_RULE_CFG_DONE)) [[likely]]
        return 0;
    return finishLate();
}

IFC_EACH_ROW void writeLut0Head(uint rule, uint32_t word)
{
    set_frame_engine_data(IFC_DATA0, word);
    (void)transfer(ifc_rule_cfg_word(rule, IFC_LUT0_HEAD_ROW, IFC_SEL_LUT0, IFC_TYPE_WRITE));
}

// The rule is invalid in the hardware while its body changes.
IFC_EACH_ROW void writeLut0Rule(uint rule, const IFC_LUT0_Format &record)
{
    writeLut0Head(rule, 0);
    uint32_t command = ifc_rule_cfg_word(rule, 0, IFC_SEL_LUT0, IFC_TYPE_WRITE);
    for (int row = 0; row < IFC_LUT0_BODY_ROWS; ++row, command += 1u << IFC_RULE_CFG_OFFSET_LSB) {
        // Written out: as a loop it takes twice the instructions, and this is most of a full rewrite.
        set_frame_engine_data(ifc::dataRegister(0), record.word[ifc_lut0_row_word(row, 0)]);
        set_frame_engine_data(ifc::dataRegister(1), record.word[ifc_lut0_row_word(row, 1)]);
        set_frame_engine_data(ifc::dataRegister(2), record.word[ifc_lut0_row_word(row, 2)]);
        set_frame_engine_data(ifc::dataRegister(3), record.word[ifc_lut0_row_word(row, 3)]);
        (void)transfer(command);
    }
    writeLut0Head(rule, record.word[0]);
}

IFC_EACH_ROW void writeLut1Entry(uint entry, const IFC_LUT1_Format &record)
{
    set_frame_engine_data(IFC_DATA0, record.word[1]);
    set_frame_engine_data(IFC_DATA1, record.word[0]);
    (void)transfer(ifc_rule_cfg_word(entry, 0, IFC_SEL_LUT1, IFC_TYPE_WRITE));
}

} // namespace

int ifcChecConfigDone(uint32_t reg, uint32_t doneBit)
{
    return isDone(reg, doneBit) ? 0 : waitLonger(reg, doneBit);
}

int ifcSetRuleConfig(uint8_t index, uint8_t offset, int sel, int type)
{
    return transfer(
        ifc_rule_cfg_word(index, offset, static_cast<uint32_t>(sel), static_cast<uint32_t>(type)));
}

int write_all_ifc_rule_to_hw(void)
{
    const ifc::WindowLock lock;
    for (uint rule = 0; rule < IFC_LUT0_RULES; ++rule)
        if (lut0IsWritable())
            writeLut0Rule(rule, IFC_LUT0_Rule[rule]);
    for (uint entry = 0; entry < IFC_LUT1_RULES; ++entry)
        writeLut1Entry(entry, IFC_LUT1_Rule[entry]);
    return 0;
}

int clear_all_ifc_rules(void)
{
    __builtin_memset(IFC_LUT0_Rule, 0, sizeof IFC_LUT0_Rule);
    __builtin_memset(IFC_LUT1_Rule, 0, sizeof IFC_LUT1_Rule);
    return 0;
}

int clear_ifc_rules(int ruleId)
{
    const bool one = ruleId >= 0 && ruleId < static_cast<int>(IFC_LUT0_RULES);
    const uint first = one ? static_cast<uint>(ruleId) : 0;
    const uint last = one ? first : IFC_LUT0_RULES - 1;
    for (uint rule = first; rule <= last; ++rule) {
        IFC_LUT0_Rule[rule].word[0] = 0;
        writeLut0Head(rule, 0);
    }
    return 0;
}

static int switchClassifier(uint32_t clear, uint32_t set)
{
    set_frame_engine_data(IFC_GLB_CFG, (get_frame_engine_data(IFC_GLB_CFG) & ~clear) | set);
    (void)printk("Exec. Success.\n");
    return 0;
}

int ifc_enable(void)
{
    return switchClassifier(0, IFC_GLB_CFG_ENABLE);
}

int ifc_disable(void)
{
    return switchClassifier(IFC_GLB_CFG_ENABLE, 0);
}

int ifc_get_ifc_staus(void)
{
    // Known: the sign of the whole register decides, not the enable bit.
    const bool on = static_cast<int32_t>(get_frame_engine_data(IFC_GLB_CFG)) > 0;
    (void)printk("IFC :%s .\n", on ? "Enable" : "Disable");
    return 0;
}
