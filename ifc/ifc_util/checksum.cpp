// SPDX-License-Identifier: MIT OR GPL-2.0
// Internet checksums (RFC 1071) over socket buffers.
#include "ifc/ifc_util.h"

#include "report.h"

// Unaligned words of any type, in vectors as wide as the build allows. A kernel build has no vector
// registers.
#if defined(__AVX2__)
#define IFC_SUM_VECTOR_BYTES 32
#elif defined(__SSE2__) || defined(__ARM_NEON)
#define IFC_SUM_VECTOR_BYTES 16
#endif

namespace
{

struct [[gnu::packed, gnu::may_alias]] LooseWord
{
    uint32_t value;
};

// Ranges above this length could overflow the plain 32-bit sum, whose result then differs from the wide one.
constexpr uint kWideLimit = 0x10000;

constexpr uint kIpv4Header = 20; // without options

uint32_t bigEndianWord(const unsigned char *p)
{
    return static_cast<uint32_t>(p[0]) << 8 | p[1];
}

// The plain sum. The traces show its accumulator after each word.
uint32_t addPlain(const unsigned char *p, uint bytes, bool trace)
{
    uint32_t sum = 0;
    for (; bytes > 1; p += 2, bytes -= 2) {
        sum += bigEndianWord(p);
        if (trace)
            (void)printk("data: %x\n", sum);
    }
    if (bytes != 0)
        sum += static_cast<uint32_t>(*p) << 8;
    return sum;
}

uint32_t foldOnce(uint32_t sum)
{
    return (sum & 0xFFFF) + (sum >> 16);
}

// A one's complement sum may swap bytes at the end instead of in each word (RFC 1071, 2B). So native words
// are added into a sum too wide to overflow. The result is the plain sum folded: congruent to it modulo
// 0xFFFF, and zero only if the plain sum is zero.
uint32_t addWide(const unsigned char *p, uint bytes)
{
    uint64_t sum = 0;
#ifdef IFC_SUM_VECTOR_BYTES
    typedef uint32_t Vector __attribute__((vector_size(IFC_SUM_VECTOR_BYTES)));
    typedef uint32_t LooseVector __attribute__((vector_size(IFC_SUM_VECTOR_BYTES), aligned(1), may_alias));
    Vector low[2] = {};
    Vector high[2] = {};
    constexpr uint kStep = 2 * sizeof(Vector);
    for (; bytes >= kStep; p += kStep, bytes -= kStep) {
        for (uint n = 0; n < 2; ++n) {
            const Vector words = reinterpret_cast<const LooseVector *>(p)[n];
            low[n] += words & 0xFFFF; // 16-bit halves in 32-bit lanes: kWideLimit keeps them from overflowing
            high[n] += words >> 16;
        }
    }
    const Vector lanes = low[0] + low[1] + high[0] + high[1];
    for (uint n = 0; n < sizeof(Vector) / sizeof(uint32_t); ++n)
        sum += lanes[n];
    const LooseWord *words = reinterpret_cast<const LooseWord *>(p);
#else
    uint64_t odd = 0;
    const LooseWord *words = reinterpret_cast<const LooseWord *>(p);
    for (; bytes >= 32; words += 8, bytes -= 32) {
        sum += words[0].value;
        odd += words[1].value;
        sum += words[2].value;
        odd += words[3].value;
        sum += words[4].value;
        odd += words[5].value;
        sum += words[6].value;
        odd += words[7].value;
    }
    sum += odd;
#endif
    for (; bytes >= 4; ++words, bytes -= 4)
        sum += words->value;
    p = reinterpret_cast<const unsigned char *>(words);
    if (bytes >= 2)
        sum += static_cast<uint32_t>(p[1]) << 8 | p[0];
    if ((bytes & 1) != 0)
        sum += p[bytes - 1];

    sum = (sum & 0xFFFFFFFF) + (sum >> 32);
    sum = (sum & 0xFFFFFFFF) + (sum >> 32);
    const uint32_t folded = foldOnce(foldOnce(static_cast<uint32_t>(sum)));
    return (folded << 8 | folded >> 8) & 0xFFFF;
}

// What an operation traces. It reads the level once, because another context may change it meanwhile.
struct Trace {
    bool steps;
    bool words;
};

Trace currentTrace()
{
    const uint level = gpIfcPriv->dbgLevel;
    return {level > DBG_ST, level > DBG_WARN};
}

uint32_t add(const unsigned char *p, uint bytes, Trace trace)
{
    if (trace.steps || bytes > kWideLimit)
        return addPlain(p, bytes, trace.words);
    return addWide(p, bytes);
}

unsigned int finish(uint32_t sum)
{
    return ~foldOnce(foldOnce(sum)) & 0xFFFF;
}

} // namespace

unsigned int skb_chksum(const struct sk_buff *skb, int lens)
{
    const Trace trace = currentTrace();
    const uint32_t sum = add(skb->data, lens > 0 ? static_cast<uint>(lens) : 0, trace);
    if (trace.steps)
        IFC_REPORT("data: %x\n", sum);
    return finish(sum);
}

unsigned int ipv4_checksum(const struct sk_buff *skb, int offset)
{
    const Trace trace = currentTrace();
    if (trace.steps)
        IFC_REPORT("ipv4_checksum: offset:%d\n", offset);
    // Known: positions are unsigned, so for an offset from -20 to -1 the range ends before it begins.
    const uint first = static_cast<uint>(offset);
    const uint32_t sum = first < first + kIpv4Header ? add(skb->data + offset, kIpv4Header, trace) : 0;
    if (trace.steps)
        IFC_REPORT("data: %x\n", sum);
    return finish(sum);
}

unsigned int tcp_udp_checksum(const struct sk_buff *skb, int offset, uint16_t tcp_udp_length,
                              uint8_t tcp_udp_protocol)
{
    const Trace trace = currentTrace();
    if (trace.steps)
        IFC_REPORT("tcp_udp_checksum: offset:%d\n", offset);
    const uint first = static_cast<uint>(offset);
    uint32_t sum = first < skb->len ? add(skb->data + first, skb->len - first, trace) : 0;
    if (trace.words)
        (void)printk("data: %x\n", sum);
    sum += tcp_udp_length;
    sum += tcp_udp_protocol;
    if (trace.steps)
        IFC_REPORT("checksum1: %x\n", sum);
    return finish(sum);
}
