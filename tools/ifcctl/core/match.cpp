// SPDX-License-Identifier: MIT OR GPL-2.0
#include "match.h"

#include "values.h"

#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"

#include <algorithm>

namespace ifcctl
{

namespace
{

struct FieldEntry {
    unsigned id;
    const char *name;
    unsigned width;
};

constexpr FieldEntry kFields[] = {
#define IFC_FIELD_ENTRY(id, name, width) {id, #name, width},
    IFC_LUT0_FIELD_LIST(IFC_FIELD_ENTRY)
#undef IFC_FIELD_ENTRY
};

} // namespace

bool sameComparison(const Condition &one, const Condition &other)
{
    return one.field == other.field && one.command == other.command && one.mask == other.mask &&
           one.key == other.key;
}

bool isIpv6Field(unsigned field)
{
    return field >= DIPv6_31_0 && field <= SIPv6_127_96;
}

bool isMacField(unsigned field)
{
    return field == DMAC || field == SMAC;
}

unsigned fieldWidth(unsigned field)
{
    return field <= IFC_LUT0_FIELDS ? kFields[field - 1].width : IFC_UDF_BITS;
}

std::string fieldName(unsigned field)
{
    return field <= IFC_LUT0_FIELDS ? kFields[field - 1].name : "UDF" + std::to_string(field - UDF0);
}

const char *commandName(unsigned command)
{
    static const char *const names[] = {"eq", "ne", "ge", "le"};
    return names[command & 3];
}

void putMacLast(Match &match)
{
    const auto isMac = [](const Condition &c) { return isMacField(c.field); };
    if (std::count_if(match.begin(), match.end(), isMac) == 1)
        std::stable_partition(match.begin(), match.end(), [&](const Condition &c) { return !isMac(c); });
}

std::string requestText(const Match &match)
{
    std::string text;
    for (const Condition &c : match)
        text += (text.empty() ? "" : " ") + std::to_string(c.field) + ':' + std::to_string(c.command) + ':' +
                std::to_string(c.mask) + ':' + std::to_string(c.key);
    return text;
}

unsigned entryCount(const Match &match)
{
    unsigned count = 0;
    for (const Condition &c : match)
        count += isMacField(c.field) ? 2 : 1;
    return count;
}

uint32_t reducedMask(const Condition &c)
{
    const bool mac = isMacField(c.field);
    return host::quietly([&] {
        return change_mask_from_48_to_32(mac ? static_cast<uint32_t>(c.mask >> 32) : 0,
                                         static_cast<uint32_t>(c.mask), mac ? 48 : 32);
    });
}

uint64_t expandedMask(unsigned field, uint32_t reduced)
{
    const unsigned width = isMacField(field) ? 48 : 32;
    const unsigned ones = reduced & 0x3F;
    return reduced >> 31 ? lowBits(ones) : lowBits(width) & ~lowBits(width - ones);
}

} // namespace ifcctl
