// SPDX-License-Identifier: MIT OR GPL-2.0
// Messages with the name and line of their source.
#pragma once

#include "ifc/ifc_glb.h"

namespace ifc
{
namespace // internal linkage: exports nothing
{

constexpr const char *baseName(const char *path)
{
    const char *base = path;
    for (; *path != '\0'; ++path)
        if (*path == '/')
            base = path + 1;
    return base;
}

// Whether messages of `level` (DBG_ST to DBG_MSG) are printed.
inline bool traces(unsigned level)
{
    return gpIfcPriv->dbgLevel >= level;
}

} // namespace
} // namespace ifc

#ifdef __FILE_NAME__
#define IFC_SOURCE __FILE_NAME__
#else
#define IFC_SOURCE ::ifc::baseName(__FILE__)
#endif

// Prints base name and line of the source, then the message, in one call of printk.
#define IFC_REPORT(text, ...) (void)printk("%s [%d]: " text, IFC_SOURCE, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

// The refusals that several operations share.
#define IFC_REPORT_ACTION_INDEX(index) \
    IFC_REPORT("Error: Action Index is %d, which should less than %d\n", index, IFC_ACTIONS)
#define IFC_REPORT_FIELD_INDEX(index) \
    IFC_REPORT("Error: Field Index is %d, which should between 1 and 47\n", index)
#define IFC_REPORT_COMMAND(field) \
    IFC_REPORT("Error: the command of %s should less than 2!\n", ifc_field_name[field])
