// SPDX-License-Identifier: MIT OR GPL-2.0
// rule add, insert, move, change, del, flush: edits of the ordered list.
#include "rule_commands.h"
#include "rule_notes.h"

#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/rule_name.h"
#include "tools/ifcctl/core/rule_words.h"

#include "ifc/ifc_glb.h"

namespace ifcctl
{

namespace
{

using Places = std::vector<ifc_ruleset_place>;

bool stands(const ifc_ruleset_place &place)
{
    return place.table != IFC_RULESET_NOWHERE;
}

// Applies the edits and reports the other rules that moved, in text and JSON.
class Applied
{
public:
    explicit Applied(RuleSet &set)
    {
        Places before;
        for (unsigned n = 0; n < set.count(); ++n)
            before.push_back(set.place(n));
        report = set.apply();
        moved = nlohmann::ordered_json::array();
        for (unsigned n = 0; n < set.count(); ++n) {
            const int from = ifc_ruleset_number(before[n]);
            if (!stands(before[n]) || from == static_cast<int>(set.number(n)))
                continue;
            text += "  moved: rule " + std::to_string(from) + " is now rule " +
                    std::to_string(set.number(n)) + " (" + describePlace(set.place(n)) + ")\n";
            moved.push_back({{"from", from}, {"rule", set.number(n)}});
        }
    }
    ifc_ruleset_report report;
    std::string text;
    nlohmann::ordered_json moved;
};

void refuseNotes(const Session &session, const RuleSet &set, const std::vector<RuleNote> &notes)
{
    if (session.options().strict && !notes.empty())
        throw refused(Reason::NeverDecides, "rule", set.wordsOf(notes.front().position),
                      describe(set, notes.front()) + " (--strict)");
}

void addWarnings(const RuleSet &set, const std::vector<RuleNote> &notes, std::string &text,
                 nlohmann::ordered_json &json)
{
    for (const RuleNote &note : notes) {
        const std::string warning = describe(set, note);
        text += "  warning: " + warning + '\n';
        json["warnings"].push_back(warning);
    }
}

void place(Session &session, RuleSet &set, unsigned position, const ifc_rule &rule)
{
    set.insert(position, rule);
    const auto notes = notesAround(set, position);
    refuseNotes(session, set, notes);
    const Applied applied(set);
    const std::string number = std::to_string(set.number(position));
    std::string text =
        "rule " + number + ": " + describePlace(set.place(position)) + ", action " + number + '\n';
    auto json = standingJson(set, position, session.device().revision());
    text += applied.text;
    json["moved"] = applied.moved;
    addWarnings(set, notes, text, json);
    session.print(text, json);
}

// Between which rules a rule decides.
std::string orderText(const RuleSet &set, unsigned position)
{
    const auto name = [&](unsigned n) { return "rule " + std::to_string(set.number(n)); };
    const bool first = position == 0;
    const bool last = position + 1 == set.count();
    if (first && last)
        return "";
    if (first)
        return ", decides before all others";
    return last ? ", decides after all others"
                : ", decides after " + name(position - 1) + " and before " + name(position + 1);
}

} // namespace

void ruleAdd(Session &session, WordReader &words)
{
    if (words.skip("auto")) {
        ruleAddAuto(session, words);
        return;
    }
    const ifc_rule rule = ruleFrom(session, words);
    RuleSet set(session);
    place(session, set, set.count(), rule);
}

void ruleInsert(Session &session, WordReader &words)
{
    RuleSet set(session);
    unsigned position = 0;
    if (words.skip("before"))
        position = takeRuleNumber(set, words, "rule insert before");
    place(session, set, position, ruleFrom(session, words));
}

void ruleMove(Session &session, WordReader &words)
{
    RuleSet set(session);
    const unsigned from = takeRuleNumber(set, words, "rule move");
    unsigned to = set.count() - 1;
    if (words.takeChoice("rule move", {"before", "last"}) == 0) {
        to = takeRuleNumber(set, words, "rule move before");
        if (to > from)
            --to;
    }
    words.expectEnd("rule move");
    const ifc_ruleset_place was = set.place(from);
    set.move(from, to);
    const auto notes = notesAround(set, to);
    refuseNotes(session, set, notes);
    const Applied applied(set);
    const std::string number = std::to_string(set.number(to));
    const std::string before = std::to_string(ifc_ruleset_number(was));
    std::string text = "rule " + before +
                       (before == number ? " keeps its number" : " is now rule " + number) + ": " +
                       describePlace(set.place(to)) + ", action " + number + orderText(set, to) + '\n';
    auto json = standingJson(set, to, session.device().revision());
    json["position"] = to + 1;
    text += applied.text;
    json["moved"] = applied.moved;
    addWarnings(set, notes, text, json);
    session.print(text, json);
}

void ruleChange(Session &session, WordReader &words)
{
    RuleSet set(session);
    const unsigned position = takeRuleNumber(set, words, "rule change");
    (void)words.takeChoice("rule change", {kActionWord});
    const int revision = session.device().revision();
    ifc_rule rule = set.rule(position);
    mergeAction(rule.action, words, revision);
    refuseWithoutPpe(rule.action);
    set.replace(position, rule, IFC_RULESET_ACTION);
    (void)set.apply();
    session.print("rule " + std::to_string(set.number(position)) + ": " + actionLine(rule.action, revision) +
                      '\n',
                  standingJson(set, position, revision));
}

void deleteRules(Session &session, RuleSet &set, const std::vector<unsigned> &positions)
{
    std::string text;
    auto json = nlohmann::ordered_json::array();
    for (const unsigned position : positions) {
        text += "deleted: rule " + std::to_string(set.number(position)) + ", " +
                describePlace(set.place(position)) + '\n';
        json.push_back(standingJson(set, position, session.device().revision()));
    }
    for (auto position = positions.rbegin(); position != positions.rend(); ++position)
        set.remove(*position);
    const Applied applied(set);
    session.print(text + applied.text, {{"deleted", json}, {"moved", applied.moved}});
}

void ruleDelete(Session &session, WordReader &words)
{
    if (words.skip("auto")) {
        ruleDeleteAuto(session, words);
        return;
    }
    RuleSet set(session);
    std::vector<unsigned> positions;
    if (words.skip("id") || isRuleName(words.peek())) {
        positions.push_back(takeRuleNumber(set, words, "rule del"));
        words.expectEnd("rule del");
    } else {
        ifc_rule rule{};
        readMatch(words, rule);
        words.expectEnd("rule del");
        positions = positionsOf(set, rule);
        if (positions.empty())
            throw refused(Reason::NoSuchRule, "rule", matchText(rule),
                          "no rule holds exactly these conditions (see 'rule show')");
    }
    deleteRules(session, set, positions);
}

void ruleFlush(Session &session, WordReader &words)
{
    words.expectEnd("rule flush");
    RuleSet set(session);
    const unsigned count = set.count();
    set.clear();
    (void)set.apply();
    session.print("deleted: " + std::to_string(count) + (count == 1 ? " rule\n" : " rules\n"),
                  {{"deleted", count}});
}

} // namespace ifcctl
