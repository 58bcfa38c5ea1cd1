// SPDX-License-Identifier: MIT OR GPL-2.0
// Compares the engine's speed with the plain engine, with rte_acl of DPDK (AVX2, batches of 32; if installed)
// and with libpcap, all in the same run.
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
#include "gateway_rules.h"
#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"
#include "tests/engine/frames.h"
#include "tests/engine/random.h"
#include "tools/capture/plain_capture.h"

using namespace engine;

namespace
{

constexpr double kLineRate = 14.88e6; // 64-byte frames on a 10 Gbit/s line

// Eight kinds of headers, 64 to 594 bytes.
std::vector<frames::Bytes> makeMix()
{
    using namespace frames;
    Random random(5);
    std::vector<frames::Bytes> mix;
    for (unsigned n = 0; n < 2048; ++n) {
        const unsigned kind = random.below(8);
        const Ipv4 v4 = {.tos = random.below(4) << 4,
                         .protocol = kind % 2 == 0 ? 6u : 17u,
                         .source = 0xC0A80100 + random.below(64),
                         .destination = 0xCB007100 + random.below(64)};
        const Bytes payload = ports(1024 + random.below(64), 5000 + random.below(64), 16);
        Bytes frame = macs(random.oneIn(4) ? "01:00:5e:00:00:05" : "02:11:22:33:44:55",
                           random.oneIn(4) ? "0a:66:77:88:99:bb" : "0a:66:77:88:99:aa");
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
        if (kind == 5 || kind == 6)
            frame[14 + 23] = static_cast<uint8_t>(random.below(4)); // last byte of the source address
        frame.resize(std::max(length, frame.size()), 0);
        mix.push_back(frame);
    }
    return mix;
}

void wideRule(Tables &tables, unsigned n, const gateway::Rule &terms)
{
    uint32_t *rule = tables.lut0[n];
    rule[0] |= 0x80000000;
    for (const gateway::Term &term : terms) {
        rule[0] |= 1u << (term.field - 1);
        const FieldPlace place = fieldPlace(term.field);
        for (unsigned bit = 0; bit < place.width; ++bit) {
            const unsigned at = place.lsb + bit;
            rule[IFC_LUT0_MASK_WORD + IFC_LUT0_AREA_WORDS - 1 - at / 32] |=
                static_cast<uint32_t>(term.mask >> bit & 1) << at % 32;
            rule[IFC_LUT0_KEY_WORD + IFC_LUT0_AREA_WORDS - 1 - at / 32] |=
                static_cast<uint32_t>(term.key >> bit & 1) << at % 32;
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

// All 40 entries compare for equality: 8 wide rules, and chains of two to four narrow entries.
void equalRules(Tables &tables)
{
    using gateway::is;
    for (unsigned n = 0; n < 8; ++n)
        wideRule(tables, n,
                 {is(DMAC, 0x021122334455), is(ETYPE, n < 6 ? 0x0800 : 0x86DD),
                  is(n < 6 ? SIPv4 : SIPv6_31_0, n < 6 ? 0xC0A80101 + n : 0x00030004),
                  is(n < 6 ? DIPv4 : DIPv6_31_0, n < 6 ? 0xCB007101 + n : 0x000C000D),
                  is(n < 6 ? IPv4_PROTOCOL : IPv6_NEXT_HEADER, n % 2 == 0 ? 6 : 17), is(DPORT, 5000 + n),
                  is(SPORT, 1024 + n)});
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

// Places the gateway's rules through the rule layer. False: one did not fit.
bool gatewayRules(RegisterWindow &window)
{
    host::reset();
    host::attach(&window);
    host::muteLog(true);
    clear_all_ifc_rules();
    bool good = true;
    for (const gateway::Rule &rule : gateway::rules()) {
        orva_ifc_param request = gateway::requestOf(rule);
        good = ifc_set_lut_rules_auto(&request) >= 0 && good;
    }
    host::reset();
    return good;
}

const std::vector<frames::Bytes> &mix()
{
    static const std::vector<frames::Bytes> all = makeMix();
    return all;
}

enum class Rules { Gateway, Equal };

// A classifier with rules in all 40 entries.
struct Bed {
    RegisterWindow window;
    std::unique_ptr<Classifier> classifier;

    Bed(Rules rules, Classifier::Method method)
    {
        window.powerOn({});
        bool good = true;
        if (rules == Rules::Gateway)
            good = gatewayRules(window);
        else
            equalRules(window.tables());
        for (const auto &rule : window.tables().lut0)
            good = good && wideValid(rule);
        for (const auto &entry : window.tables().lut1)
            good = good && narrowValid(entry);
        if (!good) {
            std::fprintf(stderr, "engine_bench: the rules do not fill the tables\n");
            std::exit(1);
        }
        window.write(IFC_GLB_CFG, IFC_GLB_CFG_ENABLE);
        classifier = std::make_unique<Classifier>(window);
        classifier->setMethod(method);
    }
    // Parse, match and count every frame once.
    unsigned pass()
    {
        unsigned hits = 0;
        ParsedFrame parsed;
        for (const frames::Bytes &frame : mix())
            hits += classifier->classify(frame.data(), frame.size(), {}, parsed).entry != kNoEntry;
        return hits;
    }
};

template <Rules Kind, Classifier::Method Method>
Bed &bedOf()
{
    static Bed bed(Kind, Method);
    return bed;
}

template <Rules Kind, Classifier::Method Method>
void frames2048(benchmark::State &state)
{
    Bed &bed = bedOf<Kind, Method>();
    for (auto _ : state)
        benchmark::DoNotOptimize(bed.pass());
}

void parseAlone(benchmark::State &state)
{
    ParserSettings settings;
    settings.udfs = 0;
    ParsedFrame parsed;
    for (auto _ : state) {
        for (const frames::Bytes &frame : mix()) {
            parseFrame(frame.data(), frame.size(), {}, settings, parsed);
            benchmark::DoNotOptimize(parsed.fields.present);
        }
    }
}

// 40 rules of five fields, for the engine and for rte_acl.
struct FiveTuples {
    std::vector<FiveTupleRule> rules;
    std::vector<FiveTuple> keys;
    std::vector<FieldImage> images;
    std::unique_ptr<FastMatch> whole = std::make_unique<FastMatch>();
    std::vector<FastMatch> tables = std::vector<FastMatch>(IFC_ACTIONS / IFC_LUT0_RULES);

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
        compileWhole();
        compileTables();
        for (unsigned n = 0; n < 1024; ++n) {
            // The values of a rule, often with one field changed.
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
    static gateway::Rule termsOf(const FiveTupleRule &rule)
    {
        using gateway::is;
        gateway::Rule terms = {is(SIPv4, rule.key.source, gateway::prefix(rule.sourceBits)),
                               is(DIPv4, rule.key.destination, gateway::prefix(rule.destinationBits)),
                               is(IPv4_PROTOCOL, rule.key.protocol)};
        if (!rule.anySourcePort)
            terms.push_back(is(SPORT, rule.key.sourcePort));
        if (!rule.anyDestinationPort)
            terms.push_back(is(DPORT, rule.key.destinationPort));
        return terms;
    }
    // The engine's matcher with all 40 rules at once, more than the tables can hold.
    void compileWhole()
    {
        whole->begin();
        for (unsigned n = 0; n < rules.size(); ++n) {
            whole->addRule(n);
            for (const gateway::Term &term : termsOf(rules[n]))
                whole->require(n, {static_cast<uint8_t>(term.field), term.command, 0, term.mask, term.key});
        }
        whole->finish();
    }
    // A table holds eight wide rules, so five tables are searched one after the other.
    void compileTables()
    {
        const auto image = std::make_unique<Tables>();
        for (unsigned t = 0; t < tables.size(); ++t) {
            *image = {};
            for (unsigned n = 0; n < IFC_LUT0_RULES; ++n)
                wideRule(*image, n, termsOf(rules[IFC_LUT0_RULES * t + n]));
            tables[t].compile(*image);
        }
    }
    static uint32_t firstOf(uint64_t rules)
    {
        return static_cast<uint32_t>(__builtin_ffsll(static_cast<long long>(rules)));
    }
    void classifyByTables(std::vector<uint32_t> &results) const
    {
        for (size_t n = 0; n < images.size(); ++n) {
            uint64_t hits = 0;
            for (unsigned t = 0; t < tables.size(); ++t)
                hits |= tables[t].match(images[n]) << IFC_LUT0_RULES * t;
            results[n] = firstOf(hits);
        }
    }
    void classify(std::vector<uint32_t> &results) const
    {
        for (size_t n = 0; n < images.size(); ++n)
            results[n] = firstOf(whole->match(images[n]));
    }
};

FiveTuples &fiveTuples()
{
    static FiveTuples all;
    return all;
}

void matchTables(benchmark::State &state)
{
    std::vector<uint32_t> results(fiveTuples().keys.size());
    for (auto _ : state) {
        fiveTuples().classifyByTables(results);
        benchmark::ClobberMemory();
    }
}

void matchWhole(benchmark::State &state)
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

// A file of 64-byte frames, removed when the process ends.
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
    capture::PlainCapture reader;
    const int descriptor = open(captureFile().name(), O_RDONLY | O_CLOEXEC);
    if (reader.open(descriptor)) {
        for (capture::CapturedFrame frame{}; reader.next(frame) == capture::CaptureStatus::Frame;)
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

BENCHMARK_TEMPLATE(frames2048, Rules::Gateway, Classifier::Method::Fast)->Name("gatewayFast");
BENCHMARK_TEMPLATE(frames2048, Rules::Gateway, Classifier::Method::Plain)->Name("gatewayPlain");
BENCHMARK_TEMPLATE(frames2048, Rules::Equal, Classifier::Method::Fast)->Name("equalFast");
BENCHMARK_TEMPLATE(frames2048, Rules::Equal, Classifier::Method::Plain)->Name("equalPlain");
BENCHMARK(parseAlone);
BENCHMARK(matchTables);
BENCHMARK(matchWhole);
#ifdef IFC_HAVE_DPDK
BENCHMARK(matchAcl);
#endif
BENCHMARK(captureOwn)->UseRealTime();
BENCHMARK(capturePcap)->UseRealTime();

// Both sides of a comparison must do the same work.
bool agree(const char *what, bool same)
{
    if (!same)
        std::fprintf(stderr, "engine_bench: %s: the two sides disagree\n", what);
    return same;
}

// The number of frames that hit; 0 if the two engines disagree on a frame.
template <Rules Kind>
unsigned hitsOfBoth()
{
    unsigned hits = 0;
    ParsedFrame parsed;
    for (const frames::Bytes &frame : mix()) {
        Result results[2];
        results[0] = bedOf<Kind, Classifier::Method::Fast>().classifier->classify(frame.data(), frame.size(),
                                                                                  {}, parsed);
        results[1] = bedOf<Kind, Classifier::Method::Plain>().classifier->classify(frame.data(), frame.size(),
                                                                                   {}, parsed);
        if (hitBitsOf(results[0].hits) != hitBitsOf(results[1].hits))
            return 0;
        hits += results[0].entry != kNoEntry;
    }
    return hits;
}

// Prints two lines about a set of rules: frames per second, and the time against the plain engine's.
void printFrames(const paired::Collector &collector, const char *rules, unsigned hits, const char *fast,
                 const char *plain)
{
    const auto found = collector.times.find(fast);
    if (found == collector.times.end())
        return;
    const auto count = static_cast<double>(mix().size());
    const double rate = count / paired::median(found->second) * 1e9;
    std::printf("%s: all 40 entries in use, %.0f %% of %.0f frames hit\n", rules, 100 * hits / count, count);
    std::printf("  parse, match, count: %.1f ns a frame, %.1f million a second on one core, %.2f of a full "
                "10 Gbit/s line",
                1e9 / rate, rate / 1e6, rate / kLineRate);
    paired::printVerdict(rate / kLineRate, 1.5, paired::Bound::AtLeast);
    std::printf("\n");
    paired::printRatio(collector, "  fast, plain engine", fast, plain, 0.5);
}

} // namespace

int main(int argc, char **argv)
{
    const unsigned gatewayHits = hitsOfBoth<Rules::Gateway>();
    const unsigned equalHits = hitsOfBoth<Rules::Equal>();
    bool good = agree("frames", gatewayHits != 0 && equalHits != 0);
    good = agree("capture", readOwn() != 0 && readOwn() == readPcap()) && good;
    std::vector<uint32_t> own(fiveTuples().keys.size());
    std::vector<uint32_t> other(own.size());
    fiveTuples().classifyByTables(own);
    fiveTuples().classify(other);
    good = agree("match", own == other) && good;
#ifdef IFC_HAVE_DPDK
    if (!aclPrepare(fiveTuples().rules, fiveTuples().keys)) {
        std::fprintf(stderr, "engine_bench: rte_acl does not start here\n");
        return 1;
    }
    aclClassify(other);
    good = agree("rte_acl", own == other) && good;
#endif
    if (!good)
        return 1;

    const paired::Collector collector = paired::runAll(argc, argv);
    printFrames(collector, "gateway rules", gatewayHits, "gatewayFast", "gatewayPlain");
    printFrames(collector, "rules of \"equal\" alone", equalHits, "equalFast", "equalPlain");
    const auto parse = collector.times.find("parseAlone");
    if (parse != collector.times.end())
        std::printf("parse alone: %.1f ns a frame\n",
                    paired::median(parse->second) / static_cast<double>(mix().size()));
#ifdef IFC_HAVE_DPDK
    std::printf("matching alone: 1024 keys, each side's first of the same 40 rules of five fields\n");
    paired::printRatio(collector, "  fast engine, all 40 at once; rte_acl", "matchWhole", "matchAcl", 0.9);
    paired::printRatio(collector, "  fast engine, 5 tables of 8 wide; rte_acl", "matchTables", "matchAcl", 0);
#else
    std::printf("rte_acl: not installed\n");
#endif
    paired::printRatio(collector, "400000 frames: own reader, pcap_next_ex", "captureOwn/real_time",
                       "capturePcap/real_time", 0.25);
    return 0;
}
