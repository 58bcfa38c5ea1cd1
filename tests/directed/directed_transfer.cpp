// SPDX-License-Identifier: MIT OR GPL-2.0
// Register transfer, full rewrite, clearing, the classifier's switch.
#include "directed.h"

namespace directed
{
namespace
{

void fillShadow()
{
    uint32_t value = 0x01020304;
    for (auto &rule : IFC_LUT0_Rule)
        for (uint32_t &word : rule.word)
            word = value = value * 1664525 + 1013904223;
    for (auto &entry : IFC_LUT1_Rule)
        for (uint32_t &word : entry.word)
            word = value = value * 1664525 + 1013904223;
}

void commandWord()
{
    DIRECTED_EQ(ifcSetRuleConfig(3, 10, 0, 1), 0);
    DIRECTED_EQ(ifcSetRuleConfig(7, 0x4A, 4, 5), 0); // every argument is cut
    DIRECTED_TRAFFIC.write(IFC_RULE_CFG, 0x00030A03)
        .read(IFC_RULE_CFG, 0x80030A03)
        .write(IFC_RULE_CFG, 0x00070A03)
        .read(IFC_RULE_CFG, 0x80070A03);
    DIRECTED_TEXT("");
    forget();
    DIRECTED_EQ(ifcSetRuleConfig(1, 0, -3, -4), 0); // of a negative number two bits count too: 1 and 0
    DIRECTED_TRAFFIC.transfer(1, 0, IFC_SEL_LUT1, IFC_TYPE_READ);
}

void commandWordIsTraced()
{
    const uint8 levels[] = {0, 1, 2, 3, 4, 255};
    for (const uint8 level : levels) {
        forget();
        gpIfcPriv->dbgLevel = level;
        (void)ifcSetRuleConfig(3, 10, 0, 1);
        DIRECTED_TEXT(level > 2 ? "@ifcSetRuleConfig is 0x00030a03.\n" : "");
    }
    powerOn(0);
    gpIfcPriv->dbgLevel = DBG_MSG;
    DIRECTED_EQ(ifcSetRuleConfig(3, 10, 0, 1), -62);
    DIRECTED_TEXT("@ifcSetRuleConfig is 0x00030a03.\n@Timeout for set IFC Rule configuration.\n");
}

void waitsBehindEachRead()
{
    powerOn(0);
    DIRECTED_EQ(ifcSetRuleConfig(0, 0, 1, 1), -62);
    DIRECTED_TRAFFIC.timeOut(0, 0, IFC_SEL_LUT1, IFC_TYPE_WRITE);
    DIRECTED_TEXT("@Timeout for set IFC Rule configuration.\n");
    powerOn(3);
    DIRECTED_EQ(ifcSetRuleConfig(0, 0, 1, 1), 0);
    DIRECTED_EQ(count(Kind::Read), 3);
    DIRECTED_EQ(count(Kind::Wait), 2);
}

void pollsAnyRegister()
{
    (void)ifc_enable();
    forget();
    DIRECTED_EQ(ifcChecConfigDone(IFC_GLB_CFG, 3), 0);
    DIRECTED_EQ(ifcChecConfigDone(IFC_GLB_CFG, 2), -62);
    forget();
    DIRECTED_EQ(ifcChecConfigDone(IFC_GLB_CFG, 0), -62);
    DIRECTED_TRAFFIC.read(IFC_GLB_CFG, 1).wait().read(IFC_GLB_CFG, 1).wait().read(IFC_GLB_CFG, 1).wait();
}

void rewrite()
{
    fillShadow();
    DIRECTED_EQ(write_all_ifc_rule_to_hw(), 0);
    DIRECTED_TRAFFIC.rewrite();
    DIRECTED_EQ(count(Kind::Write), 528);
    DIRECTED_EQ(count(Kind::Read), 128);
    DIRECTED_TEXT("");
}

void rewriteOfRevision14()
{
    const int revisions[] = {14, 15};
    for (const int revision : revisions) {
        powerOn(1, revision);
        fillShadow();
        DIRECTED_EQ(write_all_ifc_rule_to_hw(), 0);
        DIRECTED_EQ(count(Kind::Write), 32 * 3);
        DIRECTED_EQ(count(Kind::Revision), revision == 14 ? 8 : 16);
    }
}

void rewriteGoesOnAfterTimeOuts()
{
    powerOn(0);
    fillShadow();
    DIRECTED_EQ(write_all_ifc_rule_to_hw(), 0);
    DIRECTED_EQ(count(Kind::Wait), 384);
    DIRECTED_EQ(count(Kind::Write), 528);
    DIRECTED_EQ(lines(text()), 128);
}

void clearsTheShadow()
{
    fillShadow();
    DIRECTED_EQ(clear_all_ifc_rules(), 0);
    DIRECTED_TRAFFIC;
    uint32_t all = 0;
    for (const auto &rule : IFC_LUT0_Rule)
        for (const uint32_t word : rule.word)
            all |= word;
    for (const auto &entry : IFC_LUT1_Rule)
        all |= entry.word[0] | entry.word[1];
    DIRECTED_EQ(all, 0);
}

void clearsOneOrAll()
{
    const int ids[] = {0, 7, 8, -1, -0x7FFFFFFF - 1, 0x7FFFFFFF};
    for (const int id : ids) {
        fillShadow();
        const IFC_LUT0_Format before = IFC_LUT0_Rule[id == 7 ? 7 : 0];
        forget();
        DIRECTED_EQ(clear_ifc_rules(id), 0);
        const bool one = id >= 0 && id < 8;
        DIRECTED_EQ(count(Kind::Write), one ? 2 : 16);
        DIRECTED_EQ(count(Kind::Lock) + count(Kind::Revision), 0);
        for (int rule = 0; rule < 8; ++rule)
            DIRECTED_EQ(IFC_LUT0_Rule[rule].word[0] == 0, !one || rule == id);
        const IFC_LUT0_Format &after = IFC_LUT0_Rule[id == 7 ? 7 : 0];
        for (int word = 1; word < 41; ++word)
            DIRECTED_EQ(after.word[word], before.word[word]); // the body stays
    }
}

void clearsOnRevision14Too()
{
    powerOn(1, 14);
    fillShadow();
    DIRECTED_EQ(clear_ifc_rules(2), 0);
    DIRECTED_TRAFFIC.write(IFC_DATA0, 0).transfer(2, 10, IFC_SEL_LUT0, IFC_TYPE_WRITE);
    powerOn(0, 15);
    DIRECTED_EQ(clear_ifc_rules(-1), 0);
    DIRECTED_EQ(lines(text()), 8); // a message each, and no other result
}

void aClearedRuleComesBackByItsBody()
{
    (void)ifc_set_lut0_rules(1, IFC_ENABLE, DPORT, 3, 0, 0xFFFF, 0, 80);
    (void)clear_ifc_rules(1);
    (void)ifc_set_lut0_rules(1, IFC_ENABLE, SPORT, 1, 0, 0xFF, 0, 9);
    DIRECTED_EQ(IFC_LUT0_Rule[1].word[0], 0x80000000u | 1u << 28);
    DIRECTED_EQ(IFC_LUT0_Rule[1].word[4], 0x00FFFFFFu); // the old mask is still there
    DIRECTED_EQ(IFC_LUT0_Rule[1].word[23], 0x00090050u);
    DIRECTED_EQ(IFC_LUT0_Rule[1].word[1], 3u << 22 | 1u << 24);
}

void switches()
{
    DIRECTED_EQ(ifc_enable(), 0);
    DIRECTED_EQ(ifc_get_ifc_staus(), 0);
    DIRECTED_EQ(ifc_disable(), 0);
    DIRECTED_EQ(ifc_get_ifc_staus(), 0);
    DIRECTED_TRAFFIC.read(IFC_GLB_CFG, 0)
        .write(IFC_GLB_CFG, 1)
        .read(IFC_GLB_CFG, 1)
        .read(IFC_GLB_CFG, 1)
        .write(IFC_GLB_CFG, 0)
        .read(IFC_GLB_CFG, 0);
    DIRECTED_TEXT("Exec. Success.\nIFC :Enable .\nExec. Success.\nIFC :Disable .\n");
    set_frame_engine_data(IFC_GLB_CFG, 0x80000001);
    forget();
    DIRECTED_EQ(ifc_get_ifc_staus(), 0);
    DIRECTED_TEXT("IFC :Disable .\n"); // the register is judged as a signed number
}

constexpr Case kCases[] = {
    {"Transfer.CommandWord", commandWord},
    {"Transfer.CommandWordIsTraced", commandWordIsTraced},
    {"Transfer.WaitsBehindEachRead", waitsBehindEachRead},
    {"Transfer.PollsAnyRegister", pollsAnyRegister},
    {"Transfer.Rewrite", rewrite},
    {"Transfer.RewriteOfRevision14", rewriteOfRevision14},
    {"Transfer.RewriteGoesOnAfterTimeOuts", rewriteGoesOnAfterTimeOuts},
    {"Transfer.ClearsTheShadow", clearsTheShadow},
    {"Transfer.ClearsOneOrAll", clearsOneOrAll},
    {"Transfer.ClearsOnRevision14Too", clearsOnRevision14Too},
    {"Transfer.AClearedRuleComesBackByItsBody", aClearedRuleComesBackByItsBody},
    {"Transfer.Switches", switches},
};

} // namespace
extern const Group kTransferGroup;
constinit const Group kTransferGroup = groupOf(kCases);
} // namespace directed
