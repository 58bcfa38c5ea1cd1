// SPDX-License-Identifier: MIT OR GPL-2.0
#include "action.h"

#include "errors.h"

#include "ifc/records/action_record.h"

#include <algorithm>
#include <iterator>

namespace ifcctl
{

namespace
{

struct ActionWord {
    const char *word;
    unsigned actIdx;
    unsigned position; // of its value among value0 to value3

    constexpr ifc::ActionField field() const { return ifc::kSetFields[actIdx][position]; }
    constexpr unsigned most() const { return ifc::actionFieldMost(field()); }
};

// All words of a sub-action are written together; a word that is not given is written as 0.
constexpr ActionWord kActionWords[] = {
    {"channel", IFC_ACT_CHANNEL_QUEUE, 0},
    {"queue", IFC_ACT_CHANNEL_QUEUE, 1},
    {"fport", IFC_ACT_FPORT_NBQ, 0},
    {"nbq", IFC_ACT_FPORT_NBQ, 1},
    {"sp_tag", IFC_ACT_SP_TAG, 0},
    {"gem", IFC_ACT_SP_TAG, 0},
    {"count", IFC_ACT_CNT0, 0},
    {"count1", IFC_ACT_CNT1, 0},
    {"meter", IFC_ACT_MTR_G, 0},
    {"dscp", IFC_ACT_IPV4_DSCP, 0},
    {"traffic_class", IFC_ACT_IPV6_TRAFFIC_CLASS, 0},
    {"vpm0", IFC_ACT_VLAN0, 0},
    {"vo0", IFC_ACT_VLAN0, 1},
    {"vprio0", IFC_ACT_VLAN0, 2},
    {"vid0", IFC_ACT_VLAN0, 3},
    {"vo1", IFC_ACT_VLAN1, 0},
    {"vprio1", IFC_ACT_VLAN1, 1},
    {"vid1", IFC_ACT_VLAN1, 2},
    {"fqos", IFC_ACT_FQOS, 0},
    {"fast", IFC_ACT_FAST, 0},
    {"mc", IFC_ACT_MC, 0},
    {"keep_pcp", IFC_ACT_KEEP_PCP, 0},
    {"cpu", IFC_ACT_CPU_NBQ, 0},
    {"owf", IFC_ACT_OWF, 0},
    {"dpi", IFC_ACT_DPI, 0},
};

const ActionWord *findWord(const std::string &word)
{
    const auto *found = std::find_if(std::begin(kActionWords), std::end(kActionWords),
                                     [&](const ActionWord &entry) { return word == entry.word; });
    return found == std::end(kActionWords) ? nullptr : found;
}

std::string knownActionWords()
{
    std::string text;
    for (const ActionWord &entry : kActionWords)
        text += (text.empty() ? "" : " ") + std::string(entry.word);
    return text;
}

SubAction &subActionFor(Action &action, unsigned actIdx)
{
    for (SubAction &sub : action)
        if (sub.actIdx == actIdx)
            return sub;
    return action.emplace_back(SubAction{actIdx, {}});
}

bool hasEnableBit(const ActionWord &entry)
{
    return ifc::enableMask(entry.actIdx, 0) != 0;
}

// Is this the same value as the word before?
bool isSecondName(const ActionWord &entry)
{
    const ActionWord *before = &entry == kActionWords ? nullptr : &entry - 1;
    return before != nullptr && before->actIdx == entry.actIdx && before->position == entry.position;
}

} // namespace

Action parseAction(WordReader &words)
{
    Action action;
    std::vector<std::string> seen;
    // Two sub-actions share the field nbq: it belongs to the one that is named.
    const bool toCpu = words.holds("cpu");
    if (toCpu && words.holds("fport"))
        throw usage("action", "cpu fport", "one of them: fport clears the cpu flag");
    while (!words.atEnd()) {
        const ActionWord *entry = findWord(words.peek());
        if (entry == nullptr)
            throw usage("action", words.peek(), knownActionWords());
        const std::string &word = words.takeKey();
        if (std::find(seen.begin(), seen.end(), word) != seen.end())
            throw usage("action", word, "each word once");
        seen.push_back(word);
        const bool flag = entry->most() == 1;
        const bool hasValue = !words.atEnd() && findWord(words.peek()) == nullptr;
        if (!hasValue && !flag)
            words.reject("a number from 0 to " + std::to_string(entry->most()));
        const uint64_t value = hasValue ? words.takeNumber(0, uint64_t{entry->most()}) : 1;
        const bool nbqOfCpu = toCpu && entry->actIdx == IFC_ACT_FPORT_NBQ;
        subActionFor(action, nbqOfCpu ? unsigned{IFC_ACT_CPU_NBQ} : entry->actIdx).values[entry->position] =
            static_cast<uint32_t>(value);
    }
    if (action.empty())
        throw usage("action", "", knownActionWords());
    return action;
}

void refuseWithoutPpe(const Action &action)
{
    for (const SubAction &sub : action)
        if (ifcSendToPpe == 0 && sub.actIdx != IFC_ACT_CPU_NBQ)
            throw refused(Reason::PpeOff, "action", "ppe off",
                          "while the PPE is off only 'cpu' (with nbq) is accepted, and the rule layer would "
                          "delete the rule; say 'ppe on' first");
}

nlohmann::ordered_json describeAction(const IFC_Action_Format &action)
{
    const uint32_t *words = action.word;
    // Known: as in ifc_dump_action(), enable bits are taken as they are. What revision 12 moved is one lower.
    constexpr int kNoRevision = 0;
    nlohmann::ordered_json json;
    json["enable"] = ifc::getActionField(words, ifc::kEnable);
    const auto add = [&](const ActionWord &entry) {
        json[entry.word] = ifc::getActionField(words, entry.field());
    };
    for (const ActionWord &entry : kActionWords) {
        const bool sharedNbq =
            entry.field().lsb == ifc::kNbq.lsb && ifc::getActionField(words, ifc::kCpu) != 0;
        if (hasEnableBit(entry) && !isSecondName(entry) &&
            (sharedNbq || ifc::isSubActionOn(words, entry.actIdx, kNoRevision)))
            add(entry);
    }
    for (const ActionWord &entry : kActionWords)
        if (!hasEnableBit(entry))
            add(entry);
    return json;
}

} // namespace ifcctl
