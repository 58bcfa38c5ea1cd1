// SPDX-License-Identifier: MIT OR GPL-2.0
// The rule layer built against an embedder's platform header (ifc_platform.h beside this file).
#include "ifc/ifc_util.h"

#include <gtest/gtest.h>

#include <stdarg.h>
#include <string.h>

#include <string>

// A chip that never answers.
static std::string printed;
extern "C" {
uint32_t get_frame_engine_data(uint32_t)
{
    return 0;
}
void set_frame_engine_data(uint32_t, uint32_t) {}
int GET_HIR(void)
{
    return 0;
}
int printk(const char *format, ...)
{
    char piece[256];
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(piece, sizeof piece, format, args);
    va_end(args);
    printed += piece;
    return length;
}
void mdelay(unsigned long) {}
unsigned long ifc_spin_lock_irqsave(spinlock_t *lock)
{
    lock->locked = 1;
    return 0;
}
void ifc_spin_unlock_irqrestore(spinlock_t *lock, unsigned long)
{
    lock->locked = 0;
}
}

TEST(EmbeddersContext, HasItsMembersBetweenLevelAndBitmaps)
{
    EXPECT_EQ(offsetof(IFC_Private_T, dbgLevel), 0u);
    EXPECT_EQ(offsetof(IFC_Private_T, unit_flags), 1u);
    EXPECT_EQ(offsetof(IFC_Private_T, unit_count) % alignof(unsigned long long), 0u);
    EXPECT_EQ(offsetof(IFC_Private_T, lut0HitMap), offsetof(IFC_Private_T, unit) + sizeof(embedder_unit));
    EXPECT_EQ(offsetof(IFC_Private_T, lut1HitMap1), offsetof(IFC_Private_T, lut0HitMap) + 8);
    EXPECT_EQ(offsetof(IFC_Private_T, lock), offsetof(IFC_Private_T, lut0HitMap) + 12);
}

TEST(EmbeddersContext, IsReadWhereItsBitmapsAre)
{
    memset(&gpIfcPriv->unit_flags, 0xFF, sizeof gpIfcPriv->unit_flags);
    gpIfcPriv->unit_count = ~0ull;
    gpIfcPriv->unit.next = gpIfcPriv;
    EXPECT_EQ(checkIFCResult(IFC_LUT0, -1), 0);
    gpIfcPriv->lut0HitMap = 1u << 5;
    EXPECT_EQ(checkIFCResult(IFC_LUT0, 5), 0);
    EXPECT_EQ(checkIFCResult(IFC_LUT0, -1), -1);
    gpIfcPriv->lut1HitMap0 = 1u << 31;
    EXPECT_EQ(checkIFCResult(IFC_LUT0, 5), -1);
    gpIfcPriv->lut0HitMap = 0;
    EXPECT_EQ(checkIFCResult(IFC_LUT1, 31), 0);
    gpIfcPriv->lut1HitMap0 = 0;
    EXPECT_EQ(write_all_ifc_rule_to_hw(), 0);
    EXPECT_EQ(gpIfcPriv->lock.locked, 0u);
    for (const unsigned char flag : gpIfcPriv->unit_flags)
        EXPECT_EQ(flag, 0xFF);
    EXPECT_EQ(gpIfcPriv->unit_count, ~0ull);
    EXPECT_EQ(gpIfcPriv->unit.next, gpIfcPriv);
}

TEST(EmbeddersErrorNumbers, NameATimeOut)
{
    printed.clear();
    EXPECT_EQ(ifcChecConfigDone(0xBFB50204, 0x80000000), -ETIME);
    EXPECT_EQ(ifcSetRuleConfig(0, 0, 1, 1), -62);
    EXPECT_NE(printed.find("Timeout for set IFC Rule configuration.\n"), std::string::npos);
}
