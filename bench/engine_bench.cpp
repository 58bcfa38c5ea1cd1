// SPDX-License-Identifier: MIT OR GPL-2.0
// The engine's speed against the plain engine, rte_acl (when it is installed) and libpcap, in the same run.
#include "paired.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include <pcap/pcap.h>

#include <fcntl.h>
#include <unistd.h>

#include "engine/classifier.h"
#include "engine/wire.h"
#include "engine_bench_acl.h"
#include "tests/engine/frames.h"
#include "tests/engine/random.h"
#include "tools/ifcctl/frame_capture.h"

using namespace engine;

namespace
{

constexpr double kLineRate = 14.88e6; // 64-byte frames on a 10 Gbit/s line

struct Mix {
    std::vector<frames::Bytes> all;
};

// Eight kinds of headers, 64 to 594 bytes.
Mix makeMix()
{
    using namespace frames;
    Random random(5);
    Mix mix;
    for (unsigned n = 0; n < 2048; ++n) {
        const unsigned kind = random.below(8);
        const Ipv4 v4 = {.tos = random.below(4) << 4,
                         .protocol = kind % 2 == 0 ? 6u : 17u,
                         .source = 0xC0A80100 + random.below(64),
                         .destination = 0xCB007100 + random.below(64)};
        const Bytes payload = ports(1024 + random.below(64), 5000 + random.below(64), 16);
        Bytes frame = macs(random.oneIn(4) ? "01:00:5e:00:00:05" : "02:11:22:33:44:55");
        size_t length = 64;
        switch (kind) {
        case 0: // TCP
            frame = frame + word16(0x0800) + ipv4(v4, payload);
            break;
        case 1: // UDP
            frame = frame + word16(0x0800) + ipv4(v4, payload);
            length = 128;
            break;
        case 2: // one tag
            frame = frame + tag(0x8100, random.below(4) << 13 | random.below(8)) + word16(0x0800) +
                    ipv4(v4, payload);
            length = 594;
            break;
        case 3: // two tags
            frame =
                frame + tag(0x88A8, 7) + tag(0x8100, random.below(8)) + word16(0x0800) + ipv4(v4, payload);
            length = 256;
            break;
        case 4: // PPPoE
            frame = frame + tag(0x8100, 7) + word16(0x8864) +
                    pppoe(0, 0x1C2A + random.below(2), word16(0x0021) + ipv4(v4, payload));
            length = 300;
            break;
        case 5: // IPv6
            frame = frame + word16(0x86DD) + ipv6({}, payload);
            length = 90;
            break;
        case 6: // IPv6 with an extension header
            frame = frame + word16(0x86DD) + ipv6({.next = 0}, Bytes{17, 0} + fill(6) + payload);
            length = 400;
            break;
        default: // ARP
            frame = frame + word16(0x0806) + fill(46);
            break;
        }
        frame.resize(std::max(length, frame.size()), 0);
        mix.all.push_back(frame);
    }
    return mix;
}

void wideRule(Tables &tables, unsigned n, std::initializer_list<std::pair<unsigned, uint64_t>> conditions)
{
    uint32_t *rule = tables.lut0[n];
    rule[0] |= 0x80000000;
    for (const auto &[field, key] : conditions) {
        rule[0] |= 1u << (field - 1);
        const FieldPlace place = kFieldPlaces.place[field];
        for (unsigned bit = 0; bit < place.width; ++bit) {
            const unsigned at = place.lsb + bit;
            rule[IFC_LUT0_MASK_WORD + IFC_LUT0_AREA_WORDS - 1 - at / 32] |= 1u << at % 32;
            rule[IFC_LUT0_KEY_WORD + IFC_LUT0_AREA_WORDS - 1 - at / 32] |=
                static_cast<uint32_t>(key >> bit & 1) << at % 32;
        }
    }
}

void narrow16(Tables &tables, unsigned n, unsigned field, unsigned key, bool end)
{
    tables.lut1[n][0] = field | 1u << 15 | static_cast<uint32_t>(end) << 14;
    tables.lut1[n][1] = 0xFFFF0000 | key;
}

void narrow32(Tables &tables, unsigned n, unsigned field, unsigned length, uint32_t key, bool end)
{
    tables.lut1[n][0] = field | length << 8 | 1u << 13 | 1u << 15 | static_cast<uint32_t>(end) << 14;
    tables.lut1[n][1] = key;
}

// All 40 entries in use: 8 wide rules of a gateway's kind, chains of two to five narrow entries.
void makeRules(Tables &tables)
{
    for (unsigned n = 0; n < 8; ++n)
        wideRule(tables, n,
                 {{DMAC, 0x021122334455},
                  {ETYPE, n < 6 ? 0x0800 : 0x86DD},
                  {n < 6 ? SIPv4 : SIPv6_31_0, n < 6 ? 0xC0A80101 + n : 0x00030004},
                  {n < 6 ? DIPv4 : DIPv6_31_0, n < 6 ? 0xCB007101 + n : 0x000C000D},
                  {n < 6 ? IPv4_PROTOCOL : IPv6_NEXT_HEADER, n % 2 == 0 ? 6 : 17},
                  {DPORT, 5000 + n},
                  {SPORT, 1024 + n}});
    for (unsigned n = 0; n < 32; n += 8) {
        narrow32(tables, n, SIPv4, 26, 0xC0A80100, false);
        narrow32(tables, n + 1, DIPv4, 0, 0xCB007100 + n, false);
        narrow16(tables, n + 2, IPv4_PROTOCOL, 6, false);
        narrow16(tables, n + 3, DPORT, 5000 + n, true);
        narrow16(tables, n + 4, VID0, n / 8, false);
        narrow16(tables, n + 5, ETYPE, n < 16 ? 0x8864 : 0x0800, true);
        narrow16(tables, n + 6, IPv6_NEXT_HEADER, 17, false);
        narrow16(tables, n + 7, DPORT, 5000 + n, true);
    }
}

// A classifier with all rules in place, and the frames.
struct Bed {
    RegisterWindow window;
    std::unique_ptr<Classifier> classifier;
    Mix mix = makeMix();

