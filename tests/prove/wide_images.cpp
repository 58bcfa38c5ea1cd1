// SPDX-License-Identifier: MIT OR GPL-2.0
// The image of a wide rule: each bit of each field, in the masks and in the keys, encoded, decoded and
// printed. The definition: a row of 1312 bits, and the list of the fields' places that the tests have.
#include "bits.h"
#include "machine.h"
#include "prove.h"

#include "ifc/records/wide_record.h"
#include "ruleset/ruleset.h"
#include "tests/support/wide_places.h"

#include <cstdio>
#include <cstring>

namespace
{

using prove::Bits;
using support::kKeyArea;
using support::kMaskArea;
using support::kPlaces;

constexpr unsigned kBits = 1312;
constexpr unsigned kValidBit = 1311;

std::string line(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string line(const char *format, ...)
{
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

struct Seen {
    uint64_t mask;
    uint64_t key;
    unsigned command;
};

Seen seenIn(const Bits &rule, unsigned field)
{
    const support::Place &place = kPlaces[field];
    return {rule.get(kMaskArea + place.lsb, place.width), rule.get(kKeyArea + place.lsb, place.width),
            static_cast<unsigned>(rule.get(1216 + 2 * (field - 1), 2))};
}

std::string values(unsigned field, const Seen &seen)
{
    const auto high = [](uint64_t value) { return static_cast<unsigned>(value / 0x100000000); };
    const auto low = [](uint64_t value) { return static_cast<unsigned>(value % 0x100000000); };
    if (field <= 2)
        return line("Mask:%x_%x, Key:%x_%x\n", high(seen.mask), low(seen.mask), high(seen.key),
                    low(seen.key));
    return line("Mask:%x, Key:%x\n", low(seen.mask), low(seen.key));
}

// ifc_dump_lut0_rules() with this rule at `at` and no other. All actions are zero.
std::string dumpOf(const Bits &rule, unsigned at)
{
    std::string text;
    for (unsigned n = 0; n < 8; ++n) {
        if (n != at) {
            text += line("\nLUT0-%u: valid:0\n", n);
            continue;
        }
        text += line("\nLUT0-%u: valid:1, enable:%x\n", n, static_cast<unsigned>(rule.get(1280, 31)));
        for (unsigned field = 1; field <= 31; ++field) {
            const Seen seen = seenIn(rule, field);
            if (rule.get(1279 + field, 1) != 0)
                text += line(">>>>Field-%u:%s, Command:%u, ", field, kPlaces[field].name, seen.command) +
                        values(field, seen);
        }
        text += "  Action: enable:0, OWF:0\n";
    }
    return text;
}

// ifc_parser_lut0_rule(), and with it the two read-backs.
std::string parsedOf(const Bits &rule, unsigned at)
{
    std::string text;
    for (unsigned field = 1; field <= 31; ++field) {
        const Seen seen = seenIn(rule, field);
        if (rule.get(1279 + field, 1) != 0)
            text += line("LUT0-%2u field:%2u %s, Enable, CMD:%u, ", at, field, kPlaces[field].name,
                         seen.command) +
                    values(field, seen);
    }
    return text;
}

template <typename Operation>
void expectText(const char *what, const std::string &expected, const Operation &operation)
{
    machine::forgetText();
    (void)operation();
    if (machine::text() != expected)
        prove::fail("%s: printed\n%sexpected\n%s", what, machine::text().c_str(), expected.c_str());
}

void expectArrays(const Bits &rule, unsigned at)
{
    uint masks[32], keys[32], masks2[32], keys2[32];
    get_lut0_mask_key(static_cast<int>(at), masks, keys);
    set_lut0_mask_key_to_array(&IFC_LUT0_Rule[at], masks2, keys2);
    for (unsigned slot = 0; slot < 32; ++slot) {
        const unsigned lsb = support::slotLsb(slot);
        const unsigned width = support::slotWidth(slot);
        if (masks[slot] != rule.get(kMaskArea + lsb, width) ||
            keys[slot] != rule.get(kKeyArea + lsb, width) || masks2[slot] != masks[slot] ||
            keys2[slot] != keys[slot])
            prove::fail("slot %u of the arrays of rule %u", slot, at);
    }
}

// One bit of one area differs from all others: a one among zeros, or a zero among ones.
void check(unsigned at, unsigned field, bool inMask, unsigned bit, unsigned command, bool ones)
{
    const uint64_t background = ones ? 0xFFFFFFFFFFFFFFFF : 0;
    const uint64_t single = background ^ uint64_t { 1 } << bit;
    const uint64_t mask = inMask ? single : background;
    const uint64_t key = inMask ? background : single;
    const support::Place &place = kPlaces[field];

    machine::reset();
    std::memset(&IFC_LUT0_Rule[at], ones ? 0xFF : 0, sizeof IFC_LUT0_Rule[at]);
    const int result =
        ifc_set_lut0_rules(at, IFC_ENABLE, field, command, static_cast<uint>(mask >> 32),
                           static_cast<uint>(mask), static_cast<uint>(key >> 32), static_cast<uint>(key));
    Bits expected(kBits, ones);
    expected.put(kValidBit, 1, 1);
    expected.put(1279 + field, 1, 1);
    expected.put(1216 + 2 * (field - 1), 2, command);
    expected.put(kMaskArea + place.lsb, place.width, mask);
    expected.put(kKeyArea + place.lsb, place.width, key);
    const uint32_t *const words = IFC_LUT0_Rule[at].word;
    const uint32_t *const hardware = machine::window().tables().lut0[at];
    if (result != 0 || !expected.equals(words + 40) || !expected.equals(hardware + 40))
        prove::fail("rule %u, %s, bit %u of the %s, command %u, among %s", at, place.name, bit,
                    inMask ? "mask" : "key", command, ones ? "ones" : "zeros");
    for (unsigned other = 0; other < 8; ++other)
        for (unsigned n = 0; other != at && n < 41; ++n)
            if (IFC_LUT0_Rule[other].word[n] != 0 || machine::window().tables().lut0[other][n] != 0)
                prove::fail("a change of rule %u reached rule %u", at, other);

    expectArrays(expected, at);
    const int number = static_cast<int>(at);
    expectText("dump", dumpOf(expected, at), [] { return ifc_dump_lut0_rules(); });
    expectText("shadow", parsedOf(expected, at), [number] { return ifc_get_rule_from_hw(number); });
    expectText("hardware", parsedOf(expected, at), [number] { return ifc_get_rule_from_reg(number); });

    // The same by the shared records, and by the ruleset.
    const ifc::Condition decoded = ifc::decodeWide(words, field);
    const Seen seen = seenIn(expected, field);
    if (decoded.field != field || static_cast<unsigned>(decoded.command) != seen.command ||
        decoded.part != 0 || decoded.mask != seen.mask || decoded.key != seen.key)
        prove::fail("decodeWide of %s", place.name);
    if (ones)
        return;
    IFC_LUT0_Format encoded;
    if (!ifc::encodeWide(encoded, &decoded, 1) || !expected.equals(encoded.word + 40))
        prove::fail("encodeWide of %s", place.name);
    ifc_rule rule = {};
    ifc_rule_decode_wide(&IFC_LUT0_Rule[at], &rule);
    if (rule.count != 1 || rule.condition[0].field != field || rule.condition[0].mask != seen.mask)
        prove::fail("ifc_rule_decode_wide of %s", place.name);
}

// A slice is a field. Bits above the field's width are tried, too: they are dropped.
uint64_t all(unsigned slice, bool sample)
{
    const unsigned field = slice + 1;
    uint64_t cases = 0;
    for (unsigned at = 0; at < 8; at += sample ? 7 : 1)
        for (unsigned command = 0; command < (field <= 13 ? 2 : 4); ++command)
            for (const bool inMask : {false, true})
                for (const bool ones : {false, true})
                    for (unsigned bit = 0; bit < 48; ++bit) {
                        if (sample && (command != bit % 2 || (bit + inMask + ones) % 5 != at % 5))
                            continue;
                        check(at, field, inMask, bit, command, ones);
                        ++cases;
                    }
    return cases;
}

} // namespace

namespace prove
{

const Part kWideImages = {"wide", "images of wide rules, each bit of each field, mask and key", 31, all};

} // namespace prove
