// SPDX-License-Identifier: MIT OR GPL-2.0
#include "counter_rates.h"

#include "ifc/records/chip.h"

#include <cstdint>
#include <cstdio>

namespace ifcctl
{

namespace
{

constexpr unsigned long long kPacketMask = uint64_t{ifc::kCounterTopWord} << 32 | UINT32_MAX;
constexpr unsigned long long kByteMask = UINT64_MAX;

// Without the counter's top bit.
constexpr unsigned long long halfOf(unsigned long long mask)
{
    return mask >> 1;
}

} // namespace

Counter growth(const Counter &earlier, const Counter &later)
{
    const Counter difference = {(later.frames - earlier.frames) & kPacketMask,
                                (later.bytes - earlier.bytes) & kByteMask};
    const bool reset = difference.frames > halfOf(kPacketMask) || difference.bytes > halfOf(kByteMask);
    return reset ? later : difference;
}

std::optional<Rates> ratesOf(const Counter &earlier, const Counter &later, double seconds)
{
    if (!(seconds > 0))
        return std::nullopt;
    const Counter grown = growth(earlier, later);
    return Rates{static_cast<double>(grown.frames) / seconds, static_cast<double>(grown.bytes) / seconds};
}

std::string rateText(double perSecond)
{
    char text[40];
    const bool whole = perSecond >= 100 || perSecond == 0;
    (void)std::snprintf(text, sizeof text, "%.*f", whole ? 0 : 1, perSecond);
    return text;
}

} // namespace ifcctl