    explicit Bed(Classifier::Method method)
    {
        window.powerOn({});
        makeRules(window.tables());
        window.write(IFC_GLB_CFG, IFC_GLB_CFG_ENABLE);
        classifier = std::make_unique<Classifier>(window);
        classifier->setMethod(method);
    }
    // Parse, match and count every frame once.
    unsigned pass()
    {
        unsigned hits = 0;
        ParsedFrame parsed;
        for (const frames::Bytes &frame : mix.all)
            hits += classifier->classify(frame.data(), frame.size(), {}, parsed).entry != kNoEntry;
        return hits;
    }
};

Bed &fastBed()
{
    static Bed bed(Classifier::Method::Fast);
    return bed;
}

Bed &plainBed()
{
    static Bed bed(Classifier::Method::Plain);
    return bed;
}

void framesFast(benchmark::State &state)
{
    Bed &bed = fastBed();
    for (auto _ : state)
        benchmark::DoNotOptimize(bed.pass());
}

void framesPlain(benchmark::State &state)
{
    Bed &bed = plainBed();
    for (auto _ : state)
        benchmark::DoNotOptimize(bed.pass());
}

void parseAlone(benchmark::State &state)
{
    ParserSettings settings;
    settings.udfs = 0;
    ParsedFrame parsed;
    for (auto _ : state) {
        for (const frames::Bytes &frame : fastBed().mix.all) {
            parseFrame(frame.data(), frame.size(), {}, settings, parsed);
            benchmark::DoNotOptimize(parsed.fields.present);
        }
    }
}

// The same 40 rules of five fields for the engine's columns and for rte_acl.
struct FiveTuples {
    static constexpr unsigned kVectors = IFC_ACTIONS / kLanes;
    std::vector<FiveTupleRule> rules;
    std::vector<FiveTuple> keys;
    std::vector<FieldImage> images;
    std::unique_ptr<Columns<kVectors>> columns = std::make_unique<Columns<kVectors>>();

