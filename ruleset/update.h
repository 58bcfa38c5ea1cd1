// SPDX-License-Identifier: MIT OR GPL-2.0
// Brings the hardware's tables from one set of rules to another while frames flow.
//
// After every single register access the chip sees complete old rules and complete new rules, each with its
// action, and never a part of one. A rule that stays is not touched. Only rows that differ are written, each
// at most twice. A rule that goes or changes loses its head (LUT0) or its end (LUT1) first, one that comes
// gets it last, so that row may be written although its content is the same before and after.
//
// A rule that moves or changes hits nothing from the first of these moments to the last.
//
// All or nothing: after a time-out of any transfer the tables, actions, counters and bindings go back in an
// order that is as safe, and the result says how far that went. What a new rule counted until then is lost.
//
// Shadow     The shadow tables must be what the hardware holds. (Operations of the layer that edit only the
//            shadow leave it otherwise; write_all_ifc_rule_to_hw() mends that.) They change at the very end,
//            when all is done, and never otherwise.
// Locking    gpIfcPriv->lock is taken for rows in a group, at most 64 register accesses at a stretch, three
//            polls for each transfer counted. Callers serialise updates with all other rule and register
//            operations, as those of the layer do.
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
    Place oldPlace; // in the shadow; nowhere: a new rule

    // The whole action entry. nullptr: the action that stands at the old place; a new rule has none then.
    const IFC_Action_Format *action = nullptr;

    // False: the counter entry of the old place goes along. True, and for a new rule: begins at zero.
    bool counterFromZero = false;

    // Counter id 0..15 for the rule's slot of the binding registers. Kept: the slot of the old place goes
    // along; a new rule has 0.
    uint8_t binding = kBindingKept;
};

struct UpdateRequest {
    const Tables *tables = nullptr; // wanted; must stay until the update returns
    // Every rule of the wanted tables once, in any order. A rule that is not listed must stand in the shadow
    // at the same place with the same rows: it stays, with action, counter and binding.
    const WantedRule *rules = nullptr;
    unsigned count = 0;   // 0..kMaxRules
    bool quiesce = false; // the classifier is off during the update, then what it was
    bool dryRun = false;  // touches no register and not the shadow, only counts
};

enum class Outcome : uint8_t {
    Done,       // hardware and shadow hold what is wanted
    Undone,     // a transfer timed out; everything is as before
    Incomplete, // a transfer timed out and so did the way back; Update::differ says what may differ
    Refused,    // nothing was touched; Update::refusal and Update::culprit say why
};

// The culprit is an index into the listed rules, but a rule's number for UnlistedRule.
enum class Refusal : uint8_t {
    None,
    TooManyRules,  // more than kMaxRules; no culprit
    NotInTables,   // the wanted tables hold no rule at exactly this place
    PlaceTwice,    // an earlier rule has this place
    NotInShadow,   // the shadow holds no rule at exactly this old place
    OldPlaceTwice, // an earlier rule has this old place
    BadBinding,    // neither 0..15 nor kBindingKept
    UnlistedRule,  // the wanted tables hold a rule that is not listed and does not just stay
    WideReadOnly,  // LUT0 would change, but this chip revision takes no LUT0 writes; no culprit
};

// Rows by table: where bits are set, the hardware may hold something other than the shadow, or than before.
struct RowSet {
    uint16_t wide[IFC_LUT0_RULES]; // bit: row 0..10
    uint32_t narrow;               // bit: entry
    uint64_t actions;              // bit: number
    uint64_t counters;             // bit: number
};

// Working state and results of one update, about 3 KiB: not for a kernel's stack. It needs no initialisation.
struct Update {
    // Results.
    Refusal refusal;
    uint8_t culprit;
    RowSet differ; // with Outcome::Incomplete, else empty
    // port.accesses: register accesses, with one poll a transfer. A dry run does not read what actions,
    // counters and bindings hold and counts each that may have to be written: at least what it will take.
    RowPort port;

    // The rest is the update's own.
    Tables held;                         // what the hardware holds, but for unsure rows
    uint16_t unsureWide[IFC_LUT0_RULES]; // rows that may hold something else
    uint32_t unsureNarrow;
    uint32_t frozenNarrow; // what must not be written on the way back: a rule could not be switched off
    uint8_t frozenWide;
    bool undoing;
    uint8_t flags[kMaxRules];  // by number
    uint8_t ruleAt[kMaxRules]; // index of the listed rule that is to stand under this number
    uint32_t saved[2][kMaxRules][IFC_ROW_WORDS]; // actions, counters before; IFC_DATA0 first
    uint32_t bindings[IFC_ACNT_CFG_COUNT];       // before
    uint8_t bindingsWritten;                     // bit: register
};

Outcome apply(Update &update, const UpdateRequest &request);

// After Outcome::Incomplete, with the same state and an unchanged shadow: tries the way back once more.
// Returns Undone or Incomplete.
Outcome finishUndo(Update &update);

} // namespace ruleset
