// SPDX-License-Identifier: MIT OR GPL-2.0
// The bit-field views of the records against the hardware's positions, bit by bit; ids, registers, sizes.
#include "tests/support/check.h"
#include "tests/support/layer.h"
#include "tests/support/wide_places.h"

using namespace support;

TEST(Catalogue, NamesAndIdsAreThoseOfTheHardware)
{
    for (unsigned field = 1; field < 32; ++field)
        EXPECT_STREQ(reinterpret_cast<const char *>(ifc_field_name[field]), kPlaces[field].name);
    EXPECT_EQ(DMAC, 1);
    EXPECT_EQ(SMAC, 2);
    EXPECT_EQ(DIPv4, 3);
    EXPECT_EQ(SIPv4, 4);
    EXPECT_EQ(DIPv6_31_0, 5);
    EXPECT_EQ(DIPv6_63_32, 6);
    EXPECT_EQ(DIPv6_95_64, 7);
    EXPECT_EQ(DIPv6_127_96, 8);
    EXPECT_EQ(SIPv6_31_0, 9);
    EXPECT_EQ(SIPv6_63_32, 10);
    EXPECT_EQ(SIPv6_95_64, 11);
    EXPECT_EQ(SIPv6_127_96, 12);
    EXPECT_EQ(FLOW_LABEL, 13);
    EXPECT_EQ(SINF, 14);
    EXPECT_EQ(FRAME_TYPE, 15);
    EXPECT_EQ(VPM0, 16);
    EXPECT_EQ(VPM1, 17);
    EXPECT_EQ(VID0, 18);
    EXPECT_EQ(PBIT0, 19);
    EXPECT_EQ(VID1, 20);
    EXPECT_EQ(PBIT1, 21);
    EXPECT_EQ(ETYPE, 22);
    EXPECT_EQ(GEMPORT, 23);
    EXPECT_EQ(IPv4_PROTOCOL, 24);
    EXPECT_EQ(IPv6_NEXT_HEADER, 25);
    EXPECT_EQ(IPv4_DSCP, 26);
    EXPECT_EQ(IPv6_TRAFFIC_CLASS, 27);
    EXPECT_EQ(DPORT, 28);
    EXPECT_EQ(SPORT, 29);
    EXPECT_EQ(PPPOE_SESSION, 30);
    EXPECT_EQ(DMAC_TYPE, 31);
    EXPECT_EQ(UDF0, 32);
    EXPECT_EQ(UDF15, 47);
    EXPECT_EQ(TCP_FLAGS, 48);
    EXPECT_EQ(L4_PROTOCOL_VLD, 49);
    EXPECT_EQ(L4_PROTOCOL, 50);
    EXPECT_EQ(L4_PORT_VLD, 51);
    EXPECT_EQ(OUTTER_IPv4, 52);
    EXPECT_EQ(OUTTER_IPv6, 53);
    EXPECT_EQ(IPv4_VLD, 54);
    EXPECT_EQ(IPv6_VLD, 55);
    EXPECT_EQ(LLC_OTHER, 56);
    EXPECT_EQ(IS_PPPOE, 57);
    EXPECT_EQ(VLAN0_VLD, 58);
    EXPECT_EQ(VLAN1_VLD, 59);
    EXPECT_EQ(LUT1_HIT, 60);
    EXPECT_EQ(SIP_EQ_DIP, 61);
    EXPECT_EQ(SPORT_EQ_DPORT, 62);
    EXPECT_EQ(DIP_EQ_ATK, 63);
    EXPECT_EQ(SIP_EQ_ATK, 64);
    EXPECT_EQ(RTSP_CTRL, 65);
    EXPECT_EQ(SIP6_EQ_DIP6, 66);
    EXPECT_EQ(SA_ID, 67);
    EXPECT_EQ(FIELD_IDX_MAX, 68);
}

