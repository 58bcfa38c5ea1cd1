// SPDX-License-Identifier: MIT OR GPL-2.0
#include "machine.h"

#include "prove.h"

#include <cstdio>
#include <cstring>

namespace
{

engine::RegisterWindow chip;
int revision;
std::string printed;
machine::Counts counted;
constexpr unsigned long kFlags = 0x5A;

void append(const char *format, va_list arguments)
{
    char piece[512];
    const int length = std::vsnprintf(piece, sizeof piece, format, arguments);
    if (length < 0 || static_cast<size_t>(length) >= sizeof piece)
        prove::fail("a text of %d characters", length);
    printed.append(piece, static_cast<size_t>(length));
}

machine::Printer printer = append;

} // namespace

namespace machine
{

void reset()
{
    chip.powerOn({});
    *gpIfcPriv = IFC_Private_T{};
    std::memset(IFC_LUT0_Rule, 0, sizeof IFC_LUT0_Rule);
    std::memset(IFC_LUT1_Rule, 0, sizeof IFC_LUT1_Rule);
    ifcSendToPpe = 0;
    revision = 0;
    printer = append;
    forgetText();
    forgetCounts();
}

engine::RegisterWindow &window()
{
    return chip;
}

void setRevision(int number)
{
    revision = number;
}

const std::string &text()
{
    return printed;
}

void forgetText()
{
    printed.clear();
}

void setPrinter(Printer other)
{
    printer = other;
}

const Counts &counts()
{
    return counted;
}

void forgetCounts()
{
    counted = {};
}

} // namespace machine

extern "C" {

uint32_t get_frame_engine_data(uint32_t reg)
{
    ++counted.reads;
    counted.outsideLock += gpIfcPriv->lock.locked == 0;
    return chip.read(reg);
}

void set_frame_engine_data(uint32_t reg, uint32_t value)
{
    ++counted.writes;
    counted.outsideLock += gpIfcPriv->lock.locked == 0;
    chip.write(reg, value);
}

int GET_HIR(void)
{
    ++counted.queries;
    return revision;
}

int printk(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    printer(format, arguments);
    va_end(arguments);
    return 0;
}

void mdelay(unsigned long) {}

unsigned long ifc_spin_lock_irqsave(spinlock_t *lock)
{
    if (lock != &gpIfcPriv->lock || lock->locked != 0)
        prove::fail("the lock is taken twice, or it is another one");
    lock->locked = 1;
    ++counted.locks;
    return kFlags;
}

void ifc_spin_unlock_irqrestore(spinlock_t *lock, unsigned long flags)
{
    if (lock != &gpIfcPriv->lock || lock->locked == 0 || flags != kFlags)
        prove::fail("the lock is released by someone who does not hold it, or with other flags");
    lock->locked = 0;
}
}
