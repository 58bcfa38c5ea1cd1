// SPDX-License-Identifier: MIT OR GPL-2.0
// rule explain.
#include "frame_support.h"
#include "rule_commands.h"

#include "tools/capture/frame_capture.h"
#include "tools/ifcctl/core/explain.h"
#include "tools/ifcctl/core/frame_fields.h"
#include "tools/ifcctl/core/rule_name.h"

#include "engine/plain_match.h"
#include "ifc/records/chip.h"

#include <cerrno>
#include <cstring>
#include <optional>

#include <unistd.h>

namespace ifcctl
{

namespace
{

// Hex, or FILE:NUMBER; the first frame has number 1.
FrameBytes frameFrom(const std::string &text)
{
    const size_t colon = text.rfind(':');
    const std::string path = text.substr(0, colon);
    if (colon == std::string::npos || access(path.c_str(), F_OK) != 0) {
        const std::string why =
            colon == std::string::npos ? "" : " (" + path + ": " + std::strerror(errno) + ')';
        if (text.find_first_not_of("0123456789abcdefABCDEF:-") == std::string::npos)
            return parseFrameHex("rule explain", text);
        throw usage("rule explain", text, "a frame in hex digits, or FILE:NUMBER" + why);
    }
    WordReader digits({"rule explain", text.substr(colon + 1)});
    (void)digits.takeKey();
    const uint64_t wanted = digits.takeNumber(1, uint64_t{UINT32_MAX});
    capture::FrameCapture source(path);
    uint64_t number = 0;
    for (capture::CapturedFrame frame{}; source.next(frame);) {
        if (++number == wanted)
            return {frame.data, frame.data + frame.length};
    }
    throw usage("rule explain", text, "frame 1 to " + std::to_string(number) + " of this capture");
}

// The rules of the hardware that can hit.
std::vector<RulePlace> rulesIn(const engine::Tables &tables)
{
    std::vector<RulePlace> rules;
    for (unsigned n = 0; n < IFC_LUT0_RULES; ++n)
        if (engine::wideValid(tables.lut0[n]))
            rules.push_back({n, true, n, n});
    engine::Chain chain{};
    for (unsigned from = 0; engine::nextChain(tables, from, chain); from = chain.end + 1)
        rules.push_back({ifc::actionOfEntry(chain.end), false, chain.first, chain.end});
    return rules;
}

std::string deciderText(std::optional<unsigned> decides)
{
    return decides ? "rule " + std::to_string(*decides) + " decides this frame\n"
                   : "no rule decides this frame\n";
}

} // namespace

// If a frame follows, the first word is a rule's number.
void ruleExplain(Session &session, WordReader &words)
{
    constexpr const char *kAccepted =
        "a frame in hex digits or as FILE:NUMBER, after the number of a rule or alone";
    const engine::Tables &tables = session.device().window().tables();
    std::optional<unsigned> id;
    const std::string &second = words.peek(1);
    if (!second.empty() && second != "iface" && second != "gem_port") {
        const std::vector<RulePlace> rules = rulesIn(tables);
        id = rules[takeRule(words, "rule explain", rules)].number;
    }
    const std::string text = words.take("rule explain", kAccepted);
    // Two digits are a rule's number without a frame, not a frame of one byte.
    if (!id && text.size() <= 2 && text.find_first_not_of("0123456789") == std::string::npos)
        words.reject(kAccepted);
    const FrameBytes frame = frameFrom(text);
    engine::SideData side;
    while (parseSideData(words, side))
        ;
    words.expectEnd("rule explain");

    const auto classifier = std::make_unique<engine::Classifier>(session.device().window());
    engine::ParsedFrame parsed;
    classifier->parse(frame.data(), frame.size(), side, parsed);
    const bool on = classifierOn(session);
    std::string out = on ? "" : "the classifier is off, no rule decides; with 'classifier enable':\n";
    const auto all = explainAll(tables, parsed.fields);
    const auto decides = decidingRule(all);
    if (id) {
        const auto verdict = *explainRule(tables, *id, parsed.fields);
        auto json = toJson(verdict, decides);
        json["classifier"] = on;
        json["decider"] = decides ? nlohmann::ordered_json(*decides) : nlohmann::ordered_json(nullptr);
        out += toText(verdict, decides);
        if (!verdict.hits)
            out += deciderText(decides);
        session.print(out + kModelNote, json);
        return;
    }
    auto json = nlohmann::ordered_json::array();
    for (const RuleVerdict &verdict : all) {
        out += toText(verdict, decides);
        json.push_back(toJson(verdict, decides));
        json.back()["classifier"] = on;
    }
    if (json.empty())
        out += "there are no rules\n";
    else if (!decides)
        out += deciderText(decides);
    session.print(out + kModelNote, json);
}

} // namespace ifcctl
