// SPDX-License-Identifier: MIT OR GPL-2.0
// The command handler: every operation by name, and what it refuses.
#include "ifc/ifc_cmd.h"
#include "tests/support/host/layer_fixture.h"

#include <cstdio>
#include <cstring>
#include <set>
#include <sstream>
#include <vector>

using namespace support;

class CmdTest : public LayerTest
{
protected:
    std::string answer;
    int run(const std::string &line)
    {
        answer.clear();
        forget();
        return ifc_cmd_run(
            line.c_str(),
            [](void *to, const char *text) {
                EXPECT_FALSE(host::lockHeld()) << text;
                *static_cast<std::string *>(to) += text;
            },
            &answer);
    }
    void gives(const std::string &line, const std::string &expected)
    {
        EXPECT_EQ(run(line), IFC_CMD_DONE) << line;
        EXPECT_EQ(answer, expected) << line;
    }
    void refuses(const std::string &line, const std::string &expected)
    {
        expectNothingChanges([&] { EXPECT_EQ(run(line), IFC_CMD_REFUSED) << line; });
        EXPECT_EQ(answer, expected + "\n") << line;
        EXPECT_EQ(events() + pieces(), 0u) << "nothing was called: " << line;
    }
};

TEST_F(CmdTest, EmptyLinesAndCommentsDoNothing)
{
    for (const char *line : {"", "   ", "\t\r\n", "# a comment", "  #", "#comment"}) {
        EXPECT_EQ(run(line), IFC_CMD_NOTHING);
        EXPECT_EQ(answer, "");
    }
}

TEST_F(CmdTest, Transfers)
{
    gives("ifcSetRuleConfig 3 10 0 1", "= 0\n");
    EXPECT_TRAFFIC(Traffic().transfer(0x00030A03));
    gives("ifcChecConfigDone 0xBFB50200 1", "= -62\n");
    gives("ifcChecConfigDone 0xBFB50204 0x10000", "= 0\n"); // a bit of the index, which is 3
    gives("ifcChecConfigDone 0xBFB50204 0x40000", "= -62\n");
    gives("ifc_enable", "= 0\n");
    EXPECT_EQ(chip.globalConfig(), 1u);
    EXPECT_STREQ(text(), "Exec. Success.\n");
    gives("ifc_get_ifc_staus", "= 0\n");
    EXPECT_STREQ(text(), "IFC :Enable .\n");
    gives("ifc_disable", "= 0\n");
    gives("write_all_ifc_rule_to_hw", "= 0\n");
    EXPECT_EQ(count(Kind::Write), 528u);
    gives("clear_ifc_rules -1", "= 0\n");
    EXPECT_EQ(count(Kind::Write), 16u);
    gives("clear_all_ifc_rules", "= 0\n");
}

TEST_F(CmdTest, RowsOfTheHardware)
{
    chip.tables().action[39][3] = 0x1234;
    gives("get row 2 39 0", "= 0x00001234 0x00000000 0x00000000 0x00000000\n");
    EXPECT_EQ(events(), 6u); // command, poll, four data registers
    refuses("get row 4 0 0", "get row: sel '4': accepted: 0 to 3");
    refuses("get row 2 256 0", "get row: index '256': accepted: 0 to 255");
    refuses("get row 2 0 256", "get row: offset '256': accepted: 0 to 255");
    refuses("get row 0 0", "get row: offset '': accepted: 0 to 255");
    refuses("get row 0 0 0 0", "get row '0': accepted: row SEL INDEX OFFSET");
    refuses("set row 0", "set 'row': accepted: dbgLevel ifcSendToPpe");
    powerOn(0);
    gives("get row 0 0 0", "= -62\n");
}

TEST_F(CmdTest, ClearsOneCounter)
{
    for (auto &counter : chip.tables().counter)
        counter[0] = counter[2] = 7;
    gives("clear counter 39", "= ok\n");
    EXPECT_EQ(events(), 8u); // the lock, four data registers, command, poll, the lock
    for (unsigned entry = 0; entry < IFC_COUNTERS; ++entry)
        EXPECT_EQ(chip.tables().counter[entry][0], entry == 39 ? 0u : 7u);
    refuses("clear counter 40", "clear counter: index '40': accepted: 0 to 39");
    refuses("clear counter", "clear counter: index '': accepted: 0 to 39");
    refuses("clear counter 1 2", "clear counter '2': accepted: counter INDEX");
    refuses("clear rule 1", "clear 'rule': accepted: counter INDEX");
}

