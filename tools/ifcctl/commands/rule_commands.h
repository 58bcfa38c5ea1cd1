// SPDX-License-Identifier: MIT OR GPL-2.0
// What the sources of the rule commands share.
#pragma once

#include "commands.h"

#include "tools/ifcctl/device/rule_set.h"

namespace ifcctl
{

// MATCH... [action WORD...] up to the end of the line. Unless --keep-order is given, a single MAC goes last:
// the automatic deletion finds it only there. Throws Error, also if the action needs the PPE and it is off.
ifc_rule ruleFrom(Session &session, WordReader &words);

// Reads a rule's number or a table entry of it and returns the rule's position. Throws Error.
unsigned takeRuleNumber(const RuleSet &set, WordReader &words, const std::string &field);

// The positions of the rules with exactly these conditions, in any order.
std::vector<unsigned> positionsOf(const RuleSet &set, const ifc_rule &rule);

// A rule in the tables: number, place, action entry, conditions.
nlohmann::ordered_json standingJson(const RuleSet &set, unsigned position, int revision);

// Handlers of the table in rule_commands.cpp, by source.
// Deletes the rules at these positions, in ascending order, and prints them.
void deleteRules(Session &session, RuleSet &set, const std::vector<unsigned> &positions);

void ruleAdd(Session &session, WordReader &words);
void ruleValidate(Session &session, WordReader &words);
void ruleInsert(Session &session, WordReader &words);
void ruleMove(Session &session, WordReader &words);
void ruleChange(Session &session, WordReader &words);
void ruleDelete(Session &session, WordReader &words);
void ruleFlush(Session &session, WordReader &words);

void ruleAddAuto(Session &session, WordReader &words);
void ruleValidateAuto(Session &session, WordReader &words);
void ruleDeleteAuto(Session &session, WordReader &words);

void ruleShow(Session &session, WordReader &words);
void ruleCheck(Session &session, WordReader &words);
void ruleExplain(Session &session, WordReader &words);

} // namespace ifcctl
