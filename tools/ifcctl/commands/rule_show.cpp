// SPDX-License-Identifier: MIT OR GPL-2.0
// rule show: the rules in the order in which they decide, as lines of a batch, or their counters.
#include "counter_table.h"
#include "rule_commands.h"
#include "wrap.h"

#include "tools/ifcctl/commands/frame_support.h"
#include "tools/ifcctl/core/rule_words.h"
#include "tools/ifcctl/core/rules.h"
#include "tools/ifcctl/core/set_file.h"
#include "tools/ifcctl/device/hardware.h"

#include <algorithm>

namespace ifcctl
{

namespace
{

// A comment cannot continue in the next line, so it goes on the last one, alone if necessary.
std::string withComment(const std::string &text, const std::string &comment, unsigned width)
{
    constexpr unsigned kIndent = 4;
    std::string lines = wrapped(text, width, kIndent, " \\");
    lines.pop_back();
    const size_t last = lines.size() - (lines.rfind('\n') == std::string::npos ? 0 : lines.rfind('\n') + 1);
    if (last + 2 + comment.size() > width)
        lines += " \\\n" + std::string(kIndent, ' ') + comment;
    else
        lines += "  " + comment;
    return lines + '\n';
}

// All rules by place, condition by condition.
void showDetails(Session &session)
{
    std::string text;
    auto json = nlohmann::ordered_json::array();
    for (const PlacedRule &rule : placedRules()) {
        text += "rule " + std::to_string(rule.id) + ": " + describePlace(rule) +
                (rule.complete ? "\n" : ", no end flag: never hits\n");
        for (unsigned n = 0; n < rule.rule.count; ++n)
            text += "  " + conditionText(rule.rule.condition[n]) + '\n';
        auto entry = toJson(rule);
        const IFC_Action_Format action = readAction(session, rule.id);
        entry["actions"] = actionJson(action, session.device().revision());
        text += "  " + actionLine(action, session.device().revision()) + '\n';
        json.push_back(entry);
    }
    session.print(text.empty() ? "no rules\n" : text, json);
}

// A line for each rule, in the order in which they decide.
std::string briefText(const RuleSet &set, int revision)
{
    std::string text;
    for (unsigned n = 0; n < set.count(); ++n) {
        const std::string action = actionText(set.rule(n).action, revision);
        const std::string number = std::to_string(set.number(n));
        text += std::string(2 - std::min<size_t>(2, number.size()), ' ') + number + "  " +
                matchText(set.rule(n)) + " -> " + (action.empty() ? "no action" : action) + '\n';
    }
    return text.empty() ? "no rules\n" : text;
}

} // namespace

void ruleShow(Session &session, WordReader &words)
{
    const bool statistics = words.skip("-s") || session.options().statistics;
    words.expectEnd("rule show");
    if (statistics) {
        const Reading reading = readRuleCounters(session);
        session.print(counterTable(reading), counterJson(reading));
        return;
    }
    if (session.options().details) {
        showDetails(session);
        return;
    }
    const RuleSet set(session);
    const int revision = session.device().revision();
    const unsigned width = outputWidth();
    std::vector<ifc_rule> rules;
    for (unsigned n = 0; n < set.count(); ++n)
        rules.push_back(set.rule(n));
    const SwitchLines switches = switchLines(rules, ifcSendToPpe != 0, classifierOn(session));
    std::string text = switches.before;
    auto json = nlohmann::ordered_json::array();
    for (unsigned n = 0; n < set.count(); ++n) {
        const Counter counter = readCounter(session, set.number(n));
        text += withComment("rule add " + ruleText(set.rule(n), revision),
                            "# " + std::to_string(set.number(n)) + ": " + std::to_string(counter.frames) +
                                (counter.frames == 1 ? " frame, " : " frames, ") +
                                std::to_string(counter.bytes) + " bytes",
                            width);
        auto entry = standingJson(set, n, revision);
        entry["frames"] = counter.frames;
        entry["bytes"] = counter.bytes;
        json.push_back(entry);
    }
    text += switches.after;
    const auto remark = [&](const std::string &remarked) {
        text += wrapped("# " + remarked, width, 2, "", "# ");
    };
    for (const PlacedRule &rule : placedRules())
        if (!set.find(rule.id))
            remark(describePlace(rule) + ": " +
                   (rule.lut0 ? "not in the hardware of this revision" : "no end flag, never hits"));
    const TableRules differing = differingRules(session);
    for (const PlacedRule &rule : differing.onlyHardware) {
        remark(describePlace(rule) + ": only in the hardware, not in the shadow: " + matchText(rule.rule));
        auto entry = toJson(rule);
        entry["actions"] = actionJson(readAction(session, rule.id), revision);
        entry["only_in"] = "hardware";
        json.push_back(entry);
    }
    for (const PlacedRule &rule : differing.onlyShadow)
        remark("rule " + std::to_string(rule.id) +
               ": not in the hardware; 'op write_all_ifc_rule_to_hw' writes the shadow there");
    if (set.count() == 0)
        remark("no rules");
    session.print(session.options().brief ? briefText(set, revision) : text, json);
}

} // namespace ifcctl