TEST_F(CmdTest, Lut0)
{
    gives("ifc_set_lut0_rules 2 1 28 3 0 0xffff 0 0x1234", "= 0\n");
    EXPECT_EQ(IFC_LUT0_Rule[2].word[23], 0x1234u);
    gives("set_lut0_mask_key 2 29 0xff 0x77", "= ok\n");
    EXPECT_EQ(IFC_LUT0_Rule[2].word[23], 0x771234u);
    std::string shown = "= ok\n";
    for (unsigned slot = 0; slot < 32; ++slot)
        shown += (slot < 10 ? " " : "") + std::to_string(slot) +
                 (slot == 28   ? " mask 0x0000ffff key 0x00001234\n"
                  : slot == 29 ? " mask 0x000000ff key 0x00000077\n"
                               : " mask 0x00000000 key 0x00000000\n");
    gives("get_lut0_mask_key 2", shown);
    gives("set_lut0_mask_key_to_array 2", shown);
    gives("set_lut0_mask_key 2 0 0x3 0x2", "= ok\n"); // the first slot and the last one
    gives("set_lut0_mask_key 2 31 1 1", "= ok\n");
    shown.replace(5, 33, " 0 mask 0x00000003 key 0x00000002");
    shown.replace(shown.size() - 34, 33, "31 mask 0x00000001 key 0x00000001");
    gives("get_lut0_mask_key 2", shown);
    gives("ifc_parser_lut0_rule 2 99", "= 0\n");
    EXPECT_STREQ(piece(0), "LUT0-99 field:28 DPORT, Enable, ");
    gives("ifc_get_rule_from_reg 2", "= 0\n");
    gives("ifc_get_rule_from_reg 8", "= -1\n");
    gives("ifc_get_rule_from_hw 8", "= 0\n");
    gives("ifc_dump_lut0_rules", "= 0\n");
    gives("ifc_set_lut0_rules 5 1 28 0 0 0xffff 0 80", "= 0\n");
    gives("ifc_match_rule_lut0 1 5 28:0:0xffff:80", "= 1\n");
    gives("ifc_match_rule_lut0 2 5 28:0:0xffff:80", "= 0\n"); // one field is enabled
    gives("ifc_match_rule_lut0 1 6 28:0:0xffff:80", "= 0\n");
    gives("ifc_delete_lut0 2", "= ok\n");
    EXPECT_EQ(IFC_LUT0_Rule[2].word[0], 0u);
    gives("ifc_set_lut0_rules 8 1 28 3 0 0xffff 0 0x1234", "= -1\n");
}

TEST_F(CmdTest, Lut1)
{
    gives("ifc_set_lut1_rules 4 1 1 1 0 48 0x0011 0x22334455", "= 6\n");
    EXPECT_EQ(IFC_LUT1_Rule[5].type0.key, 0x11u);
    gives("ifc_dump_lut1_rules", "= 0\n");
    gives("ifc_dump_all_rules", "= 0\n");
    gives("ifc_delete_lut1 5", "= ok\n");
    EXPECT_EQ(IFC_LUT1_Rule[5].word[1], 0u);
    gives("change_mask_from_48_to_32 1 0xffffffff 48", "= 0x8000002f\n");
    gives("change_mask_from_48_to_32 0 0 32", "= 0xffffffff\n");
    gives("lut1_has_free_rule 5", "= 5\n");
    gives("ifc_set_lut1_rules 9 1 1 28 0 0xffff 0 80", "= 10\n");
    gives("ifc_match_rule_lut1 1 9 28:0:0xffff:80", "= 1\n");
    gives("ifc_match_rule_lut1 1 10 28:0:0xffff:80", "= 0\n");
    gives("ifc_match_rule_lut1 2 8 28:0:0xffff:80", "= 1\n"); // the second one of two entries
    gives("ifc_match_rule_lut1 1 8 28:0:0xffff:80", "= 0\n");
}

