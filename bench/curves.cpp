// SPDX-License-Identifier: MIT OR GPL-2.0
// The figures that `./run bench plots` draws, as lines of "CURVE X NANOSECONDS": cost against rules, and
// against bytes. Each point is the median of interleaved repetitions, in processor time.
#include "paired.h"

#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>

#include "engine/classifier.h"
#include "engine_tables.h"
#include "frame_mix.h"
#include "ifc/ifc_glb.h"

uint32_t plainWordLoop(const unsigned char *p, unsigned bytes);
extern "C" unsigned int skb_chksum_scalar(const struct sk_buff *skb, int lens);
extern "C" unsigned int skb_chksum_vector(const struct sk_buff *skb, int lens);

using namespace engine;

namespace
{

struct Point {
    const char *curve;
    unsigned x;
    unsigned operations; // of one run
    std::function<uint64_t()> run;
    std::vector<double> times;
};

double now()
{
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

// Wide rules first, then chains of four or two entries: those of the "equal" rules of the engine's bench.
struct Bed {
    RegisterWindow window;
    std::unique_ptr<Classifier> classifier;

    Bed(unsigned rules, Classifier::Method method)
    {
        window.powerOn({});
        equalRules(window.tables());
        Tables &tables = window.tables();
        for (unsigned n = rules; n < IFC_LUT0_RULES; ++n)
            tables.lut0[n][0] = 0;
        unsigned entry = 0;
        for (unsigned chain = IFC_LUT0_RULES; chain < rules && entry < IFC_LUT1_RULES; ++chain)
            while (!narrowEnd(tables.lut1[entry++]))
                ;
        for (; entry < IFC_LUT1_RULES; ++entry)
            tables.lut1[entry][0] = 0;
        window.write(IFC_GLB_CFG, IFC_GLB_CFG_ENABLE);
        classifier = std::make_unique<Classifier>(window);
        classifier->setMethod(method);
    }
    uint64_t pass() const
    {
        uint64_t hits = 0;
        ParsedFrame parsed;
        for (const frames::Bytes &frame : frameMix())
            hits += classifier->classify(frame.data(), frame.size(), {}, parsed).entry != kNoEntry;
        return hits;
    }
};

unsigned char data[9216];

template <unsigned (*Sum)(const sk_buff *, int)>
uint64_t sumMany(unsigned bytes)
{
    sk_buff skb{};
    skb.data = data + 14;
    skb.len = bytes;
    uint64_t sum = 0;
    for (unsigned n = 0; n < 1000; ++n) {
        sum += Sum(&skb, static_cast<int>(bytes));
        benchmark::ClobberMemory();
    }
    return sum;
}

uint64_t sumPlain(unsigned bytes)
{
    uint64_t sum = 0;
    for (unsigned n = 0; n < 1000; ++n) {
        sum += plainWordLoop(data + 14, bytes);
        benchmark::ClobberMemory();
    }
    return sum;
}

} // namespace

int main()
{
    for (unsigned n = 0; n < sizeof data; ++n)
        data[n] = static_cast<unsigned char>(n * 7 + 3);
    std::vector<Point> points;
    const auto count = static_cast<unsigned>(frameMix().size());
    // 8 wide rules and 12 chains fill both tables.
    for (const unsigned rules : {1u, 2u, 4u, 6u, 8u, 12u, 16u, 20u}) {
        for (const auto method : {Classifier::Method::Fast, Classifier::Method::Plain}) {
            const auto bed = std::make_shared<Bed>(rules, method);
            points.push_back({method == Classifier::Method::Fast ? "rules:fast" : "rules:plain",
                              rules,
                              count,
                              [bed] { return bed->pass(); },
                              {}});
        }
    }
    for (const unsigned bytes : {20u, 64u, 128u, 256u, 594u, 1000u, 1500u, 3000u, 9000u}) {
        points.push_back(
            {"bytes:scalar", bytes, 1000, [bytes] { return sumMany<skb_chksum_scalar>(bytes); }, {}});
        points.push_back(
            {"bytes:vector", bytes, 1000, [bytes] { return sumMany<skb_chksum_vector>(bytes); }, {}});
        points.push_back({"bytes:plain", bytes, 1000, [bytes] { return sumPlain(bytes); }, {}});
    }
    for (int repetition = 0; repetition < 20; ++repetition) {
        for (Point &point : points) {
            // The first run is not timed: it is slow while the processor learns the branches.
            benchmark::DoNotOptimize(point.run());
            const double begin = now();
            benchmark::DoNotOptimize(point.run());
            point.times.push_back((now() - begin) / point.operations);
        }
    }
    for (const Point &point : points)
        std::printf("%s %u %.2f\n", point.curve, point.x, paired::median(point.times));
    return 0;
}