    FiveTuples()
    {
        Random random(9);
        for (unsigned n = 0; n < IFC_ACTIONS; ++n)
            rules.push_back({{0xC0A80000u + (random.below(16) << 8) + random.below(256),
                              0xCB007100u + random.below(256), static_cast<uint16_t>(1024 + random.below(64)),
                              static_cast<uint16_t>(5000 + random.below(64)),
                              static_cast<uint8_t>(random.oneIn(2) ? 6 : 17)},
                             random.oneIn(2) ? 32u : 24u,
                             random.oneIn(2) ? 32u : 24u,
                             random.oneIn(2),
                             random.oneIn(3)});
        compile();
        for (unsigned n = 0; n < 1024; ++n) {
            // Made from a rule, and often changed in a field.
            FiveTuple key = rules[random.below(IFC_ACTIONS)].key;
            if (random.oneIn(2))
                key.destination ^= random.below(256);
            if (random.oneIn(2))
                key.destinationPort = static_cast<uint16_t>(5000 + random.below(64));
            keys.push_back(key);
            FieldImage image{};
            setField(image, SIPv4, key.source);
            setField(image, DIPv4, key.destination);
            setField(image, IPv4_PROTOCOL, key.protocol);
            setField(image, SPORT, key.sourcePort);
            setField(image, DPORT, key.destinationPort);
            images.push_back(image);
        }
    }
    void compile()
    {
        columns->clear();
        for (unsigned n = 0; n < rules.size(); ++n) {
            const FiveTupleRule &rule = rules[n];
            const auto require = [&](unsigned field, uint32_t mask, uint32_t key) {
                const FieldPlace place = kFieldPlaces.place[field];
                columns->require(n, place.lsb / 32u, mask << place.lsb % 32, key << place.lsb % 32);
            };
            require(SIPv4, ~0u << (32 - rule.sourceBits), rule.key.source);
            require(DIPv4, ~0u << (32 - rule.destinationBits), rule.key.destination);
            require(IPv4_PROTOCOL, 0xFF, rule.key.protocol);
            require(SPORT, rule.anySourcePort ? 0 : 0xFFFF, rule.key.sourcePort);
            require(DPORT, rule.anyDestinationPort ? 0 : 0xFFFF, rule.key.destinationPort);
        }
    }
    void classify(std::vector<uint32_t> &results) const
    {
        for (size_t n = 0; n < images.size(); ++n) {
            uint32_t accepted[kVectors];
            columns->match(images[n], accepted);
            uint64_t rule = 0;
            for (unsigned v = 0; v < kVectors; ++v)
                rule |= uint64_t{accepted[v]} << kLanes * v;
            results[n] = rule == 0 ? 0 : static_cast<uint32_t>(__builtin_ctzll(rule)) + 1;
        }
    }
};

FiveTuples &fiveTuples()
{
    static FiveTuples all;
    return all;
}

void matchColumns(benchmark::State &state)
{
    std::vector<uint32_t> results(fiveTuples().keys.size());
    for (auto _ : state) {
        fiveTuples().classify(results);
        benchmark::ClobberMemory();
    }
}

#ifdef IFC_HAVE_DPDK
void matchAcl(benchmark::State &state)
{
    std::vector<uint32_t> results(fiveTuples().keys.size());
    for (auto _ : state) {
        aclClassify(results);
        benchmark::ClobberMemory();
    }
}
#endif

// A file of 64-byte frames that goes away with the process.
class CaptureFile
{
public:
    static constexpr unsigned kFrames = 400000;
    CaptureFile()
    {
        const int descriptor = mkstemp(name_);
        std::FILE *file = fdopen(descriptor, "wb");
        const uint32_t header[6] = {0xA1B2C3D4, 4u << 16 | 2, 0, 0, 262144, 1};
        std::fwrite(header, 1, sizeof header, file);
        uint32_t record[4 + 16] = {0, 0, 64, 64};
        for (unsigned n = 0; n < kFrames; ++n) {
            record[4] = n;
            std::fwrite(record, 1, sizeof record, file);
        }
        std::fclose(file);
    }
    ~CaptureFile() { unlink(name_); }
    const char *name() const { return name_; }

private:
    char name_[32] = "/tmp/engine_bench_XXXXXX";
};

const CaptureFile &captureFile()
{
    static const CaptureFile file;
    return file;
}

uint64_t readOwn()
{
    uint64_t sum = 0;
    ifcctl::PlainCapture capture;
    const int descriptor = open(captureFile().name(), O_RDONLY | O_CLOEXEC);
    if (capture.open(descriptor)) {
        for (ifcctl::CapturedFrame frame{}; capture.next(frame) == ifcctl::CaptureStatus::Frame;)
            sum += frame.data[0] + frame.length;
    }
    close(descriptor);
    return sum;
}

uint64_t readPcap()
{
    uint64_t sum = 0;
    char problem[PCAP_ERRBUF_SIZE];
    pcap_t *capture = pcap_open_offline(captureFile().name(), problem);
    if (capture == nullptr)
        return 0;
    pcap_pkthdr *header = nullptr;
    const u_char *data = nullptr;
    while (pcap_next_ex(capture, &header, &data) == 1)
        sum += data[0] + header->caplen;
    pcap_close(capture);
    return sum;
}

void captureOwn(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(readOwn());
}

void capturePcap(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(readPcap());
}

BENCHMARK(framesFast);
BENCHMARK(framesPlain);
BENCHMARK(parseAlone);
BENCHMARK(matchColumns);
#ifdef IFC_HAVE_DPDK
BENCHMARK(matchAcl);
#endif
BENCHMARK(captureOwn);
BENCHMARK(capturePcap);

// Both sides of a comparison must do the same work.
bool agree(const char *what, bool same)
{
    if (!same)
        std::fprintf(stderr, "engine_bench: %s: the two sides disagree\n", what);
    return same;
}

} // namespace