TEST_F(CmdTest, Requests)
{
    gives("ifc_set_lut_rules_auto 3:0:0xffffff00:0x0a000000 28:2:0xffff:80 1:0:0xffffffffffff:0x001122334455",
          "= 11\n");
    EXPECT_EQ(IFC_LUT1_Rule[3].type0.key, 0x0011u);
    gives("ifc_match_lut1 28:2:0xffff:80", "= 1\n");
    gives("ifc_match_lut1 1:0:0xffffffffffff:0x001122334455", "= 2\n");
    gives(
        "ifc_match_rule_lut1 4 0 3:0:0xffffff00:0x0a000000 28:2:0xffff:80 1:0:0xffffffffffff:0x001122334455",
        "= 1\n");
    gives("ifc_match_rule_lut0 1 0 28:2:0xffff:80", "= 0\n");
    gives("ifc_del_lut_rules_auto 28:2:0xffff:80", "= -1\n");
    gives("ifc_del_lut_rules_auto 3:0:0xffffff00:0x0a000000 28:2:0xffff:80 1:0:0xffffffffffff:0x001122334455",
          "= 0\n");
    EXPECT_EQ(IFC_LUT1_Rule[0].word[0], 0u);
    gives("ifc_set_lut_rules_auto", "= -1\n");
    EXPECT_STREQ(piece(0), "@Parameters should not be NULL!\n");
}

TEST_F(CmdTest, ConditionsArriveWordByWord)
{
    // Each part of each condition differs from all others.
    orva_ifc_param direct{};
    const struct {
        uint32_t field, command;
        uint64_t mask, key;
    } conditions[] = {
        {1, 1, 0xFFFF00000000, 0xA1B200000000}, {3, 0, 0xFFFF0000, 0x12340000}, {29, 3, 0xFF, 0x42}};
    unsigned count = 0;
    std::string line = "ifc_set_lut_rules_auto";
    for (const auto &[field, command, mask, key] : conditions) {
        const unsigned n = count++;
        direct.fieldIdx[n] = field;
        direct.command[n] = command;
        direct.mask_high[n] = static_cast<uint32_t>(mask >> 32);
        direct.mask_low[n] = static_cast<uint32_t>(mask);
        direct.key_high[n] = static_cast<uint32_t>(key >> 32);
        direct.key_low[n] = static_cast<uint32_t>(key);
        line += " " + std::to_string(field) + ":" + std::to_string(command) + ":" + std::to_string(mask) +
                ":" + std::to_string(key);
    }
    const int result = ifc_set_lut_rules_auto(&direct);
    ASSERT_GE(result, 0);
    const std::vector<IFC_LUT1_Format> narrow(IFC_LUT1_Rule, IFC_LUT1_Rule + IFC_LUT1_RULES);
    ASSERT_EQ(clear_all_ifc_rules(), 0);
    gives(line, "= " + std::to_string(result) + "\n");
    EXPECT_EQ(memcmp(IFC_LUT1_Rule, narrow.data(), sizeof IFC_LUT1_Rule), 0);
    // One condition is compared in all its parts as well.
    gives("ifc_match_lut1 1:1:0xFFFF00000000:0xA1B200000000", "= 0\n");
    gives("ifc_match_lut1 3:0:0xFFFF0000:0x12340000", "= 1\n");
    for (const char *other : {"2:1:0xFFFF00000000:0xA1B200000000", "1:0:0xFFFF00000000:0xA1B200000000",
                              "1:1:0xFFFE00000000:0xA1B200000000", "1:1:0xFFFF00000000:0xA1B300000000",
                              "3:0:0xFFFE0000:0x12340000", "3:0:0xFFFF0000:0x12350000"})
        gives(std::string("ifc_match_lut1 ") + other, "= -1\n");
}

