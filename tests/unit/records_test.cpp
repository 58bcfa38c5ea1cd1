// SPDX-License-Identifier: MIT OR GPL-2.0
// The bit-field views against the hardware's positions, bit by bit, and the codec against a plain big number.
#include "layer_test.h"

#include <bitset>
#include <cstring>
#include <functional>
#include <random>

extern "C" int c_consumer(void);

namespace
{

struct Place {
    const char *name;
    unsigned lsb; // within an area
    unsigned width;
};

// As the data sheet lists them, independent of the catalogue.
const Place kPlaces[32] = {
    {"", 0, 0},
    {"DMAC", 0, 48},
    {"SMAC", 48, 48},
    {"DIPv4", 96, 32},
    {"SIPv4", 128, 32},
    {"DIPv6_31_0", 160, 32},
    {"DIPv6_63_32", 192, 32},
    {"DIPv6_95_64", 224, 32},
    {"DIPv6_127_96", 256, 32},
    {"SIPv6_31_0", 288, 32},
    {"SIPv6_63_32", 320, 32},
    {"SIPv6_95_64", 352, 32},
    {"SIPv6_127_96", 384, 32},
    {"FLOW_LABEL", 416, 20},
    {"SINF", 436, 5},
    {"FRAME_TYPE", 441, 3},
    {"VPM0", 444, 2},
    {"VPM1", 446, 2},
    {"VID0", 448, 12},
    {"PBIT0", 460, 4},
    {"VID1", 464, 12},
    {"PBIT1", 476, 4},
    {"ETYPE", 480, 16},
    {"GEMPORT", 496, 16},
    {"IPv4_PROTOCOL", 512, 8},
    {"IPv6_NEXT_HEADER", 520, 8},
    {"IPv4_DSCP", 528, 8},
    {"IPv6_TRAFFIC_CLASS", 536, 8},
    {"DPORT", 544, 16},
    {"SPORT", 560, 16},
    {"PPPOE_SESSION", 576, 16},
    {"DMAC_TYPE", 592, 2},
};

// Bit n of a 1312-bit rule whose word 40 is the least significant.
bool bitOf(const IFC_LUT0_Format &rule, unsigned n)
{
    return (rule.word[40 - n / 32] >> n % 32 & 1) != 0;
}

constexpr unsigned kKeyArea = 0;
constexpr unsigned kMaskArea = 608;

uint32_t arrayWord(const IFC_LUT0_Format &rule, unsigned area, unsigned slot)
{
    const unsigned lsb = slot < 3 ? 32 * slot : kPlaces[slot].lsb;
    const unsigned width = slot < 3 ? 32 : kPlaces[slot].width;
    uint32_t value = 0;
    for (unsigned n = 0; n < width; ++n)
        value |= static_cast<uint32_t>(bitOf(rule, area + lsb + n)) << n;
    return value;
}

} // namespace

TEST(CatalogueTest, NamesAndIdsAreThoseOfTheHardware)
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

TEST(CatalogueTest, OtherEnumeratorsAndTableSizes)
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

TEST(CatalogueTest, Registers)
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

TEST(RecordTest, PlacesOfTheMembers)
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

TEST(RecordTest, Lut0HeaderBits)
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

