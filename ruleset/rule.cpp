// SPDX-License-Identifier: MIT OR GPL-2.0
// Rules and their images in the tables.
#include "ruleset/rule.h"

#include "ifc/records/chip.h"
#include "ifc/records/narrow_record.h"
#include "ifc/records/wide_record.h"
#include "ruleset/rule_bits.h"

namespace ruleset
{

namespace
{

constexpr uint64_t kMacOnes = 0xFFFFFFFFFFFF;

// The only property of the table of places that is used here: the places follow each other.
struct FieldWidths {
    uint8_t of[IFC_LUT1_FIELDS + 1];
};

constexpr FieldWidths makeFieldWidths()
{
    FieldWidths widths{};
    unsigned lsb = 0;
    for (unsigned field = 1; field <= IFC_LUT1_FIELDS; ++field) {
        widths.of[field] = ifc::fieldPlace(field).width;
        if (ifc::isWideField(field) && ifc::fieldPlace(field).lsb != lsb)
            return {}; // refused below
        lsb += widths.of[field];
    }
    return widths;
}

constexpr FieldWidths kWidths = makeFieldWidths();
static_assert(kWidths.of[1] != 0);

// The lowest bit of a field in an area of the LUT0 record.
unsigned lsbInArea(unsigned field)
{
    unsigned lsb = 0;
    while (--field != 0)
        lsb += kWidths.of[field];
    return lsb;
}

// Writes into an area that holds zeros there. `last`: its last word. A field spans at most two words.
void putInArea(uint32_t *last, unsigned field, uint64_t value)
{
    const unsigned lsb = lsbInArea(field);
    uint32_t *word = last - lsb / 32;
    value = shiftLeft(value, lsb % 32);
    word[0] |= ifc::lowWord(value);
    word[-1] |= ifc::highWord(value);
}

uint64_t getFromArea(const uint32_t *last, unsigned field)
{
    const unsigned lsb = lsbInArea(field);
    const uint32_t *word = last - lsb / 32;
    return ifc::joinWords(word[-1], word[0]) >> lsb % 32 & onesOf(field);
}

// The condition as a single comparison with a mask. False: a range that needs two; `one` is its lower bound.
bool sayInOne(const RuleCondition &c, RuleCondition &one)
{
    one = c;
    one.key_last = 0;
    if (c.compare != IFC_COMPARE_RANGE)
        return true;
    const uint32_t first = ifc::lowWord(c.key);
    const uint32_t last = c.key_last;
    const uint32_t ones = ifc::lowWord(onesOf(c.field));
    const uint32_t inside = last - first; // low ones: the size of the block is a power of two
    if ((inside & (inside + 1)) == 0 && (first & inside) == 0) {
        one.compare = IFC_COMPARE_EQUAL;
        one.mask = ones & ~inside;
        return true;
    }
    one.compare = first == 0 ? IFC_COMPARE_AT_MOST : IFC_COMPARE_AT_LEAST;
    if (first == 0)
        one.key = last;
    return first == 0 || last == ones;
}

// A mask in the form that a LUT1 entry of type 1 stores. Length 0: it cannot be stored.
struct Run {
    unsigned direction;
    unsigned length; // 1 to 32
};

// Bits above the field's width may have any value: the field is 0 there.
Run runOf(uint32_t mask, unsigned width)
{
    if (mask == 0xFFFFFFFFu)
        return {IFC_LUT1_FROM_TOP, 32};
    if (mask != 0 && ifc::isLowRun(mask))
        return {IFC_LUT1_FROM_BOTTOM, ifc::lowRunLength(mask)};
    const uint32_t zeros = ~mask & ifc::lowWord(ifc::lowBits(width));
    if (zeros == 0xFFFFFFFFu || !ifc::isLowRun(zeros))
        return {0, 0};
    return {IFC_LUT1_FROM_TOP, 32 - ifc::lowRunLength(zeros)};
}

// The lower half of a MAC mask. Like automatic placement: after a full upper half, 32 ones are a run from the
// top, otherwise a run from the bottom. Both compare the same bits.
Run macLowRun(uint64_t mask)
{
    const uint32_t low = ifc::lowWord(mask);
    if (low == 0xFFFFFFFFu && ifc::highWord(mask) != 0xFFFF)
        return {IFC_LUT1_FROM_BOTTOM, 32};
    return low == 0 ? Run{0, 0} : runOf(low, 32);
}

// True: a run of ones from bit 0.
bool isRun(uint64_t value)
{
    return (value & (value + 1)) == 0;
}

// True: automatic placement stores the mask in LUT1 unchanged. It is one run of ones from one end. If it runs
// from the lower half of a MAC address into the upper half, it has 47 ones.
bool placedAsGiven(const RuleCondition &c)
{
    if (ifc::isHalf(c.field))
        return true;
    if (c.mask == 0)
        return false;
    return isRun(c.mask ^ (ifc::isMac(c.field) ? kMacOnes : 0xFFFFFFFFu)) ||
           (isRun(c.mask) && (ifc::highWord(c.mask) == 0 || c.mask == kMacOnes >> 1));
}

// Why LUT0 does not hold the condition at `at`.
ifc_ruleset_reason whyNotWide(const Rule &rule, unsigned at)
{
    const RuleCondition &c = rule.condition[at];
    for (unsigned n = 0; n < at; ++n)
        if (rule.condition[n].field == c.field)
            return IFC_RULESET_FIELD_TWICE;
    RuleCondition one;
    if (!sayInOne(c, one))
        return IFC_RULESET_RANGE_NOT_NARROW;
    return ifc::isWideField(c.field) ? IFC_RULESET_NO_REASON : IFC_RULESET_UDF_NOT_NARROW;
}

ifc_ruleset_reason faultOf(const RuleCondition &c)
{
    if (!ifc::isNarrowField(c.field))
        return IFC_RULESET_BAD_FIELD;
    if (c.compare > (ifc::isHalf(c.field) ? IFC_COMPARE_RANGE : IFC_COMPARE_NOT_EQUAL))
        return IFC_RULESET_BAD_COMPARE;
    const uint64_t ones = onesOf(c.field);
    const bool range = c.compare == IFC_COMPARE_RANGE;
    if ((c.mask & ~ones) != 0 || (range && c.mask != ones))
        return IFC_RULESET_BAD_MASK;
    if ((c.key & ~c.mask) != 0 || (range && (c.key_last < c.key || c.key_last > ones)))
        return IFC_RULESET_BAD_KEY;
    return IFC_RULESET_NO_REASON;
}

void putHalf(IFC_LUT1_Format &entry, const RuleCondition &c, unsigned sel, uint32_t mask, uint32_t key)
{
    entry = {};
    ifc::setHalfEntry(entry, c.field, c.compare, 0, sel, mask, key);
}

// Writes the entries of one condition, up to two, and returns their number. 0: LUT1 does not hold it.
unsigned writeEntries(const RuleCondition &given, IFC_LUT1_Format *entry)
{
    RuleCondition c;
    const bool inOne = sayInOne(given, c);
    const uint32_t low = ifc::lowWord(c.mask);
    const uint32_t high = ifc::highWord(c.mask);
    if (ifc::isHalf(c.field)) {
        putHalf(entry[0], c, IFC_LUT1_SEL_FIELD, low, ifc::lowWord(c.key));
        if (inOne)
            return 1;
        c.compare = IFC_COMPARE_AT_MOST;
        putHalf(entry[1], c, IFC_LUT1_SEL_FIELD, low, given.key_last);
        return 2;
    }
    const bool mac = ifc::isMac(c.field);
    const Run run = mac ? macLowRun(c.mask) : runOf(low, kWidths.of[c.field]);
    unsigned entries = 0;
    if (run.length != 0) {
        entry[0] = {};
        ifc::setWordEntry(entry[0], c.field, c.compare, 0, run.direction, run.length, ifc::lowWord(c.key));
        entries = 1;
    } else if (!mac || low != 0) {
        return 0;
    }
    if (mac && (high != 0 || low == 0)) {
        // Two entries that must both differ would not hit a frame that differs in one half only.
        if (entries != 0 && c.compare != IFC_COMPARE_EQUAL)
            return 0;
        putHalf(entry[entries++], c, IFC_LUT1_SEL_MAC_HIGH, high, ifc::highWord(c.key));
    }
    return entries;
}

// Reduces a condition of a table to the field's width; above it the field is 0.
void readCondition(const ifc::Condition &c, RuleCondition &to)
{
    const unsigned command = static_cast<unsigned>(ifc::effectiveCommand(c.field, c.command));
    const uint64_t ones = onesOf(c.field);
    const uint64_t mask = shiftLeft(c.mask, c.part);
    const uint64_t key = shiftLeft(c.key & c.mask, c.part);
    to = makeCondition(c.field, command, mask & ones, key);
    if ((key & ~ones) == 0)
        return;
    // The key is above every value of the field. With a mask of 0, equal always holds and not equal never.
    const bool never = command == IFC_COMPARE_EQUAL || command == IFC_COMPARE_AT_LEAST;
    to = makeCondition(c.field, never ? IFC_COMPARE_NOT_EQUAL : IFC_COMPARE_EQUAL, 0, 0);
}

// Merges two conditions that are halves of a MAC address, or "at least" and "at most" of one field.
bool joins(RuleCondition &first, const RuleCondition &second)
{
    if (first.field != second.field)
        return false;
    if (ifc::isMac(first.field) && first.compare == IFC_COMPARE_EQUAL &&
        second.compare == IFC_COMPARE_EQUAL && ifc::highWord(first.mask) == 0 &&
        ifc::lowWord(second.mask) == 0) {
        first.mask |= second.mask;
        first.key |= second.key;
        return true;
    }
    const uint32_t ones = ifc::lowWord(onesOf(first.field));
    const uint32_t last = ifc::lowWord(second.key);
    if (first.compare != IFC_COMPARE_AT_LEAST || second.compare != IFC_COMPARE_AT_MOST ||
        ifc::lowWord(first.mask) != ones || ifc::lowWord(second.mask) != ones ||
        ifc::lowWord(first.key) > last)
        return false;
    first.compare = IFC_COMPARE_RANGE;
    first.key_last = static_cast<uint16_t>(last);
    return true;
}

// Whether and how each table holds a rule.
struct Measure {
    ifc_ruleset_reason notWide; // why LUT0 does not hold the condition `wideAt`
    unsigned wideAt;
    unsigned narrowAt; // the first condition that LUT1 does not hold; the count: it holds all
    unsigned entries;
    unsigned counted;
};

Measure measure(const Rule &rule)
{
    Measure m = {IFC_RULESET_NO_REASON, 0, rule.count, 0, 0};
    bool asGiven = true;
    IFC_LUT1_Format scratch[2];
    for (unsigned n = 0; n < rule.count; ++n) {
        const RuleCondition &c = rule.condition[n];
        const unsigned needed = writeEntries(c, scratch);
        if (needed == 0 && m.narrowAt == rule.count)
            m.narrowAt = n;
        m.entries += needed;
        m.counted += ifc::isMac(c.field) || needed == 2 ? 2u : 1u;
        asGiven = asGiven && placedAsGiven(c);
        if (m.notWide == IFC_RULESET_NO_REASON) {
            m.notWide = whyNotWide(rule, n);
            m.wideAt = n;
        }
    }
    if (!asGiven && m.counted < ifc::kWideFromCount)
        m.counted = ifc::kWideFromCount;
    if (rule.count == 0 || m.narrowAt != rule.count || m.entries > kMaxChain)
        m.entries = 0;
    return m;
}

} // namespace

uint64_t onesOf(unsigned field)
{
    return shiftLeft(1, kWidths.of[field]) - 1;
}

} // namespace ruleset

