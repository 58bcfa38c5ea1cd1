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

// The condition as one comparison under one mask. False: it is a range that none says.
bool sayInOne(const RuleCondition &c, RuleCondition &one)
{
    one = c;
    one.key_last = 0;
    if (c.compare != IFC_COMPARE_RANGE)
        return true;
    const uint32_t first = ifc::lowWord(c.key);
    const uint32_t last = c.key_last;
    const uint32_t ones = ifc::lowWord(ifc::fieldOnes(c.field));
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

// Automatic placement puts the mask into LUT1 as it is.
bool placedAsGiven(const RuleCondition &c)
{
    if (ifc::isHalf(c.field))
        return true;
    const ifc::ReducedMask reduced = ifc::reduceFieldMask(c.field, c.mask);
    return reduced.fault == ifc::MaskFault::None && ifc::expandMask(c.field, reduced.word) == c.mask;
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
    const uint64_t ones = ifc::fieldOnes(c.field);
    const bool range = c.compare == IFC_COMPARE_RANGE;
    if ((c.mask & ~ones) != 0 || (range && c.mask != ones))
        return IFC_RULESET_BAD_MASK;
    if ((c.key & ~c.mask) != 0 || (range && (c.key_last < c.key || c.key_last > ones)))
        return IFC_RULESET_BAD_KEY;
    return IFC_RULESET_NO_REASON;
}

// Writes the entries of one condition; returns their number.
unsigned writeEntries(const RuleCondition &given, IFC_LUT1_Format *entry)
{
    RuleCondition c;
    const uint32_t key = ifc::lowWord(given.key);
    if (!sayInOne(given, c)) {
        const uint32_t ones = ifc::lowWord(given.mask);
        ifc::setHalfEntry(entry[0], c.field, IFC_COMPARE_AT_LEAST, 0, IFC_LUT1_SEL_FIELD, ones, key);
        ifc::setHalfEntry(entry[1], c.field, IFC_COMPARE_AT_MOST, 0, IFC_LUT1_SEL_FIELD, ones,
                          given.key_last);
        return 2;
    }
    if (ifc::isHalf(c.field)) {
        ifc::setHalfEntry(entry[0], c.field, c.compare, 0, IFC_LUT1_SEL_FIELD, ifc::lowWord(c.mask),
                          ifc::lowWord(c.key));
        return 1;
    }
    const bool mac = ifc::isMac(c.field);
    const Run run = mac ? macLowRun(c.mask) : runOf(ifc::lowWord(c.mask), ifc::fieldWidth(c.field));
    unsigned written = 0;
    if (run.length != 0)
        ifc::setWordEntry(entry[written++], c.field, c.compare, 0, run.direction, run.length, key);
    if (mac && (ifc::highWord(c.mask) != 0 || written == 0))
        ifc::setHalfEntry(entry[written++], c.field, c.compare, 0, IFC_LUT1_SEL_MAC_HIGH,
                          ifc::highWord(c.mask), ifc::highWord(c.key));
    return written;
}

// What stands in a table as a condition within the field's width, where the field is 0 above.
RuleCondition readCondition(const ifc::Condition &c)
{
    const unsigned command = static_cast<unsigned>(ifc::effectiveCommand(c.field, c.command));
    const uint64_t ones = ifc::fieldOnes(c.field);
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
    const uint64_t ones = ifc::fieldOnes(first.field);
    if (first.compare == IFC_COMPARE_AT_LEAST && second.compare == IFC_COMPARE_AT_MOST &&
        first.mask == ones && second.mask == ones && first.key <= second.key) {
        first.compare = IFC_COMPARE_RANGE;
        first.key_last = static_cast<uint16_t>(second.key);
        return true;
    }
    return false;
}

int refuse(Report *report, ifc_ruleset_reason reason, uint32_t condition, uint32_t other)
{
    if (report != nullptr) {
        report->result = IFC_RULESET_BAD_RULE;
        report->reason = reason;
        report->condition = condition;
        report->other = other;
    }
    return IFC_RULESET_BAD_RULE;
}

} // namespace

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
    if (report != nullptr)
        *report = {};
    if (rule->count > IFC_RULE_CONDITIONS)
        return refuse(report, IFC_RULESET_BAD_COUNT, rule->count, 0);
    ifc_ruleset_reason reason = IFC_RULESET_NO_REASON;
    unsigned wide = rule->count;   // the first condition that LUT0 does not hold
    unsigned narrow = rule->count; // LUT1 alike
    unsigned entries = 0;
    for (unsigned n = 0; n < rule->count; ++n) {
        const RuleCondition &c = rule->condition[n];
        const ifc_ruleset_reason fault = faultOf(c);
        if (fault != IFC_RULESET_NO_REASON)
            return refuse(report, fault, n, 0);
        const unsigned needed = narrowEntries(c);
        entries += needed;
        if (needed == 0 && narrow == rule->count)
            narrow = n;
        if (reason == IFC_RULESET_NO_REASON) {
            reason = whyNotWide(*rule, n);
            wide = n;
        }
    }
    if (reason == IFC_RULESET_NO_REASON || (narrow == rule->count && entries <= kMaxChain))
        return IFC_RULESET_OK;
    return refuse(report, reason, wide, narrow);
}

void ifc_rule_shape_of(const struct ifc_rule *rule, struct ifc_rule_shape *shape)
{
    unsigned entries = 0;
    unsigned counted = 0;
    bool narrow = rule->count != 0;
    bool asGiven = true;
    shape->wide = 1;
    for (unsigned n = 0; n < rule->count; ++n) {
        const RuleCondition &c = rule->condition[n];
        const unsigned needed = narrowEntries(c);
        entries += needed;
        counted += ifc::isMac(c.field) || needed == 2 ? 2 : 1;
        narrow = narrow && needed != 0;
        asGiven = asGiven && placedAsGiven(c);
        if (whyNotWide(*rule, n) != IFC_RULESET_NO_REASON)
            shape->wide = 0;
    }
    if (!asGiven && counted < ifc::kWideFromCount)
        counted = ifc::kWideFromCount;
    shape->narrow_entries = static_cast<uint8_t>(narrow && entries <= kMaxChain ? entries : 0);
    shape->counted = static_cast<uint8_t>(counted);
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
    unsigned written = 0;
    for (unsigned n = 0; n < rule->count; ++n) {
        for (unsigned k = 0; k < narrowEntries(rule->condition[n]); ++k)
            image[written + k] = {};
        written += writeEntries(rule->condition[n], image + written);
    }
    image[written - 1].word[0] |= ifc::kNarrowEnd;
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
