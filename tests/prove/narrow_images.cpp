// SPDX-License-Identifier: MIT OR GPL-2.0
// The image of narrow entries: each field, each mask, each key bit, encoded, decoded and printed. The
// definition: two rows of 32 bits and a mask as a set of 48 bits.
#include "bits.h"
#include "machine.h"
#include "prove.h"

#include "ifc/records/narrow_record.h"
#include "tests/support/wide_places.h"

#include <bitset>
#include <cstdio>
#include <cstring>

namespace
{

using prove::Bits;

struct Case {
    unsigned at;
    unsigned field;
    unsigned command;
    unsigned end;
    uint32_t mask;
    uint64_t key;
    bool ones; // the entries were all ones before
};

// The bits of a MAC address that a reduced mask names.
std::bitset<48> macBits(uint32_t reduced)
{
    std::bitset<48> bits;
    unsigned count = reduced % 64;
    if (count == 0 || count > 47)
        count = 48;
    for (unsigned n = 0; n < count; ++n)
        bits[reduced >= 0x80000000 ? n : 47 - n] = true;
    return bits;
}

// The 32 bits that a reduced mask of fields 3 to 13 names; 32 and 0 both mean all.
std::bitset<32> wordBits(uint32_t reduced)
{
    std::bitset<32> bits;
    const unsigned count = reduced % 32 == 0 ? 32 : reduced % 32;
    for (unsigned n = 0; n < count; ++n)
        bits[reduced >= 0x80000000 ? n : 31 - n] = true;
    return bits;
}

// Word 0 in bits 32 to 63, word 1 in bits 0 to 31.
using Entry = Bits;

void draw(Entry &entry, const Case &c, bool type1, bool end)
{
    entry.put(32, 6, c.field);
    entry.put(38, 1, c.command);
    entry.put(45, 1, type1);
    entry.put(46, 1, end);
    entry.put(47, 1, 1);
}

void drawWord(Entry &entry, const Case &c, bool end, uint64_t count)
{
    draw(entry, c, true, end);
    entry.put(39, 1, c.mask >= 0x80000000);
    entry.put(40, 5, count);
    entry.put(0, 32, c.key);
}

void drawHalf(Entry &entry, const Case &c, unsigned sel, uint64_t mask, uint64_t key)
{
    draw(entry, c, false, c.end != 0);
    entry.put(38, 2, c.command);
    entry.put(40, 2, sel);
    entry.put(0, 16, key);
    entry.put(16, 16, mask);
}

// What the dump prints of an entry.
std::string textOf(const Entry &entry, unsigned at, uint32_t mask)
{
    const auto get = [&entry](unsigned lsb, unsigned width) {
        return static_cast<unsigned>(entry.get(lsb, width));
    };
    const unsigned field = get(32, 6);
    const std::string name = field < 32 ? support::kPlaces[field].name : "UDF_" + std::to_string(field - 32);
    char text[256];
    if (get(45, 1) == 0)
        (void)std::snprintf(
            text, sizeof text,
            "\nLUT1-%u: valid:1, end:%u, Type:0, Sel:%u, Command:%u, Field:%s, Mask:%04x, Key:%04x\n", at,
            get(46, 1), get(40, 2), get(38, 2), name.c_str(), get(16, 16), get(0, 16));
    else
        (void)std::snprintf(
            text, sizeof text,
            "\nLUT1-%u: valid:1, end:%u, Type:1, Direction:%u, Command:%u, Field:%s, Mask:%08x, "
            "Key:%08x\n",
            at, get(46, 1), get(39, 1), get(38, 1), name.c_str(), mask, get(0, 32));
    return text + std::string("  Action: enable:0, OWF:0\n");
}

void expectDecoded(const Case &c, unsigned at, unsigned part, uint64_t mask, uint64_t key)
{
    const ifc::Condition got = ifc::decodeNarrow(IFC_LUT1_Rule[at].word);
    if (got.field != c.field || static_cast<unsigned>(got.command) != c.command || got.part != part ||
        got.mask != mask || got.key != key)
        prove::fail("decodeNarrow of field %u, mask %x, at %u", c.field, c.mask, at);
}

// The automatic placement's way to the same entries, for masks that reduce to this one.
void expectEncoded(const Case &c, uint64_t mask, unsigned entries, const Entry *expected)
{
    if (c.ones || c.mask % 64 == 0 || (c.field <= 2 && c.mask % 64 > 48) || (c.mask & 0x7FFFFFC0) != 0)
        return;
    IFC_LUT1_Format made[2];
    const ifc::Condition condition = {static_cast<uint8_t>(c.field), static_cast<ifc::Command>(c.command), 0,
                                      mask, c.key};
    if (ifc::reduceFieldMask(c.field, mask).word != c.mask)
        return; // the full mask has one reduced form, and longer runs from the bottom are taken for 47
    if (ifc::encodeNarrow(condition, c.end != 0, made) != entries)
        prove::fail("encodeNarrow of field %u, mask %x: number of entries", c.field, c.mask);
    for (unsigned n = 0; n < entries; ++n) {
        if (!expected[n].equals(made[n].word + 1))
            prove::fail("encodeNarrow of field %u, mask %x: entry %u", c.field, c.mask, n);
    }
}

void check(const Case &c)
{
    machine::reset();
    std::memset(IFC_LUT1_Rule, c.ones ? 0xFF : 0, sizeof IFC_LUT1_Rule);
    const int result = ifc_set_lut1_rules(c.at, IFC_ENABLE, c.end, c.field, c.command, c.mask,
                                          static_cast<uint>(c.key >> 32), static_cast<uint>(c.key));
    Entry entries[2] = {Entry(64, c.ones), Entry(64, c.ones)};
    uint32_t shown[2] = {}; // the 32-bit mask of each entry of type 1
    unsigned used = 1;
    uint64_t mask = 0;
    if (c.field <= 2) {
        const std::bitset<48> bits = macBits(c.mask);
        const uint64_t all = bits.to_ullong();
        const uint64_t high = all / 0x100000000;
        shown[0] = static_cast<uint32_t>(all);
        const bool first = shown[0] != 0;
        used = first && high != 0 ? 2 : 1;
        if (first)
            drawWord(entries[0], c, high == 0 && c.end != 0, std::bitset<32>(shown[0]).count());
        if (high != 0)
            drawHalf(entries[used - 1], c, 2, high, c.key >> 32);
        mask = all;
    } else if (c.field <= 13) {
        shown[0] = static_cast<uint32_t>(wordBits(c.mask).to_ulong());
        drawWord(entries[0], c, c.end != 0, c.mask % 32);
        mask = shown[0];
    } else {
        drawHalf(entries[0], c, 0, c.mask, c.key);
    }

    if (result != static_cast<int>(c.at + used))
        prove::fail("field %u, mask %x at %u: result %d", c.field, c.mask, c.at, result);
    std::string text;
    for (unsigned n = 0; n < 32; ++n) {
        const bool mine = n >= c.at && n < c.at + used;
        const uint32_t *const shadow = IFC_LUT1_Rule[n].word;
        const uint32_t *const hardware = machine::window().tables().lut1[n];
        const uint32_t before = c.ones ? 0xFFFFFFFF : 0;
        const bool good = mine
                              ? entries[n - c.at].equals(shadow + 1) && entries[n - c.at].equals(hardware + 1)
                              : shadow[0] == before && shadow[1] == before && hardware[0] == before &&
                                    hardware[1] == before;
        if (!good)
            prove::fail("field %u, command %u, end %u, mask %x, key %llx at %u: entry %u", c.field, c.command,
                        c.end, c.mask, static_cast<unsigned long long>(c.key), c.at, n);
        if (mine)
            text += textOf(entries[n - c.at], n, shown[n - c.at]);
        else
            text += "\nLUT1-" + std::to_string(n) + ": valid:0\n";
    }
    if (!c.ones) {
        machine::forgetText();
        (void)ifc_dump_lut1_rules();
        if (machine::text() != text)
            prove::fail("printed\n%sexpected\n%s", machine::text().c_str(), text.c_str());
    }
    for (unsigned n = 0; n < used; ++n) {
        const bool type1 = entries[n].get(45, 1) != 0;
        if (type1)
            expectDecoded(c, c.at + n, 0, shown[n], static_cast<uint32_t>(c.key));
        else
            expectDecoded(c, c.at + n, c.field <= 2 ? 32 : 0, entries[n].get(16, 16), entries[n].get(0, 16));
    }
    if (c.field <= 13)
        expectEncoded(c, mask, used, entries);
}

// A slice is a field.
uint64_t all(unsigned slice, bool sample)
{
    const unsigned field = slice + 1;
    std::vector<uint32_t> masks;
    for (uint32_t count = 0; field <= 13 && count < 64; ++count) {
        masks.push_back(count);
        masks.push_back(0x80000000 | count);
        masks.push_back(0x7FFFFFC0 | count); // bits without a meaning
    }
    for (unsigned n = 0; field > 13 && n < 32; ++n) {
        masks.push_back(1u << n);
        masks.push_back(~(1u << n));
    }
    uint64_t cases = 0;
    for (unsigned at = 0; at < 32; at += sample ? 14 : 1) {
        if (field <= 2 && at % 16 == 15)
            continue; // refused: tests/layer
        for (unsigned command = 0; command < (field <= 13 ? 2 : 4); ++command)
            for (unsigned end = 0; end < 2; ++end)
                for (const bool ones : {false, true}) {
                    if (sample && (command + 2 * end + ones + at / 14) % 4 != 0)
                        continue;
                    const unsigned step = sample ? 5 : 1;
                    for (size_t n = (field + at) % step; n < masks.size(); n += step, ++cases)
                        check({at, field, command, end, masks[n], 0x123456789ABC, ones});
                    for (unsigned bit = (field + at) % step; bit < 64; bit += step) {
                        check({at, field, command, end, 48, uint64_t{1} << bit, ones});
                        check({at, field, command, end, 0x80000000 | 40, ~(uint64_t{1} << bit), ones});
                        cases += 2;
                    }
                }
    }
    return cases;
}

} // namespace

namespace prove
{

const Part kNarrowImages = {"narrow", "images of narrow entries, each field, mask and key bit", 47, all};

} // namespace prove
