// SPDX-License-Identifier: MIT OR GPL-2.0
#include "action.h"

#include "errors.h"
#include "values.h"

#include <algorithm>

namespace ifcctl
{

const std::vector<ActionWord> &actionWords()
{
    // A sub-action is written by all words that name it; a word that is not given leaves 0.
    static const std::vector<ActionWord> words = {
        {"channel", IFC_ACT_CHANNEL_QUEUE, 0, 31, "channel"},
        {"queue", IFC_ACT_CHANNEL_QUEUE, 1, 7, "queue of the channel"},
        {"fport", IFC_ACT_FPORT_NBQ, 0, 15, "forward port; clears the cpu flag"},
        {"nbq", IFC_ACT_FPORT_NBQ, 1, 31, "nbq, with fport or with cpu"},
        {"sp_tag", IFC_ACT_SP_TAG, 0, 0xFFFF, "special tag"},
        {"gem", IFC_ACT_SP_TAG, 0, 0xFFFF, "GEM port, the same field as sp_tag"},
        {"count", IFC_ACT_CNT0, 0, 63, "id of counter 0"},
        {"count1", IFC_ACT_CNT1, 0, 31, "id of counter 1"},
        {"meter", IFC_ACT_MTR_G, 0, 255, "meter"},
        {"dscp", IFC_ACT_IPV4_DSCP, 0, 255, "new IPv4 DSCP, the 8-bit value as the entry holds it"},
        {"traffic_class", IFC_ACT_IPV6_TRAFFIC_CLASS, 0, 255, "new IPv6 traffic class"},
        {"vpm0", IFC_ACT_VLAN0, 0, 3, "tag 0: TPID selector, 1 = 0x8100, 2 = 0x88A8, 3 = user-defined"},
        {"vo0", IFC_ACT_VLAN0, 1, 3, "tag 0: what to do"},
        {"vprio0", IFC_ACT_VLAN0, 2, 15, "tag 0: bits 15..12 of the tag"},
        {"vid0", IFC_ACT_VLAN0, 3, 4095, "tag 0: VLAN id"},
        {"vo1", IFC_ACT_VLAN1, 0, 3, "tag 1: what to do"},
        {"vprio1", IFC_ACT_VLAN1, 1, 15, "tag 1: bits 15..12 of the tag"},
        {"vid1", IFC_ACT_VLAN1, 2, 4095, "tag 1: VLAN id"},
        {"fqos", IFC_ACT_FQOS, 0, 1, "flag"},
        {"fast", IFC_ACT_FAST, 0, 1, "flag"},
        {"mc", IFC_ACT_MC, 0, 1, "flag"},
        {"keep_pcp", IFC_ACT_KEEP_PCP, 0, 1, "flag"},
        {"cpu", IFC_ACT_CPU_NBQ, 0, 1, "to the CPU; the only one accepted while the PPE is off"},
        {"owf", IFC_ACT_OWF, 0, 1, "flag"},
        {"dpi", IFC_ACT_DPI, 0, 1, "flag; shares its enable bit with keep_pcp"},
    };
    return words;
}

namespace
{

const ActionWord *findWord(const std::string &word)
{
    const auto &words = actionWords();
    const auto found =
        std::find_if(words.begin(), words.end(), [&](const ActionWord &entry) { return word == entry.word; });
    return found == words.end() ? nullptr : &*found;
}

std::string knownActionWords()
{
    std::string text;
    for (const ActionWord &entry : actionWords())
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

Action parseAction(const Words &words, size_t &at)
{
    Action action;
    std::vector<std::string> seen;
    // nbq belongs to two sub-actions that share the field; it goes where its rule sends the frame.
    const bool toCpu =
        std::find(words.begin() + static_cast<std::ptrdiff_t>(at), words.end(), "cpu") != words.end();
    const bool toPort =
        std::find(words.begin() + static_cast<std::ptrdiff_t>(at), words.end(), "fport") != words.end();
    if (toCpu && toPort)
        throw usage("action", "cpu fport", "one of them: fport clears the cpu flag");
    while (at < words.size()) {
        const std::string &word = words[at++];
        const ActionWord *entry = findWord(word);
        if (entry == nullptr)
            throw usage("action", word, knownActionWords());
        if (std::find(seen.begin(), seen.end(), word) != seen.end())
            throw usage("action", word, "each word once");
        seen.push_back(word);
        uint64_t value = 1;
        const bool flag = entry->most == 1;
        const bool hasValue = at < words.size() && findWord(words[at]) == nullptr;
        if (hasValue)
            value = numberFor(word, words[at++], 0, entry->most);
        else if (!flag)
            throw usage(word, "", "a number from 0 to " + std::to_string(entry->most));
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
            throw refused("action", "ppe off",
                          "while the PPE is off only 'cpu' (with nbq) is accepted, and the rule layer would "
                          "the rule; say 'ppe on' first");
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
