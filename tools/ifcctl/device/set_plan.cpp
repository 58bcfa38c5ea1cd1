// SPDX-License-Identifier: MIT OR GPL-2.0
#include "set_plan.h"

#include "tools/ifcctl/core/errors.h"

#include "ruleset/edits.h"

#include <algorithm>
#include <cstring>

namespace ifcctl
{

namespace
{

// Rules that can never hit repeat each other whatever they say: those are the same only word for word.
bool sameRule(const ifc_rule &one, const ifc_rule &other)
{
    if (ifc_rule_contradicts_itself(&one) == 0)
        return ifc_rule_repeats(&one, &other) != 0;
    return one.count == other.count &&
           std::memcmp(one.condition, other.condition, one.count * sizeof one.condition[0]) == 0;
}

// The rule needs fewer LUT1 entries than the chain at this place, which matches the same frames.
bool isShorter(const ifc_rule &rule, const ifc_ruleset_place &place)
{
    ifc_rule_shape shape{};
    ifc_rule_shape_of(&rule, &shape);
    return place.table == IFC_RULESET_LUT1 && shape.narrow_entries != 0 &&
           shape.narrow_entries < place.entries;
}

} // namespace

SetPlan::SetPlan(Session &session, const SetFile &file) : set_(session)
{
    findSame(file);
    makeSteps(file);
    edit(file);
    report_ = set_.tryPlan();
    if (report_.result != IFC_RULESET_OK)
        throwNoPlace(file);
    for (unsigned n = 0; n < file.rules.size(); ++n) {
        SetStep &step = steps_[n];
        step.to = ifc_ruleset_number(report_.place[n]);
        if (step.kind != SetStep::Kind::Add)
            step.kind = step.from == step.to ? SetStep::Kind::Keep : SetStep::Kind::Move;
    }
}

void SetPlan::findSame(const SetFile &file)
{
    std::vector<bool> taken(set_.count());
    for (const ifc_rule &wanted : file.rules) {
        std::optional<unsigned> found;
        for (unsigned n = 0; n < set_.count() && !found; ++n)
            if (!taken[n] && sameRule(set_.rule(n), wanted))
                found = n;
        if (found)
            taken[*found] = true;
        same_.push_back(found);
    }
}

void SetPlan::makeSteps(const SetFile &file)
{
    steps_.clear();
    orderFaults_.clear();
    std::vector<bool> taken(set_.count());
    for (const std::optional<unsigned> &position : same_)
        if (position)
            taken[*position] = true;
    for (unsigned n = 0; n < file.rules.size(); ++n) {
        SetStep step{
            same_[n] ? SetStep::Kind::Keep : SetStep::Kind::Add, false, {}, {}, file.lines[n], file.rules[n]};
        if (same_[n]) {
            step.from = set_.number(*same_[n]);
            step.newAction = !sameAction(set_.rule(*same_[n]), file.rules[n]);
            step.rule = set_.rule(*same_[n]);
            step.rule.action = file.rules[n].action;
        }
        steps_.push_back(step);
        for (unsigned before = 0; before < n && same_[n]; ++before)
            if (same_[before] && *same_[before] > *same_[n] &&
                ifc_rule_overlap(&file.rules[before], &file.rules[n]) != 0)
                orderFaults_.push_back({before, n});
    }
    for (unsigned n = 0; n < set_.count(); ++n)
        if (!taken[n])
            steps_.push_back({SetStep::Kind::Delete, false, set_.number(n), {}, 0, set_.rule(n)});
}

// Puts the list into the file's order.
void SetPlan::edit(const SetFile &file)
{
    set_.claim();
    std::vector<unsigned> list; // former position of each rule
    for (unsigned n = 0; n < set_.count(); ++n)
        list.push_back(n);
    for (unsigned n = set_.count(); n-- > 0;)
        if (std::find(same_.begin(), same_.end(), n) == same_.end()) {
            set_.remove(n);
            list.erase(list.begin() + n);
        }
    for (unsigned n = 0; n < file.rules.size(); ++n) {
        try {
            if (!same_[n]) {
                set_.insert(n, file.rules[n]);
                list.insert(list.begin() + n, IFC_RULESET_RULES); // none of the former ones
                continue;
            }
            const auto at =
                static_cast<unsigned>(std::find(list.begin(), list.end(), *same_[n]) - list.begin());
            if (at != n) {
                set_.move(at, n);
                std::rotate(list.begin() + n, list.begin() + at, list.begin() + at + 1);
            }
            unsigned what = steps_[n].newAction ? IFC_RULESET_ACTION : 0;
            if (isShorter(file.rules[n], set_.place(n)))
                what |= IFC_RULESET_CONDITIONS;
            if (what != 0)
                set_.replace(n, file.rules[n], what);
        } catch (const Error &error) {
            throw Error(error.reason(), file.placeOf(n) + ": " + error.text());
        }
    }
}

unsigned SetPlan::changedActions() const
{
    return static_cast<unsigned>(
        std::count_if(steps_.begin(), steps_.end(), [](const SetStep &step) { return step.newAction; }));
}

bool SetPlan::changesRules() const
{
    return !set_.edits().empty();
}

void SetPlan::apply(unsigned flags)
{
    set_.refuseIfTablesDiffer();
    if (!changesRules())
        return;
    const ifc_ruleset_report applied = set_.apply(flags);
    report_.accesses = applied.accesses;
}

void SetPlan::throwNoPlace(const SetFile &file) const
{
    std::string lines;
    for (unsigned n = 0; n < file.rules.size(); ++n)
        if ((report_.conflict >> n & 1) != 0)
            lines += (lines.empty() ? "" : ", ") + std::to_string(file.lines[n]);
    switch (report_.reason) {
    case IFC_RULESET_NEEDS_LUT0:
        throw Error(Reason::NeedsLut0, file.placeOf(report_.position) +
                                           ": refused: only LUT0 holds this rule, which this revision of the "
                                           "chip does not use; nothing was changed");
    case IFC_RULESET_PAIR:
        throw Error(Reason::OrderConflict,
                    file.placeOf(report_.position) +
                        ": refused: only LUT1 holds this rule, and only LUT0 that of line " +
                        std::to_string(file.lines[report_.later]) +
                        ", which would decide first; nothing was changed");
    case IFC_RULESET_ORDER:
        throw Error(Reason::OrderConflict, file.name + ": refused: the rules of the lines " + lines +
                                               " fit, but no places keep their order; nothing was changed");
    default:
        throw Error(Reason::NoSpace,
                    file.name + ": refused: no space for the rules of the lines " + lines + ": " +
                        std::to_string(report_.wide_needed) + " rules need LUT0 (it holds " +
                        std::to_string(report_.wide_free) + "), rules of " +
                        std::to_string(report_.narrow_needed) + " entries need LUT1 (it holds " +
                        std::to_string(report_.narrow_free) + "), and " +
                        std::to_string(report_.either_rules) + " rules of " +
                        std::to_string(report_.either_entries) + " entries fit either; nothing was changed");
    }
}

} // namespace ifcctl
