// SPDX-License-Identifier: MIT OR GPL-2.0
// Sums with AVX2 in a program that is compiled for any x86-64. The processor is asked once. This stands only
// in builds whose platform allows it (IFC_VECTORS_BY_PROCESSOR of ifc_platform.h), and asks for no symbol.
#pragma once

#include "ifc/ifc_util.h"

#if defined(__x86_64__) && defined(__SSE2__) && !defined(__AVX2__) && IFC_VECTORS_BY_PROCESSOR
#define IFC_SUM_BY_PROCESSOR

#include <cpuid.h>

namespace ifc
{
namespace // internal linkage: exports nothing
{

constexpr uint kAvx2Bytes = 32; // of a vector
constexpr uint kAvx2From = 128; // bytes from which it is faster

enum Avx2 { kAvx2Unknown, kAvx2No, kAvx2Yes };

// Whether the processor has AVX2 and the system saves its registers.
[[gnu::noinline, gnu::cold]] int askForAvx2()
{
    constexpr uint32_t kSavedRegisters = 6; // of SSE and AVX
    uint32_t a = 0, b = 0, c = 0, d = 0;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & bit_OSXSAVE) == 0 || (c & bit_AVX) == 0)
        return kAvx2No;
    uint32_t saved = 0;
    __asm__("xgetbv" : "=a"(saved), "=d"(d) : "c"(0));
    if ((saved & kSavedRegisters) != kSavedRegisters)
        return kAvx2No;
    return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & bit_AVX2) != 0 ? kAvx2Yes : kAvx2No;
}

// Contexts that ask at the same time get the same answer.
inline bool hasAvx2()
{
    static int known = kAvx2Unknown;
    int now = __atomic_load_n(&known, __ATOMIC_RELAXED);
    if (now == kAvx2Unknown) [[unlikely]] {
        now = askForAvx2();
        __atomic_store_n(&known, now, __ATOMIC_RELAXED);
    }
    return now == kAvx2Yes;
}

typedef uint32_t Avx2Vector __attribute__((vector_size(kAvx2Bytes)));

// Adds the sums of the two 16-bit halves of each lane, the halves less 0x8000 (checksum.cpp says why).
[[gnu::target("avx2"), gnu::always_inline]] inline void addHalves(Avx2Vector &lanes, const unsigned char *at)
{
    typedef uint32_t Unaligned __attribute__((vector_size(kAvx2Bytes), aligned(1), may_alias));
    typedef short Shorts __attribute__((vector_size(kAvx2Bytes)));
    const auto ones = reinterpret_cast<Shorts>(Avx2Vector{} + 0x00010001);
    const auto halves = reinterpret_cast<Shorts>(*reinterpret_cast<const Unaligned *>(at) ^ 0x80008000);
    lanes += reinterpret_cast<Avx2Vector>(__builtin_ia32_pmaddwd256(halves, ones));
}

// The sum of the halves of a multiple of kAvx2Bytes, each less 0x8000.
[[gnu::target("avx2")]] uint32_t addByAvx2(const unsigned char *p, uint bytes)
{
    const unsigned char *const end = p + bytes;
    Avx2Vector lanes = {};
    if ((bytes & kAvx2Bytes) != 0) {
        addHalves(lanes, p);
        p += kAvx2Bytes;
    }
    for (; p != end; p += 2 * kAvx2Bytes) {
        addHalves(lanes, p);
        addHalves(lanes, p + kAvx2Bytes);
    }
    uint32_t sum = 0;
    for (uint lane = 0; lane < sizeof lanes / sizeof sum; ++lane)
        sum += lanes[lane];
    return sum;
}

} // namespace
} // namespace ifc

#endif
