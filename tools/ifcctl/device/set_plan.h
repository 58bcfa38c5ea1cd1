// SPDX-License-Identifier: MIT OR GPL-2.0
// From the rules that stand in a device's tables to those of a file: what stays, moves, comes and goes.
#pragma once

#include "rule_set.h"

#include "tools/ifcctl/core/set_file.h"

#include <optional>
#include <vector>

namespace ifcctl
{

// One rule of the file, in its order; then each rule that goes.
struct SetStep {
    enum class Kind { Keep, Move, Add, Delete };
    Kind kind;
    bool newAction;          // of a rule that is kept or moves: its action changes
    std::optional<int> from; // its number now
    std::optional<int> to;   // its number then
    unsigned line;           // of the file; 0: none
    ifc_rule rule;           // of the file; one that goes: as it stands
};

// Two rules that stand, whose order in the tables is not that of the file although some frame fits both.
struct OrderFault {
    unsigned first; // indices of the file's rules
    unsigned second;
};

class SetPlan
{
public:
    // Rules with the same conditions are the same rule, in their order. A rule that the file repeats keeps
    // its place, if order and space allow, and its counters; a changed action is put in its place. Throws
    // Error with file and line when the rules of the file cannot stand together; nothing was touched then.
    SetPlan(Session &session, const SetFile &file);

    const std::vector<SetStep> &steps() const { return steps_; }
    const std::vector<OrderFault> &orderFaults() const { return orderFaults_; }
    const ifc_ruleset_report &report() const { return report_; }
    unsigned changedActions() const;
    bool changesRules() const;

    // All or nothing. With IFC_RULESET_PLAN_ONLY the device is asked, but nothing is touched. Throws Error.
    void apply(unsigned flags);

private:
    void findSame(const SetFile &file);
    void edit(const SetFile &file);
    [[noreturn]] void throwNoPlace(const SetFile &file) const;

    RuleSet set_;
    std::vector<std::optional<unsigned>> same_; // of each rule of the file: its position now
    std::vector<SetStep> steps_;
    std::vector<OrderFault> orderFaults_;
    ifc_ruleset_report report_{};
};

} // namespace ifcctl
