// SPDX-License-Identifier: MIT OR GPL-2.0
// Counters and the check of what was hit.
#include "directed.h"

namespace directed
{
namespace
{

void binds()
{
    DIRECTED_EQ(ifc_set_acnt(17, 5), 0);
    DIRECTED_TRAFFIC.read(IFC_ACNT_CFG + 8, 0).write(IFC_ACNT_CFG + 8, 0x50);
    DIRECTED_EQ(ifc_set_acnt(40, 0), -1);
    DIRECTED_EQ(ifc_set_acnt(0, 17), -1);
    DIRECTED_TEXT("@Error: Action Index is 40, which should less than 40\n"
                  "@Error: IFC counter ID is 17, which should between 0 and 15\n");
}

void readsInOrder()
{
    // A counter entry, put there through the registers.
    const uint32_t row[] = {0x80000002, 1, 5, 0xFF123456};
    for (uint32_t n = 0; n < 4; ++n)
        set_frame_engine_data(IFC_DATA0 + 4 * n, row[n]);
    (void)ifcSetRuleConfig(39, 0, IFC_SEL_COUNTER, IFC_TYPE_WRITE);
    forget();
    unsigned long long bytes = 0;
    unsigned long long packets = 0;
    DIRECTED_EQ(ifc_get_acnt(39, &bytes, &packets), 0);
    DIRECTED_EQ(bytes, 0xFFFFFFFF80000002ull); // the low word is widened as a signed number
    DIRECTED_EQ(packets, 0x12345600000005ull);
    DIRECTED_TRAFFIC.transfer(39, 0, IFC_SEL_COUNTER, IFC_TYPE_READ)
        .read(IFC_DATA1, 1)
        .read(IFC_DATA0, 0x80000002)
        .read(IFC_DATA3, 0x123456)
        .read(IFC_DATA2, 5);
    DIRECTED_EQ(ifc_get_acnt(40, &bytes, &packets), -1);
}

void clearsAll()
{
    clear_all_ifc_acnt();
    DIRECTED_EQ(count(Kind::Write), 40 * 5);
    DIRECTED_EQ(count(Kind::Lock), 1);
    DIRECTED_TEXT("");
}

void checksResults()
{
    gpIfcPriv->lut0HitMap = 8;
    DIRECTED_EQ(checkIFCResult(IFC_LUT0, 3), 0);
    DIRECTED_EQ(checkIFCResult(IFC_LUT0, 2), -1);
    DIRECTED_EQ(checkIFCResult(IFC_LUT1, 3), -1);
    gpIfcPriv->lut0HitMap = 0;
    gpIfcPriv->lut1HitMap1 = 1u << 31;
    DIRECTED_EQ(checkIFCResult(IFC_LUT1, 63), 0);
    DIRECTED_EQ(checkIFCResult(IFC_LUT1, 31), -1);
    DIRECTED_EQ(checkIFCResult(IFC_LUT1, -1), -1);
    gpIfcPriv->lut1HitMap1 = 0;
    DIRECTED_EQ(checkIFCResult(2, -1), 0);
    DIRECTED_EQ(checkIFCResult(2, 0), -1);
    DIRECTED_TRAFFIC;
    DIRECTED_TEXT("");
}

constexpr Case kCases[] = {
    {"Counters.Binds", binds},
    {"Counters.ReadsInOrder", readsInOrder},
    {"Counters.ClearsAll", clearsAll},
    {"Counters.ChecksResults", checksResults},
};

} // namespace
extern const Group kCounterGroup;
constinit const Group kCounterGroup = groupOf(kCases);
} // namespace directed