using namespace ruleset;

int ifc_rule_check(const struct ifc_rule *rule, struct ifc_ruleset_report *report)
{
    ifc_ruleset_reason reason = IFC_RULESET_NO_REASON;
    unsigned at = rule->count;
    unsigned other = 0;
    if (rule->count > IFC_RULE_CONDITIONS)
        reason = IFC_RULESET_BAD_COUNT;
    for (unsigned n = 0; n < rule->count && reason == IFC_RULESET_NO_REASON; ++n) {
        reason = faultOf(rule->condition[n]);
        at = n;
    }
    if (reason == IFC_RULESET_NO_REASON) {
        const Measure m = measure(*rule);
        if (m.entries == 0) {
            reason = m.notWide;
            at = m.wideAt;
            other = m.narrowAt;
        }
    }
    const int result = reason == IFC_RULESET_NO_REASON ? IFC_RULESET_OK : IFC_RULESET_BAD_RULE;
    if (report != nullptr) {
        *report = {};
        report->result = result;
        if (result != IFC_RULESET_OK) {
            report->reason = reason;
            report->condition = at;
            report->other = other;
        }
    }
    return result;
}

void ifc_rule_shape_of(const struct ifc_rule *rule, struct ifc_rule_shape *shape)
{
    const Measure m = measure(*rule);
    shape->narrow_entries = static_cast<uint8_t>(m.entries);
    shape->counted = static_cast<uint8_t>(m.counted);
    shape->wide = m.notWide == IFC_RULESET_NO_REASON;
}

