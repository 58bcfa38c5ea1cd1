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

/*
 * No guard is needed for what also changed, because no caller depends on it: debugfs_create_u32() returns
 * nothing from 5.6 on (not used), the exported name of printk() changed in 5.15 (a macro), no_llseek went in
 * 6.12 (not used).
 */

#endif
