// SPDX-License-Identifier: MIT OR GPL-2.0
// Internet checksums (RFC 1071) over socket buffers.
#include "ifc/ifc_util.h"

#include "checksum_avx2.h"
#include "report.h"

// Vectors as wide as the build allows. A kernel build has no vector registers.
#if defined(__AVX2__)
#define IFC_SUM_VECTOR_BYTES 32
#elif defined(__SSE2__) || defined(__ARM_NEON)
#define IFC_SUM_VECTOR_BYTES 16
#endif

namespace
{

// Unaligned words of any type.
struct [[gnu::packed, gnu::may_alias]] LooseWord
{
    uint32_t value;
};

struct [[gnu::packed, gnu::may_alias]] LooseHalf
{
    uint16_t value;
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
// are added into a sum too wide to overflow. It is congruent to the plain sum modulo 0xFFFF, and zero only if
// that is zero, so both give the same checksum. A rotation multiplies by a power of two modulo 0xFFFF: adding
// a number to itself with its halves exchanged folds it, and a rotation by 8 bits exchanges the bytes.
unsigned int checksumOf(uint64_t sum)
{
    sum += sum << 32 | sum >> 32;
    auto word = static_cast<uint32_t>(sum >> 32);
    word = word << 8 | word >> 24;
    word += word << 16 | word >> 16;
    return word >> 16 ^ 0xFFFF;
}

// The words of `bytes` less than 32. The loops of a longer range leave so many.
inline uint64_t addRest(const unsigned char *p, uint bytes)
{
    uint64_t sum = 0;
    const LooseWord *words = reinterpret_cast<const LooseWord *>(p);
    if ((bytes & 16) != 0) {
        sum += words[0].value;
        sum += words[1].value;
        sum += words[2].value;
        sum += words[3].value;
        words += 4;
    }
    for (; (bytes & 12) != 0; ++words, bytes -= 4)
        sum += words->value;
    p = reinterpret_cast<const unsigned char *>(words);
    if ((bytes & 2) != 0) {
        sum += reinterpret_cast<const LooseHalf *>(p)->value;
        p += 2;
    }
    return (bytes & 1) != 0 ? sum + *p : sum;
}

#ifdef IFC_SUM_VECTOR_BYTES

typedef uint32_t Vector __attribute__((vector_size(IFC_SUM_VECTOR_BYTES)));

Vector vectorAt(const unsigned char *p)
{
    Vector words;
    __builtin_memcpy(&words, p, sizeof words);
    return words;
}

// The sum of the two 16-bit halves of each lane. The x86 instruction multiplies signed numbers, so there the
// halves are taken less 0x8000: the sum of all lanes is too low by kBias for each byte of the vector.
#ifdef __SSE2__
constexpr uint32_t kBias = 0x8000 / 2;
Vector sumHalves(Vector words)
{
    typedef short Shorts __attribute__((vector_size(IFC_SUM_VECTOR_BYTES)));
    const auto halves = reinterpret_cast<Shorts>(words ^ 0x80008000);
    const auto ones = reinterpret_cast<Shorts>(Vector{} + 0x00010001);
#ifdef __AVX2__
    return reinterpret_cast<Vector>(__builtin_ia32_pmaddwd256(halves, ones));
#else
    return reinterpret_cast<Vector>(__builtin_ia32_pmaddwd128(halves, ones));
#endif
}
#else
constexpr uint32_t kBias = 0;
Vector sumHalves(Vector words)
{
    return (words & 0xFFFF) + (words >> 16);
}
#endif

uint32_t sumLanes(Vector lanes)
{
    typedef uint32_t Quarter __attribute__((vector_size(16)));
#if IFC_SUM_VECTOR_BYTES == 32
    Quarter halves[2];
    __builtin_memcpy(halves, &lanes, sizeof halves);
    Quarter sums = halves[0] + halves[1];
#else
    Quarter sums = lanes;
#endif
#if __has_builtin(__builtin_shufflevector)
    sums += __builtin_shufflevector(sums, sums, 2, 3, 0, 1);
    return sums[0] + sums[1];
#else
    return sums[0] + sums[1] + sums[2] + sums[3];
#endif
}

// kWideLimit keeps even the sum of all lanes from overflowing.
inline uint64_t addNative(const unsigned char *p, uint bytes)
{
    constexpr uint kVector = sizeof(Vector);
    if (bytes < kVector)
        return addRest(p, bytes);
    const unsigned char *const rest = p + bytes / kVector * kVector;
    uint32_t sum = bytes / kVector * (kVector * kBias);
    Vector lanes = {};
    if ((bytes & kVector) != 0) {
        lanes = sumHalves(vectorAt(p));
        p += kVector;
    }
    for (; p != rest; p += 2 * kVector)
        lanes += sumHalves(vectorAt(p)) + sumHalves(vectorAt(p + kVector));
    sum += sumLanes(lanes);
    bytes %= kVector;
    return bytes == 0 ? sum : sum + addRest(rest, bytes);
}

#else

inline uint64_t addNative(const unsigned char *p, uint bytes)
{
    uint64_t sum = 0;
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
    return sum + odd + addRest(reinterpret_cast<const unsigned char *>(words), bytes);
}

#endif

#ifdef IFC_SUM_BY_PROCESSOR
constexpr uint kLongFrom = ifc::kAvx2From;

// Apart, so that short ranges lose no time.
[[gnu::noinline]] unsigned int longChecksum(const unsigned char *p, uint bytes)
{
    if (!ifc::hasAvx2())
        return checksumOf(addNative(p, bytes));
    const uint rest = bytes % ifc::kAvx2Bytes;
    bytes -= rest;
    const uint64_t sum = ifc::addByAvx2(p, bytes) + bytes * kBias;
    return checksumOf(sum + addRest(p + bytes, rest));
}
#else
constexpr uint kLongFrom = kWideLimit + 1;
#endif

// The checksum of a range up to kWideLimit.
inline unsigned int nativeChecksum(const unsigned char *p, uint bytes)
{
#ifdef IFC_SUM_BY_PROCESSOR
    if (bytes >= ifc::kAvx2From)
        return longChecksum(p, bytes);
#endif
    return checksumOf(addNative(p, bytes));
}

// The same for exactly the bytes of an IPv4 header: no loop, no branch.
unsigned int headerChecksum(const unsigned char *p)
{
    static_assert(kIpv4Header == 5 * sizeof(LooseWord));
    const LooseWord *words = reinterpret_cast<const LooseWord *>(p);
    uint64_t sum = words[0].value;
    sum += words[1].value;
    sum += words[2].value;
    sum += words[3].value;
    sum += words[4].value;
    return checksumOf(sum);
}

// Whether an operation takes the plain sum: it is traced, or too long for the wide one. The level is read
// once in each operation, because another context may change it meanwhile.
bool isPlain(uint level, uint bytes)
{
    return level > DBG_ST || bytes > kWideLimit;
}

unsigned int finish(uint32_t sum)
{
    return ~foldOnce(foldOnce(sum)) & 0xFFFF;
}

[[gnu::noinline, gnu::cold]] unsigned int plainChecksum(const unsigned char *p, uint bytes, uint level)
{
    const uint32_t sum = addPlain(p, bytes, level > DBG_WARN);
    if (level > DBG_ST)
        IFC_REPORT("data: %x\n", sum);
    return finish(sum);
}

} // namespace

unsigned int skb_chksum(const struct sk_buff *skb, int lens)
{
    const uint level = gpIfcPriv->dbgLevel;
    const uint bytes = lens > 0 ? static_cast<uint>(lens) : 0;
    if (level <= DBG_ST && bytes < kLongFrom) [[likely]]
        return checksumOf(addNative(skb->data, bytes));
    return isPlain(level, bytes) ? plainChecksum(skb->data, bytes, level) : nativeChecksum(skb->data, bytes);
}

unsigned int ipv4_checksum(const struct sk_buff *skb, int offset)
{
    const uint level = gpIfcPriv->dbgLevel;
    // Known: positions are unsigned, so for an offset from -20 to -1 the range ends before it begins.
    const uint first = static_cast<uint>(offset);
    const bool ends = first >= first + kIpv4Header;
    if (level > DBG_ST || ends) [[unlikely]] {
        if (level > DBG_ST)
            IFC_REPORT("ipv4_checksum: offset:%d\n", offset);
        return ends ? plainChecksum(skb->data, 0, level)
                    : plainChecksum(skb->data + offset, kIpv4Header, level);
    }
    return headerChecksum(skb->data + offset);
}

unsigned int tcp_udp_checksum(const struct sk_buff *skb, int offset, uint16_t tcp_udp_length,
                              uint8_t tcp_udp_protocol)
{
    const uint level = gpIfcPriv->dbgLevel;
    if (level > DBG_ST)
        IFC_REPORT("tcp_udp_checksum: offset:%d\n", offset);
    const uint first = static_cast<uint>(offset);
    const uint bytes = first < skb->len ? skb->len - first : 0;
    const unsigned char *data = bytes != 0 ? skb->data + first : skb->data;
    uint32_t sum = isPlain(level, bytes) ? addPlain(data, bytes, level > DBG_WARN)
                                         : nativeChecksum(data, bytes) ^ 0xFFFF;
    if (level > DBG_WARN)
        (void)printk("data: %x\n", sum);
    sum += tcp_udp_length;
    sum += tcp_udp_protocol;
    if (level > DBG_ST)
        IFC_REPORT("checksum1: %x\n", sum);
    return finish(sum);
}
