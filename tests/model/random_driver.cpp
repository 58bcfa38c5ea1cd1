// SPDX-License-Identifier: MIT OR GPL-2.0
// Random operations against the layer on the simulated window, and against the plain model. After each one
// the results, the shadow tables, the hardware's tables and the actions must say the same. A failing sequence
// is shrunk and printed as lines for `ifcctl op`.
//
// Usage: random_driver [--operations N] [--seed S]
#include "table_model.h"

#include "ifc/ifc_cmd.h"
#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <deque>
#include <random>
#include <sstream>

using model::FieldCondition;
using model::Request;

namespace
{

// ------------------------------------------------------------------ decoding the images

bool bitOf(const uint32_t *rule, unsigned n)
{
    return (rule[40 - n / 32] >> n % 32 & 1) != 0;
}

uint64_t bitsOf(const uint32_t *rule, unsigned lsb, unsigned width)
{
    uint64_t value = 0;
    for (unsigned n = 0; n < width; ++n)
        value |= static_cast<uint64_t>(bitOf(rule, lsb + n)) << n;
    return value;
}

model::WideRule decodeWide(const uint32_t *rule)
{
    static const unsigned lsb[33] = {0,   0,   48,  96,  128, 160, 192, 224, 256, 288, 320,
                                     352, 384, 416, 436, 441, 444, 446, 448, 460, 464, 476,
                                     480, 496, 512, 520, 528, 536, 544, 560, 576, 592, 594};
    model::WideRule decoded;
    bool empty = true;
    for (unsigned n = 0; n < 41; ++n)
        empty = empty && rule[n] == 0;
    if (empty)
        return decoded;
    decoded.valid = bitOf(rule, 1311);
    for (unsigned f = 1; f < 32; ++f) {
        const unsigned width = lsb[f + 1] - lsb[f];
        decoded.fields[f].enabled = bitOf(rule, 1279 + f);
        decoded.fields[f].command = static_cast<unsigned>(bitsOf(rule, 1216 + 2 * (f - 1), 2));
        decoded.fields[f].mask = bitsOf(rule, 608 + lsb[f], width);
        decoded.fields[f].key = bitsOf(rule, lsb[f], width);
    }
    return decoded;
}

model::NarrowEntry decodeNarrow(const uint32_t *w)
{
    model::NarrowEntry e;
    e.field = w[0] & 0x3F;
    e.isWord = w[0] >> 13 & 1;
    e.end = w[0] >> 14 & 1;
    e.valid = w[0] >> 15 & 1;
    if (e.isWord) {
        e.command = w[0] >> 6 & 1;
        e.fromBottom = w[0] >> 7 & 1;
        e.length = (w[0] >> 8 & 31) == 0 ? 32 : w[0] >> 8 & 31;
        e.key = w[1];
    } else {
        e.command = w[0] >> 6 & 3;
        e.sel = w[0] >> 8 & 3;
        e.key = w[1] & 0xFFFF;
        e.mask = w[1] >> 16;
    }
    return e;
}

model::ActionFields decodeAction(const uint32_t *w)
{
    struct Place {
        unsigned field, word, lsb, width;
    };
    static const Place places[] = {
        {model::kVo0, 0, 0, 2},     {model::kVo1, 0, 2, 2},     {model::kVpm0, 0, 4, 2},
        {model::kFqos, 0, 6, 1},    {model::kFast, 0, 7, 1},    {model::kMc, 0, 8, 1},
        {model::kKeepPcp, 0, 9, 1}, {model::kDpi, 0, 10, 1},    {model::kOwf, 0, 11, 1},
        {model::kCpu, 0, 26, 1},    {model::kNbq, 0, 27, 5},    {model::kVid0, 1, 0, 12},
        {model::kVp0, 1, 12, 4},    {model::kVid1, 1, 16, 12},  {model::kVp1, 1, 28, 4},
        {model::kCnt1, 2, 2, 5},    {model::kMtrG, 2, 8, 8},    {model::kDscp, 2, 16, 8},
        {model::kTc, 2, 24, 8},     {model::kQueue, 3, 0, 3},   {model::kChannel, 3, 3, 5},
        {model::kFport, 3, 8, 4},   {model::kSpTag, 3, 12, 16},
    };
    model::ActionFields a{};
    if ((w[0] | w[1] | w[2] | w[3]) == 0)
        return a;
    for (const Place &p : places)
        a[p.field] = w[p.word] >> p.lsb & ((1u << p.width) - 1);
    for (unsigned n = 0; n < 14; ++n)
        a[model::kEnable0 + n] = w[0] >> (12 + n) & 1;
    a[model::kCnt0] = (w[2] & 3) << 4 | w[3] >> 28;
    return a;
}

// ------------------------------------------------------------------ operations

enum Kind {
    kSetLut0,
    kSetLut1,
    kPlace,
    kRemove,
    kFind,
    kFreeRun,
    kSetAction,
    kClearAction,
    kClearActions,
    kBind,
    kInvalidate,
    kClearRules,
    kRewrite,
    kDeleteLut0,
    kDeleteLut1,
    kPpe,
    kRevision,
    kReduce,
};

struct Step {
    Kind kind;
    unsigned a[8] = {};
    uint64_t mask = 0;
    uint64_t key = 0;
    Request request;
};

std::string textOf(const Request &request)
{
    std::ostringstream text;
    for (const FieldCondition &c : request)
        text << ' ' << c.field << ':' << c.command << ":0x" << std::hex << c.mask << ":0x" << c.key
             << std::dec;
    return text.str();
}

// The operation as a line for the command handler. Empty for events of the surroundings.
std::string lineOf(const Step &s)
{
    std::ostringstream t;
    const auto high = [](uint64_t v) { return static_cast<uint32_t>(v >> 32); };
    const auto low = [](uint64_t v) { return static_cast<uint32_t>(v); };
    switch (s.kind) {
    case kSetLut0:
        t << "ifc_set_lut0_rules " << s.a[0] << ' ' << s.a[1] << ' ' << s.a[2] << ' ' << s.a[3] << ' '
          << high(s.mask) << ' ' << low(s.mask) << ' ' << high(s.key) << ' ' << low(s.key);
        break;
    case kSetLut1:
        t << "ifc_set_lut1_rules " << s.a[0] << ' ' << s.a[1] << ' ' << s.a[2] << ' ' << s.a[3] << ' '
          << s.a[4] << ' ' << low(s.mask) << ' ' << high(s.key) << ' ' << low(s.key);
        break;
    case kPlace:
        t << "ifc_set_lut_rules_auto" << textOf(s.request);
        break;
    case kRemove:
        t << "ifc_del_lut_rules_auto" << textOf(s.request);
        break;
    case kFind:
        t << "ifc_match_lut1" << textOf(s.request);
        break;
    case kFreeRun:
        t << "lut1_has_free_rule " << s.a[0];
        break;
    case kSetAction:
        t << "ifc_set_action " << s.a[0] << ' ' << s.a[1] << ' ' << s.a[2] << ' ' << s.a[3] << ' ' << s.a[4]
          << ' ' << s.a[5] << ' ' << s.a[6];
        break;
    case kClearAction:
        t << "ifc_clear_action " << s.a[0];
        break;
    case kClearActions:
        t << "clear_all_ifc_actions";
        break;
    case kBind:
        t << "ifc_set_acnt " << s.a[0] << ' ' << s.a[1];
        break;
    case kInvalidate:
        t << "clear_ifc_rules " << static_cast<int>(s.a[0]) - 1;
        break;
    case kClearRules:
        t << "clear_all_ifc_rules";
        break;
    case kRewrite:
        t << "write_all_ifc_rule_to_hw";
        break;
    case kDeleteLut0:
        t << "ifc_delete_lut0 " << s.a[0];
        break;
    case kDeleteLut1:
        t << "ifc_delete_lut1 " << s.a[0];
        break;
    case kPpe:
        t << "set ifcSendToPpe " << s.a[0];
        break;
    case kReduce:
        t << "change_mask_from_48_to_32 " << high(s.mask) << ' ' << low(s.mask) << ' ' << s.a[0];
        break;
    case kRevision:
        break;
    }
    return t.str();
}

// Makes the same change in the model and returns the answer that the handler must give.
std::string expectedAnswer(model::Tables &m, const Step &s)
{
    const auto number = [](int value) { return "= " + std::to_string(value) + "\n"; };
    switch (s.kind) {
    case kSetLut0:
        return number(m.setLut0(s.a[0], s.a[1] != 0, s.a[2], s.a[3], s.mask, s.key));
    case kSetLut1:
        return number(
            m.setLut1(s.a[0], s.a[1] != 0, s.a[2] & 1, s.a[3], s.a[4], static_cast<uint32_t>(s.mask), s.key));
    case kPlace:
        return number(m.place(s.request));
    case kRemove:
        return number(m.remove(s.request));
    case kFind:
        return number(m.matchLut1(s.request[0]));
    case kFreeRun:
        return number(m.freeRun(s.a[0]));
    case kSetAction:
        return number(m.setAction(s.a[0], s.a[1], s.a[2] != 0, {s.a[3], s.a[4], s.a[5], s.a[6]}));
    case kClearAction:
        return number(m.clearAction(s.a[0]));
    case kClearActions:
        m.actions = {};
        return number(0);
    case kBind:
        return number(m.bind(s.a[0], s.a[1]));
    case kInvalidate:
        m.invalidate(static_cast<int>(s.a[0]) - 1);
        return number(0);
    case kClearRules:
        m.clearRules();
        return number(0);
    case kRewrite:
        m.rewrite();
        return number(0);
    case kDeleteLut0:
        m.wide[s.a[0]] = {};
        return "= ok\n";
    case kDeleteLut1:
        m.narrow[s.a[0]] = {};
        return "= ok\n";
    case kPpe:
        m.ppe = s.a[0] != 0;
        return s.a[0] != 0 ? "= 0x1\n" : "= 0x0\n";
    case kReduce: {
        char text[32];
        (void)std::snprintf(
            text, sizeof text, "= 0x%x\n",
            model::Tables::reduce(s.a[0] == 48 ? s.mask : s.mask & 0xFFFFFFFF, static_cast<int>(s.a[0])));
        return text;
    }
    case kRevision:
        m.revision = static_cast<int>(s.a[0]);
        return "";
    }
    return "";
}

// ------------------------------------------------------------------ the run

class World
{
public:
    World()
    {
        host::reset();
        chip_.powerOn({1, true});
        host::attach(&chip_);
        host::setLogSink([](std::string_view) {});
        *gpIfcPriv = IFC_Private_T{};
        (void)clear_all_ifc_rules();
        ifcSendToPpe = 0;
    }
    ~World() { host::reset(); }

