// SPDX-License-Identifier: MIT OR GPL-2.0
#include "action_words.h"

#include "nearest_word.h"
#include "rule_words.h"

#include "ifc/records/fields.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace ifcctl
{

namespace
{

std::vector<std::string> knownWords()
{
    std::vector<std::string> words;
    for (const ActionWord &entry : kActionWords)
        words.emplace_back(entry.word);
    words.push_back(kEnableWord);
    return words;
}

} // namespace

const ActionWord *findActionWord(const std::string &word)
{
    const auto *found = std::find_if(std::begin(kActionWords), std::end(kActionWords),
                                     [&](const ActionWord &entry) { return word == entry.word; });
    return found == std::end(kActionWords) ? nullptr : found;
}

bool isWordFor(const ActionWord &entry, const uint32_t *words)
{
    const unsigned value = ifc::getActionField(words, entry.field());
    if (entry.actIdx == IFC_ACT_IPV4_DSCP)
        return ((value & ifc::lowBits(kCodePointLsb)) == 0) == (entry.lsb != 0);
    return &entry != findActionWord("gem");
}

std::string didYouMeanAction(const std::string &given)
{
    static const std::pair<const char *, const char *> ofOtherTools[] = {
        {"mark", "sp_tag"}, {"tag", "sp_tag"},   {"gem_port", "gem"},  {"port", "fport"},
        {"vlan", "vid0"},   {"vid", "vid0"},     {"vlan_id", "vid0"},  {"vlan_prio", "vprio0"},
        {"prio", "queue"},  {"tos", "ds_octet"}, {"counter", "count"}, {"controller", "cpu"},
    };
    const std::string word = lowerCase(given);
    if (findActionWord(word) != nullptr)
        return "; did you mean " + word + "?";
    for (const auto &[other, own] : ofOtherTools)
        if (word == other)
            return std::string("; did you mean ") + own + "?";
    return didYouMean(word, knownWords());
}

bool isActionWord(const std::string &word)
{
    return findActionWord(word) != nullptr || word == kEnableWord;
}

const std::vector<WordForm> &actionWordForms()
{
    static const std::vector<WordForm> forms = [] {
        std::vector<WordForm> all;
        for (const ActionWord &entry : kActionWords) {
            std::string values = entry.most() == 1 ? "flag" : "0 to " + std::to_string(entry.most());
            std::string names = kOffWord;
            if (entry.lsb != 0) {
                values += ", " + namesOfCodePoints() + " (the code point of IPv4)";
                names += ' ' + namesOfCodePoints();
            } else if (entry.actIdx == IFC_ACT_IPV4_DSCP) {
                values += " (the whole octet of IPv4)";
            }
            all.push_back({entry.word, values, names});
        }
        all.push_back({kEnableWord,
                       "0 to " + std::to_string(ifc::actionFieldMost(ifc::kEnable)) +
                           " (the raw enable bits, for entries that no other words can express)",
                       ""});
        return all;
    }();
    return forms;
}

} // namespace ifcctl