TEST(Catalogue, OtherEnumeratorsAndTableSizes)
{
    EXPECT_EQ(DBG_ERR, 0);
    EXPECT_EQ(DBG_ST, 1);
    EXPECT_EQ(DBG_WARN, 2);
    EXPECT_EQ(DBG_MSG, 3);
    EXPECT_EQ(DBG_LEVEL_MAX, 4);
    EXPECT_EQ(IFC_DISABLE, 0u);
    EXPECT_EQ(IFC_ENABLE, 1u);
    EXPECT_EQ(IFC_LUT0, 0);
    EXPECT_EQ(IFC_LUT1, 1);
    EXPECT_EQ(sizeof IFC_LUT0_Rule, 8u * 41 * 4);
    EXPECT_EQ(sizeof IFC_LUT1_Rule, 32u * 2 * 4);
    EXPECT_EQ(sizeof ifc_field_name, 32u * 32);
    EXPECT_EQ(sizeof ifc_field_name[0], 32u);
    EXPECT_EQ(sizeof ifcSendToPpe, 4u);
}

TEST(Catalogue, Registers)
{
    EXPECT_EQ(FE_TPID_CFG, 0xBFB50000u);
    EXPECT_EQ(IFC_GLB_CFG, 0xBFB50200u);
    EXPECT_EQ(IFC_RULE_CFG, 0xBFB50204u);
    EXPECT_EQ(IFC_DATA0, 0xBFB50210u);
    EXPECT_EQ(IFC_DATA1, 0xBFB50214u);
    EXPECT_EQ(IFC_DATA2, 0xBFB50218u);
    EXPECT_EQ(IFC_DATA3, 0xBFB5021Cu);
    EXPECT_EQ(IFC_ACNT_CFG, 0xBFB50240u);
}

TEST(Record, PlacesOfTheMembers)
{
    EXPECT_EQ(offsetof(IFC_Private_T, dbgLevel), 0u);
    EXPECT_EQ(sizeof(IFC_Private_T::dbgLevel), 1u);
    EXPECT_EQ(offsetof(IFC_Private_T, lut0HitMap), 4u);
    EXPECT_EQ(offsetof(IFC_Private_T, lut1HitMap0), 8u);
    EXPECT_EQ(offsetof(IFC_Private_T, lut1HitMap1), 12u);
    EXPECT_EQ(offsetof(IFC_Private_T, lock), 16u);
    EXPECT_EQ(offsetof(orva_ifc_param, fieldIdx), 4u * 0);
    EXPECT_EQ(offsetof(orva_ifc_param, command), 4u * 48);
    EXPECT_EQ(offsetof(orva_ifc_param, mask_low), 4u * 96);
    EXPECT_EQ(offsetof(orva_ifc_param, mask_high), 4u * 144);
    EXPECT_EQ(offsetof(orva_ifc_param, key_low), 4u * 192);
    EXPECT_EQ(offsetof(orva_ifc_param, key_high), 4u * 240);
    EXPECT_EQ(sizeof(orva_ifc_param), 4u * 288);
    EXPECT_EQ(offsetof(ifc_field_param, fieldIdx), 4u * 3);
    EXPECT_EQ(offsetof(ifc_field_param, command), 4u * 4);
    EXPECT_EQ(offsetof(ifc_field_param, key), 4u * 5);
    EXPECT_EQ(offsetof(ifc_field_param, mask), 4u * 6);
    EXPECT_EQ(offsetof(ifc_field_param, key_high), 4u * 7);
    EXPECT_EQ(offsetof(ifc_field_param, mask_high), 4u * 8);
    EXPECT_EQ(sizeof(ifc_field_param), 4u * 9);
}

TEST(Record, Lut0HeaderBits)
{
    IFC_LUT0_Format r{};
    r.bits.valid = 1;
    EXPECT_EQ(r.word[0], 0x80000000u);
    r = {};
    r.bits.enable = 0x7FFFFFFF;
    EXPECT_EQ(r.word[0], 0x7FFFFFFFu);
    r = {};
    r.bits.command_17_31 = 0x3FFFFFFF;
    EXPECT_EQ(r.word[1], 0x3FFFFFFFu);
    r = {};
    r.bits.command_1_16 = 0xFFFFFFFF;
    EXPECT_EQ(r.word[2], 0xFFFFFFFFu);
}