    // Empty if layer, hardware and model agree.
    std::string run(const Step &s)
    {
        const std::string expected = expectedAnswer(model_, s);
        if (s.kind == kRevision) {
            host::setRevision(static_cast<int>(s.a[0]));
        } else {
            std::string answer;
            (void)ifc_cmd_run(
                lineOf(s).c_str(),
                [](void *to, const char *text) { *static_cast<std::string *>(to) += text; }, &answer);
            if (answer != expected)
                return "result " + answer + "expected " + expected;
        }
        return compare();
    }

private:
    std::string compare()
    {
        const engine::Tables &t = chip_.tables();
        for (unsigned n = 0; n < 8; ++n) {
            if (decodeWide(IFC_LUT0_Rule[n].word) != model_.wide[n])
                return "shadow of LUT0 rule " + std::to_string(n);
            if (decodeWide(t.lut0[n]) != model_.hardwareWide[n])
                return "hardware's LUT0 rule " + std::to_string(n);
        }
        for (unsigned n = 0; n < 32; ++n) {
            if (decodeNarrow(IFC_LUT1_Rule[n].word) != model_.narrow[n])
                return "shadow of LUT1 entry " + std::to_string(n);
            if (decodeNarrow(t.lut1[n]) != model_.hardwareNarrow[n])
                return "hardware's LUT1 entry " + std::to_string(n);
        }
        for (unsigned n = 0; n < 40; ++n)
            if (decodeAction(t.action[n]) != model_.actions[n])
                return "action " + std::to_string(n);
        for (unsigned n = 0; n < 5; ++n)
            for (unsigned k = 0; k < 8; ++k)
                if ((chip_.counterBinding(n) >> 4 * k & 15) != model_.bindings[n][k])
                    return "binding of entry " + std::to_string(8 * n + k);
        if (chip_.errors() != 0)
            return "an access that the hardware does not know";
        return "";
    }