int main(int argc, char **argv)
{
    const unsigned hits = fastBed().pass();
    bool good = agree("frames", hits != 0 && hits == plainBed().pass());
    good = agree("capture", readOwn() != 0 && readOwn() == readPcap()) && good;
#ifdef IFC_HAVE_DPDK
    if (!aclPrepare(fiveTuples().rules, fiveTuples().keys)) {
        std::fprintf(stderr, "engine_bench: rte_acl does not start here\n");
        return 1;
    }
    std::vector<uint32_t> own(fiveTuples().keys.size());
    std::vector<uint32_t> theirs(own.size());
    fiveTuples().classify(own);
    aclClassify(theirs);
    good = agree("match", own == theirs) && good;
#endif
    if (!good)
        return 1;

    const paired::Collector collector = paired::runAll(argc, argv);
    const auto frames = static_cast<double>(fastBed().mix.all.size());
    const auto timeOf = [&](const char *name) {
        const auto found = collector.times.find(name);
        return found == collector.times.end() ? 0 : paired::median(found->second);
    };
    std::printf("%u of %.0f frames of the mix hit a rule; all 40 entries in use\n", hits, frames);
    if (timeOf("parseAlone") > 0)
        std::printf("parse alone %.1f ns a frame\n", timeOf("parseAlone") / frames);
    if (timeOf("framesFast") > 0) {
        const double rate = frames / timeOf("framesFast") * 1e9;
        std::printf(
            "parse, match, count: %.1f ns, %.1f million frames/s on one core, %.2f of a full 10 Gbit/s "
            "line (bound 1.50 or more)\n",
            1e9 / rate, rate / 1e6, rate / kLineRate);
    }
    paired::printRatio(collector, "2048 frames: fast, plain engine", "framesFast", "framesPlain", 0.5);
    paired::printRatio(collector, "1024 keys, 40 rules: columns, rte_acl", "matchColumns", "matchAcl", 0.9);
    paired::printRatio(collector, "400000 frames: own reader, pcap_next_ex", "captureOwn", "capturePcap",
                       0.25);
    return 0;
}