TEST(Record, Lut0AreaViewAgreesWithThePlaces)
{
    const auto check = [](unsigned field, auto fill) {
        IFC_LUT0_Format r{};
        fill(r.bits.mask);
        for (unsigned n = 0; n < 1312; ++n) {
            const bool in = n >= kMaskArea + kPlaces[field].lsb &&
                            n < kMaskArea + kPlaces[field].lsb + kPlaces[field].width;
            ASSERT_EQ(bitOf(r, n), in) << kPlaces[field].name << " bit " << n;
        }
        IFC_LUT0_Format k{};
        fill(k.bits.key);
        for (unsigned w = 0; w < 19; ++w)
            ASSERT_EQ(k.word[22 + w], r.word[3 + w]) << kPlaces[field].name;
    };
    check(1, [](IFC_LUT0_Area &a) { a.dmac_31_0 = ~0u, a.dmac_47_32 = 0xFFFF; });
    check(2, [](IFC_LUT0_Area &a) { a.smac_15_0 = 0xFFFF, a.smac_47_16 = ~0u; });
    check(3, [](IFC_LUT0_Area &a) { a.dipv4 = ~0u; });
    check(4, [](IFC_LUT0_Area &a) { a.sipv4 = ~0u; });
    check(5, [](IFC_LUT0_Area &a) { a.dipv6_31_0 = ~0u; });
    check(6, [](IFC_LUT0_Area &a) { a.dipv6_63_32 = ~0u; });
    check(7, [](IFC_LUT0_Area &a) { a.dipv6_95_64 = ~0u; });
    check(8, [](IFC_LUT0_Area &a) { a.dipv6_127_96 = ~0u; });
    check(9, [](IFC_LUT0_Area &a) { a.sipv6_31_0 = ~0u; });
    check(10, [](IFC_LUT0_Area &a) { a.sipv6_63_32 = ~0u; });
    check(11, [](IFC_LUT0_Area &a) { a.sipv6_95_64 = ~0u; });
    check(12, [](IFC_LUT0_Area &a) { a.sipv6_127_96 = ~0u; });
    check(13, [](IFC_LUT0_Area &a) { a.flow_label = 0xFFFFF; });
    check(14, [](IFC_LUT0_Area &a) { a.sinf = 31; });
    check(15, [](IFC_LUT0_Area &a) { a.frame_type = 7; });
    check(16, [](IFC_LUT0_Area &a) { a.vpm0 = 3; });
    check(17, [](IFC_LUT0_Area &a) { a.vpm1 = 3; });
    check(18, [](IFC_LUT0_Area &a) { a.vid0 = 0xFFF; });
    check(19, [](IFC_LUT0_Area &a) { a.pbit0 = 15; });
    check(20, [](IFC_LUT0_Area &a) { a.vid1 = 0xFFF; });
    check(21, [](IFC_LUT0_Area &a) { a.pbit1 = 15; });
    check(22, [](IFC_LUT0_Area &a) { a.etype = 0xFFFF; });
    check(23, [](IFC_LUT0_Area &a) { a.gemport = 0xFFFF; });
    check(24, [](IFC_LUT0_Area &a) { a.ipv4_protocol = 0xFF; });
    check(25, [](IFC_LUT0_Area &a) { a.ipv6_next_header = 0xFF; });
    check(26, [](IFC_LUT0_Area &a) { a.ipv4_dscp = 0xFF; });
    check(27, [](IFC_LUT0_Area &a) { a.ipv6_traffic_class = 0xFF; });
    check(28, [](IFC_LUT0_Area &a) { a.dport = 0xFFFF; });
    check(29, [](IFC_LUT0_Area &a) { a.sport = 0xFFFF; });
    check(30, [](IFC_LUT0_Area &a) { a.pppoe_session = 0xFFFF; });
    check(31, [](IFC_LUT0_Area &a) { a.dmac_type = 3; });
}

