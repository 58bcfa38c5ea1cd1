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
// actions, counters and bindings. The result says whether that succeeded. Counts of new rules are lost then.
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

constexpr uint8_t kBindingKept = 0xFF;

// One rule of the wanted tables.
struct WantedRule {
    Place place;    // in the wanted tables
    Place oldPlace; // in the shadow tables; nowhere: a new rule

    // The whole action entry. nullptr: the action of the old place moves along; a new rule gets an empty one.
    const IFC_Action_Format *action = nullptr;

    // False: the counter entry of the old place moves along. True, or a new rule: the counter starts at zero.
    bool counterFromZero = false;

    // Counter id 0..15 for the rule's slot of the binding registers. kBindingKept: the slot of the old place
    // moves along; a new rule gets 0.
    uint8_t binding = kBindingKept;
};

struct UpdateRequest {
    const Tables *tables = nullptr; // wanted; must stay valid until the update returns
    // Each rule of the wanted tables once, in any order. A rule may be left out if the shadow holds it at the
    // same place with the same rows: it stays, with action, counter and binding.
    const WantedRule *rules = nullptr;
    unsigned count = 0;   // 0..kMaxRules
    bool quiesce = false; // the classifier is off during the update, then as before
    bool dryRun = false;  // only counts: accesses no register, does not change the shadow
};

enum class Outcome : uint8_t {
    Done,       // hardware and shadow hold what is wanted
    Undone,     // a transfer timed out; everything is as before
    Incomplete, // a transfer timed out, and so did the undo; Update::differ: rows that may differ
    Refused,    // nothing was touched; Update::refusal and Update::culprit say why
};

// The culprit is an index into the listed rules; for UnlistedRule it is the rule's number.
enum class Refusal : uint8_t {
    None,
    TooManyRules,  // more than kMaxRules; no culprit
    NotInTables,   // the wanted tables hold no rule at exactly this place
    PlaceTwice,    // an earlier rule has this place
    NotInShadow,   // the shadow holds no rule at exactly this old place
    OldPlaceTwice, // an earlier rule has this old place
    BadBinding,    // neither 0..15 nor kBindingKept
    UnlistedRule,  // a rule of the wanted tables is not listed, and it is new or changed
    WideReadOnly,  // LUT0 would change, but this chip revision takes no LUT0 writes; no culprit
};

// Rows by table. A set bit: the hardware may differ from the shadow, or from what it held before.
struct RowSet {
    uint16_t wide[IFC_LUT0_RULES]; // bit: row 0..10
    uint32_t narrow;               // bit: entry
    uint64_t actions;              // bit: number
    uint64_t counters;             // bit: number
};

// Working state and results of one update, about 5 KiB: not for a kernel's stack. It needs no initialisation.
struct Update {
    // Results.
    Refusal refusal;
    uint8_t culprit;
    RowSet differ; // with Outcome::Incomplete, else empty
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
    uint8_t flags[kMaxRules];                    // by number
    uint8_t ruleAt[kMaxRules];                   // index of the listed rule that gets this number
    uint32_t saved[2][kMaxRules][IFC_ROW_WORDS]; // old actions and counters; IFC_DATA0 first
    uint32_t bindings[IFC_ACNT_CFG_COUNT];       // before
    uint8_t bindingsWritten;                     // bit: register
};

Outcome apply(Update &update, const UpdateRequest &request);

// After Outcome::Incomplete, with the same state and an unchanged shadow: tries the undo once more.
// Returns Undone or Incomplete.
Outcome finishUndo(Update &update);

} // namespace ruleset