TEST(RecordTest, Lut0AreaViewAgreesWithThePlaces)
{
    const auto check = [](unsigned field, const std::function<void(IFC_LUT0_Area &)> &fill) {
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

TEST(RecordTest, Lut1Bits)
{
    const auto word0 = [](const std::function<void(IFC_LUT1_Format &)> &fill) {
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

TEST(RecordTest, ActionBits)
{
    const auto at = [](const std::function<void(IFC_Action_Format &)> &fill, unsigned word, uint32_t value) {
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

class CodecTest : public LayerTest
{
protected:
    uint mask[32] = {};
    uint key[32] = {};
};

TEST_F(CodecTest, HeadersWorkFromC)
{
    EXPECT_EQ(c_consumer(), 0);
}

TEST_F(CodecTest, WalkingOnesReachExactlyTheirBit)
{
    for (unsigned slot = 0; slot < 32; ++slot)
        for (unsigned n = 0; n < 32; ++n) {
            for (const bool inMask : {true, false}) {
                IFC_LUT0_Rule[5] = {};
                std::memset(mask, 0, sizeof mask);
                std::memset(key, 0, sizeof key);
                (inMask ? mask : key)[slot] = 1u << n;
                set_lut0_mask_key(5, mask, key);
                const unsigned lsb = slot < 3 ? 32 * slot : kPlaces[slot].lsb;
                const unsigned width = slot < 3 ? 32 : kPlaces[slot].width;
                const unsigned expected = (inMask ? kMaskArea : kKeyArea) + lsb + n;
                for (unsigned b = 0; b < 1312; ++b)
                    ASSERT_EQ(bitOf(IFC_LUT0_Rule[5], b), n < width && b == expected) << slot << ' ' << n;
            }
        }
}

TEST_F(CodecTest, WalkingZerosKeepEveryOtherBit)
{
    for (unsigned slot = 0; slot < 32; ++slot) {
        std::memset(&IFC_LUT0_Rule[2], 0xFF, sizeof IFC_LUT0_Rule[2]);
        std::memset(mask, 0xFF, sizeof mask);
        std::memset(key, 0xFF, sizeof key);
        mask[slot] = 0;
        set_lut0_mask_key(2, mask, key);
        const unsigned lsb = kMaskArea + (slot < 3 ? 32 * slot : kPlaces[slot].lsb);
        const unsigned width = slot < 3 ? 32 : kPlaces[slot].width;
        for (unsigned b = 0; b < 1312; ++b)
            ASSERT_EQ(bitOf(IFC_LUT0_Rule[2], b), !(b >= lsb && b < lsb + width)) << slot << ' ' << b;
    }
}

TEST_F(CodecTest, UnpacksRandomImagesLikeAPlainBigNumber)
{
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        IFC_LUT0_Format &rule = IFC_LUT0_Rule[round % 8];
        for (uint32_t &word : rule.word)
            word = static_cast<uint32_t>(random());
        const IFC_LUT0_Format before = rule;
        std::memset(mask, 0xA5, sizeof mask);
        std::memset(key, 0xA5, sizeof key);
        get_lut0_mask_key(round % 8, mask, key);
        uint mask2[32];
        uint key2[32];
        IFC_LUT0_Format copy = rule;
        set_lut0_mask_key_to_array(&copy, mask2, key2);
        for (unsigned slot = 0; slot < 32; ++slot) {
            ASSERT_EQ(mask[slot], arrayWord(rule, kMaskArea, slot));
            ASSERT_EQ(key[slot], arrayWord(rule, kKeyArea, slot));
            ASSERT_EQ(mask2[slot], mask[slot]);
            ASSERT_EQ(key2[slot], key[slot]);
        }
        set_lut0_mask_key(round % 8, mask, key);
        ASSERT_EQ(std::memcmp(&before, &rule, sizeof rule), 0);
    }
    EXPECT_TRUE(seen.empty());
    EXPECT_TRUE(events.empty());
}

// The rules as they should be after a change of some of their bits.
class UntouchedTest : public CodecTest
{
protected:
    UntouchedTest()
    {
        for (auto &rule : IFC_LUT0_Rule)
            for (uint32_t &word : rule.word)
                word = static_cast<uint32_t>(random());
        for (auto &entry : IFC_LUT1_Rule)
            for (uint32_t &word : entry.word)
                word = static_cast<uint32_t>(random());
        keep();
    }
    void keep()
    {
        std::memcpy(lut0, IFC_LUT0_Rule, sizeof lut0);
        std::memcpy(lut1, IFC_LUT1_Rule, sizeof lut1);
    }
    void expectBit(unsigned rule, unsigned bit, bool value)
    {
        uint32_t &word = lut0[rule].word[40 - bit / 32];
        word = (word & ~(1u << bit % 32)) | static_cast<uint32_t>(value) << bit % 32;
    }
    void expectBits(unsigned rule, unsigned lsb, unsigned width, uint64_t value)
    {
        for (unsigned n = 0; n < width; ++n)
            expectBit(rule, lsb + n, (value >> n & 1) != 0);
    }
    bool asExpected() const
    {
        return std::memcmp(lut0, IFC_LUT0_Rule, sizeof lut0) == 0 &&
               std::memcmp(lut1, IFC_LUT1_Rule, sizeof lut1) == 0;
    }
    std::mt19937 random{7};
    IFC_LUT0_Format lut0[8];
    IFC_LUT1_Format lut1[32];
};

TEST_F(UntouchedTest, PackingTheArraysWritesTheTwoAreasOnly)
{
    for (unsigned round = 0; round < 400; ++round) {
        for (unsigned slot = 0; slot < 32; ++slot) {
            mask[slot] = static_cast<uint>(random());
            key[slot] = static_cast<uint>(random());
            const unsigned lsb = slot < 3 ? 32 * slot : kPlaces[slot].lsb;
            const unsigned width = slot < 3 ? 32 : kPlaces[slot].width;
            expectBits(round % 8, kMaskArea + lsb, width, mask[slot]);
            expectBits(round % 8, kKeyArea + lsb, width, key[slot]);
        }
        set_lut0_mask_key(static_cast<int>(round % 8), mask, key);
        ASSERT_TRUE(asExpected()) << round;
    }
}

TEST_F(UntouchedTest, SettingAFieldOfAWideRuleWritesItsBitsOnly)
{
    for (unsigned round = 0; round < 8 * 31; ++round) {
        const unsigned rule = round % 8;
        const unsigned field = round % 31 + 1;
        const uint command = static_cast<uint>(random()) & (field < 14 ? 1 : 3);
        const uint maskHigh = static_cast<uint>(random()), maskLow = static_cast<uint>(random());
        const uint keyHigh = static_cast<uint>(random()), keyLow = static_cast<uint>(random());
        expectBit(rule, 1311, true);
        expectBit(rule, 1279 + field, true);
        expectBits(rule, 1216 + 2 * (field - 1), 2, command);
        expectBits(rule, kMaskArea + kPlaces[field].lsb, kPlaces[field].width,
                   uint64_t{maskHigh} << 32 | maskLow);
        expectBits(rule, kKeyArea + kPlaces[field].lsb, kPlaces[field].width,
                   uint64_t{keyHigh} << 32 | keyLow);
        ASSERT_EQ(ifc_set_lut0_rules(rule, IFC_ENABLE, field, command, maskHigh, maskLow, keyHigh, keyLow),
                  0);
        ASSERT_TRUE(asExpected()) << field;
    }
    ASSERT_EQ(ifc_set_lut0_rules(3, IFC_DISABLE, 1, 0, 0, 0, 0, 0), 0);
    expectBits(3, 1280, 32, 0);
    EXPECT_TRUE(asExpected());
    ifc_delete_lut0(5);
    lut0[5] = {};
    EXPECT_TRUE(asExpected());
}

TEST_F(UntouchedTest, SettingANarrowEntryWritesItsBitsOnly)
{
    for (unsigned round = 0; round < 32 * 47; ++round) {
        forget();
        const unsigned entry = round % 32;
        const unsigned field = round % 47 + 1;
        const bool mac = field < 3;
        if (mac && entry % 16 == 15)
            continue;
        const uint command = static_cast<uint>(random()) & (field < 14 ? 1 : 3);
        const uint end = static_cast<uint>(random()) & 1;
        const uint keyHigh = static_cast<uint>(random()), keyLow = static_cast<uint>(random());
        uint32_t *words = lut1[entry].word;
        const uint32_t common = 0x8000 | command << 6 | field;
        if (field < 14) {
            const uint count = mac ? 40 : 24; // from the top: 24 bits of the low part in either case
            words[0] = (words[0] & 0xFFFF0000) | common | (mac ? 0 : end << 14) | 0x2000 | 24u << 8;
            words[1] = keyLow;
            if (mac) {
                uint32_t *high = lut1[entry + 1].word;
                high[0] = (high[0] & 0xFFFF1C00) | common | end << 14 | 2u << 8;
                high[1] = 0xFFFF0000 | (keyHigh & 0xFFFF);
            }
            ASSERT_GT(ifc_set_lut1_rules(entry, IFC_ENABLE, end, field, command, count, keyHigh, keyLow), 0);
        } else {
            const uint halfMask = static_cast<uint>(random());
            words[0] = (words[0] & 0xFFFF1C00) | common | end << 14;
            words[1] = halfMask << 16 | (keyLow & 0xFFFF);
            ASSERT_GT(ifc_set_lut1_rules(entry, IFC_ENABLE, end, field, command, halfMask, keyHigh, keyLow),
                      0);
        }
        ASSERT_TRUE(asExpected()) << entry << " field " << field;
        if (round % 5 == 0) {
            ASSERT_GT(ifc_set_lut1_rules(entry, IFC_DISABLE, 1, field, 0, 0, 0, 0), 0);
            words[0] &= ~0x8000u;
            ASSERT_TRUE(asExpected()) << entry;
        }
    }
    ifc_delete_lut1(9);
    lut1[9] = {};
    EXPECT_TRUE(asExpected());
}

TEST_F(CodecTest, PackCutsToWidthAndLeavesHeaderAndReservedBits)
{
    IFC_LUT0_Rule[1].word[0] = 0x12345678;
    IFC_LUT0_Rule[1].word[1] = 0x9ABCDEF0;
    IFC_LUT0_Rule[1].word[2] = 0x0F1E2D3C;
    IFC_LUT0_Rule[1].word[3] = 0xFFFC0000;
    IFC_LUT0_Rule[1].word[22] = 0xABCC0000;
    mask[31] = 0xFFFFFFFF;
    key[13] = 0xFFFFFFFF;
    set_lut0_mask_key(1, mask, key);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[0], 0x12345678u);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[1], 0x9ABCDEF0u);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[2], 0x0F1E2D3Cu);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[3], 0xFFFF0000u);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[22], 0xABCC0000u);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[27], 0x000FFFFFu);
    get_lut0_mask_key(1, mask, key);
    EXPECT_EQ(mask[31], 3u);
    EXPECT_EQ(key[13], 0xFFFFFu);
}

