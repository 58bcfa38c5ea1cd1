// SPDX-License-Identifier: MIT OR GPL-2.0
#include "rule_set.h"

#include "hardware.h"

#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/rule_words.h"
#include "tools/ifcctl/core/rules.h"

#include "ifc/records/fields.h"

#include <algorithm>
#include <iterator>

namespace ifcctl
{

namespace
{

bool standsAt(const ifc_ruleset_place &place)
{
    return place.table != IFC_RULESET_NOWHERE;
}

std::string counted(unsigned count, const std::string &thing)
{
    return std::to_string(count) + ' ' + thing + (count == 1 ? "" : "s");
}

constexpr unsigned kLongestChain = 16;

// A rule of this many LUT1 entries that LUT0 does not hold and that overlaps every other rule.
ifc_rule narrowProbe(unsigned entries)
{
    ifc_rule rule{};
    rule.count = entries;
    for (unsigned n = 0; n < entries; ++n)
        rule.condition[n] = {static_cast<uint8_t>(UDF0 + n), IFC_COMPARE_EQUAL, 0, 0, 1, 1};
    return rule;
}

// A rule that only LUT0 holds: it matches every frame.
ifc_rule wideProbe()
{
    return {};
}

// Why ifc_rule_check() refuses a rule.
Error badRule(const ifc_rule &rule, const ifc_ruleset_report &report)
{
    const auto name = [&](unsigned condition) {
        return condition < rule.count ? conditionText(rule.condition[condition])
                                      : "condition " + std::to_string(condition);
    };
    const std::string first = name(report.condition);
    const std::string narrow = report.other >= rule.count ? "it needs more than 16 entries there"
                                                          : "'" + name(report.other) + "' does not fit";
    const auto heldByNone = [&](const std::string &wide) {
        return refused(Reason::NoTableHolds, "rule", first,
                       "no table holds this rule: LUT0 " + wide + ", and in LUT1 " + narrow);
    };
    switch (report.reason) {
    case IFC_RULESET_BAD_COUNT:
        return usage("rule", counted(rule.count, "condition"),
                     "at most " + std::to_string(IFC_RULE_CONDITIONS) + " conditions");
    case IFC_RULESET_FIELD_TWICE:
        return heldByNone("compares a field only once");
    case IFC_RULESET_RANGE_NOT_NARROW:
        return heldByNone("holds no such range");
    case IFC_RULESET_UDF_NOT_NARROW:
        return heldByNone("holds no user-defined field");
    default:
        return usage("rule", first, "a comparison, mask and key within the field's width");
    }
}

} // namespace

std::string entriesText(unsigned count)
{
    return std::to_string(count) + (count == 1 ? " LUT1 entry" : " LUT1 entries");
}

bool sameAction(const ifc_rule &one, const ifc_rule &other)
{
    return std::equal(std::begin(one.action.word), std::end(one.action.word), std::begin(other.action.word));
}

RuleSet::RuleSet(Session &session) : session_(session), set_(std::make_unique<ifc_ruleset>())
{
    session_.device().readRules(*set_);
}

unsigned RuleSet::number(unsigned position) const
{
    return static_cast<unsigned>(ifc_ruleset_number(place(position)));
}

std::optional<unsigned> RuleSet::find(unsigned number) const
{
    for (unsigned n = 0; n < count(); ++n)
        if (standsAt(place(n)) && this->number(n) == number)
            return n;
    return std::nullopt;
}

void RuleSet::insert(unsigned position, const ifc_rule &rule)
{
    ifc_ruleset_report report{};
    switch (ifc_ruleset_insert(set_.get(), position, &rule, &report)) {
    case IFC_RULESET_OK:
        edits_.push_back({RuleEdit::Kind::Insert, position, 0, rule});
        return;
    case IFC_RULESET_FULL:
        throw refused(Reason::NoSpace, "rule", matchText(rule),
                      "no space: there are " + std::to_string(IFC_RULESET_RULES) +
                          " rules, one for each action");
    case IFC_RULESET_BAD_POSITION:
        throw usage("rule", std::to_string(position), "a position up to " + std::to_string(count()));
    default:
        throw badRule(rule, report);
    }
}

void RuleSet::remove(unsigned position)
{
    if (ifc_ruleset_remove(set_.get(), position) == IFC_RULESET_OK)
        edits_.push_back({RuleEdit::Kind::Remove, position, 0, {}});
}

void RuleSet::clear()
{
    ifc_ruleset_clear(set_.get());
    edits_.push_back({RuleEdit::Kind::Clear, 0, 0, {}});
}

void RuleSet::claim()
{
    uint32_t owned = 0;
    for (unsigned n = 0; n < count(); ++n)
        if (place(n).table == IFC_RULESET_LUT1)
            owned |= ((1u << place(n).entries) - 1) << place(n).first;
    for (unsigned entry = 0; entry < IFC_LUT1_RULES; ++entry) {
        if (IFC_LUT1_Rule[entry].type0.valid && (owned >> entry & 1) == 0) {
            ifc_ruleset_claim(set_.get());
            edits_.push_back({RuleEdit::Kind::Claim, 0, 0, {}});
            return;
        }
    }
}

void RuleSet::replace(unsigned position, const ifc_rule &rule, unsigned what)
{
    ifc_ruleset_report report{};
    if (ifc_ruleset_replace(set_.get(), position, &rule, what, &report) != IFC_RULESET_OK)
        throw badRule(rule, report);
    edits_.push_back({RuleEdit::Kind::Replace, position, what, rule});
}

void RuleSet::move(unsigned from, unsigned to)
{
    if (ifc_ruleset_move(set_.get(), from, to) == IFC_RULESET_OK)
        edits_.push_back({RuleEdit::Kind::Move, from, to, {}});
}

ifc_ruleset_report RuleSet::plan()
{
    ifc_ruleset_report report{};
    if (ifc_ruleset_plan(set_.get(), &report) != IFC_RULESET_OK)
        throwNoPlace(report);
    return report;
}

ifc_ruleset_report RuleSet::tryPlan()
{
    ifc_ruleset_report report{};
    (void)ifc_ruleset_plan(set_.get(), &report);
    return report;
}

unsigned RuleSet::countFits(const ifc_rule &rule) const
{
    const auto trial = std::make_unique<ifc_ruleset>(*set_);
    unsigned fits = 0;
    while (ifc_ruleset_insert(trial.get(), IFC_RULESET_LAST, &rule, nullptr) == IFC_RULESET_OK &&
           ifc_ruleset_plan(trial.get(), nullptr) == IFC_RULESET_OK)
        ++fits;
    return fits;
}

// Where they differ, an update would leave wrong entries.
void RuleSet::refuseIfTablesDiffer() const
{
    if (tablesDiffer(session_.device()))
        throw refused(Reason::TablesDiffer, "device", session_.options().device,
                      "hardware and shadow differ, see 'table verify'; 'op write_all_ifc_rule_to_hw' brings "
                      "the shadow to the hardware (after a failed update check actions and counters too)");
}

ifc_ruleset_report RuleSet::apply(unsigned flags)
{
    refuseIfTablesDiffer();
    // Places are found first. If this is refused, the device has not been accessed.
    (void)plan();
    ifc_ruleset_report report{};
    switch (session_.device().applyRules(*set_, edits_, flags, report)) {
    case IFC_RULESET_OK:
        edits_.clear();
        return report;
    case IFC_RULESET_NO_PLACE:
        throwNoPlace(report);
    case IFC_RULESET_STALE:
        throw Error(Reason::DeviceFailed,
                    "device: the tables were changed by somebody else; nothing was written");
    default:
        throw timedOut(
            report.undo == IFC_RULESET_UNDO_FAILED
                ? " (the chip did not answer while the update was taken back: tables, actions and counters "
                  "may not be as they were; the next command that reads the rules takes them back first)"
                : " (the rules, their actions and counters are as they were)");
    }
}

std::string RuleSet::wordsOf(unsigned position) const
{
    constexpr size_t kMost = 60;
    const std::string text = matchText(rule(position));
    return text.size() <= kMost ? text : text.substr(0, text.rfind(' ', kMost)) + " ...";
}

std::string RuleSet::nameOf(unsigned position) const
{
    const bool stands = standsAt(place(position));
    return (stands ? "rule " + std::to_string(number(position)) : "the new rule") + " (" + wordsOf(position) +
           ')';
}

// What would fit instead of the rule that was inserted last: "" if the last edit was another one.
std::string RuleSet::whatWouldFit() const
{
    if (edits_.empty() || edits_.back().kind != RuleEdit::Kind::Insert)
        return "";
    const RuleEdit &edit = edits_.back();
    ifc_rule_shape shape{};
    ifc_rule_shape_of(&edit.rule, &shape);
    const auto trial = std::make_unique<ifc_ruleset>();
    const auto fitsInstead = [&](const ifc_rule &rule) {
        *trial = *set_;
        return ifc_ruleset_remove(trial.get(), edit.position) == IFC_RULESET_OK &&
               ifc_ruleset_insert(trial.get(), edit.position, &rule, nullptr) == IFC_RULESET_OK &&
               ifc_ruleset_plan(trial.get(), nullptr) == IFC_RULESET_OK;
    };
    unsigned most = kLongestChain;
    while (most != 0 && !fitsInstead(narrowProbe(most)))
        --most;
    std::string text = "; it takes ";
    if (shape.narrow_entries == 0)
        text += "a LUT0 rule";
    else
        text += entriesText(shape.narrow_entries) + (shape.wide != 0 ? " or a LUT0 rule" : "");
    text += "; there would fit " + (most == 0 ? "no LUT1 entry" : "at most " + entriesText(most));
    return text + (fitsInstead(wideProbe()) ? " or a LUT0 rule" : " and no LUT0 rule");
}

void RuleSet::throwNoPlace(const ifc_ruleset_report &report) const
{
    const unsigned last = edits_.empty() ? 0 : edits_.back().position;
    const std::string asked = last < count() ? wordsOf(last) : "";
    switch (report.reason) {
    case IFC_RULESET_NEEDS_LUT0:
        throw refused(Reason::NeedsLut0, "rule", asked,
                      "only LUT0 holds " + nameOf(report.position) + ", and revision " +
                          std::to_string(session_.device().revision()) + " of the chip does not offer it");
    case IFC_RULESET_PAIR:
        throw refused(Reason::OrderConflict, "rule", asked,
                      nameOf(report.position) + " decides before " + nameOf(report.later) +
                          " and cannot stand before it: only LUT1 holds the first, only LUT0 the second, and "
                          "LUT0 decides before LUT1");
    case IFC_RULESET_ORDER:
        throw refused(Reason::OrderConflict, "rule", asked,
                      "all rules fit, but no places keep the order of " + namesOf(report.conflict) +
                          whatWouldFit());
    default:
        throw refused(Reason::NoSpace, "rule", asked,
                      "no space: " + counted(report.wide_needed, "rule") + " in LUT0 only (it has " +
                          std::to_string(report.wide_free) + "), " + entriesText(report.narrow_needed) +
                          " in LUT1 only (it has " + std::to_string(report.narrow_free) + "), and " +
                          counted(report.either_rules, "rule") + " of " + entriesText(report.either_entries) +
                          " in either" + whatWouldFit());
    }
}

// The rules by number, the new one in words; the first few of them.
std::string RuleSet::namesOf(uint64_t positions) const
{
    constexpr unsigned kMost = 6;
    std::string text;
    unsigned named = 0;
    for (unsigned n = 0; n < count(); ++n) {
        if ((positions >> n & 1) == 0)
            continue;
        if (++named <= kMost)
            text += (text.empty() ? "" : ", ") +
                    (standsAt(place(n)) ? "rule " + std::to_string(number(n)) : nameOf(n));
    }
    return named > kMost ? text + " and " + std::to_string(named - kMost) + " more" : text;
}

std::string describePlace(const ifc_ruleset_place &place)
{
    return describePlace(place.table == IFC_RULESET_LUT0, place.first, place.first + place.entries - 1u);
}

} // namespace ifcctl
