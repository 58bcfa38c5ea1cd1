// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ifc/ifc_cmd/cmd_operations.h"

#include "ifc/ifc_util/field_arrays.h"

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

constexpr Param kIndex = u32("ifcIndex");
constexpr Param kRule = upTo("rule", IFC_LUT0_RULES - 1);
constexpr Param kEntry = upTo("entry", IFC_LUT1_RULES - 1);
constexpr Param kHalfword = upTo("word", 0xFFFF);

constexpr Param kTransfer[] = {upTo("index", 255), upTo("offset", 255), i32("sel"), i32("type")};
constexpr Param kPoll[] = {u32("reg"), u32("doneBit")};
constexpr Param kInt[] = {i32("ruleId")};
constexpr Param kOneRule[] = {kRule};
constexpr Param kOneEntry[] = {kEntry};
constexpr Param kShownRule[] = {kRule, i32("ruleId")};
constexpr Param kSlot[] = {kRule, upTo("slot", kArrayWords - 1), u32("mask"), u32("key")};
constexpr Param kSetLut0[] = {kIndex,           u32("enMode"),   u32("fieldIdx"), u32("command"),
                              u32("mask_high"), u32("mask_low"), u32("key_high"), u32("key_low")};
constexpr Param kSetLut1[] = {kIndex,         u32("enMode"), u32("endFlag"),  u32("fieldIdx"),
                              u32("command"), u32("mask"),   u32("key_high"), u32("key_low")};
static_assert(sizeof kSetLut0 == kMostNumbers * sizeof(Param) && sizeof kSetLut1 == sizeof kSetLut0);
constexpr Param kReduce[] = {u32("mask_high"), u32("mask_low"), i32("mask_bit")};
constexpr Param kFree[] = {u32("field_num")};
constexpr Param kMatchLut0[] = {u32("field_num"), kRule};
constexpr Param kMatchLut1[] = {upTo("field_num", IFC_LUT1_RULES), kEntry};
constexpr Param kSetAction[] = {kIndex,        u32("actIdx"), u32("enMode"), u32("value0"),
                                u32("value1"), u32("value2"), u32("value3")};
constexpr Param kOneIndex[] = {kIndex};
constexpr Param kOneAction[] = {upTo("ifcIndex", IFC_ACTIONS - 1)};
constexpr Param kBind[] = {kIndex, u32("acntIdx")};
constexpr Param kResult[] = {i32("ifc_type"), i32("index")};
constexpr Param kValue[] = {u32("value")};
constexpr Param kWord[] = {kHalfword};
constexpr Param kPppoe[] = {upTo("pre_len", kMostFrameBytes)};
constexpr Param kLength[] = {upTo("lens", kMostFrameBytes)};
constexpr Param kOffset[] = {upTo("offset", kMostFrameBytes)};
constexpr Param kTransport[] = {upTo("offset", kMostFrameBytes), upTo("tcp_udp_length", 0xFFFF),
                                upTo("tcp_udp_protocol", 0xFF)};

IFC_Mode_t toMode(const Arguments &a, uint n)
{
    return static_cast<IFC_Mode_t>(a.u(n));
}

void showArrays(Answer &answer, const uint *masks, const uint *keys)
{
    answer.say("= ok\n");
    for (uint slot = 0; slot < kArrayWords; ++slot)
        answer.say("%2u mask 0x%08x key 0x%08x\n", slot, masks[slot], keys[slot]);
}

void getMaskKey(const Arguments &a, Answer &answer)
{
    uint masks[kArrayWords];
    uint keys[kArrayWords];
    get_lut0_mask_key(a.i(0), masks, keys);
    showArrays(answer, masks, keys);
}

void unpackMaskKey(const Arguments &a, Answer &answer)
{
    uint masks[kArrayWords];
    uint keys[kArrayWords];
    set_lut0_mask_key_to_array(&IFC_LUT0_Rule[a.i(0)], masks, keys);
    showArrays(answer, masks, keys);
}