    engine::RegisterWindow chip_;
    model::Tables model_;
};

class Generator
{
public:
    explicit Generator(uint64_t seed) : random_(seed) {}

    Step next()
    {
        Step s{};
        const unsigned dice = below(100);
        if (dice < 14) {
            s.kind = kSetLut0;
            s.a[0] = below(20) == 0 ? 8 : below(8);
            s.a[1] = below(6) == 0 ? 0 : below(8) == 0 ? 0x100 : 1;
            s.a[2] = below(20) == 0 ? below(2) * 32 : 1 + below(31);
            s.a[3] = below(12) == 0 ? below(300) : below(3);
            s.mask = mask();
            s.key = key();
        } else if (dice < 30) {
            s.kind = kSetLut1;
            s.a[0] = below(30) == 0 ? 32 : below(32);
            s.a[1] = below(6) == 0 ? 0 : 1;
            s.a[2] = below(4);
            s.a[3] = below(20) == 0 ? below(2) * 48 : field();
            s.a[4] = below(12) == 0 ? below(8) : below(2);
            s.mask = s.a[3] <= 13 ? below(2) << 31 | below(64) : mask() & 0xFFFFFFFF;
            s.key = key();
        } else if (dice < 48) {
            s.kind = kPlace;
            s.request = request();
            remember(s.request);
        } else if (dice < 62) {
            s.kind = kRemove;
            s.request = recall();
        } else if (dice < 67) {
            s.kind = kFind;
            const Request known = recall();
            s.request = {known.empty() ? condition(field())
                                       : known[below(static_cast<unsigned>(known.size()))]};
        } else if (dice < 70) {
            s.kind = kFreeRun;
            s.a[0] = below(18);
        } else if (dice < 84) {
            s.kind = kSetAction;
            s.a[0] = below(30) == 0 ? 40 : below(40);
            s.a[1] = below(30) == 0 ? 17 : below(17);
            s.a[2] = below(4) == 0 ? 0 : 1;
            for (unsigned n = 3; n < 7; ++n)
                s.a[n] = below(3) == 0 ? static_cast<unsigned>(random_()) : below(64);
        } else if (dice < 86) {
            s.kind = kClearAction;
            s.a[0] = below(41);
        } else if (dice < 89) {
            s.kind = kBind;
            s.a[0] = below(41);
            s.a[1] = below(18);
        } else if (dice < 91) {
            s.kind = kDeleteLut0;
            s.a[0] = below(8);
        } else if (dice < 94) {
            s.kind = kDeleteLut1;
            s.a[0] = below(32);
        } else if (dice < 96) {
            s.kind = kRewrite;
        } else if (dice < 97) {
            s.kind = below(3) == 0 ? kInvalidate : kRevision;
            static const unsigned revisions[] = {0, 0, 12, 14, 15};
            s.a[0] = s.kind == kInvalidate ? below(11) : revisions[below(5)];
        } else if (dice < 98) {
            s.kind = kReduce;
            s.a[0] = below(2) == 0 ? 32 : 48;
            s.mask = mask();
        } else if (dice < 99) {
            s.kind = kPpe;
            s.a[0] = below(4) != 0;
        } else {
            s.kind = below(3) == 0 ? kClearActions : kClearRules;
        }
        return s;
    }

private:
    unsigned below(unsigned bound) { return static_cast<unsigned>(random_() % bound); }
    unsigned field()
    {
        static const unsigned fields[] = {1, 2, 1, 2, 3, 4, 5, 13, 14, 18, 22, 24, 28, 29, 31, 32, 40, 47};
        return below(4) == 0 ? 1 + below(47) : fields[below(18)];
    }
    uint64_t mask()
    {
        const unsigned count = below(49);
        const uint64_t all = 0xFFFFFFFFFFFF;
        switch (below(5)) {
        case 0:
            return all;
        case 1:
            return (uint64_t{1} << count) - 1;
        case 2:
            return all & ~((uint64_t{1} << count) - 1);
        case 3:
            return (0xFFFFFFFFu << below(32)) & 0xFFFFFFFFu;
        default:
            return random_() & all;
        }
    }
    uint64_t key()
    {
        return below(3) == 0 ? random_() & 0xFFFFFFFFFFFF : uint64_t{below(4)} << 32 | below(4);
    }
    FieldCondition condition(unsigned f) { return {f, below(8) == 0 ? below(4) : below(2), mask(), key()}; }
    Request request()
    {
        const unsigned size = below(3) == 0 ? 7 + below(9) : 1 + below(4);
        Request r;
        for (unsigned n = 0; n < size; ++n) {
            FieldCondition c = condition(field());
            if (below(3) != 0) { // mostly masks that the field holds and LUT1 can express
                c.mask = c.field <= 2 ? mask() : c.field <= 4 ? 0xFFFFFF00 : 1;
                c.key &= c.mask;
            }
            r.push_back(c);
        }
        return r;
    }
    void remember(const Request &r)
    {
        known_.push_back(r);
        if (known_.size() > 12)
            known_.pop_front();
    }
    Request recall()
    {
        if (known_.empty() || below(8) == 0)
            return below(30) == 0 ? Request{} : request();
        Request r = known_[below(static_cast<unsigned>(known_.size()))];
        if (below(6) == 0) // nearly the same
            r[below(static_cast<unsigned>(r.size()))].key ^= below(2) == 0 ? 1 : uint64_t{1} << 32;
        return r;
    }

