// SPDX-License-Identifier: MIT OR GPL-2.0
// Plans the change from the rules in a device's tables to those of a file: which rules stay, move, are added
// or deleted.
#pragma once

#include "rule_set.h"

#include "tools/ifcctl/core/set_file.h"

#include <optional>
#include <vector>

namespace ifcctl
{

// One step for each rule of the file, in its order; then one for each deleted rule.
struct SetStep {
    enum class Kind { Keep, Move, Add, Delete };
    Kind kind;
    bool newAction;          // of a rule that stays or moves: its action changes
    std::optional<int> from; // its number before
    std::optional<int> to;   // its number after
    unsigned line;           // of the file; 0: none
    ifc_rule rule;           // as the tables will hold it: the conditions of a rule that was there stay
};

// Two rules in the tables whose order differs from the file, although a frame may match both.
struct OrderFault {
    unsigned first; // indices of the file's rules
    unsigned second;
};

class SetPlan
{
public:
    // Pairs rules with the same conditions, in their order. A paired rule keeps its counters and, if order
    // and space allow, its place; a changed action is written there. Throws Error with file and line if no
    // layout holds the rules of the file; nothing was written then.
    SetPlan(Session &session, const SetFile &file);

    const std::vector<SetStep> &steps() const { return steps_; }
    const std::vector<OrderFault> &orderFaults() const { return orderFaults_; }
    const ifc_ruleset_report &report() const { return report_; }
    const RuleSet &rules() const { return set_; } // in the order of the file
    unsigned changedActions() const;
    bool changesRules() const;

    // All or nothing. With IFC_RULESET_PLAN_ONLY the device only plans. Throws Error.
    void apply(unsigned flags);

private:
    void findSame(const SetFile &file);
    void makeSteps(const SetFile &file); // from same_
    void edit(const SetFile &file);
    [[noreturn]] void throwNoPlace(const SetFile &file) const;

    RuleSet set_;
    std::vector<std::optional<unsigned>> same_; // of each rule of the file: its position in the tables
    std::vector<SetStep> steps_;
    std::vector<OrderFault> orderFaults_;
    ifc_ruleset_report report_{};
};

} // namespace ifcctl