TEST_F(CmdTest, ArgumentsArriveInTheirOrder)
{
    // Each call by name does what the same call does with its arguments in place.
    const auto clear = [&] {
        clear_all_ifc_rules();
        powerOn();
    };
    const auto same = [&](const std::string &line, auto direct) {
        clear();
        const int result = direct();
        ASSERT_GE(result, 0) << line << ": it must do something";
        const std::string printed = text();
        const std::vector<IFC_LUT0_Format> wide(IFC_LUT0_Rule, IFC_LUT0_Rule + IFC_LUT0_RULES);
        const std::vector<IFC_LUT1_Format> narrow(IFC_LUT1_Rule, IFC_LUT1_Rule + IFC_LUT1_RULES);
        const auto tables = chip.tables();
        uint32_t bindings[IFC_ACNT_CFG_COUNT];
        for (unsigned n = 0; n < IFC_ACNT_CFG_COUNT; ++n)
            bindings[n] = chip.counterBinding(n);
        clear();
        gives(line, "= " + std::to_string(result) + "\n");
        EXPECT_EQ(text(), printed) << line;
        EXPECT_EQ(memcmp(IFC_LUT0_Rule, wide.data(), sizeof IFC_LUT0_Rule), 0) << line;
        EXPECT_EQ(memcmp(IFC_LUT1_Rule, narrow.data(), sizeof IFC_LUT1_Rule), 0) << line;
        EXPECT_EQ(memcmp(&chip.tables(), &tables, sizeof tables), 0) << line;
        for (unsigned n = 0; n < IFC_ACNT_CFG_COUNT; ++n)
            EXPECT_EQ(chip.counterBinding(n), bindings[n]) << line;
    };
    ifcSendToPpe = 1; // so that actions need no rule
    const auto off = IFC_DISABLE;
    const auto on = IFC_ENABLE;
    same("ifc_set_lut0_rules 5 1 2 1 0xa1b2 0xc3d4e5f6 0x8192 0xa3b4c5d6",
         [&] { return ifc_set_lut0_rules(5, on, 2, 1, 0xA1B2, 0xC3D4E5F6, 0x8192, 0xA3B4C5D6); });
    same("ifc_set_lut0_rules 3 0 2 1 0xa1b2 0xc3d4e5f6 0x8192 0xa3b4c5d6",
         [&] { return ifc_set_lut0_rules(3, off, 2, 1, 0xA1B2, 0xC3D4E5F6, 0x8192, 0xA3B4C5D6); });
    for (const unsigned end : {0u, 1u})
        same("ifc_set_lut1_rules 4 1 " + std::to_string(end) + " 2 1 40 0x8192 0xa3b4c5d6",
             [&] { return ifc_set_lut1_rules(4, on, end, 2, 1, 40, 0x8192, 0xA3B4C5D6); });
    same("ifc_set_lut1_rules 4 1 0 2 1 0x80000028 0x8192 0xa3b4c5d6",
         [&] { return ifc_set_lut1_rules(4, on, 0, 2, 1, 0x80000028, 0x8192, 0xA3B4C5D6); });
    same("ifc_set_lut1_rules 5 1 1 40 3 0xfff 0 0x123",
         [&] { return ifc_set_lut1_rules(5, on, 1, 40, 3, 0xFFF, 0, 0x123); });
    same("ifc_set_lut1_rules 4 0 1 2 1 40 0x8192 0xa3b4c5d6",
         [&] { return ifc_set_lut1_rules(4, off, 1, 2, 1, 40, 0x8192, 0xA3B4C5D6); });
    same("ifc_set_action 9 8 1 2 5 3 1", [&] { return ifc_set_action(9, IFC_ACT_VLAN0, on, 2, 5, 3, 1); });
    same("ifc_set_action 9 8 0 2 5 3 1", [&] { return ifc_set_action(9, IFC_ACT_VLAN0, off, 2, 5, 3, 1); });
    same("ifc_set_acnt 9 13", [&] { return ifc_set_acnt(9, 13); });
    ASSERT_EQ(ifc_set_lut0_rules(5, on, 28, 1, 0, 0xFF, 0, 7), 0);
    forget();
    ASSERT_EQ(ifc_get_rule_from_hw(5), 0);
    const std::string shown = text();
    gives("ifc_get_rule_from_hw 5", "= 0\n");
    EXPECT_EQ(text(), shown);
    gpIfcPriv->lut0HitMap = 1u << 1;
    ASSERT_NE(checkIFCResult(0, 1), checkIFCResult(1, 0));
    gives("checkIFCResult 0 1", "= " + std::to_string(checkIFCResult(0, 1)) + "\n");
    gives("checkIFCResult 1 0", "= " + std::to_string(checkIFCResult(1, 0)) + "\n");
}

TEST_F(CmdTest, ActionsCountersResults)
{
    gives("set ifcSendToPpe 1", "= 0x1\n");
    gives("ifc_set_action 8 0 1 3 5 0 0", "= 0\n");
    EXPECT_STREQ(text(), "channel:3, queue:5\n");
    gives("ifc_dump_action 8", "= 0\n");
    EXPECT_STREQ(text(), "  Action: enable:1, OWF:0, channel:3, queue:5\n");
    gives("ifc_clear_action 8", "= 0\n");
    gives("ifc_clear_action 40", "= -1\n");
    gives("clear_all_ifc_actions", "= 0\n");
    gives("ifc_set_acnt 0 16", "= 0\n");
    chip.tables().counter[3][0] = 64;
    chip.tables().counter[3][2] = 1;
    gives("ifc_get_acnt 3", "= 0 bytes 64 packets 1\n");
    gives("ifc_get_acnt 40", "= -1 bytes 0 packets 0\n");
    gives("clear_all_ifc_acnt", "= ok\n");
    gives("ifc_get_acnt 3", "= 0 bytes 0 packets 0\n");
    gives("checkIFCResult 0 -1", "= 0\n");
    gives("checkIFCResult 0 0", "= -1\n");
}

