// SPDX-License-Identifier: MIT OR GPL-2.0
// The command words of the register window: those that the layer makes, and what the simulated window does
// with each word of 32 bits. The definition: a list of the transfers that there are, and the drawing of
// their rows.
#include "machine.h"
#include "prove.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

namespace
{

constexpr uint32_t kCommandRegister = 0xBFB50204;
constexpr uint32_t kDataRegister = 0xBFB50210;

struct Transfer {
    uint32_t word;
    unsigned index, row, table;
    bool write;
};

// All transfers of the hardware, in ascending order of their words.
std::vector<Transfer> transfers()
{
    static const unsigned entries[] = {8, 32, 40, 40};
    static const unsigned rows[] = {11, 1, 1, 1};
    std::vector<Transfer> list;
    for (unsigned table = 0; table < 4; ++table)
        for (unsigned index = 0; index < entries[table]; ++index)
            for (unsigned row = 0; row < rows[table]; ++row)
                for (unsigned write = 0; write < 2; ++write)
                    list.push_back({65536 * index + 256 * row + 16 * table + 2 * write + 1, index, row, table,
                                    write == 1});
    std::sort(list.begin(), list.end(), [](const Transfer &a, const Transfer &b) { return a.word < b.word; });
    return list;
}

const std::vector<Transfer> kTransfers = transfers();

size_t firstFrom(uint32_t word)
{
    size_t n = 0;
    while (n < kTransfers.size() && kTransfers[n].word < word)
        ++n;
    return n;
}

bool exists(uint32_t word)
{
    const size_t n = firstFrom(word);
    return n < kTransfers.size() && kTransfers[n].word == word;
}

struct Row {
    uint32_t *word[4]; // of IFC_DATA0 to IFC_DATA3; nullptr: not part of the row
};

Row rowOf(engine::Tables &t, const Transfer &which)
{
    const unsigned n = which.index;
    switch (which.table) {
    case 0: {
        uint32_t *const rule = t.lut0[n];
        if (which.row == 10)
            return {{rule, nullptr, nullptr, nullptr}};
        uint32_t *const first = rule + 40 - 4 * which.row;
        return {{first, first - 1, first - 2, first - 3}};
    }
    case 1:
        return {{&t.lut1[n][1], &t.lut1[n][0], nullptr, nullptr}};
    case 2:
        return {{&t.action[n][3], &t.action[n][2], &t.action[n][1], &t.action[n][0]}};
    default:
        return {{&t.counter[n][0], &t.counter[n][1], &t.counter[n][2], &t.counter[n][3]}};
    }
}

// Each word of the tables is different, and no counter has bits that the hardware does not store.
void number(engine::Tables &t)
{
    auto *const words = reinterpret_cast<uint32_t *>(&t);
    for (uint32_t n = 0; n < sizeof t / 4; ++n)
        words[n] = 0x00110000 + n;
}

void checkTransfer(const Transfer &which)
{
    machine::reset();
    engine::RegisterWindow &window = machine::window();
    static engine::Tables before;
    number(window.tables());
    for (unsigned n = 0; n < 4; ++n)
        window.write(kDataRegister + 4 * n, 0x00AB0000 + n);
    before = window.tables();
    window.write(kCommandRegister, which.word);
    if (window.errors() != 0 || window.read(kCommandRegister) != (0x80000000 | which.word))
        prove::fail("command %08x is not done", which.word);
    const Row row = rowOf(before, which);
    for (unsigned n = 0; n < 4; ++n) {
        const uint32_t data = window.read(kDataRegister + 4 * n);
        const uint32_t expected = which.write || row.word[n] == nullptr ? 0x00AB0000 + n : *row.word[n];
        if (data != expected)
            prove::fail("command %08x: data register %u is %x, expected %x", which.word, n, data, expected);
        if (which.write && row.word[n] != nullptr)
            *row.word[n] = 0x00AB0000 + n;
    }
    if (std::memcmp(&before, &window.tables(), sizeof before) != 0)
        prove::fail("command %08x: the tables hold something else", which.word);
}

// Each word of 32 bits.
uint64_t allWords(unsigned slice, bool sample)
{
    const uint64_t first = uint64_t{slice} << 24;
    size_t next = firstFrom(static_cast<uint32_t>(first));
    for (size_t n = next; n < kTransfers.size() && kTransfers[n].word < first + 0x1000000; ++n)
        checkTransfer(kTransfers[n]);

    machine::reset();
    engine::RegisterWindow &window = machine::window();
    static engine::Tables before;
    number(window.tables());
    before = window.tables();
    uint32_t errors = 0;
    uint64_t cases = 0;
    const auto isNone = [&](uint64_t word) {
        window.write(kCommandRegister, static_cast<uint32_t>(word));
        if (window.errors() != ++errors)
            prove::fail("command %08llx is accepted", static_cast<unsigned long long>(word));
        if (window.read(kCommandRegister) >= 0x80000000)
            prove::fail("command %08llx is done", static_cast<unsigned long long>(word));
        ++cases;
    };
    // The next entry, the next row, and one bit changed: a sample would miss them.
    for (const Transfer &transfer : kTransfers)
        for (uint32_t change = 0; change < 34 && sample && slice == 0; ++change) {
            const uint32_t word = change == 32   ? transfer.word + 0x10000
                                  : change == 33 ? transfer.word + 0x100
                                                 : transfer.word ^ 1u << change;
            if (!exists(word))
                isNone(word);
        }
    for (uint64_t word = first; word < first + 0x1000000; word += sample ? 509 : 1) {
        while (next < kTransfers.size() && kTransfers[next].word < word)
            ++next;
        if (next >= kTransfers.size() || kTransfers[next].word != word)
            isNone(word);
    }
    if (std::memcmp(&before, &window.tables(), sizeof before) != 0)
        prove::fail("a command that is none changed the tables");
    return cases;
}

// ifcSetRuleConfig() with each index and offset, and with numbers that are cut. A slice is 16 indexes.
uint64_t allArguments(unsigned slice, bool sample)
{
    static const int numbers[] = {0,  1,  2,  3,       4,       5,           6,      7,
                                  -1, -2, 16, INT_MAX, INT_MIN, INT_MIN + 3, 0x7FFE, 1 << 30};
    uint64_t cases = 0;
    machine::reset();
    engine::RegisterWindow &window = machine::window();
    static uint32_t written;
    static unsigned accesses;
    window.onAccess(
        [](void *, const engine::Access &access) {
            ++accesses;
            if (access.kind == engine::AccessKind::Write)
                written = access.reg == kCommandRegister ? access.value : 0;
        },
        nullptr);
    for (unsigned index = 16 * slice; index < 16 * slice + 16; ++index)
        for (unsigned offset = 0; offset < 256; offset += sample ? 85 : 1)
            for (const int sel : numbers)
                for (const int type : numbers) {
                    const auto remainder = [](int number) {
                        return static_cast<unsigned>((number % 4 + 4) % 4);
                    };
                    const uint32_t word =
                        65536 * index + 256 * (offset % 64) + 16 * remainder(sel) + 2 * remainder(type) + 1;
                    accesses = 0;
                    machine::forgetText();
                    const int result = ifcSetRuleConfig(static_cast<uint8_t>(index),
                                                        static_cast<uint8_t>(offset), sel, type);
                    const bool good = exists(word);
                    if (written != word || result != (good ? 0 : -62) || accesses != (good ? 2 : 4) ||
                        machine::text().empty() != good)
                        prove::fail(
                            "ifcSetRuleConfig(%u, %u, %d, %d): command %08x, expected %08x, result %d", index,
                            offset, sel, type, written, word, result);
                    ++cases;
                }
    window.onAccess(nullptr, nullptr);
    return cases;
}

} // namespace

namespace prove
{

const Part kCommands = {"commands", "the command words of ifcSetRuleConfig, each index and offset", 16,
                        allArguments};
const Part kCommandWords = {"window", "what the register window does with each of 2^32 command words", 256,
                            allWords};

} // namespace prove
