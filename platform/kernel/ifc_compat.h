/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* Changes of the kernel's interfaces since 5.4. Each guard names the version that made the change. */
#ifndef IFC_COMPAT_H
#define IFC_COMPAT_H

#include <linux/slab.h>
#include <linux/version.h>

/* 5.16: kvmalloc(), kvzalloc() and kvfree() are declared by linux/slab.h; before, by linux/mm.h. */
#if LINUX_VERSION_CODE < KERNEL_VERSION(5, 16, 0)
#include <linux/mm.h>
#endif

/* A version after 6.1 moved hex2bin() from linux/kernel.h to linux/hex.h. */
#include <linux/kernel.h>
#if LINUX_VERSION_CODE > KERNEL_VERSION(6, 1, 255)
#if __has_include(<linux/hex.h>)
#include <linux/hex.h>
#endif
#endif

#endif
