// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ifc/ifc_cmd/cmd_operations.h"

#include "ifc/ifc_regs.h"

namespace ifc::cmd
{

void printNumber(Answer &answer, int value)
{
    answer.say("= %d\n", value);
}

void printBits(Answer &answer, uint value)
{
    answer.say("= 0x%x\n", value);
}

namespace
{

constexpr Param kIndex = U("ifcIndex");
constexpr Param kRule = Upto("rule", IFC_LUT0_RULES - 1);
constexpr Param kEntry = Upto("entry", IFC_LUT1_RULES - 1);
constexpr Param kHalfword = Upto("word", 0xFFFF);

constexpr Param kTransfer[] = {Upto("index", 255), Upto("offset", 255), I("sel"), I("type")};
constexpr Param kPoll[] = {U("reg"), U("doneBit")};
constexpr Param kInt[] = {I("ruleId")};
constexpr Param kOneRule[] = {kRule};
constexpr Param kOneEntry[] = {kEntry};
constexpr Param kShownRule[] = {kRule, I("ruleId")};
constexpr Param kSlot[] = {kRule, Upto("slot", 31), U("mask"), U("key")};
constexpr Param kSetLut0[] = {kIndex,         U("enMode"),   U("fieldIdx"), U("command"),
                              U("mask_high"), U("mask_low"), U("key_high"), U("key_low")};
constexpr Param kSetLut1[] = {kIndex,       U("enMode"), U("endFlag"),  U("fieldIdx"),
                              U("command"), U("mask"),   U("key_high"), U("key_low")};
constexpr Param kReduce[] = {U("mask_high"), U("mask_low"), I("mask_bit")};
constexpr Param kFree[] = {U("field_num")};
constexpr Param kMatchLut0[] = {U("field_num"), kRule};
constexpr Param kMatchLut1[] = {Upto("field_num", IFC_LUT1_RULES), kEntry};
constexpr Param kSetAction[] = {kIndex,      U("actIdx"), U("enMode"), U("value0"),
                                U("value1"), U("value2"), U("value3")};
constexpr Param kOneIndex[] = {kIndex};
constexpr Param kOneAction[] = {Upto("ifcIndex", IFC_ACTIONS - 1)};
constexpr Param kBind[] = {kIndex, U("acntIdx")};
constexpr Param kResult[] = {I("ifc_type"), I("index")};
constexpr Param kValue[] = {U("value")};
constexpr Param kWord[] = {kHalfword};
constexpr Param kPppoe[] = {Upto("pre_len", kMostFrameBytes)};
constexpr Param kLength[] = {Upto("lens", kMostFrameBytes)};
constexpr Param kOffset[] = {Upto("offset", kMostFrameBytes)};
constexpr Param kTransport[] = {Upto("offset", kMostFrameBytes), Upto("tcp_udp_length", 0xFFFF),
                                Upto("tcp_udp_protocol", 0xFF)};

IFC_Mode_t toMode(const Arguments &a, uint n)
{
    return static_cast<IFC_Mode_t>(a.u(n));
}

void showArrays(Answer &answer, const uint *masks, const uint *keys)
{
    answer.say("= ok\n");
    for (uint slot = 0; slot < 32; ++slot)
        answer.say("%2u mask 0x%08x key 0x%08x\n", slot, masks[slot], keys[slot]);
}

void getMaskKey(const Arguments &a, Answer &answer)
{
    uint masks[32];
    uint keys[32];
    get_lut0_mask_key(a.i(0), masks, keys);
    showArrays(answer, masks, keys);
}

void unpackMaskKey(const Arguments &a, Answer &answer)
{
    uint masks[32];
    uint keys[32];
    set_lut0_mask_key_to_array(&IFC_LUT0_Rule[a.i(0)], masks, keys);
    showArrays(answer, masks, keys);
}

// One word of the arrays: unpack, change, pack.
void setMaskKey(const Arguments &a, Answer &answer)
{
    uint masks[32];
    uint keys[32];
    get_lut0_mask_key(a.i(0), masks, keys);
    masks[a.u(1)] = a.u(2);
    keys[a.u(1)] = a.u(3);
    set_lut0_mask_key(a.i(0), masks, keys);
    answer.say("= ok\n");
}

void matchLut1(const Arguments &a, Answer &answer)
{
    ifc_field_param param{};
    param.fieldIdx = a.request->fieldIdx[0];
    param.command = a.request->command[0];
    param.mask = a.request->mask_low[0];
    param.mask_high = a.request->mask_high[0];
    param.key = a.request->key_low[0];
    param.key_high = a.request->key_high[0];
    printNumber(answer, ifc_match_lut1(param));
}

void getCounter(const Arguments &a, Answer &answer)
{
    unsigned long long bytes = 0;
    unsigned long long packets = 0;
    const int result = ifc_get_acnt(a.u(0), &bytes, &packets);
    answer.say("= %d bytes %llu packets %llu\n", result, bytes, packets);
}

void readPppoe(const Arguments &a, Answer &answer)
{
    if (a.u(0) + 10 > a.frame->len) {
        answer.refuse("getPppoeSid", "pre_len", "a place with 10 bytes of the frame behind it");
        return;
    }
    uint16_t sid = 0;
    uint16_t tag = 0;
    const int result = getPppoeSid(a.frame, a.u(0), &sid, &tag);
    answer.say("= %d sid 0x%04x ppp_tag 0x%04x\n", result, sid, tag);
}

void sumBuffer(const Arguments &a, Answer &answer)
{
    if (a.u(0) > a.frame->len)
        answer.refuse("skb_chksum", "lens", "at most the length of the frame");
    else
        printBits(answer, skb_chksum(a.frame, a.i(0)));
}

void sumIpv4Header(const Arguments &a, Answer &answer)
{
    if (a.u(0) + 20 > a.frame->len)
        answer.refuse("ipv4_checksum", "offset", "a place with 20 bytes of the frame behind it");
    else
        printBits(answer, ipv4_checksum(a.frame, a.i(0)));
}

void sumTransport(const Arguments &a, Answer &answer)
{
    if (a.u(0) > a.frame->len)
        answer.refuse("tcp_udp_checksum", "offset", "at most the length of the frame");
    else
        printBits(answer, tcp_udp_checksum(a.frame, a.i(0), static_cast<uint16_t>(a.u(1)),
                                           static_cast<uint8_t>(a.u(2))));
}

// Shorthands for the table: an operation that returns a number, bits, or nothing.
// clang-format off
#define IFC_CMD_OWN(name, params, tail, function) \
    {#name, params, sizeof(params) / sizeof(Param), tail, function}
#define IFC_CMD_INT(name, params, tail, ...) \
    IFC_CMD_OWN(name, params, tail, \
                [](const Arguments &a, Answer &answer) { printNumber(answer, name(__VA_ARGS__)); })
#define IFC_CMD_BITS(name, params, ...) \
    IFC_CMD_OWN(name, params, Tail::None, \
                [](const Arguments &a, Answer &answer) { printBits(answer, name(__VA_ARGS__)); })
#define IFC_CMD_VOID(name, params, ...) \
    IFC_CMD_OWN(name, params, Tail::None, \
                [](const Arguments &a, Answer &answer) { name(__VA_ARGS__); answer.say("= ok\n"); })
#define IFC_CMD_PLAIN(name) \
    {#name, nullptr, 0, Tail::None, [](const Arguments &, Answer &answer) { printNumber(answer, name()); }}

constexpr Operation kTable[] = {
    IFC_CMD_INT(ifcSetRuleConfig, kTransfer, Tail::None, static_cast<uint8_t>(a.u(0)),
                static_cast<uint8_t>(a.u(1)),
                a.i(2), a.i(3)),
    IFC_CMD_INT(ifcChecConfigDone, kPoll, Tail::None, a.u(0), a.u(1)),
    IFC_CMD_PLAIN(write_all_ifc_rule_to_hw),
    IFC_CMD_PLAIN(clear_all_ifc_rules),
    IFC_CMD_INT(clear_ifc_rules, kInt, Tail::None, a.i(0)),
    IFC_CMD_PLAIN(ifc_enable),
    IFC_CMD_PLAIN(ifc_disable),
    IFC_CMD_PLAIN(ifc_get_ifc_staus),
    IFC_CMD_OWN(get_lut0_mask_key, kOneRule, Tail::None, getMaskKey),
    IFC_CMD_OWN(set_lut0_mask_key, kSlot, Tail::None, setMaskKey),
    IFC_CMD_OWN(set_lut0_mask_key_to_array, kOneRule, Tail::None, unpackMaskKey),
    IFC_CMD_INT(ifc_get_rule_from_reg, kInt, Tail::None, a.i(0)),
    IFC_CMD_INT(ifc_parser_lut0_rule, kShownRule, Tail::None, &IFC_LUT0_Rule[a.i(0)], a.i(1)),
    IFC_CMD_INT(ifc_get_rule_from_hw, kInt, Tail::None, a.i(0)),
    IFC_CMD_INT(ifc_set_lut0_rules, kSetLut0, Tail::None, a.u(0), toMode(a, 1), a.u(2), a.u(3), a.u(4),
                a.u(5), a.u(6),
                a.u(7)),
    IFC_CMD_VOID(ifc_delete_lut0, kOneRule, a.i(0)),
    IFC_CMD_INT(ifc_set_lut1_rules, kSetLut1, Tail::None, a.u(0), toMode(a, 1), a.u(2), a.u(3), a.u(4),
                a.u(5), a.u(6),
                a.u(7)),
    IFC_CMD_VOID(ifc_delete_lut1, kOneEntry, a.i(0)),
    IFC_CMD_BITS(change_mask_from_48_to_32, kReduce, a.u(0), a.u(1), a.i(2)),
    {"ifc_set_lut_rules_auto", nullptr, 0, Tail::Request,
     [](const Arguments &a, Answer &answer) { printNumber(answer, ifc_set_lut_rules_auto(a.request)); }},
    IFC_CMD_INT(lut1_has_free_rule, kFree, Tail::None, a.u(0)),
    {"ifc_del_lut_rules_auto", nullptr, 0, Tail::Request,
     [](const Arguments &a, Answer &answer) { printNumber(answer, ifc_del_lut_rules_auto(a.request)); }},
    IFC_CMD_INT(ifc_match_rule_lut0, kMatchLut0, Tail::Request, a.request, a.u(0), a.u(1)),
    IFC_CMD_INT(ifc_match_rule_lut1, kMatchLut1, Tail::Request, a.request, a.u(0), a.u(1)),
    {"ifc_match_lut1", nullptr, 0, Tail::Condition, matchLut1},
    IFC_CMD_INT(ifc_set_action, kSetAction, Tail::None, a.u(0), a.u(1), toMode(a, 2), a.u(3), a.u(4), a.u(5),
                a.u(6)),
    IFC_CMD_INT(ifc_clear_action, kOneIndex, Tail::None, a.u(0)),
    IFC_CMD_PLAIN(clear_all_ifc_actions),
    IFC_CMD_INT(ifc_dump_action, kOneAction, Tail::None, a.i(0)),
    IFC_CMD_INT(ifc_set_acnt, kBind, Tail::None, a.u(0), a.u(1)),
    IFC_CMD_OWN(ifc_get_acnt, kOneIndex, Tail::None, getCounter),
    {"clear_all_ifc_acnt", nullptr, 0, Tail::None,
     [](const Arguments &, Answer &answer) {
         clear_all_ifc_acnt();
         answer.say("= ok\n");
     }},
    IFC_CMD_INT(checkIFCResult, kResult, Tail::None, a.i(0), a.i(1)),
    IFC_CMD_PLAIN(ifc_dump_lut0_rules),
    IFC_CMD_PLAIN(ifc_dump_lut1_rules),
    IFC_CMD_PLAIN(ifc_dump_all_rules),
    IFC_CMD_BITS(_getLowestBit, kValue, a.u(0)),
    IFC_CMD_BITS(getLowestBit, kValue, a.u(0)),
    IFC_CMD_INT(isTPID, kWord, Tail::None, static_cast<uint16_t>(a.u(0))),
    IFC_CMD_INT(transTPIDtoVPM, kWord, Tail::None, static_cast<uint16_t>(a.u(0))),
    IFC_CMD_BITS(transVPMtoTPID, kWord, static_cast<uint16_t>(a.u(0))),
    IFC_CMD_OWN(getPppoeSid, kPppoe, Tail::Frame, readPppoe),
    IFC_CMD_OWN(skb_chksum, kLength, Tail::Frame, sumBuffer),
    IFC_CMD_OWN(ipv4_checksum, kOffset, Tail::Frame, sumIpv4Header),
    IFC_CMD_OWN(tcp_udp_checksum, kTransport, Tail::Frame, sumTransport),
    {"dump_skb", nullptr, 0, Tail::Frame,
     [](const Arguments &a, Answer &answer) {
         dump_skb(a.frame);
         answer.say("= ok\n");
     }},
};
// clang-format on

} // namespace

constexpr Operations kOperations = {kTable, sizeof kTable / sizeof *kTable};

} // namespace ifc::cmd
