// SPDX-License-Identifier: MIT OR GPL-2.0
// What each operation does inside the lock and what outside, as the header says. The recorder checks in all
// tests that the lock is taken once, that it is released, and that the shadow stays while it is held.
#include "tests/support/check.h"
#include "tests/support/layer.h"
#include "tests/support/surroundings.h"

using namespace support;

namespace
{

orva_ifc_param &threeConditions()
{
    return requestOf({{DIPv4, 0, 0xFFFFFFFF, 0x0A000001}, {DPORT, 0, 0xFFFF, 80}, {SINF, 0, 0x1F, 1}});
}

orva_ifc_param &nineConditions()
{
    return requestOnFields(9, 14);
}

// An IPv4 packet of 40 bytes.
unsigned char packet[40] = {0x45, 0, 0, 40, 0, 0, 0, 0, 64, 17};
sk_buff skb;

struct Promise {
    const char *name;
    void (*prepare)();
    void (*call)();
    unsigned locks; // how often the operation takes the lock: then all its accesses and queries happen inside
};

void nothing() {}

void allowPpe()
{
    ifcSendToPpe = 1;
}

void placeThree()
{
    (void)ifc_set_lut_rules_auto(&threeConditions());
}

void placeNine()
{
    (void)ifc_set_lut_rules_auto(&nineConditions());
}

void placeBoth()
{
    placeThree();
    placeNine();
}

unsigned long long bytes, packets;
uint masks[32], keys[32];
uint16_t sid, tag;

constexpr Promise kPromises[] = {
    {"ifcSetRuleConfig", nothing, [] { (void)ifcSetRuleConfig(3, 0, 1, 1); }, 0},
    {"ifcChecConfigDone", nothing, [] { (void)ifcChecConfigDone(0xBFB50204, 1u << 31); }, 0},
    {"write_all_ifc_rule_to_hw", fillShadow, [] { (void)write_all_ifc_rule_to_hw(); }, 1},
    {"clear_all_ifc_rules", fillShadow, [] { (void)clear_all_ifc_rules(); }, 0},
    {"clear_ifc_rules, one", fillShadow, [] { (void)clear_ifc_rules(3); }, 0},
    {"clear_ifc_rules, all", fillShadow, [] { (void)clear_ifc_rules(-1); }, 0},
    {"ifc_enable", nothing, [] { (void)ifc_enable(); }, 0},
    {"ifc_disable", nothing, [] { (void)ifc_disable(); }, 0},
    {"ifc_get_ifc_staus", nothing, [] { (void)ifc_get_ifc_staus(); }, 0},
    {"get_lut0_mask_key", fillShadow, [] { get_lut0_mask_key(1, masks, keys); }, 0},
    {"set_lut0_mask_key", fillShadow, [] { set_lut0_mask_key(1, masks, keys); }, 0},
    {"set_lut0_mask_key_to_array", fillShadow,
     [] { set_lut0_mask_key_to_array(&IFC_LUT0_Rule[2], masks, keys); }, 0},
    {"ifc_get_rule_from_reg", placeNine, [] { (void)ifc_get_rule_from_reg(0); }, 0},
    {"ifc_parser_lut0_rule", placeNine, [] { (void)ifc_parser_lut0_rule(&IFC_LUT0_Rule[0], 0); }, 0},
    {"ifc_get_rule_from_hw", placeNine, [] { (void)ifc_get_rule_from_hw(8); }, 0},
    {"ifc_set_lut0_rules", nothing, [] { (void)ifc_set_lut0_rules(1, IFC_ENABLE, 1, 0, 1, 2, 3, 4); }, 1},
    {"ifc_set_lut0_rules, off", placeNine,
     [] { (void)ifc_set_lut0_rules(0, IFC_DISABLE, 14, 0, 0, 0, 0, 0); }, 1},
    {"ifc_set_lut0_rules, refused", nothing,
     [] { (void)ifc_set_lut0_rules(8, IFC_ENABLE, 1, 0, 1, 2, 3, 4); }, 0},
    {"ifc_delete_lut0", placeNine, [] { ifc_delete_lut0(0); }, 0},
    {"ifc_set_lut1_rules", nothing, [] { (void)ifc_set_lut1_rules(4, IFC_ENABLE, 1, 1, 0, 48, 1, 2); }, 1},
    {"ifc_set_lut1_rules, off", placeThree,
     [] { (void)ifc_set_lut1_rules(0, IFC_DISABLE, 1, 14, 0, 0, 0, 0); }, 1},
    {"ifc_set_lut1_rules, refused", nothing,
     [] { (void)ifc_set_lut1_rules(15, IFC_ENABLE, 1, 1, 0, 48, 1, 2); }, 0},
    {"ifc_delete_lut1", placeThree, [] { ifc_delete_lut1(0); }, 0},
    {"change_mask_from_48_to_32", nothing, [] { (void)change_mask_from_48_to_32(0, 5, 48); }, 0},
    {"ifc_set_lut_rules_auto, LUT1", nothing, placeThree, 4},
    {"ifc_set_lut_rules_auto, LUT0", nothing, placeNine, 10},
    {"ifc_set_lut_rules_auto, empty", nothing, [] { (void)ifc_set_lut_rules_auto(&requestOnFields(0, 1)); },
     0},
    {"lut1_has_free_rule", placeThree, [] { (void)lut1_has_free_rule(3); }, 0},
    {"ifc_del_lut_rules_auto, LUT1", placeThree, [] { (void)ifc_del_lut_rules_auto(&threeConditions()); }, 4},
    {"ifc_del_lut_rules_auto, LUT0", placeNine, [] { (void)ifc_del_lut_rules_auto(&nineConditions()); }, 2},
    {"ifc_del_lut_rules_auto, none", nothing, [] { (void)ifc_del_lut_rules_auto(&threeConditions()); }, 0},
    {"ifc_match_rule_lut0", placeNine, [] { (void)ifc_match_rule_lut0(&nineConditions(), 9, 0); }, 0},
    {"ifc_match_rule_lut1", placeThree, [] { (void)ifc_match_rule_lut1(&threeConditions(), 3, 0); }, 0},
    {"ifc_match_lut1", placeThree,
     [] {
         (void)ifc_match_lut1({{}, DPORT, 0, 80, 0xFFFF, 0, 0});
     },
     0},
    {"ifc_set_action", allowPpe, [] { (void)ifc_set_action(9, 0, IFC_ENABLE, 1, 2, 0, 0); }, 2},
    {"ifc_set_action, cpu", nothing, [] { (void)ifc_set_action(9, 14, IFC_ENABLE, 1, 2, 0, 0); }, 2},
    {"ifc_set_action, refused", nothing, [] { (void)ifc_set_action(9, 17, IFC_ENABLE, 1, 2, 0, 0); }, 0},
    {"ifc_set_action, without PPE", placeThree, [] { (void)ifc_set_action(9, 0, IFC_ENABLE, 1, 2, 0, 0); },
     1},
    {"ifc_clear_action", nothing, [] { (void)ifc_clear_action(9); }, 1},
    {"clear_all_ifc_actions", nothing, [] { (void)clear_all_ifc_actions(); }, 1},
    {"ifc_dump_action", nothing, [] { (void)ifc_dump_action(9); }, 0},
    {"ifc_set_acnt", nothing, [] { (void)ifc_set_acnt(9, 3); }, 0},
    {"ifc_get_acnt", nothing, [] { (void)ifc_get_acnt(9, &bytes, &packets); }, 0},
    {"clear_all_ifc_acnt", nothing, [] { clear_all_ifc_acnt(); }, 1},
    {"checkIFCResult", nothing, [] { (void)checkIFCResult(1, 3); }, 0},
    {"ifc_dump_lut0_rules", placeNine, [] { (void)ifc_dump_lut0_rules(); }, 0},
    {"ifc_dump_lut1_rules", placeThree, [] { (void)ifc_dump_lut1_rules(); }, 0},
    {"ifc_dump_all_rules", placeBoth, [] { (void)ifc_dump_all_rules(); }, 0},
    {"_getLowestBit", nothing, [] { (void)_getLowestBit(6); }, 0},
    {"getLowestBit", nothing, [] { (void)getLowestBit(6); }, 0},
    {"isTPID", nothing, [] { (void)isTPID(0x0081); }, 0},
    {"transTPIDtoVPM", nothing, [] { (void)transTPIDtoVPM(0x0081); }, 0},
    {"transVPMtoTPID", nothing, [] { (void)transVPMtoTPID(3); }, 0},
    {"getPppoeSid", nothing, [] { (void)getPppoeSid(&skb, 0, &sid, &tag); }, 0},
    {"skb_chksum", nothing, [] { (void)skb_chksum(&skb, 40); }, 0},
    {"ipv4_checksum", nothing, [] { (void)ipv4_checksum(&skb, 0); }, 0},
    {"tcp_udp_checksum", nothing, [] { (void)tcp_udp_checksum(&skb, 12, 20, 17); }, 0},
    {"dump_skb", nothing, [] { dump_skb(&skb); }, 0},
};

struct Places {
    unsigned inside;
    unsigned outside;
};

// Register accesses, waits and queries since the last forget().
Places places()
{
    Places found = {};
    bool held = false;
    for (unsigned n = 0; n < events(); ++n) {
        const Kind kind = event(n).kind;
        if (kind == Kind::Lock || kind == Kind::Unlock)
            held = kind == Kind::Lock;
        else
            ++(held ? found.inside : found.outside);
    }
    return found;
}

// A transfer that times out takes milliseconds of real time on a machine, and a placement rewrites all rows
// for each condition. So the short operations alone meet a chip that is silent.
constexpr unsigned kShort = 2; // takings of the lock

void expectPromise(const Promise &promise, bool silent)
{
    (void)clear_all_ifc_rules();
    ifcSendToPpe = 0;
    promise.prepare();
    if (silent)
        surroundings_time_out(0, ~0u);
    forget();
    promise.call();
    surroundings_time_out(0, 0);
    const Places found = places();
    EXPECT_EQ(count(Kind::Lock), promise.locks) << promise.name << (silent ? ", silent" : "");
    EXPECT_EQ(count(Kind::Unlock), promise.locks) << promise.name;
    // The revision is asked for outside the lock by ifc_set_action() alone.
    const bool asks = contains(promise.name, "ifc_set_action") && !contains(promise.name, "refused") &&
                      !contains(promise.name, "without");
    if (promise.locks != 0) {
        EXPECT_EQ(found.outside, asks ? 1u : 0u) << promise.name;
        EXPECT_GT(found.inside, 0u) << promise.name;
    }
    EXPECT_FALSE(lockIsHeld()) << promise.name;
}

} // namespace

TEST(Locking, EachOperationKeepsThePromiseOfItsHeader)
{
    skb = bufferOf(packet, sizeof packet);
    for (const Promise &promise : kPromises) {
        for (const int revision : list({0, 12, 14})) {
            setRevision(revision);
            powerOn();
            expectPromise(promise, false);
        }
        if (promise.locks <= kShort) {
            setRevision(0);
            powerOn();
            expectPromise(promise, true);
        }
    }
}

END_OF_TESTS(lockTests)
