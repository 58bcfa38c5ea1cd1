/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* What an embedder's ifc_platform.h may define (platform/kernel/ifc_platform.h). Included before all else. */
#ifndef IFC_TEST_EMBEDDER_H
#define IFC_TEST_EMBEDDER_H

#define IFC_PRIVATE_MEMBERS       \
    unsigned char own_name[7];    \
    unsigned long long own_count; \
    void *own_unit;

static inline int own_revision(void)
{
    return 14;
}
#define IFC_REVISION_QUERY own_revision

#endif
