/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * The kernel's and the SoC's services as the rule layer sees them, inside a Linux kernel.
 *
 * C sources get the kernel's own headers. C++ sources cannot include those: they get the same types by size
 * and offset, generated from C (ifc_offsets.c), and ifc_layout.cpp proves at compile time that both sides
 * agree. platform/host/ifc_platform.h describes each service.
 */
#ifndef IFC_PLATFORM_H
#define IFC_PLATFORM_H

/*
 * A driver may define two names here:
 *
 *   IFC_PRIVATE_MEMBERS  members of its own in the driver's context (ifc/ifc_glb.h)
 *   IFC_REVISION_QUERY   a function `int name(void)` of the C side that asks the chip for its revision: then
 *                        backend=mmio works without the parameter `revision`
 */

#ifndef __cplusplus

#include <linux/skbuff.h>
#include <linux/spinlock.h>
#include <linux/stddef.h>
#include <linux/types.h>

typedef unsigned char uint8;

#else

#include "ifc_offsets.h"

#include <stddef.h>
#include <stdint.h>

typedef unsigned int uint;
typedef unsigned char uint8;

typedef struct ifc_kernel_spinlock {
    alignas(IFC_SPINLOCK_ALIGN) unsigned char raw[IFC_SPINLOCK_SIZE];
} spinlock_t;

/* Each member at its offset in the kernel. The rule layer does not read the bytes between them. */
#define IFC_SKB_MEMBER(type, name)                   \
    struct __attribute__((packed)) {                 \
        unsigned char before_##name[IFC_SKB_##name]; \
        type name;                                   \
    }
struct sk_buff {
    union {
        IFC_SKB_MEMBER(unsigned char *, head);
        IFC_SKB_MEMBER(unsigned char *, end);
        IFC_SKB_MEMBER(unsigned char *, data);
        IFC_SKB_MEMBER(unsigned int, len);
        IFC_SKB_MEMBER(uint32_t, mark);
    };
};
#undef IFC_SKB_MEMBER

/* The kernel has these names as macros or exports them, so the glue's functions have other names. */
#define printk ifc_kernel_printk
#define mdelay ifc_kernel_mdelay

#endif

#ifdef __cplusplus
extern "C" {
#endif

uint32_t get_frame_engine_data(uint32_t reg);
void set_frame_engine_data(uint32_t reg, uint32_t value);
int GET_HIR(void);
unsigned long ifc_spin_lock_irqsave(spinlock_t *lock);
void ifc_spin_unlock_irqrestore(spinlock_t *lock, unsigned long flags);
int ifc_kernel_printk(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
void ifc_kernel_mdelay(unsigned long msecs);

#ifdef __cplusplus
int snprintf(char *buf, size_t size, const char *fmt, ...) __attribute__((format(printf, 3, 4)));
}
#endif

#endif