    std::mt19937_64 random_;
    std::deque<Request> known_;
};

std::string failureOf(const std::vector<Step> &steps, size_t *at = nullptr)
{
    World world;
    for (size_t n = 0; n < steps.size(); ++n) {
        const std::string failure = world.run(steps[n]);
        if (!failure.empty()) {
            if (at != nullptr)
                *at = n;
            return failure;
        }
    }
    return "";
}

// Removes what the failure does not need: halves, quarters, ..., single operations, then single conditions.
std::vector<Step> shrink(std::vector<Step> steps)
{
    const auto fails = [](std::vector<Step> &candidate) {
        size_t at = 0;
        if (failureOf(candidate, &at).empty())
            return false;
        candidate.resize(at + 1);
        return true;
    };
    for (size_t chunk = steps.size() / 2; chunk >= 1; chunk /= 2) {
        bool again = true;
        while (again) {
            again = false;
            for (size_t first = 0; first < steps.size();) {
                auto candidate = steps;
                const auto from = candidate.begin() + static_cast<std::ptrdiff_t>(first);
                candidate.erase(from,
                                from + static_cast<std::ptrdiff_t>(std::min(chunk, steps.size() - first)));
                if (!candidate.empty() && fails(candidate)) {
                    steps = candidate;
                    again = true;
                } else {
                    first += chunk;
                }
            }
        }
    }
    for (size_t n = 0; n < steps.size(); ++n)
        for (size_t c = 0; n < steps.size() && c < steps[n].request.size();) {
            auto candidate = steps;
            candidate[n].request.erase(candidate[n].request.begin() + static_cast<std::ptrdiff_t>(c));
            if (fails(candidate))
                steps = candidate;
            else
                ++c;
        }
    return steps;
}

void printReplay(const std::vector<Step> &steps)
{
    for (const Step &s : steps) {
        if (s.kind == kRevision)
            std::printf("# from here on the chip's revision is %u\n", s.a[0]);
        else
            std::printf("op %s\n", lineOf(s).c_str());
    }
}

} // namespace

