// SPDX-License-Identifier: MIT OR GPL-2.0
// The rules in a device's tables as an ordered list: read, edited, planned, applied. The tables are the only
// state: each command reads a set, edits it and applies it.
#pragma once

#include "rule_edit.h"
#include "session.h"

#include <memory>
#include <optional>
#include <string>

namespace ifcctl
{

// "1 LUT1 entry", "5 LUT1 entries".
std::string entriesText(unsigned count);

class RuleSet
{
public:
    // Reads the tables of the session's device. Throws Error when a transfer does not complete.
    explicit RuleSet(Session &session);

    unsigned count() const { return ifc_ruleset_count(set_.get()); }
    const ifc_rule &rule(unsigned position) const { return *ifc_ruleset_rule(set_.get(), position); }
    // Its place in the tables; nowhere before its first apply.
    ifc_ruleset_place place(unsigned position) const { return ifc_ruleset_place_of(set_.get(), position); }
    // The number of a rule that is in the tables.
    unsigned number(unsigned position) const;
    // The position of the rule with this number.
    std::optional<unsigned> find(unsigned number) const;

    // In messages: "rule 9 (dst_port 53)"; a rule that is not in the tables yet: "the new rule (dst_port
    // 53)".
    std::string nameOf(unsigned position) const;
    // The conditions in words, shortened for a message.
    std::string wordsOf(unsigned position) const;

    // Edits change the list in memory; apply() writes them. They throw Error, and then nothing has changed.
    void insert(unsigned position, const ifc_rule &rule);
    void append(const ifc_rule &rule) { insert(count(), rule); }
    void remove(unsigned position);
    void clear();
    // For callers that replace the whole list: LUT1 entries that belong to no rule (a killed update leaves
    // some) may be cleared or used.
    void claim();
    // what: IFC_RULESET_CONDITIONS, IFC_RULESET_ACTION, or both.
    void replace(unsigned position, const ifc_rule &rule, unsigned what);
    void move(unsigned from, unsigned to);
    const RuleEdits &edits() const { return edits_; }
    // For trials on a copy.
    const ifc_ruleset &raw() const { return *set_; }

    // Finds the places and writes nothing. Throws Error (Reason::NoSpace, NeedsLut0, OrderConflict) if no
    // layout holds all rules.
    ifc_ruleset_report plan();
    // The same; the report has the reason of a refusal.
    ifc_ruleset_report tryPlan();
    // How many such rules could be appended, one after the other. The list stays as it is.
    unsigned countFits(const ifc_rule &rule) const;
    // Updates the tables, all or nothing. Throws Error as plan() does, if hardware and shadow differ
    // (Reason::TablesDiffer), or if a transfer does not complete.
    ifc_ruleset_report apply(unsigned flags = 0);

    // Throws Error (Reason::TablesDiffer): an update knows the hardware by the shadow.
    void refuseIfTablesDiffer() const;

private:
    std::string whatWouldFit() const;
    std::string namesOf(uint64_t positions) const;
    [[noreturn]] void throwNoPlace(const ifc_ruleset_report &report) const;

    Session &session_;
    std::unique_ptr<ifc_ruleset> set_;
    RuleEdits edits_;
};

bool sameAction(const ifc_rule &one, const ifc_rule &other);

// "LUT0 rule 3", "LUT1 entries 0-2"
std::string describePlace(const ifc_ruleset_place &place);

} // namespace ifcctl
