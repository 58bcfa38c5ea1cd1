// SPDX-License-Identifier: MIT OR GPL-2.0
// Rules as operators write and read them: words in, words and JSON out. Everything printed here is read back
// with the same meaning. What a rule is stands in ruleset/ruleset.h.
#pragma once

#include "word_reader.h"

#include "ruleset/ruleset.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace ifcctl
{

// Between the conditions of a rule and its action.
inline const std::string kActionWord = "action";
// Alone instead of conditions: every frame. As a value: the frame has the field.
inline const std::string kAnyWord = "any";

// A word and what may follow it, for help and completion.
struct WordForm {
    std::string word;
    std::string values; // "0 to 7", "flag"
    std::string names;  // names of values, and `off`, separated by spaces
};

// --- Conditions: KEY [eq|ne|!|ge|le] VALUE[/MASK], KEY FIRST-LAST, KEY any; or `any` alone. ---

// Reads up to the end of the line or to `action`. At least one word must be there. Sets count and conditions
// only. Throws Error: Reason::Usage, or Reason::Contradiction with both words.
void readMatch(WordReader &words, ifc_rule &rule);

// Every word, but not each field's own name.
const std::vector<WordForm> &matchWordForms();

// In words that readMatch() accepts. If the rule contradicts itself, the fields' own names are used (VID0 0x1
// VID0 0x2), because their conditions are not checked against each other.
std::string matchText(const ifc_rule &rule);

// One condition by itself, for messages.
std::string conditionText(const ifc_rule_condition &condition);

// [{"field":"DPORT","id":28,"command":"eq","key":53,"mask":65535}, ...]; MAC and IPv4 addresses are text;
// "command":"range" has "last" as well.
nlohmann::ordered_json matchJson(const ifc_rule &rule);

// --- Actions: WORD VALUE..., flags with or without a value, `WORD off`. ---
// `revision` of the chip decides the places of the enable bits. These functions do not access the chip.

bool isActionWord(const std::string &word);

const std::vector<WordForm> &actionWordForms();

// Reads up to the end of the line and returns the entry that ifc_set_action() would make, starting from zero.
// At least one word is required. Throws Error.
IFC_Action_Format readAction(WordReader &words, int revision);

// The same on an existing entry: values that are not named stay.
void mergeAction(IFC_Action_Format &entry, WordReader &words, int revision);

// The arguments of ifc_set_action() for one sub-action.
struct SubAction {
    unsigned actIdx;
    uint32_t values[4];
};

// The same words as sub-actions and as an entry. Also throws Error for `enable` and `off`, which no
// sub-action can express.
std::vector<SubAction> readSubActions(WordReader &words, IFC_Action_Format &entry);

// In words that readAction() accepts; "" for an entry of zeros.
std::string actionText(const IFC_Action_Format &entry, int revision);

// For a line of text: "action channel 3", or "no action".
std::string actionLine(const IFC_Action_Format &entry, int revision);

// {"enable":1,"channel":3,"queue":5,"cpu":0,"owf":0}: the sub-actions that are on, with all their values, and
// the flags without an enable bit. Other values that are not 0 follow.
nlohmann::ordered_json actionJson(const IFC_Action_Format &entry, int revision);

// True: the entry does more than send the frame to the CPU.
bool needsPpe(const IFC_Action_Format &entry);

// While the PPE is off, the rule layer accepts only `cpu`; any other sub-action makes it delete the rule of
// that entry. Such an entry is refused here, before anything is written. Throws Error.
void refuseWithoutPpe(const IFC_Action_Format &entry);

// --- Whole rules ---

// MATCH... [action WORD...] up to the end of the line. Without an action the entry is zero.
ifc_rule readRule(WordReader &words, int revision);

// "dst_port 53 action queue 3": what `rule add` takes.
std::string ruleText(const ifc_rule &rule, int revision);

// Lines of a word and its values.
std::string wordLines(const std::vector<WordForm> &forms);
// Every word with its values, one on each line, for `rule add help`; then the two parts of that text.
std::string ruleWordsHelp();
std::string matchWordsHelp();
std::string actionWordsHelp();

} // namespace ifcctl