TEST_F(CmdTest, PacketHelpers)
{
    gives("_getLowestBit 0", "= 0x0\n");
    gives("getLowestBit 0", "= 0x1\n");
    gives("getLowestBit 12", "= 0x3\n");
    gives("isTPID 0x0081", "= 1\n");
    gives("transTPIDtoVPM 0XA888", "= 2\n");
    gives("transTPIDtoVPM 0", "= -1\n");
    gives("transVPMtoTPID 2", "= 0x88a8\n");
    gives("skb_chksum 2 4500", "= 0xbaff\n");
    gives("ipv4_checksum 0 450000730000400040110000C0A80001C0A800C7", "= 0xb861\n");
    gives("tcp_udp_checksum 0 0 0 4500", "= 0xbaff\n");
    gives("tcp_udp_checksum 2 1 2 4500", "= 0xfffc\n");
    gives("getPppoeSid 0 11001234000200210000", "= 0 sid 0x3412 ppp_tag 0x2100\n");
    gives("getPppoeSid 0 08001234000200210000", "= -1 sid 0x0000 ppp_tag 0x2100\n");
    gives("getPppoeSid 2 ffff11001234000200210000", "= 0 sid 0x3412 ppp_tag 0x2100\n");
    gives("ipv4_checksum 2 ffff450000730000400040110000C0A80001C0A800C7", "= 0xb861\n");
    gives("tcp_udp_checksum 1 0 0 ff4500", "= 0xbaff\n");
    gives("dump_skb 0102", "= ok\n");
    EXPECT_STREQ(lastPiece(), "0000: 01 02 \n");
    gives("dump_skb", "= ok\n");
    EXPECT_EQ(pieces(), 1u);
}

TEST_F(CmdTest, FramesOfEachDigitAndLength)
{
    gives("dump_skb 0123456789abcdefABCDEF", "= ok\n");
    EXPECT_STREQ(lastPiece(), "0000: 01 23 45 67 89 ab cd ef ab cd ef \n");
    unsigned long head = 0;
    unsigned long end = 0;
    ASSERT_EQ(std::sscanf(text(), "skb=%*x skb->head=%lx skb->end=%lx", &head, &end), 2) << text();
    EXPECT_EQ(end - head, 2048u);
    gives("skb_chksum 2048 " + std::string(4094, '0') + "1f",
          "= 0xffe0\n"); // the largest frame; the last byte counts
}

TEST_F(CmdTest, Variables)
{
    gives("get dbgLevel", "= 0x0\n");
    gives("set dbgLevel 3", "= 0x3\n");
    EXPECT_EQ(gpIfcPriv->dbgLevel, 3);
    refuses("set dbgLevel 4", "set: dbgLevel '4': accepted: 0 to 3");
    refuses("set dbgLevel", "set '': accepted: NAME VALUE");
    refuses("get dbgLevel 1", "get '1': accepted: NAME");
    refuses("set dbgLevel 1 1", "set '1': accepted: NAME VALUE");
    refuses("get debug", "get 'debug': accepted: dbgLevel ifcSendToPpe row");
}

TEST_F(CmdTest, RefusesWhatTheOperationsDoNotCheck)
{
    refuses("ifc_delete_lut0 8", "ifc_delete_lut0: rule '8': accepted: 0 to 7");
    refuses("ifc_delete_lut0 -1", "ifc_delete_lut0: rule '-1': accepted: 0 to 7");
    refuses("ifc_delete_lut1 32", "ifc_delete_lut1: entry '32': accepted: 0 to 31");
    refuses("ifc_dump_action 40", "ifc_dump_action: ifcIndex '40': accepted: 0 to 39");
    refuses("get_lut0_mask_key 8", "get_lut0_mask_key: rule '8': accepted: 0 to 7");
    refuses("set_lut0_mask_key 0 32 0 0", "set_lut0_mask_key: slot '32': accepted: 0 to 31");
    refuses("set_lut0_mask_key_to_array 8", "set_lut0_mask_key_to_array: rule '8': accepted: 0 to 7");
    refuses("ifc_parser_lut0_rule 8 0", "ifc_parser_lut0_rule: rule '8': accepted: 0 to 7");
    refuses("ifc_match_rule_lut0 1 8 28:0:1:1", "ifc_match_rule_lut0: rule '8': accepted: 0 to 7");
    refuses("ifc_match_rule_lut1 33 0 28:0:1:1", "ifc_match_rule_lut1: field_num '33': accepted: 0 to 32");
    refuses("ifc_match_rule_lut1 1 32 28:0:1:1", "ifc_match_rule_lut1: entry '32': accepted: 0 to 31");
    refuses("skb_chksum 3 4500", "skb_chksum: lens: accepted: at most the length of the frame");
    refuses("ipv4_checksum 1 450000730000400040110000C0A80001C0A800C7",
            "ipv4_checksum: offset: accepted: a place with 20 bytes of the frame after it");
    refuses("tcp_udp_checksum 3 0 0 4500",
            "tcp_udp_checksum: offset: accepted: at most the length of the frame");
    refuses("getPppoeSid 1 11001234000200210000",
            "getPppoeSid: pre_len: accepted: a place with 10 bytes of the frame after it");
}

