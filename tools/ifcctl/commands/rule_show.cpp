// SPDX-License-Identifier: MIT OR GPL-2.0
// rule show: the rules in the order in which they decide, as lines of a batch.
#include "rule_commands.h"
#include "wrap.h"

#include "tools/ifcctl/commands/frame_support.h"
#include "tools/ifcctl/core/rule_words.h"
#include "tools/ifcctl/core/rules.h"

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

} // namespace

void ruleShow(Session &session, WordReader &words)
{
    words.expectEnd("rule show");
    const RuleSet set(session);
    const int revision = session.device().revision();
    const unsigned width = outputWidth();
    std::string text;
    auto json = nlohmann::ordered_json::array();
    if (ifcSendToPpe != 0)
        text += "ppe on\n";
    if (classifierOn(session))
        text += "classifier enable\n";
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
    for (const PlacedRule &rule : placedRules())
        if (!set.find(rule.id))
            text += "# " + describePlace(rule) + ": " +
                    (rule.lut0 ? "not in the hardware of this revision" : "no end flag, never hits") + '\n';
    if (set.count() == 0)
        text += "# no rules\n";
    session.print(text, json);
}

} // namespace ifcctl
