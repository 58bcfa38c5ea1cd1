// SPDX-License-Identifier: MIT OR GPL-2.0
// Actions: programming, clearing, the dump of one.
#include "directed.h"

namespace directed
{
namespace
{

int set(uint entry, uint sub, uint v0 = 0, uint v1 = 0, uint v2 = 0, uint v3 = 0)
{
    return ifc_set_action(entry, sub, IFC_ENABLE, v0, v1, v2, v3);
}

void readsEditsWrites()
{
    ifcSendToPpe = 1;
    DIRECTED_EQ(set(39, 0, 1, 1), 0);
    DIRECTED_TRAFFIC.lock()
        .transfer(39, 0, IFC_SEL_ACTION, IFC_TYPE_READ)
        .read(IFC_DATA3, 0)
        .read(IFC_DATA2, 0)
        .read(IFC_DATA1, 0)
        .read(IFC_DATA0, 0)
        .unlock()
        .revision()
        .lock()
        .write(IFC_DATA3, 0x1000)
        .write(IFC_DATA2, 0)
        .write(IFC_DATA1, 0)
        .write(IFC_DATA0, 9)
        .transfer(39, 0, IFC_SEL_ACTION, IFC_TYPE_WRITE)
        .unlock();
    DIRECTED_TEXT("channel:1, queue:1\n");
}

void everySubAction()
{
    ifcSendToPpe = 1;
    for (uint sub = 0; sub <= 16; ++sub)
        DIRECTED_EQ(set(5, sub, ~0u, ~0u, ~0u, ~0u), 0);
    DIRECTED_TEXT(
        "channel:31, queue:7\nfport:15, nbq:-1\nsp_tag/gemport:0xffff\nCNT0:63\nCNT1:31\nMTR_G:255\n"
        "IPv4 DSCP:255\nIPv6 Traffic Class:255\nvpm0:3, vo0:3, vid0:0xffff\nvo1:3, vid1:0xffff\n"
        "fqos:1\nfast:1\nmc:1\nkeep pcp:1\nifc_set_action: cpu:1, nbq:31\nowf:1\ndpi:1\n");
    forget();
    DIRECTED_EQ(ifc_dump_action(5), 0);
    DIRECTED_TEXT(
        "  Action: enable:3fff, OWF:1, channel:31, queue:7, fport:15, nbq:31, sp_tag/gemport:0xffff, "
        "CNT0:63, "
        "CNT1:31, MTR_G:255, IPv4 DSCP:255, IPv6 Traffic Class:255, vpm0:3, vo0:3, vid0:0xffff, vo1:3, "
        "vid1:0xffff, fqos:1, fast:1, mc:1, keep pcp:1\n");
}

void revision12ShiftsEnableBits()
{
    powerOn(1, 12);
    ifcSendToPpe = 1;
    (void)set(3, 5, 9);
    (void)set(3, 4, 6);
    forget();
    (void)ifc_dump_action(3);
    DIRECTED_TEXT("  Action: enable:18, OWF:0, CNT0:0, CNT1:6\n");
}

void withoutThePpeTheRuleGoes()
{
    (void)ifc_set_lut1_rules(0, IFC_ENABLE, 1, DPORT, 0, 1, 0, 1);
    forget();
    DIRECTED_EQ(set(8, 16), -1);
    DIRECTED_TEXT(
        "@WARNING: ifcIndex is 8 Action index is 16, packets matched ifc rules and send to ppe will cause "
        "error\n@del ifc action index  8\n");
    DIRECTED_EQ(IFC_LUT1_Rule[0].word[0], 0);
    DIRECTED_EQ(set(8, 14, 1, 7), 0); // only this one is carried out
}

void refuses()
{
    DIRECTED_EQ(set(40, 99), -1);
    DIRECTED_EQ(ifc_clear_action(40), -1);
    DIRECTED_TEXT("@Error: Action Index is 40, which should less than 40\n"
                  "@Error: Action Index is 40, which should less than 40\n");
    DIRECTED_TRAFFIC;
}

void clearsOne()
{
    DIRECTED_EQ(ifc_clear_action(8), 0);
    DIRECTED_TEXT("@del ifc action index  8\n");
    DIRECTED_TRAFFIC.lock()
        .write(IFC_DATA3, 0)
        .write(IFC_DATA2, 0)
        .write(IFC_DATA1, 0)
        .write(IFC_DATA0, 0)
        .transfer(8, 0, IFC_SEL_ACTION, IFC_TYPE_WRITE)
        .unlock();
}

void clearsAll()
{
    DIRECTED_EQ(clear_all_ifc_actions(), 0);
    DIRECTED_EQ(count(Kind::Write), 40 * 5);
    DIRECTED_EQ(count(Kind::Lock), 1);
    DIRECTED_TEXT("");
}

void dumpTakesNoLock()
{
    DIRECTED_EQ(ifc_dump_action(0x105), 0); // its low byte counts
    DIRECTED_TRAFFIC.transfer(5, 0, IFC_SEL_ACTION, IFC_TYPE_READ)
        .read(IFC_DATA3, 0)
        .read(IFC_DATA2, 0)
        .read(IFC_DATA1, 0)
        .read(IFC_DATA0, 0);
    DIRECTED_TEXT("  Action: enable:0, OWF:0\n");
}

constexpr Case kCases[] = {
    {"Action.ReadsEditsWrites", readsEditsWrites},
    {"Action.EverySubAction", everySubAction},
    {"Action.Revision12ShiftsEnableBits", revision12ShiftsEnableBits},
    {"Action.WithoutThePpeTheRuleGoes", withoutThePpeTheRuleGoes},
    {"Action.Refuses", refuses},
    {"Action.ClearsOne", clearsOne},
    {"Action.ClearsAll", clearsAll},
    {"Action.DumpTakesNoLock", dumpTakesNoLock},
};

} // namespace
extern const Group kActionGroup;
constinit const Group kActionGroup = groupOf(kCases);
} // namespace directed
