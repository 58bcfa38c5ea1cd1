// SPDX-License-Identifier: MIT OR GPL-2.0
#include "action.h"

#include "errors.h"

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
    uint64_t most;
};

// All words of a sub-action are written together; a word that is not given is written as 0.
constexpr ActionWord kActionWords[] = {
    {"channel", IFC_ACT_CHANNEL_QUEUE, 0, 31},
    {"queue", IFC_ACT_CHANNEL_QUEUE, 1, 7},
    {"fport", IFC_ACT_FPORT_NBQ, 0, 15},
    {"nbq", IFC_ACT_FPORT_NBQ, 1, 31},
    {"sp_tag", IFC_ACT_SP_TAG, 0, 0xFFFF},
    {"gem", IFC_ACT_SP_TAG, 0, 0xFFFF},
    {"count", IFC_ACT_CNT0, 0, 63},
    {"count1", IFC_ACT_CNT1, 0, 31},
    {"meter", IFC_ACT_MTR_G, 0, 255},
    {"dscp", IFC_ACT_IPV4_DSCP, 0, 255},
    {"traffic_class", IFC_ACT_IPV6_TRAFFIC_CLASS, 0, 255},
    {"vpm0", IFC_ACT_VLAN0, 0, 3},
    {"vo0", IFC_ACT_VLAN0, 1, 3},
    {"vprio0", IFC_ACT_VLAN0, 2, 15},
    {"vid0", IFC_ACT_VLAN0, 3, 4095},
    {"vo1", IFC_ACT_VLAN1, 0, 3},
    {"vprio1", IFC_ACT_VLAN1, 1, 15},
    {"vid1", IFC_ACT_VLAN1, 2, 4095},
    {"fqos", IFC_ACT_FQOS, 0, 1},
    {"fast", IFC_ACT_FAST, 0, 1},
    {"mc", IFC_ACT_MC, 0, 1},
    {"keep_pcp", IFC_ACT_KEEP_PCP, 0, 1},
    {"cpu", IFC_ACT_CPU_NBQ, 0, 1},
    {"owf", IFC_ACT_OWF, 0, 1},
    {"dpi", IFC_ACT_DPI, 0, 1},
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
        const bool flag = entry->most == 1;
        const bool hasValue = !words.atEnd() && findWord(words.peek()) == nullptr;
        if (!hasValue && !flag)
            words.reject("a number from 0 to " + std::to_string(entry->most));
        const uint64_t value = hasValue ? words.takeNumber(0, entry->most) : 1;
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

nlohmann::ordered_json describeAction(const IFC_Action_Format &a)
{
    const auto &b = a.bits;
    nlohmann::ordered_json j;
    j["enable"] = static_cast<unsigned>(b.enable);
    const auto on = [&b](unsigned bit) { return (b.enable >> bit & 1) != 0; };
    if (on(IFC_ACT_CHANNEL_QUEUE)) {
        j["channel"] = static_cast<unsigned>(b.channel);
        j["queue"] = static_cast<unsigned>(b.queue);
    }
    if (on(IFC_ACT_FPORT_NBQ))
        j["fport"] = static_cast<unsigned>(b.fport);
    if (on(IFC_ACT_FPORT_NBQ) || b.cpu)
        j["nbq"] = static_cast<unsigned>(b.nbq);
    if (on(IFC_ACT_SP_TAG))
        j["sp_tag"] = static_cast<unsigned>(b.sp_tag);
    if (on(IFC_ACT_CNT0))
        j["count"] = static_cast<unsigned>(b.cnt0_5_4 << 4 | b.cnt0_3_0);
    if (on(IFC_ACT_CNT1))
        j["count1"] = static_cast<unsigned>(b.cnt1);
    if (on(IFC_ACT_MTR_G))
        j["meter"] = static_cast<unsigned>(b.mtr_g);
    if (on(IFC_ACT_IPV4_DSCP))
        j["dscp"] = static_cast<unsigned>(b.ipv4_dscp);
    if (on(IFC_ACT_IPV6_TRAFFIC_CLASS))
        j["traffic_class"] = static_cast<unsigned>(b.ipv6_traffic_class);
    if (on(IFC_ACT_VLAN0)) {
        j["vpm0"] = static_cast<unsigned>(b.vpm0);
        j["vo0"] = static_cast<unsigned>(b.vo0);
        j["vprio0"] = static_cast<unsigned>(b.vid0_15_12);
        j["vid0"] = static_cast<unsigned>(b.vid0_11_0);
    }
    if (on(IFC_ACT_VLAN1)) {
        j["vo1"] = static_cast<unsigned>(b.vo1);
        j["vprio1"] = static_cast<unsigned>(b.vid1_15_12);
        j["vid1"] = static_cast<unsigned>(b.vid1_11_0);
    }
    if (on(IFC_ACT_FQOS))
        j["fqos"] = static_cast<unsigned>(b.fqos);
    if (on(IFC_ACT_FAST))
        j["fast"] = static_cast<unsigned>(b.fast);
    if (on(IFC_ACT_MC))
        j["mc"] = static_cast<unsigned>(b.mc);
    if (on(IFC_ACT_KEEP_PCP)) {
        j["keep_pcp"] = static_cast<unsigned>(b.keep_pcp);
        j["dpi"] = static_cast<unsigned>(b.dpi);
    }
    j["cpu"] = static_cast<unsigned>(b.cpu);
    j["owf"] = static_cast<unsigned>(b.owf);
    return j;
}

} // namespace ifcctl
