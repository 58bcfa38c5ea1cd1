// SPDX-License-Identifier: MIT OR GPL-2.0
// Compares the checksum with a plain word loop (both without vector registers) and with DPDK's checksum (both
// with vector registers).
#include "paired.h"

#include "ifc/ifc_glb.h"

#include <random>

uint32_t plainWordLoop(const unsigned char *p, unsigned bytes);
uint32_t dpdkRawChecksum(const unsigned char *p, unsigned bytes);
extern "C" unsigned int skb_chksum_scalar(const struct sk_buff *skb, int lens);
extern "C" unsigned int ipv4_checksum_scalar(const struct sk_buff *skb, int offset);
extern "C" unsigned int skb_chksum_vector(const struct sk_buff *skb, int lens);
extern "C" unsigned int skb_chksum_chosen(const struct sk_buff *skb, int lens);
extern "C" unsigned int ipv4_checksum_vector(const struct sk_buff *skb, int offset);

namespace
{

unsigned char frame[9216];

template <unsigned (*Sum)(const sk_buff *, int)>
void ours(benchmark::State &state)
{
    sk_buff skb{};
    skb.data = frame + 14; // after the Ethernet header
    skb.len = static_cast<unsigned>(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(Sum(&skb, static_cast<int>(skb.len)));
}

template <unsigned (*Sum)(const sk_buff *, int)>
void header(benchmark::State &state)
{
    sk_buff skb{};
    skb.data = frame;
    skb.len = sizeof frame;
    for (auto _ : state)
        benchmark::DoNotOptimize(Sum(&skb, 14));
}

template <uint32_t (*Sum)(const unsigned char *, unsigned)>
void peer(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(Sum(frame + 14, static_cast<unsigned>(state.range(0))));
}

} // namespace

int main(int argc, char **argv)
{
    std::mt19937 random(1);
    for (unsigned char &byte : frame)
        byte = static_cast<unsigned char>(random());
    for (const int bytes : {20, 64, 594, 1500, 9000}) {
        benchmark::RegisterBenchmark("scalar", ours<skb_chksum_scalar>)->Arg(bytes);
        benchmark::RegisterBenchmark("vector", ours<skb_chksum_vector>)->Arg(bytes);
        benchmark::RegisterBenchmark("chosen", ours<skb_chksum_chosen>)->Arg(bytes);
        benchmark::RegisterBenchmark("plain", peer<plainWordLoop>)->Arg(bytes);
#ifdef IFC_HAVE_DPDK
        benchmark::RegisterBenchmark("dpdk", peer<dpdkRawChecksum>)->Arg(bytes);
#endif
    }
    benchmark::RegisterBenchmark("headerScalar", header<ipv4_checksum_scalar>);
    benchmark::RegisterBenchmark("headerVector", header<ipv4_checksum_vector>);
    const auto collected = paired::runAll(argc, argv);
    paired::printRatio(collected, "ipv4_checksum, no vectors", "headerScalar", "plain word loop", "plain/20",
                       0.8);
    for (const auto &[bytes, bound] :
         std::map<int, double>{{20, 1.1}, {64, 0.6}, {594, 0.2}, {1500, 0.2}, {9000, 0.2}}) {
        const std::string size = "/" + std::to_string(bytes);
        paired::printRatio(collected, "skb_chksum, no vectors, " + std::to_string(bytes) + " bytes",
                           "scalar" + size, "plain word loop", "plain" + size, bound);
    }
#ifdef IFC_HAVE_DPDK
    paired::printRatio(collected, "ipv4_checksum, vectors", "headerVector", "rte_raw_cksum", "dpdk/20", 0);
    for (const auto &[build, name] :
         std::map<std::string, std::string>{{"vector", "vectors"}, {"chosen", "chosen vectors"}}) {
        for (const auto &[bytes, bound] :
             std::map<int, double>{{20, 0}, {64, 1.3}, {594, 1.0}, {1500, 1.0}, {9000, 1.0}}) {
            const std::string size = std::to_string(bytes);
            paired::printRatio(collected, "skb_chksum, " + name + ", " + size + " bytes", build + "/" + size,
                               "rte_raw_cksum", "dpdk/" + size, bound);
        }
    }
#else
    row::printMissing("skb_chksum, vectors", "rte_raw_cksum: not installed");
#endif
    return 0;
}