TEST_F(CodecTest, AllOnesUnpackToTheWidths)
{
    std::memset(&IFC_LUT0_Rule[0], 0xFF, sizeof IFC_LUT0_Rule[0]);
    get_lut0_mask_key(0, mask, key);
    const uint expected[32] = {~0u,    ~0u,    ~0u,     ~0u,  ~0u,  ~0u,  ~0u,    ~0u,    ~0u,    ~0u,   ~0u,
                               ~0u,    ~0u,    0xFFFFF, 0x1F, 7,    3,    3,      0xFFF,  0xF,    0xFFF, 0xF,
                               0xFFFF, 0xFFFF, 0xFF,    0xFF, 0xFF, 0xFF, 0xFFFF, 0xFFFF, 0xFFFF, 3};
    for (unsigned slot = 0; slot < 32; ++slot) {
        EXPECT_EQ(mask[slot], expected[slot]) << slot;
        EXPECT_EQ(key[slot], expected[slot]) << slot;
    }
}

TEST_F(CodecTest, MacAddressesShareTheMiddleWord)
{
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, DMAC, 0, 0xFFFF, 0xFFFFFFFF, 0x0011, 0x22334455);
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, SMAC, 0, 0xFFFF, 0xFFFFFFFF, 0x6677, 0x8899AABB);
    get_lut0_mask_key(0, mask, key);
    EXPECT_EQ(key[0], 0x22334455u);
    EXPECT_EQ(key[1], 0xAABB0011u);
    EXPECT_EQ(key[2], 0x66778899u);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[40], 0x22334455u);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[39], 0xAABB0011u);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[38], 0x66778899u);
}
