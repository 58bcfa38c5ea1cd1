// SPDX-License-Identifier: MIT OR GPL-2.0
#include "candidates.h"

#include "form.h"

#include "tools/ifcctl/commands/command_table.h"
#include "tools/ifcctl/commands/flow_actions.h"
#include "tools/ifcctl/commands/flow_list.h"
#include "tools/ifcctl/commands/flow_pattern.h"
#include "tools/ifcctl/commands/terminal.h"
#include "tools/ifcctl/core/match_words.h"
#include "tools/ifcctl/core/rule_words.h"
#include "tools/ifcctl/core/values.h"

#include "ifc/ifc_cmd/cmd_operations.h"

#include <algorithm>

namespace ifcctl
{

namespace
{

bool holdsKey(const Words &words)
{
    return std::any_of(words.begin(), words.end(),
                       [](const std::string &word) { return findMatchWord(word).has_value(); });
}

// The first name of each field. Its other names follow only if none of these fits.
void addMatchKeys(Candidates &found, const Words &words)
{
    if (holds(words, kAnyWord) && !holdsKey(words))
        return; // `any` stands alone
    for (const bool otherName : {false, true}) {
        for (const std::string &word : matchWords())
            if (isOtherName(word) == otherName)
                found.add(word);
        if (!found.empty())
            return;
    }
}

void addValuesOf(Candidates &found, const MatchWord &key)
{
    found.add(wordsOf(namesOfValues(key)));
    found.say(acceptedValues(key));
}

// The values of the key that these words end with; a comparison may stand after it.
void addMatchValues(Candidates &found, const Words &words)
{
    const size_t back = words.size() >= 2 && compareOf(words.back()) ? 2 : 1;
    const auto key = findMatchWord(words[words.size() - back]);
    if (!key)
        return;
    addValuesOf(found, *key);
    found.add(kAnyWord);
}

// A flag needs no value, so another word may follow it.
bool needsValue(const std::string &word)
{
    const auto &forms = actionWordForms();
    const auto form =
        std::find_if(forms.begin(), forms.end(), [&](const WordForm &known) { return known.word == word; });
    return form != forms.end() && form->values != "flag";
}

void addActionWords(Candidates &found, const Words &words)
{
    if (!words.empty() && needsValue(words.back()))
        return;
    const auto begin = std::find(words.begin(), words.end(), kActionWord);
    for (const WordForm &form : actionWordForms())
        if (std::find(begin, words.end(), form.word) == words.end())
            found.add(form.word);
}

void addActionValues(Candidates &found, const std::string &word)
{
    for (const WordForm &form : actionWordForms()) {
        if (form.word != word)
            continue;
        const Words names = wordsOf(form.names);
        if (names.size() > 1 || !found.partial().empty()) // `off` alone is rarely meant
            found.add(names);
        found.say(form.values);
    }
}

// The item whose fields these words end with.
std::string flowItemOf(const Words &words)
{
    for (size_t n = words.size(); n-- > 1;)
        if (words[n - 1] == kFlowNext || words[n - 1] == "pattern")
            return words[n];
    return "";
}

void addFlowValues(Candidates &found, const Words &words)
{
    const std::string &part = words.back();
    if (const auto key = findMatchWord(flowMatchWord(flowItemOf(words), words[words.size() - 2])))
        if (part == "is" || part == "spec" || part == "last")
            addValuesOf(found, *key);
    found.say(part == "prefix" ? "the length of a prefix" : "the bits of a mask");
}

void addOperations(Candidates &found)
{
    for (const ifc::cmd::Operation &operation : ifc::cmd::kOperations)
        found.add(operation.name);
    found.add("help");
}

void addForPlaceholder(Candidates &found, const std::string &placeholder, const std::string &object,
                       const RuleNumbers &numbers)
{
    const bool isNumber = placeholder == "N" || placeholder == "M";
    if (isNumber && object != "result" && numbers) // a result is of an entry
        found.add(numbers());
    else if (begins(placeholder, "FILE") || placeholder == "OUT")
        found.addFiles();
    else if (placeholder == "OPERATION")
        addOperations(found);
    else if (placeholder == "DEVICE")
        found.add(Words{kSimulatedDevice, kModuleDevice});
    else if (placeholder == "WHEN")
        found.add(colourWords());
    else if (placeholder == "PORT")
        found.add("0"); // there is one chip
    if (object.empty())
        return; // an option explains its argument itself
    for (const NamedHelp &row : placeholders())
        if (placeholder.substr(0, placeholder.find(':')) == row.name)
            found.say(row.name + ": " + row.help);
}

} // namespace

bool holds(const Words &words, const std::string &word)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

void Candidates::add(const std::string &word)
{
    const bool unasked = word[0] == '-' && partial_.empty();
    Words &words = unasked ? unasked_ : found_.words;
    if (begins(word, partial_) && !holds(words, word))
        words.push_back(word);
}

void Candidates::addUnasked()
{
    if (found_.words.empty() && !found_.files)
        found_.words.swap(unasked_);
}

void Candidates::add(const Words &words)
{
    for (const std::string &word : words)
        add(word);
}

void Candidates::say(const std::string &hint)
{
    if (found_.hint.empty())
        found_.hint = hint;
}

void addFromForm(Candidates &found, const std::string &form, const Words &words, const std::string &object,
                 const RuleNumbers &numbers)
{
    using Kind = Place::Kind;
    const Form read(form);
    for (const Place &place : read.placesAfter(words)) {
        switch (place.kind) {
        case Kind::Literal:
            // `any` alone excludes conditions.
            if (!((place.once || place.name == kAnyWord) && holds(words, place.name)) &&
                !(place.name == kAnyWord && holdsKey(words)))
                found.add(place.name);
            break;
        case Kind::MatchKey:
            addMatchKeys(found, words);
            break;
        case Kind::Compare:
            for (unsigned compare = IFC_COMPARE_EQUAL; compare < IFC_COMPARE_RANGE; ++compare)
                found.add(compareName(compare));
            break;
        case Kind::MatchValue:
            addMatchValues(found, words);
            break;
        case Kind::ActionWord:
            addActionWords(found, words);
            break;
        case Kind::ActionValue:
            addActionValues(found, words.back());
            break;
        case Kind::FlowItem:
            found.add(wordsOf(flowItems()));
            break;
        case Kind::FlowField:
            found.add(flowFieldsOf(flowItemOf(words)));
            break;
        case Kind::FlowPart:
            found.add(flowValueParts());
            break;
        case Kind::FlowValue:
            addFlowValues(found, words);
            break;
        case Kind::FlowAction:
            found.add(wordsOf(flowActions()));
            break;
        case Kind::FlowParameter:
            if (const std::string parameter = flowParameterOf(words.back()); !parameter.empty())
                found.add(parameter);
            break;
        case Kind::FlowNumber:
            found.say("a number");
            break;
        case Kind::Free:
            addForPlaceholder(found, place.name, object, numbers);
            break;
        }
    }
    if (!read.mayEndAfter(words))
        found.addUnasked();
}

} // namespace ifcctl