TEST_F(CmdTest, ReadsNumbersInTheirSpellings)
{
    for (const char *text :
         {"9", "0x9", "0X9", "0009", "000000000000000009", "0x000000000000000009", "-0", "0xA"})
        EXPECT_EQ(run(std::string("_getLowestBit ") + text), IFC_CMD_DONE) << text << answer;
    gives("_getLowestBit 0123", "= 0x1\n"); // no octal numbers: 83 would give 1, too, but not
    gives("_getLowestBit 010", "= 0x2\n");  // this one
    gives("set ifcSendToPpe 0xAbCdEf09", "= 0xabcdef09\n");
    gives("set ifcSendToPpe 4294967295", "= 0xffffffff\n");
}

TEST_F(CmdTest, RepeatsFortyCharactersOfAWord)
{
    for (const size_t length : {39u, 40u, 41u})
        refuses(std::string(length, 'w') + " more",
                "operation '" + std::string(length < 40 ? length : 40, 'w') +
                    "': accepted: help, get, set, clear, or a name that 'help' lists");
}

TEST_F(CmdTest, RefusesNumbersThatDoNotFit)
{
    refuses("ifc_clear_action 4294967296",
            "ifc_clear_action: ifcIndex '4294967296': accepted: 0 to 4294967295");
    refuses("ifc_clear_action -1", "ifc_clear_action: ifcIndex '-1': accepted: 0 to 4294967295");
    refuses("clear_ifc_rules 2147483648",
            "clear_ifc_rules: ruleId '2147483648': accepted: -2147483648 to 2147483647");
    refuses("clear_ifc_rules -2147483649",
            "clear_ifc_rules: ruleId '-2147483649': accepted: -2147483648 to 2147483647");
    refuses("isTPID 65536", "isTPID: word '65536': accepted: 0 to 65535");
    for (const char *text : {"x",
                             "0x",
                             "0xg",
                             "1x",
                             "1x5",
                             "1a",
                             "1/",
                             "1:",
                             "1@",
                             "1G",
                             "1`",
                             "0x1/",
                             "0x1:",
                             "0x1@",
                             "0x1G",
                             "0x1`",
                             "--1",
                             "-",
                             "12345678901234567890",
                             "999999999999999999",
                             "0xffffffffffffffff",
                             "0000000000000000009",
                             "0x0000000000000000009"})
        refuses(std::string("ifc_clear_action ") + text,
                std::string("ifc_clear_action: ifcIndex '") + text + "': accepted: 0 to 4294967295");
}

TEST_F(CmdTest, RefusesWrongNamesAndCounts)
{
    refuses("ifc_enabl",
            "operation 'ifc_enabl': accepted: help, get, set, clear, or a name that 'help' lists");
    refuses("ifc_enablee",
            "operation 'ifc_enablee': accepted: help, get, set, clear, or a name that 'help' lists");
    refuses("ifc_enable 1", "ifc_enable: '1' is too much: accepted: ifc_enable");
    refuses("ifc_set_acnt 1",
            "ifc_set_acnt: 1 arguments are too few: accepted: ifc_set_acnt ifcIndex acntIdx");
    refuses("ifc_set_acnt 1 2 3", "ifc_set_acnt: '3' is too much: accepted: ifc_set_acnt ifcIndex acntIdx");
    refuses("help nothing",
            "help 'nothing': accepted: nothing, or the name of an operation that 'help' lists");
    refuses("dump_skb 01 02", "dump_skb: '02' is too much: accepted: dump_skb HEX");
}