TEST(Record, Lut1Bits)
{
    const auto word0 = [](auto fill) {
        IFC_LUT1_Format e{};
        fill(e);
        return e.word[0];
    };
    EXPECT_EQ(word0([](auto &e) { e.type0.field = 63; }), 0x3Fu);
    EXPECT_EQ(word0([](auto &e) { e.type0.command = 3; }), 0xC0u);
    EXPECT_EQ(word0([](auto &e) { e.type0.sel = 3; }), 0x300u);
    EXPECT_EQ(word0([](auto &e) { e.type0.type = 1; }), 0x2000u);
    EXPECT_EQ(word0([](auto &e) { e.type0.end = 1; }), 0x4000u);
    EXPECT_EQ(word0([](auto &e) { e.type0.valid = 1; }), 0x8000u);
    EXPECT_EQ(word0([](auto &e) { e.type1.field = 63; }), 0x3Fu);
    EXPECT_EQ(word0([](auto &e) { e.type1.command = 1; }), 0x40u);
    EXPECT_EQ(word0([](auto &e) { e.type1.direction = 1; }), 0x80u);
    EXPECT_EQ(word0([](auto &e) { e.type1.length = 31; }), 0x1F00u);
    EXPECT_EQ(word0([](auto &e) { e.type1.type = 1; }), 0x2000u);
    EXPECT_EQ(word0([](auto &e) { e.type1.end = 1; }), 0x4000u);
    EXPECT_EQ(word0([](auto &e) { e.type1.valid = 1; }), 0x8000u);
    IFC_LUT1_Format e{};
    e.type0.key = 0x1234;
    e.type0.mask = 0x5678;
    EXPECT_EQ(e.word[1], 0x56781234u);
}

TEST(Record, ActionBits)
{
    const auto at = [](auto fill, unsigned word, uint32_t value) {
        IFC_Action_Format a{};
        fill(a);
        for (unsigned n = 0; n < 4; ++n)
            EXPECT_EQ(a.word[n], n == word ? value : 0) << "word " << n;
    };
    at([](auto &a) { a.bits.vo0 = 3; }, 0, 3u << 0);
    at([](auto &a) { a.bits.vo1 = 3; }, 0, 3u << 2);
    at([](auto &a) { a.bits.vpm0 = 3; }, 0, 3u << 4);
    at([](auto &a) { a.bits.fqos = 1; }, 0, 1u << 6);
    at([](auto &a) { a.bits.fast = 1; }, 0, 1u << 7);
    at([](auto &a) { a.bits.mc = 1; }, 0, 1u << 8);
    at([](auto &a) { a.bits.keep_pcp = 1; }, 0, 1u << 9);
    at([](auto &a) { a.bits.dpi = 1; }, 0, 1u << 10);
    at([](auto &a) { a.bits.owf = 1; }, 0, 1u << 11);
    at([](auto &a) { a.bits.enable = 0x3FFF; }, 0, 0x3FFFu << 12);
    at([](auto &a) { a.bits.cpu = 1; }, 0, 1u << 26);
    at([](auto &a) { a.bits.nbq = 31; }, 0, 31u << 27);
    at([](auto &a) { a.bits.vid0_11_0 = 0xFFF; }, 1, 0xFFFu);
    at([](auto &a) { a.bits.vid0_15_12 = 15; }, 1, 0xF000u);
    at([](auto &a) { a.bits.vid1_11_0 = 0xFFF; }, 1, 0xFFFu << 16);
    at([](auto &a) { a.bits.vid1_15_12 = 15; }, 1, 15u << 28);
    at([](auto &a) { a.bits.cnt0_5_4 = 3; }, 2, 3u);
    at([](auto &a) { a.bits.cnt1 = 31; }, 2, 31u << 2);
    at([](auto &a) { a.bits.mtr_g = 255; }, 2, 255u << 8);
    at([](auto &a) { a.bits.ipv4_dscp = 255; }, 2, 255u << 16);
    at([](auto &a) { a.bits.ipv6_traffic_class = 255; }, 2, 255u << 24);
    at([](auto &a) { a.bits.queue = 7; }, 3, 7u);
    at([](auto &a) { a.bits.channel = 31; }, 3, 31u << 3);
    at([](auto &a) { a.bits.fport = 15; }, 3, 15u << 8);
    at([](auto &a) { a.bits.sp_tag = 0xFFFF; }, 3, 0xFFFFu << 12);
    at([](auto &a) { a.bits.cnt0_3_0 = 15; }, 3, 15u << 28);
}

END_OF_TESTS(recordTests)
