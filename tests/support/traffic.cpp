// SPDX-License-Identifier: MIT OR GPL-2.0
// What a test expects, and the comparison with what was recorded.
#include "layer.h"

namespace support
{

namespace
{

constexpr unsigned kExpected = 16384;
Event expected[kExpected];
unsigned expectedCount;

struct Image {
    IFC_LUT0_Format lut0[8];
    IFC_LUT1_Format lut1[32];
    engine::Tables hardware;
};
Image kept;

orva_ifc_param requests[8];
unsigned requestsUsed;

char formatted[16][kFormatRoom];
unsigned formattedUsed;

const char *describe(const Event &event)
{
    switch (event.kind) {
    case Kind::Read:
        return format("read %08x %08x", event.reg, event.value);
    case Kind::Write:
        return format("write %08x %08x", event.reg, event.value);
    case Kind::Lock:
        return "lock";
    case Kind::Unlock:
        return "unlock";
    case Kind::Wait:
        return format("wait %u ms", event.value);
    case Kind::Revision:
        return "query for the revision";
    }
    return "nothing";
}

bool same(const Event &one, const Event &other)
{
    return one.kind == other.kind && one.reg == other.reg && one.value == other.value;
}

bool sameBytes(const void *one, const void *other, size_t size)
{
    return __builtin_memcmp(one, other, size) == 0;
}

} // namespace

Traffic::Traffic()
{
    expectedCount = 0;
}

Traffic &Traffic::next(const Event &event)
{
    if (expectedCount < kExpected)
        expected[expectedCount++] = event;
    else
        Failure(__FILE__, __LINE__, "room for the traffic that a test expects");
    return *this;
}

Traffic &Traffic::transfer(uint32_t word, unsigned reads, bool done)
{
    write(0xBFB50204, word);
    for (unsigned n = 1; n <= reads; ++n) {
        if (done && n == reads)
            read(0xBFB50204, word | 0x80000000u);
        else
            read(0xBFB50204, word).wait();
    }
    return *this;
}

Traffic &Traffic::readRow(uint32_t data3, uint32_t data2, uint32_t data1, uint32_t data0)
{
    return read(0xBFB5021C, data3).read(0xBFB50218, data2).read(0xBFB50214, data1).read(0xBFB50210, data0);
}

Traffic &Traffic::writeRow(uint32_t data3, uint32_t data2, uint32_t data1, uint32_t data0)
{
    return write(0xBFB5021C, data3)
        .write(0xBFB50218, data2)
        .write(0xBFB50214, data1)
        .write(0xBFB50210, data0);
}

Traffic &Traffic::clearTable(uint32_t sel, unsigned reads, bool done)
{
    lock();
    for (uint32_t n = 0; n < 40; ++n)
        zeros(n, sel, reads, done);
    return unlock();
}

Traffic &Traffic::rewrite()
{
    lock();
    for (uint32_t rule = 0; rule < 8; ++rule) {
        const uint32_t *words = IFC_LUT0_Rule[rule].word;
        revision().revision();
        write(0xBFB50210, 0).transfer(command(rule, 10, 0, 1));
        for (uint32_t row = 0; row < 10; ++row) {
            for (uint32_t n = 0; n < 4; ++n)
                write(0xBFB50210 + 4 * n, words[40 - 4 * row - n]);
            transfer(command(rule, row, 0, 1));
        }
        write(0xBFB50210, words[0]).transfer(command(rule, 10, 0, 1));
    }
    for (uint32_t entry = 0; entry < 32; ++entry)
        write(0xBFB50210, IFC_LUT1_Rule[entry].word[1])
            .write(0xBFB50214, IFC_LUT1_Rule[entry].word[0])
            .transfer(command(entry, 0, 1, 1));
    return unlock();
}

void compareTraffic(const char *file, int line)
{
    unsigned n = 0;
    while (n < expectedCount && n < events() && same(event(n), expected[n]))
        ++n;
    if (n == expectedCount && n == events())
        return;
    Failure(file, line, format("event %u of %u", n, expectedCount),
            n < events() ? describe(event(n)) : "the end",
            n < expectedCount ? describe(expected[n]) : "the end");
}

void expectNoTraffic(const char *file, int line)
{
    if (events() != 0)
        Failure(file, line, "first event", describe(event(0)), "none");
}

void comparePieces(const char *file, int line, const char *const *wanted, unsigned wantedCount)
{
    unsigned n = 0;
    while (n < wantedCount && n < pieces() && sameText(piece(n), wanted[n]))
        ++n;
    if (n == wantedCount && n == pieces())
        return;
    Failure(file, line, format("piece %u of %u", n, wantedCount), n < pieces() ? piece(n) : "(the end)",
            n < wantedCount ? wanted[n] : "(the end)");
}

orva_ifc_param &requestOf(const RequestCondition *conditions, unsigned conditionCount)
{
    orva_ifc_param &request = requests[requestsUsed++ % 8];
    request = {};
    for (unsigned n = 0; n < conditionCount; ++n) {
        request.fieldIdx[n] = conditions[n].field;
        request.command[n] = conditions[n].command;
        request.mask_low[n] = static_cast<uint32_t>(conditions[n].mask);
        request.mask_high[n] = static_cast<uint32_t>(conditions[n].mask >> 32);
        request.key_low[n] = static_cast<uint32_t>(conditions[n].key);
        request.key_high[n] = static_cast<uint32_t>(conditions[n].key >> 32);
    }
    return request;
}

orva_ifc_param &requestOnFields(unsigned conditionCount, unsigned firstField)
{
    orva_ifc_param &request = requestOf(nullptr, 0);
    for (unsigned n = 0; n < conditionCount; ++n) {
        request.fieldIdx[n] = firstField + n;
        request.mask_low[n] = 1;
        request.key_low[n] = 1;
    }
    return request;
}

sk_buff bufferOf(unsigned char *bytes, unsigned length)
{
    sk_buff skb{};
    skb.head = skb.data = bytes;
    skb.end = bytes + length;
    skb.len = length;
    return skb;
}

void setTwoMacs(unsigned rule)
{
    (void)ifc_set_lut0_rules(rule, IFC_ENABLE, DMAC, 0, 0xFFFF, 0xFFFFFFFF, 0, 1);
    (void)ifc_set_lut0_rules(rule, IFC_ENABLE, SMAC, 1, 0x00FF, 0x0000FFFF, 0x12, 0xAB);
}

void fillShadow()
{
    uint32_t value = 0x01020304;
    for (auto &rule : IFC_LUT0_Rule)
        for (uint32_t &word : rule.word)
            word = value = value * 1664525 + 1013904223;
    for (auto &entry : IFC_LUT1_Rule)
        for (uint32_t &word : entry.word)
            word = value = value * 1664525 + 1013904223;
}

void fillAction(unsigned n, uint32_t value)
{
    for (uint32_t &word : hardware().action[n])
        word = value;
}

bool shadowIsZero()
{
    uint32_t all = 0;
    for (const auto &rule : IFC_LUT0_Rule)
        for (const uint32_t word : rule.word)
            all |= word;
    for (const auto &entry : IFC_LUT1_Rule)
        all |= entry.word[0] | entry.word[1];
    return all == 0;
}

bool wideRulesReachedHardware()
{
    return sameBytes(hardware().lut0, IFC_LUT0_Rule, sizeof IFC_LUT0_Rule);
}

bool narrowEntriesReachedHardware()
{
    return sameBytes(hardware().lut1, IFC_LUT1_Rule, sizeof IFC_LUT1_Rule);
}

char *formatRoom()
{
    return formatted[formattedUsed++ % 16];
}

void keepTables()
{
    __builtin_memcpy(kept.lut0, IFC_LUT0_Rule, sizeof kept.lut0);
    __builtin_memcpy(kept.lut1, IFC_LUT1_Rule, sizeof kept.lut1);
    kept.hardware = hardware();
}

bool changed()
{
    return !sameBytes(kept.lut0, IFC_LUT0_Rule, sizeof kept.lut0) ||
           !sameBytes(kept.lut1, IFC_LUT1_Rule, sizeof kept.lut1) ||
           !sameBytes(&kept.hardware, &hardware(), sizeof kept.hardware);
}

} // namespace support