TEST_F(CmdTest, RefusesBadConditionsAndFrames)
{
    for (const char *text : {"28", "28:0:1", "28:0:1:1:1"})
        refuses(std::string("ifc_set_lut_rules_auto 29:0:1:1 ") + text,
                std::string("ifc_set_lut_rules_auto: condition '") + text +
                    "': accepted: FIELD:COMMAND:MASK:KEY");
    refuses("ifc_set_lut_rules_auto 28::1:1",
            "ifc_set_lut_rules_auto: command '': accepted: 0 to 4294967295");
    refuses("ifc_set_lut_rules_auto 1:0:0x1000000000000:0",
            "ifc_set_lut_rules_auto: mask '0x1000000000000': accepted: 0 to 281474976710655");
    gives("ifc_match_lut1 1:0:0xffffffffffff:0xffffffffffff", "= -1\n");
    refuses("ifc_set_lut_rules_auto 1:0:0:0x1000000000000",
            "ifc_set_lut_rules_auto: key '0x1000000000000': accepted: 0 to 281474976710655");
    refuses("ifc_match_lut1", "ifc_match_lut1: no condition: accepted: FIELD:COMMAND:MASK:KEY");
    refuses("ifc_match_lut1 28:0:1:1 29:0:1:1", "ifc_match_lut1: too many conditions: accepted: at most 1");
    std::string many = "ifc_del_lut_rules_auto";
    for (int n = 0; n < 49; ++n)
        many += " 28:0:1:1";
    refuses(many, "ifc_del_lut_rules_auto: too many conditions: accepted: at most 48");
    refuses("dump_skb 123", "dump_skb: frame '123': accepted: up to 2048 bytes, two hexadecimal digits each");
    refuses("dump_skb g0", "dump_skb: frame 'g0': accepted: up to 2048 bytes, two hexadecimal digits each");
    refuses("dump_skb 0g", "dump_skb: frame '0g': accepted: up to 2048 bytes, two hexadecimal digits each");
    refuses("dump_skb " + std::string(4098, '0'),
            "dump_skb: frame '" + std::string(40, '0') +
                "': accepted: up to 2048 bytes, two hexadecimal digits each");
}

TEST_F(CmdTest, HelpListsEveryOperationOfTheHeader)
{
    EXPECT_EQ(run("help"), IFC_CMD_DONE);
    const std::string last =
        "\nget dbgLevel | set dbgLevel VALUE\nget ifcSendToPpe | set ifcSendToPpe VALUE\n"
        "get row SEL INDEX OFFSET\nclear counter INDEX\n";
    ASSERT_GT(answer.size(), last.size());
    EXPECT_EQ(answer.substr(answer.size() - last.size()), last);
    std::set<std::string> listed;
    std::istringstream lines(answer);
    for (std::string line; std::getline(lines, line);)
        listed.insert(line.substr(0, line.find(' ')));
    for (const char *name : {"ifcSetRuleConfig",
                             "ifcChecConfigDone",
                             "write_all_ifc_rule_to_hw",
                             "clear_all_ifc_rules",
                             "clear_ifc_rules",
                             "ifc_enable",
                             "ifc_disable",
                             "ifc_get_ifc_staus",
                             "get_lut0_mask_key",
                             "set_lut0_mask_key",
                             "set_lut0_mask_key_to_array",
                             "ifc_get_rule_from_reg",
                             "ifc_parser_lut0_rule",
                             "ifc_get_rule_from_hw",
                             "ifc_set_lut0_rules",
                             "ifc_delete_lut0",
                             "ifc_set_lut1_rules",
                             "ifc_delete_lut1",
                             "change_mask_from_48_to_32",
                             "ifc_set_lut_rules_auto",
                             "lut1_has_free_rule",
                             "ifc_del_lut_rules_auto",
                             "ifc_match_rule_lut0",
                             "ifc_match_rule_lut1",
                             "ifc_match_lut1",
                             "ifc_set_action",
                             "ifc_clear_action",
                             "clear_all_ifc_actions",
                             "ifc_dump_action",
                             "ifc_set_acnt",
                             "ifc_get_acnt",
                             "clear_all_ifc_acnt",
                             "checkIFCResult",
                             "ifc_dump_lut0_rules",
                             "ifc_dump_lut1_rules",
                             "ifc_dump_all_rules",
                             "_getLowestBit",
                             "getLowestBit",
                             "isTPID",
                             "transTPIDtoVPM",
                             "transVPMtoTPID",
                             "getPppoeSid",
                             "skb_chksum",
                             "ipv4_checksum",
                             "tcp_udp_checksum",
                             "dump_skb"})
        EXPECT_EQ(listed.count(name), 1u) << name;
    EXPECT_EQ(listed.size(), 46u + 2u) << "and get/set, clear";
    gives("help ifc_set_acnt",
          "ifc_set_acnt ifcIndex acntIdx\n  ifcIndex: 0 to 4294967295\n  acntIdx: 0 to 4294967295\n");
    gives("help ifcSetRuleConfig",
          "ifcSetRuleConfig index offset sel type\n  index: 0 to 255\n  offset: 0 to 255\n"
          "  sel: -2147483648 to 2147483647\n  type: -2147483648 to 2147483647\n");
    gives("help tcp_udp_checksum",
          "tcp_udp_checksum offset tcp_udp_length tcp_udp_protocol HEX\n  offset: 0 to 2048\n"
          "  tcp_udp_length: 0 to 65535\n  tcp_udp_protocol: 0 to 255\n");
    gives("help ifc_match_lut1", "ifc_match_lut1 FIELD:COMMAND:MASK:KEY\n");
    gives("help dump_skb", "dump_skb HEX\n");
    gives("help ifc_del_lut_rules_auto", "ifc_del_lut_rules_auto [FIELD:COMMAND:MASK:KEY]...\n");
}