void ifc_rule_encode_wide(const struct ifc_rule *rule, IFC_LUT0_Format *image)
{
    *image = {};
    image->word[0] = ifc::kWideValid;
    for (unsigned n = 0; n < rule->count; ++n) {
        RuleCondition c;
        (void)sayInOne(rule->condition[n], c);
        image->word[0] |= 1u << (c.field - 1);
        image->word[ifc::commandWord(c.field)] |= uint32_t{c.compare} << ifc::commandLsb(c.field);
        putInArea(image->word + ifc::kMaskLastWord, c.field, c.mask);
        putInArea(image->word + ifc::kKeyLastWord, c.field, c.key);
    }
}

void ifc_rule_encode_narrow(const struct ifc_rule *rule, IFC_LUT1_Format *image)
{
    for (unsigned n = 0; n < rule->count; ++n)
        image += writeEntries(rule->condition[n], image);
    image[-1].word[0] |= ifc::kNarrowEnd;
}

void ifc_rule_decode_wide(const IFC_LUT0_Format *image, struct ifc_rule *rule)
{
    rule->count = 0;
    for (unsigned field = ifc::nextWideField(image->word, 0); field != 0;
         field = ifc::nextWideField(image->word, field))
        readCondition({static_cast<uint8_t>(field),
                       static_cast<ifc::Command>(ifc::wideCommand(image->word, field)), 0,
                       getFromArea(image->word + ifc::kMaskLastWord, field),
                       getFromArea(image->word + ifc::kKeyLastWord, field)},
                      rule->condition[rule->count++]);
}

int ifc_rule_decode_narrow(const IFC_LUT1_Format *image, uint32_t entries, struct ifc_rule *rule)
{
    rule->count = 0;
    for (unsigned n = 0; n < entries; ++n) {
        const ifc::Condition entry = ifc::decodeNarrow(image[n].word);
        if (!ifc::isNarrowField(entry.field))
            return -1;
        RuleCondition *const c = rule->condition + rule->count;
        readCondition(entry, *c);
        if (rule->count == 0 || !joins(c[-1], *c))
            ++rule->count;
    }
    return 0;
}
