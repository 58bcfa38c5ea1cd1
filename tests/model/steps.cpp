// SPDX-License-Identifier: MIT OR GPL-2.0
#include "steps.h"

#include <cstdio>

namespace model
{

namespace
{

std::string number(int value)
{
    return "= " + std::to_string(value) + "\n";
}

std::string bits(unsigned value)
{
    char text[32];
    (void)std::snprintf(text, sizeof text, "= 0x%x\n", value);
    return text;
}

// The sum of 16-bit words from `first` up to `last`, which is not one of them, with end-around carry.
unsigned sumOf(const std::vector<unsigned char> &bytes, size_t first, size_t last, unsigned more)
{
    unsigned sum = more;
    for (size_t n = first; n < last; ++n)
        sum += (n - first) % 2 == 0 ? bytes[n] * 256u : bytes[n];
    while (sum > 0xFFFF)
        sum = sum % 0x10000 + sum / 0x10000;
    return 0xFFFF - sum;
}

std::string answerOfHelper(const Step &s)
{
    const auto at = [&s](size_t n) { return unsigned{s.frame[n]}; };
    const size_t first = s.a[1];
    switch (s.a[0]) {
    case 0:
        return bits(sumOf(s.frame, 0, first, 0));
    case 1:
        return bits(sumOf(s.frame, first, first + 20, 0));
    case 2:
        return bits(sumOf(s.frame, first, s.frame.size(), s.a[2] + s.a[3]));
    case 3: {
        const bool good = at(first) == 0x11;
        char text[64];
        (void)std::snprintf(text, sizeof text, "= %d sid 0x%04x ppp_tag 0x%04x\n", good ? 0 : -1,
                            good ? at(first + 2) + 256 * at(first + 3) : 0,
                            at(first + 6) + 256 * at(first + 7));
        return text;
    }
    default:
        return "= ok\n";
    }
}

std::string answerOfCounter(Tables &m, unsigned index)
{
    if (index > 39)
        return "= -1 bytes 0 packets 0\n";
    m.moves.push_back({Move::ReadCounter, index});
    // Known: a low word with its highest bit set makes all upper bits ones.
    const auto total = [](uint32_t low, uint64_t high) {
        return low >= 0x80000000 ? 0xFFFFFFFF00000000 + low : high * 0x100000000 + low;
    };
    const auto &row = m.counters[index];
    return "= 0 bytes " + std::to_string(total(row[0], row[1])) + " packets " +
           std::to_string(total(row[2], row[3] % 0x1000000)) + "\n";
}

std::string answerOfSlots(const Tables &m, unsigned rule)
{
    std::string text = "= ok\n";
    const auto word = [](uint64_t dmac, uint64_t smac, unsigned slot) {
        return static_cast<unsigned>(slot == 0 ? dmac : slot == 1 ? dmac >> 32 | smac << 16 : smac >> 16);
    };
    const auto &f = m.wide[rule].fields;
    for (unsigned slot = 0; slot < 32; ++slot) {
        char line[64];
        (void)std::snprintf(line, sizeof line, "%2u mask 0x%08x key 0x%08x\n", slot,
                            slot < 3 ? word(f[1].mask, f[2].mask, slot) : static_cast<unsigned>(f[slot].mask),
                            slot < 3 ? word(f[1].key, f[2].key, slot) : static_cast<unsigned>(f[slot].key));
        text += line;
    }
    return text;
}

// The hits as a list: exactly the wanted one, or none.
bool isResult(const Step &s)
{
    std::vector<unsigned> hits;
    for (unsigned n = 0; n < 96; ++n)
        if ((s.a[n / 32] >> n % 32 & 1) != 0)
            hits.push_back(n);
    const int table = static_cast<int>(s.a[3]);
    const int index = static_cast<int>(s.a[4]);
    if (index < 0)
        return hits.empty();
    if (table == 0) // Known: an index from 32 to 255 expects no hit; above, its low byte counts
        return index % 256 < 32 ? hits == std::vector<unsigned>{s.a[4] % 256} : hits.empty();
    return table == 1 && index < 64 && hits == std::vector<unsigned>{32 + s.a[4]};
}

// Operations that change nothing but registers outside the tables.
std::string answerToLook(Tables &m, const Step &s)
{
    switch (s.kind) {
    case kSwitch:
        if (s.a[0] < 2)
            m.switchTo(s.a[0] == 1);
        else
            m.moves.push_back({Move::ReadRegister, 0xBFB50200});
        return number(0);
    case kGetCounter:
        return answerOfCounter(m, s.a[0]);
    case kClearCounters:
        m.clearCounters();
        return "= ok\n";
    case kDumpAction:
        m.moves.push_back({Move::ShowAction, s.a[0]});
        return number(0);
    case kDump:
        m.showTables(s.a[0] != 1, s.a[0] != 0);
        return number(0);
    case kReadBack:
        if (s.a[0] < 1 || s.a[0] > 8)
            return number(-1);
        m.moves.push_back({Move::ReadRule, s.a[0] - 1});
        return number(0);
    case kShowShadow:
        return number(s.a[0] < 1 || s.a[0] > 9 ? -1 : 0);
    case kMatchWide:
        return number(m.wideHolds(s.request, s.a[0]));
    case kMatchNarrow:
        return number(m.chainHolds(s.request, s.a[1], s.a[0]));
    case kCheckResult:
        return number(isResult(s) ? 0 : -1);
    case kSetSlot:
        m.setSlot(s.a[0], s.a[1], static_cast<uint32_t>(s.mask), static_cast<uint32_t>(s.key));
        return "= ok\n";
    case kGetSlots:
        return answerOfSlots(m, s.a[1]);
    case kVpm:
        return number(m.vpmOf(s.a[0]));
    case kFindTpid:
        return s.a[1] == 0 ? number(m.vpmOf(s.a[0]) > 0) : bits(m.tpidOf(s.a[0]));
    case kLowestBit: {
        unsigned place = s.a[1];
        for (unsigned n = 32; n > 0; --n)
            if ((s.a[0] >> (n - 1) & 1) != 0)
                place = n;
        return bits(place);
    }
    case kTransfer:
        m.moves.push_back({Move::Command, 65536 * s.a[0] + 256 * s.a[1] + 16 * s.a[2] + 1});
        return number(0);
    case kPoll: {
        const bool set = (m.global & s.a[0]) != 0;
        for (unsigned n = 0; n < (set ? 1u : 3u); ++n)
            m.moves.push_back({Move::ReadRegister, 0xBFB50200});
        return number(set ? 0 : -62);
    }
    default:
        return number(0);
    }
}

} // namespace

std::string expectedAnswer(Tables &m, const Step &s)
{
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
        m.clearActions();
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
    case kReduce:
        return bits(Tables::reduce(s.a[0] == 48 ? s.mask : s.mask & 0xFFFFFFFF, static_cast<int>(s.a[0])));
    case kRevision:
        m.revision = static_cast<int>(s.a[0]);
        return "";
    case kTpid:
        m.tpid = s.a[0];
        return "";
    case kSum:
        return answerOfHelper(s);
    default:
        return answerToLook(m, s);
    }
}

} // namespace model