TEST_F(CmdTest, KnowsWhichLinesOnlyRead)
{
    for (const char *line : {"", "  # a comment", "help", "help ifc_enable", "get dbgLevel", "get row 1 0 0"})
        EXPECT_EQ(ifc_cmd_only_reads(line), 1) << line;
    for (const char *line : {"set dbgLevel 1", "ifc_no_such", "ifc_get", "ifc_get_acnts 0"})
        EXPECT_EQ(ifc_cmd_only_reads(line), 0) << line;
    const std::set<std::string> changing = {"ifcSetRuleConfig",
                                            "ifcChecConfigDone",
                                            "write_all_ifc_rule_to_hw",
                                            "clear_all_ifc_rules",
                                            "clear_ifc_rules",
                                            "ifc_enable",
                                            "ifc_disable",
                                            "set_lut0_mask_key",
                                            "ifc_set_lut0_rules",
                                            "ifc_delete_lut0",
                                            "ifc_set_lut1_rules",
                                            "ifc_delete_lut1",
                                            "ifc_set_lut_rules_auto",
                                            "ifc_del_lut_rules_auto",
                                            "ifc_set_action",
                                            "ifc_clear_action",
                                            "clear_all_ifc_actions",
                                            "ifc_set_acnt",
                                            "clear_all_ifc_acnt",
                                            "clear"};
    run("help");
    std::istringstream lines(answer);
    for (std::string line; std::getline(lines, line);) {
        const std::string name = line.substr(0, line.find(' '));
        if (name != "get" && name != "set") {
            EXPECT_EQ(ifc_cmd_only_reads(name.c_str()), changing.count(name) == 0 ? 1 : 0) << name;
        }
    }
    run("ifc_set_lut0_rules 0 1 28 0 0 0xffff 0 80");
    run("ifc_set_lut1_rules 3 1 1 28 0 0xffff 0 81");
    run("ifc_set_action 11 1 1 3 0 0 0");
    for (const char *line : {"ifc_get_ifc_staus",
                             "get_lut0_mask_key 0",
                             "set_lut0_mask_key_to_array 0",
                             "ifc_get_rule_from_reg 0",
                             "ifc_parser_lut0_rule 0 5",
                             "ifc_get_rule_from_hw 8",
                             "change_mask_from_48_to_32 0 0xff 48",
                             "lut1_has_free_rule 3",
                             "ifc_match_rule_lut0 1 0 28:0:1:1",
                             "ifc_match_rule_lut1 1 0 28:0:1:1",
                             "ifc_match_lut1 28:0:0xffff:5060",
                             "ifc_dump_action 11",
                             "ifc_get_acnt 3",
                             "checkIFCResult 0 -1",
                             "ifc_dump_lut0_rules",
                             "ifc_dump_lut1_rules",
                             "ifc_dump_all_rules",
                             "_getLowestBit 6",
                             "getLowestBit 0",
                             "isTPID 0x81",
                             "transTPIDtoVPM 0x81",
                             "transVPMtoTPID 1",
                             "getPppoeSid 0 11001234000200210000",
                             "skb_chksum 2 4500",
                             "ipv4_checksum 0 450000730000400040110000C0A80001C0A800C7",
                             "tcp_udp_checksum 0 0 0 4500",
                             "dump_skb 0102"}) {
        EXPECT_EQ(ifc_cmd_only_reads(line), 1) << line;
        expectNothingChanges([&] { EXPECT_EQ(run(line), IFC_CMD_DONE) << line; });
    }
}