int main(int argc, char **argv)
{
    unsigned long operations = 50000;
    unsigned long seed = 1;
    for (int n = 1; n + 1 < argc; n += 2) {
        if (std::strcmp(argv[n], "--operations") == 0)
            operations = std::strtoul(argv[n + 1], nullptr, 0);
        else if (std::strcmp(argv[n], "--seed") == 0)
            seed = std::strtoul(argv[n + 1], nullptr, 0);
        else
            argc = 0;
    }
    if (argc % 2 == 0) {
        std::fprintf(stderr, "usage: random_driver [--operations N] [--seed S]\n");
        return 2;
    }
    const auto begin = std::chrono::steady_clock::now();
    Generator generator(seed);
    std::vector<Step> steps;
    {
        World world;
        for (unsigned long n = 0; n < operations; ++n) {
            steps.push_back(generator.next());
            const std::string failure = world.run(steps.back());
            if (failure.empty())
                continue;
            std::printf("seed %lu, operation %lu: %s\nshrinking\n", seed, n, failure.c_str());
            steps = shrink(steps);
            std::printf("%zu operations remain, which end with: %s\n", steps.size(),
                        failureOf(steps).c_str());
            printReplay(steps);
            return 1;
        }
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    std::printf("%lu operations, seed %lu: layer, hardware and model agree after each (%.1f s)\n", operations,
                seed, took.count());
    return 0;
}
