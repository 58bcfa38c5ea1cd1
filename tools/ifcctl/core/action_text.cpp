// SPDX-License-Identifier: MIT OR GPL-2.0
// Actions as words and as JSON. The words read back as the same entry.
#include "action_words.h"
#include "errors.h"
#include "rule_words.h"
#include "values.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace ifcctl
{

namespace
{

std::string wordAndValue(const ActionWord &entry, const uint32_t *words)
{
    const unsigned value = ifc::getActionField(words, entry.field()) >> entry.lsb;
    if (entry.most() == 1 && value == 1)
        return entry.word;
    std::string text = entry.lsb != 0 ? nameOfCodePoint(value) : "";
    if (text.empty())
        text = entry.most() > 0xFFF || std::string(entry.word) == "ds_octet" ? formatHex(value)
                                                                             : std::to_string(value);
    return std::string(entry.word) + ' ' + text;
}

bool ownsNbq(unsigned actIdx, const uint32_t *words)
{
    return (actIdx == IFC_ACT_CPU_NBQ) == (ifc::getActionField(words, ifc::kCpu) != 0);
}

// The words whose values are not 0. For each enable bit without such a word, one word with the value 0.
std::string naturalText(const IFC_Action_Format &entry, int revision)
{
    std::string text;
    unsigned left = ifc::getActionField(entry.word, ifc::kEnable);
    std::vector<const ActionWord *> shown;
    for (const ActionWord &word : kActionWords)
        if (isWordFor(word, entry.word) && ifc::getActionField(entry.word, word.field()) != 0) {
            shown.push_back(&word);
            const bool nbqOfCpu = &word == findActionWord("nbq") && ownsNbq(IFC_ACT_CPU_NBQ, entry.word);
            left &= ~(nbqOfCpu ? 0 : ifc::enableMask(word.actIdx, revision));
        }
    for (const ActionWord &word : kActionWords) {
        const unsigned mask = ifc::enableMask(word.actIdx, revision);
        const bool isShown = std::find(shown.begin(), shown.end(), &word) != shown.end();
        if (!isShown && (left & mask) == 0)
            continue;
        if (!isShown && !isWordFor(word, entry.word))
            continue;
        left &= ~mask;
        text += (text.empty() ? "" : " ") + wordAndValue(word, entry.word);
    }
    return text;
}

bool readsBack(const std::string &text, const IFC_Action_Format &entry, int revision)
{
    IFC_Action_Format read{};
    WordReader words(wordsOf(text));
    try {
        mergeAction(read, words, revision);
    } catch (const Error &) {
        return text.empty() && std::equal(std::begin(read.word), std::end(read.word), entry.word);
    }
    return std::equal(std::begin(read.word), std::end(read.word), entry.word);
}

} // namespace

std::string actionText(const IFC_Action_Format &entry, int revision)
{
    std::string natural = naturalText(entry, revision);
    if (readsBack(natural, entry, revision))
        return natural;
    std::string text;
    for (const ActionWord &word : kActionWords)
        if (isWordFor(word, entry.word) && ifc::getActionField(entry.word, word.field()) != 0)
            text += wordAndValue(word, entry.word) + ' ';
    return text + kEnableWord + ' ' + formatHex(ifc::getActionField(entry.word, ifc::kEnable));
}

std::string actionLine(const IFC_Action_Format &entry, int revision)
{
    const std::string action = actionText(entry, revision);
    return action.empty() ? "no action" : kActionWord + ' ' + action;
}

nlohmann::ordered_json actionJson(const IFC_Action_Format &entry, int revision)
{
    const uint32_t *words = entry.word;
    nlohmann::ordered_json json;
    json[kEnableWord] = ifc::getActionField(words, ifc::kEnable);
    for (const ActionWord &word : kActionWords) {
        if (!isWordFor(word, words))
            continue;
        const unsigned value = ifc::getActionField(words, word.field());
        const bool flagAlone = ifc::enableMask(word.actIdx, revision) == 0; // cpu, owf
        if (flagAlone || value != 0 || ifc::isSubActionOn(words, word.actIdx, revision) ||
            (&word == findActionWord("nbq") && ownsNbq(IFC_ACT_CPU_NBQ, words)))
            json[word.word] = value >> word.lsb;
    }
    return json;
}

namespace
{

// The first part of the entry that needs the PPE, in words; "" if it needs none.
std::string partForPpe(const IFC_Action_Format &entry)
{
    const bool toCpu = ifc::getActionField(entry.word, ifc::kCpu) != 0;
    for (const ActionWord &word : kActionWords) {
        const bool free = &word == findActionWord("cpu") || (&word == findActionWord("nbq") && toCpu);
        if (!free && isWordFor(word, entry.word) && ifc::getActionField(entry.word, word.field()) != 0)
            return wordAndValue(word, entry.word);
    }
    const unsigned enable = ifc::getActionField(entry.word, ifc::kEnable);
    if (enable == 0)
        return "";
    for (const ActionWord &word : kActionWords)
        if (isWordFor(word, entry.word) && (ifc::enableMask(word.actIdx, 0) & enable) != 0)
            return wordAndValue(word, entry.word);
    return kEnableWord + ' ' + formatHex(enable);
}

} // namespace

bool needsPpe(const IFC_Action_Format &entry)
{
    return !partForPpe(entry).empty();
}

void refuseWithoutPpe(const IFC_Action_Format &entry)
{
    if (ifcSendToPpe == 0 && needsPpe(entry))
        throw refused(Reason::PpeOff, "action", partForPpe(entry),
                      "while the PPE is off only 'cpu' (with nbq) is accepted, and the rule layer would "
                      "delete the rule; say 'ppe on' first");
}

} // namespace ifcctl
