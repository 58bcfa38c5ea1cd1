/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * The kernel's and the SoC's services as the rule layer sees them, for a host process.
 *
 * Another platform (a kernel, a test harness) offers the same names in an ifc_platform.h of its own and puts
 * its folder on the include path instead. It may define IFC_PRIVATE_MEMBERS, the members of other
 * units in the driver's context (ifc/ifc_glb.h). Nothing here has a body: whoever links the rule layer
 * defines these services. platform/host/host_platform.h is the definition that our tools and tests use.
 */
#ifndef IFC_PLATFORM_H
#define IFC_PLATFORM_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h> /* snprintf */

/* Other than 0: a process, so the rule layer may use any vector registers that the processor has. */
#ifndef IFC_VECTORS_BY_PROCESSOR
#define IFC_VECTORS_BY_PROCESSOR 1
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned int uint;
typedef unsigned char uint8;

/* Zero-initialised means unlocked. The members are for the implementation of ifc_spin_lock_irqsave(). */
typedef struct ifc_host_spinlock {
    uint32_t locked;
    uint32_t flags; /* what the holder must pass back */
} spinlock_t;

/* A socket buffer: len bytes of frame data begin at data. */
struct sk_buff {
    unsigned char *head;
    unsigned char *end;
    unsigned char *data;
    unsigned int len;
    uint32_t mark;
};

/*
 * The frame engine's 32-bit registers, by register address (ifc/ifc_regs.h). Each call is one device access;
 * writes take effect in call order. Called with interrupts disabled: they may not sleep.
 */
uint32_t get_frame_engine_data(uint32_t reg);
void set_frame_engine_data(uint32_t reg, uint32_t value);

/* The chip's hardware revision. May not sleep. */
int GET_HIR(void);

/* The kernel's log. One call is one piece of a line. */
int printk(const char *fmt, ...) __attribute__((format(printf, 1, 2)));

/* Busy wait, legal with interrupts disabled. */
void mdelay(unsigned long msecs);

/* Takes the lock with local interrupts disabled; the result is the interrupt state to restore. */
unsigned long ifc_spin_lock_irqsave(spinlock_t *lock);
void ifc_spin_unlock_irqrestore(spinlock_t *lock, unsigned long flags);

#ifdef __cplusplus
}
#endif

#endif
