/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * A platform header as another project may have it: members of other units in the context, and the C
 * library's error numbers, one of them written differently.
 */
#ifndef EMBEDDER_PLATFORM_H
#define EMBEDDER_PLATFORM_H

#include <errno.h>
#undef ETIME
#define ETIME (60 + 2)

struct embedder_unit {
    void *next;
};

#define IFC_PRIVATE_MEMBERS        \
    unsigned char unit_flags[5];   \
    unsigned long long unit_count; \
    struct embedder_unit unit;

#include "platform/host/ifc_platform.h"

#endif