// Unpacks the arrays, changes one word and packs them again.
void setMaskKey(const Arguments &a, Answer &answer)
{
    uint masks[kArrayWords];
    uint keys[kArrayWords];
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
        answer.refuse("getPppoeSid", "pre_len", "a place with 10 bytes of the frame after it");
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
        answer.refuse("ipv4_checksum", "offset", "a place with 20 bytes of the frame after it");
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

// Shorthands for the table, by result: a number, bits, or nothing. OWN: a function above calls the operation.
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

constexpr Operation reads(Operation operation)
{
    operation.onlyReads = true;
    return operation;
}

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
    reads(IFC_CMD_PLAIN(ifc_get_ifc_staus)),
    reads(IFC_CMD_OWN(get_lut0_mask_key, kOneRule, Tail::None, getMaskKey)),
    IFC_CMD_OWN(set_lut0_mask_key, kSlot, Tail::None, setMaskKey),
    reads(IFC_CMD_OWN(set_lut0_mask_key_to_array, kOneRule, Tail::None, unpackMaskKey)),
    reads(IFC_CMD_INT(ifc_get_rule_from_reg, kInt, Tail::None, a.i(0))),
    reads(IFC_CMD_INT(ifc_parser_lut0_rule, kShownRule, Tail::None, &IFC_LUT0_Rule[a.i(0)], a.i(1))),
    reads(IFC_CMD_INT(ifc_get_rule_from_hw, kInt, Tail::None, a.i(0))),
    IFC_CMD_INT(ifc_set_lut0_rules, kSetLut0, Tail::None, a.u(0), toMode(a, 1), a.u(2), a.u(3), a.u(4),
                a.u(5), a.u(6),
                a.u(7)),
    IFC_CMD_VOID(ifc_delete_lut0, kOneRule, a.i(0)),
    IFC_CMD_INT(ifc_set_lut1_rules, kSetLut1, Tail::None, a.u(0), toMode(a, 1), a.u(2), a.u(3), a.u(4),
                a.u(5), a.u(6),
                a.u(7)),
    IFC_CMD_VOID(ifc_delete_lut1, kOneEntry, a.i(0)),
    reads(IFC_CMD_BITS(change_mask_from_48_to_32, kReduce, a.u(0), a.u(1), a.i(2))),
    {"ifc_set_lut_rules_auto", nullptr, 0, Tail::Request,
     [](const Arguments &a, Answer &answer) { printNumber(answer, ifc_set_lut_rules_auto(a.request)); }},
    reads(IFC_CMD_INT(lut1_has_free_rule, kFree, Tail::None, a.u(0))),
    {"ifc_del_lut_rules_auto", nullptr, 0, Tail::Request,
     [](const Arguments &a, Answer &answer) { printNumber(answer, ifc_del_lut_rules_auto(a.request)); }},
    reads(IFC_CMD_INT(ifc_match_rule_lut0, kMatchLut0, Tail::Request, a.request, a.u(0), a.u(1))),
    reads(IFC_CMD_INT(ifc_match_rule_lut1, kMatchLut1, Tail::Request, a.request, a.u(0), a.u(1))),
    reads({"ifc_match_lut1", nullptr, 0, Tail::Condition, matchLut1}),
    IFC_CMD_INT(ifc_set_action, kSetAction, Tail::None, a.u(0), a.u(1), toMode(a, 2), a.u(3), a.u(4), a.u(5),
                a.u(6)),
    IFC_CMD_INT(ifc_clear_action, kOneIndex, Tail::None, a.u(0)),
    IFC_CMD_PLAIN(clear_all_ifc_actions),
    reads(IFC_CMD_INT(ifc_dump_action, kOneAction, Tail::None, a.i(0))),
    IFC_CMD_INT(ifc_set_acnt, kBind, Tail::None, a.u(0), a.u(1)),
    reads(IFC_CMD_OWN(ifc_get_acnt, kOneIndex, Tail::None, getCounter)),
    {"clear_all_ifc_acnt", nullptr, 0, Tail::None,
     [](const Arguments &, Answer &answer) {
         clear_all_ifc_acnt();
         answer.say("= ok\n");
     }},
    reads(IFC_CMD_INT(checkIFCResult, kResult, Tail::None, a.i(0), a.i(1))),
    reads(IFC_CMD_PLAIN(ifc_dump_lut0_rules)),
    reads(IFC_CMD_PLAIN(ifc_dump_lut1_rules)),
    reads(IFC_CMD_PLAIN(ifc_dump_all_rules)),
    reads(IFC_CMD_BITS(_getLowestBit, kValue, a.u(0))),
    reads(IFC_CMD_BITS(getLowestBit, kValue, a.u(0))),
    reads(IFC_CMD_INT(isTPID, kWord, Tail::None, static_cast<uint16_t>(a.u(0)))),
    reads(IFC_CMD_INT(transTPIDtoVPM, kWord, Tail::None, static_cast<uint16_t>(a.u(0)))),
    reads(IFC_CMD_BITS(transVPMtoTPID, kWord, static_cast<uint16_t>(a.u(0)))),
    reads(IFC_CMD_OWN(getPppoeSid, kPppoe, Tail::Frame, readPppoe)),
    reads(IFC_CMD_OWN(skb_chksum, kLength, Tail::Frame, sumBuffer)),
    reads(IFC_CMD_OWN(ipv4_checksum, kOffset, Tail::Frame, sumIpv4Header)),
    reads(IFC_CMD_OWN(tcp_udp_checksum, kTransport, Tail::Frame, sumTransport)),
    reads({"dump_skb", nullptr, 0, Tail::Frame,
     [](const Arguments &a, Answer &answer) {
         dump_skb(a.frame);
         answer.say("= ok\n");
     }}),
};
// clang-format on

} // namespace

constexpr Operations kOperations = {kTable, sizeof kTable / sizeof *kTable};

} // namespace ifc::cmd
