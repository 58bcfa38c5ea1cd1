/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* What changed in the kernel's interfaces since 5.4, each guard with the version that changed it. */
#ifndef IFC_COMPAT_H
#define IFC_COMPAT_H

#include <linux/slab.h>
#include <linux/version.h>

/* 5.16: kvmalloc(), kvzalloc() and kvfree() are declared by linux/slab.h; before, by linux/mm.h. */
#if LINUX_VERSION_CODE < KERNEL_VERSION(5, 16, 0)
#include <linux/mm.h>
#endif

/* hex2bin() stands in a header of its own in kernels behind 6.1; before, in linux/kernel.h. */
#include <linux/kernel.h>
#if LINUX_VERSION_CODE > KERNEL_VERSION(6, 1, 255)
#if __has_include(<linux/hex.h>)
#include <linux/hex.h>
#endif
#endif

#endif
