/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* What changed in the kernel's interfaces since 5.4, each guard with the version that changed it. */
#ifndef IFC_COMPAT_H
#define IFC_COMPAT_H

#include <linux/version.h>

/* 5.8: the `fallthrough` of the kernel is a macro everywhere; nothing here needs it. */

/* 5.6: debugfs_create_u32() returns nothing any more. Its result is not used on either side, so no guard. */

#endif
