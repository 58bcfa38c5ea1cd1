// SPDX-License-Identifier: MIT OR GPL-2.0
#include "steps.h"

#include <iomanip>
#include <sstream>

namespace model
{

namespace
{

std::string textOf(const Request &request)
{
    std::ostringstream text;
    for (const FieldCondition &c : request)
        text << ' ' << c.field << ':' << c.command << ":0x" << std::hex << c.mask << ":0x" << c.key
             << std::dec;
    return text.str();
}

std::string lineOfHelper(const Step &s)
{
    static const char *const names[] = {"skb_chksum", "ipv4_checksum", "tcp_udp_checksum", "getPppoeSid",
                                        "dump_skb"};
    std::ostringstream t;
    t << names[s.a[0]];
    if (s.a[0] < 4)
        t << ' ' << s.a[1];
    if (s.a[0] == 2)
        t << ' ' << s.a[2] << ' ' << s.a[3];
    t << ' ' << std::hex << std::setfill('0');
    for (const unsigned char byte : s.frame)
        t << std::setw(2) << unsigned{byte};
    return t.str();
}

} // namespace

std::string lineOf(const Step &s)
{
    std::ostringstream t;
    const auto high = [](uint64_t v) { return static_cast<uint32_t>(v >> 32); };
    const auto low = [](uint64_t v) { return static_cast<uint32_t>(v); };
    switch (s.kind) {
    case kSetLut0:
        t << "ifc_set_lut0_rules " << s.a[0] << ' ' << s.a[1] << ' ' << s.a[2] << ' ' << s.a[3] << ' '
          << high(s.mask) << ' ' << low(s.mask) << ' ' << high(s.key) << ' ' << low(s.key);
        break;
    case kSetLut1:
        t << "ifc_set_lut1_rules " << s.a[0] << ' ' << s.a[1] << ' ' << s.a[2] << ' ' << s.a[3] << ' '
          << s.a[4] << ' ' << low(s.mask) << ' ' << high(s.key) << ' ' << low(s.key);
        break;
    case kPlace:
        t << "ifc_set_lut_rules_auto" << textOf(s.request);
        break;
    case kRemove:
        t << "ifc_del_lut_rules_auto" << textOf(s.request);
        break;
    case kFind:
        t << "ifc_match_lut1" << textOf(s.request);
        break;
    case kFreeRun:
        t << "lut1_has_free_rule " << s.a[0];
        break;
    case kSetAction:
        t << "ifc_set_action " << s.a[0] << ' ' << s.a[1] << ' ' << s.a[2] << ' ' << s.a[3] << ' ' << s.a[4]
          << ' ' << s.a[5] << ' ' << s.a[6];
        break;
    case kClearAction:
        t << "ifc_clear_action " << s.a[0];
        break;
    case kClearActions:
        t << "clear_all_ifc_actions";
        break;
    case kBind:
        t << "ifc_set_acnt " << s.a[0] << ' ' << s.a[1];
        break;
    case kInvalidate:
        t << "clear_ifc_rules " << static_cast<int>(s.a[0]) - 1;
        break;
    case kClearRules:
        t << "clear_all_ifc_rules";
        break;
    case kRewrite:
        t << "write_all_ifc_rule_to_hw";
        break;
    case kDeleteLut0:
        t << "ifc_delete_lut0 " << s.a[0];
        break;
    case kDeleteLut1:
        t << "ifc_delete_lut1 " << s.a[0];
        break;
    case kPpe:
        t << "set ifcSendToPpe " << s.a[0];
        break;
    case kReduce:
        t << "change_mask_from_48_to_32 " << high(s.mask) << ' ' << low(s.mask) << ' ' << s.a[0];
        break;
    case kSwitch: {
        static const char *const names[] = {"ifc_disable", "ifc_enable", "ifc_get_ifc_staus"};
        t << names[s.a[0]];
        break;
    }
    case kGetCounter:
        t << "ifc_get_acnt " << s.a[0];
        break;
    case kClearCounters:
        t << "clear_all_ifc_acnt";
        break;
    case kDumpAction:
        t << "ifc_dump_action " << s.a[0];
        break;
    case kDump: {
        static const char *const names[] = {"ifc_dump_lut0_rules", "ifc_dump_lut1_rules",
                                            "ifc_dump_all_rules"};
        t << names[s.a[0]];
        break;
    }
    case kReadBack:
        t << "ifc_get_rule_from_reg " << static_cast<int>(s.a[0]) - 1;
        break;
    case kShowShadow:
        t << "ifc_get_rule_from_hw " << static_cast<int>(s.a[0]) - 1;
        break;
    case kShowRecord:
        t << "ifc_parser_lut0_rule " << s.a[0] << ' ' << static_cast<int>(s.a[1]);
        break;
    case kMatchWide:
        t << "ifc_match_rule_lut0 " << s.request.size() << ' ' << s.a[0] << textOf(s.request);
        break;
    case kMatchNarrow:
        t << "ifc_match_rule_lut1 " << s.a[1] << ' ' << s.a[0] << textOf(s.request);
        break;
    case kCheckResult:
        t << "checkIFCResult " << static_cast<int>(s.a[3]) << ' ' << static_cast<int>(s.a[4]);
        break;
    case kSetSlot:
        t << "set_lut0_mask_key " << s.a[0] << ' ' << s.a[1] << ' ' << low(s.mask) << ' ' << low(s.key);
        break;
    case kGetSlots:
        t << (s.a[0] == 0 ? "get_lut0_mask_key " : "set_lut0_mask_key_to_array ") << s.a[1];
        break;
    case kVpm:
        t << "transTPIDtoVPM " << s.a[0];
        break;
    case kFindTpid:
        t << (s.a[1] == 0 ? "isTPID " : "transVPMtoTPID ") << s.a[0];
        break;
    case kLowestBit:
        t << (s.a[1] == 0 ? "_getLowestBit " : "getLowestBit ") << s.a[0];
        break;
    case kTransfer:
        t << "ifcSetRuleConfig " << s.a[0] << ' ' << s.a[1] << ' ' << s.a[2] << " 0";
        break;
    case kPoll:
        t << "ifcChecConfigDone 0xbfb50200 " << s.a[0];
        break;
    case kSum:
        t << lineOfHelper(s);
        break;
    case kTpid:
    case kRevision:
    case kKinds:
        break;
    }
    return t.str();
}

} // namespace model
