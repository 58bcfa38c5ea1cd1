// SPDX-License-Identifier: MIT OR GPL-2.0
// Updates the hardware's tables from one set of rules to another while frames flow.
//
// After every single register access the chip holds only complete rules, old or new, each with its action. A
// rule that stays is not written. Only rows that differ are written, each at most twice.
//
// The row that makes a rule valid is its head (LUT0) or its end (LUT1). A rule that is deleted or changed
// loses this row first; a new rule gets it last. So this row is written even if its content does not change.
// In between, a rule that moves or changes hits no frame.
//
// All or nothing: after a time-out of any transfer the update is undone in an order that is as safe: tables,
// actions, counters and bindings. The result says whether that succeeded. Counts of a rule that moved go back
// with it; counts of new rules are lost.
//
// Shadow     The shadow tables must equal the hardware's. (Operations of the layer that edit only the shadow
//            break this; write_all_ifc_rule_to_hw() restores it.) The shadow changes only at the end of a
//            successful update.
// Locking    gpIfcPriv->lock is held for groups of rows, at most 64 register accesses at a time, counting
//            three polls for each transfer. Callers serialise updates with all other rule and register
//            operations.
// Messages   only those of ifcSetRuleConfig().
//
// Freestanding: no heap. The caller provides the working state.
#pragma once

#include "ruleset/image.h"
#include "ruleset/row_port.h"

namespace ruleset
{

// One rule of the wanted tables. Its counter and the counter id of its slot in the binding registers move
// along from the old place; a new rule counts from zero and has the id 0.
struct WantedRule {
    Place place;    // in the wanted tables
    Place oldPlace; // in the shadow tables; nowhere: a new rule

    // The whole action entry. nullptr: the action of the old place moves along; a new rule gets an empty one.
    const IFC_Action_Format *action = nullptr;
};

struct UpdateRequest {
    // Wanted; must stay valid until the update returns. LUT0 is as in the shadow if the chip does not use it.
    const Tables *tables = nullptr;
    // Each rule of the wanted tables once, in any order, at places that these and the shadow hold. A rule may
    // be left out if the shadow holds it at the same place with the same rows: it stays, with action, counter
    // and binding. The caller sees to all that; it is not checked.
    const WantedRule *rules = nullptr;
    unsigned count = 0;   // 0..kMaxRules
    bool quiesce = false; // the classifier is off during the update, then as before
    bool dryRun = false;  // only counts: accesses no register, does not change the shadow
};

enum class Outcome : uint8_t {
    Done,       // hardware and shadow hold what is wanted
    Undone,     // a transfer timed out; everything is as before
    Incomplete, // a transfer timed out, and so did the undo
};

// Working state and results of one update, about 5 KiB: not for a kernel's stack. It needs no initialisation.
struct Update {
    // port.accesses: register accesses, with one poll a transfer. A dry run does not read actions, counters
    // and bindings. It counts each that may have to be written, so its result is an upper bound.
    RowPort port;

    // Private.
    Tables before;                       // the shadow
    Tables held;                         // what the hardware holds, except in unsure rows
    uint16_t unsureWide[IFC_LUT0_RULES]; // rows that may differ from `held`
    uint32_t unsureNarrow;
    uint32_t frozenNarrow; // not written by the undo: a rule there could not be made invalid
    uint8_t frozenWide;
    bool undoing;
    bool counting;             // all entries have been moved: rules may live at their new places
    uint8_t flags[kMaxRules];  // by number; after an undo: entries that may differ
    int8_t source[kMaxRules];  // by number: where its entries come from
    uint8_t ruleAt[kMaxRules]; // index of the listed rule that gets this number
    uint32_t saved[2][kMaxRules][IFC_ROW_WORDS]; // old actions and counters; IFC_DATA0 first
    uint32_t bindings[IFC_ACNT_CFG_COUNT];       // before
    uint8_t bindingsWritten;                     // bit: register
};

Outcome apply(Update &update, const UpdateRequest &request);

// After Outcome::Incomplete, with the same state: tries the undo once more. The goal is the current shadow:
// if it has changed in between, every row is written, and rules that changed keep their actions and counters.
// Returns Undone or Incomplete.
Outcome finishUndo(Update &update);

} // namespace ruleset
