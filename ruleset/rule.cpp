// SPDX-License-Identifier: MIT OR GPL-2.0
// Rules and their images in the tables.
#include "ruleset/rule.h"

#include "ifc/records/chip.h"
#include "ifc/records/narrow_record.h"
#include "ifc/records/wide_record.h"

namespace ruleset
{

namespace
{

constexpr uint64_t kMacOnes = 0xFFFFFFFFFFFF;

// The condition as one comparison under one mask. False: none says it, a range; `one` is its lower side.
bool sayInOne(const RuleCondition &c, RuleCondition &one)
{
    one = c;
    one.key_last = 0;
    if (c.compare != IFC_COMPARE_RANGE)
        return true;
    const uint32_t first = ifc::lowWord(c.key);
    const uint32_t last = c.key_last;
    const uint32_t ones = ifc::lowWord(onesOf(c.field));
    const uint32_t inside = last - first; // low ones: a block whose size is a power of two
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

// A mask as a LUT1 entry of type 1 stores it. Length 0: it cannot.
struct Run {
    unsigned direction;
    unsigned length; // 1 to 32
};

// Bits above the field's width are free to choose: the field is 0 there.
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

// The lower half of a MAC mask. As automatic placement has it, 32 bits that continue a full upper half run
// from the top, others from the bottom. It makes no difference to what they compare.
Run macLowRun(uint64_t mask)
{
    const uint32_t low = ifc::lowWord(mask);
    if (low == 0xFFFFFFFFu && ifc::highWord(mask) != 0xFFFF)
        return {IFC_LUT1_FROM_BOTTOM, 32};
    return low == 0 ? Run{0, 0} : runOf(low, 32);
}

// Entries in LUT1; 0: it does not hold the condition.
unsigned narrowEntries(const RuleCondition &c)
{
    if (ifc::isHalf(c.field)) {
        RuleCondition one;
        return sayInOne(c, one) ? 1 : 2;
    }
    if (ifc::isWord(c.field))
        return runOf(ifc::lowWord(c.mask), ifc::fieldWidth(c.field)).length != 0 ? 1 : 0;
    if (ifc::lowWord(c.mask) == 0)
        return 1;
    if (macLowRun(c.mask).length == 0)
        return 0;
    if (ifc::highWord(c.mask) == 0)
        return 1;
    // Two entries that must both differ would not hit a frame that differs in one half only.
    return c.compare == IFC_COMPARE_EQUAL ? 2 : 0;
}

// Automatic placement puts the mask into LUT1 as it is: one run of ones from one end, and no other than the
// 47 ones of a MAC address that continue from the lower half into the upper one.
bool placedAsGiven(const RuleCondition &c)
{
    if (ifc::isHalf(c.field))
        return true;
    const uint64_t zeros = (ifc::isMac(c.field) ? kMacOnes : 0xFFFFFFFFu) & ~c.mask;
    if (c.mask == 0 || (zeros & (zeros + 1)) == 0)
        return c.mask != 0;
    return (c.mask & (c.mask + 1)) == 0 && (ifc::highWord(c.mask) == 0 || c.mask == kMacOnes >> 1);
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

// Writes the entries of one condition; returns the one after them.
IFC_LUT1_Format *writeEntries(const RuleCondition &given, IFC_LUT1_Format *entry)
{
    RuleCondition c;
    const bool inOne = sayInOne(given, c);
    if (ifc::isHalf(c.field)) {
        putHalf(*entry++, c, IFC_LUT1_SEL_FIELD, ifc::lowWord(c.mask), ifc::lowWord(c.key));
        if (!inOne) {
            c.compare = IFC_COMPARE_AT_MOST;
            putHalf(*entry++, c, IFC_LUT1_SEL_FIELD, ifc::lowWord(c.mask), given.key_last);
        }
        return entry;
    }
    const bool mac = ifc::isMac(c.field);
    const Run run = mac ? macLowRun(c.mask) : runOf(ifc::lowWord(c.mask), ifc::fieldWidth(c.field));
    if (run.length != 0) {
        *entry = {};
        ifc::setWordEntry(*entry++, c.field, c.compare, 0, run.direction, run.length, ifc::lowWord(c.key));
    }
    if (mac && (ifc::highWord(c.mask) != 0 || run.length == 0))
        putHalf(*entry++, c, IFC_LUT1_SEL_MAC_HIGH, ifc::highWord(c.mask), ifc::highWord(c.key));
    return entry;
}

// What stands in a table as a condition within the field's width, where the field is 0 above.
RuleCondition readCondition(const ifc::Condition &c)
{
    const unsigned command = static_cast<unsigned>(ifc::effectiveCommand(c.field, c.command));
    const uint64_t ones = onesOf(c.field);
    const uint64_t mask = c.mask << c.part;
    const uint64_t key = (c.key & c.mask) << c.part;
    if ((key & ~ones) == 0)
        return makeCondition(c.field, command, mask & ones, key);
    // The key is above whatever the field can be. Under a mask of 0 equal always holds and not equal never.
    const bool never = command == IFC_COMPARE_EQUAL || command == IFC_COMPARE_AT_LEAST;
    return makeCondition(c.field, never ? IFC_COMPARE_NOT_EQUAL : IFC_COMPARE_EQUAL, 0, 0);
}

// Makes one condition of two where they are the halves of a MAC address, or at least and at most.
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
    const uint64_t ones = onesOf(first.field);
    if (first.compare == IFC_COMPARE_AT_LEAST && second.compare == IFC_COMPARE_AT_MOST &&
        first.mask == ones && second.mask == ones && first.key <= second.key) {
        first.compare = IFC_COMPARE_RANGE;
        first.key_last = static_cast<uint16_t>(second.key);
        return true;
    }
    return false;
}

// What both tables make of a rule.
struct Measure {
    ifc_ruleset_reason notWide; // why LUT0 does not hold the condition `wideAt`
    unsigned wideAt;
    unsigned narrowAt; // the first condition that LUT1 does not hold; the count of conditions: it holds each
    unsigned entries;
    unsigned counted;
};

Measure measure(const Rule &rule)
{
    Measure m = {IFC_RULESET_NO_REASON, 0, rule.count, 0, 0};
    bool asGiven = true;
    for (unsigned n = 0; n < rule.count; ++n) {
        const RuleCondition &c = rule.condition[n];
        const unsigned needed = narrowEntries(c);
        if (needed == 0 && m.narrowAt == rule.count)
            m.narrowAt = n;
        m.entries += needed;
        m.counted += ifc::isMac(c.field) || needed == 2 ? 2 : 1;
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
    return ifc::fieldOnes(field);
}

bool holdsFor(const RuleCondition &condition, uint64_t value)
{
    const uint64_t masked = value & condition.mask;
    switch (condition.compare) {
    case IFC_COMPARE_EQUAL:
        return masked == condition.key;
    case IFC_COMPARE_NOT_EQUAL:
        return masked != condition.key;
    case IFC_COMPARE_AT_LEAST:
        return masked >= condition.key;
    case IFC_COMPARE_AT_MOST:
        return masked <= condition.key;
    default:
        return value >= condition.key && value <= condition.key_last;
    }
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
        (void)ifc::addToWide(*image, {c.field, static_cast<ifc::Command>(c.compare), 0, c.mask, c.key});
    }
}

void ifc_rule_encode_narrow(const struct ifc_rule *rule, IFC_LUT1_Format *image)
{
    for (unsigned n = 0; n < rule->count; ++n)
        image = writeEntries(rule->condition[n], image);
    image[-1].word[0] |= ifc::kNarrowEnd;
}

void ifc_rule_decode_wide(const IFC_LUT0_Format *image, struct ifc_rule *rule)
{
    rule->count = 0;
    for (unsigned field = ifc::nextWideField(image->word, 0); field != 0;
         field = ifc::nextWideField(image->word, field))
        rule->condition[rule->count++] = readCondition(ifc::decodeWide(image->word, field));
}

int ifc_rule_decode_narrow(const IFC_LUT1_Format *image, uint32_t entries, struct ifc_rule *rule)
{
    rule->count = 0;
    for (unsigned n = 0; n < entries; ++n) {
        const ifc::Condition entry = ifc::decodeNarrow(image[n].word);
        if (!ifc::isNarrowField(entry.field))
            return -1;
        const RuleCondition c = readCondition(entry);
        if (rule->count == 0 || !joins(rule->condition[rule->count - 1], c))
            rule->condition[rule->count++] = c;
    }
    return 0;
}
