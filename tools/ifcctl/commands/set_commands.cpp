// SPDX-License-Identifier: MIT OR GPL-2.0
// set load, diff, save; the table of all set commands.
#include "set_commands.h"

#include "frame_support.h"
#include "rule_notes.h"
#include "wrap.h"

#include "tools/ifcctl/core/rule_words.h"
#include "tools/ifcctl/device/output_file.h"
#include "tools/ifcctl/device/set_plan.h"

#include "ruleset/edits.h"

#include <algorithm>
#include <sstream>

namespace ifcctl
{

namespace
{

std::string counted(unsigned count, const std::string &what)
{
    return std::to_string(count) + ' ' + what;
}

std::string nameOf(std::optional<int> number)
{
    return "rule " + std::to_string(number.value_or(-1));
}

const char *wordOf(const SetStep &step)
{
    switch (step.kind) {
    case SetStep::Kind::Keep:
        return step.newAction ? "change" : "keep";
    case SetStep::Kind::Move:
        return "move";
    case SetStep::Kind::Add:
        return "add";
    default:
        return "delete";
    }
}

std::string stepText(const SetStep &step, int revision)
{
    std::string text = std::string(wordOf(step)) + ' ' + nameOf(step.from ? step.from : step.to);
    if (step.kind == SetStep::Kind::Move)
        text += " to " + std::to_string(*step.to) + (step.newAction ? ", with a new action" : "");
    return text + ": " + ruleText(step.rule, revision) + '\n';
}

nlohmann::ordered_json stepJson(const SetStep &step, int revision)
{
    nlohmann::ordered_json json = {{"do", wordOf(step)}};
    if (step.from)
        json["from"] = *step.from;
    if (step.to)
        json["rule"] = *step.to;
    if (step.line != 0)
        json["line"] = step.line;
    json["new_action"] = step.newAction;
    json["text"] = ruleText(step.rule, revision);
    return json;
}

struct Switch {
    const char *name;
    const char *word; // that sets it to the file's value
    bool wanted;
    const char *operation;
};

// The switches that the file changes.
std::vector<Switch> switchesOf(Session &session, const SetFile &file)
{
    std::vector<Switch> list;
    if (file.ppe && *file.ppe != (ifcSendToPpe != 0))
        list.push_back({"ppe", *file.ppe ? "on" : "off", *file.ppe, "set ifcSendToPpe"});
    if (file.classifier && *file.classifier != classifierOn(session))
        list.push_back({"classifier", *file.classifier ? "enable" : "disable", *file.classifier, ""});
    return list;
}

void perform(Session &session, const Switch &change)
{
    if (*change.operation != '\0')
        session.perform(change.operation, change.wanted ? 1 : 0);
    else
        session.perform(change.wanted ? "ifc_enable" : "ifc_disable");
}

std::string fileOf(WordReader &words, const char *command)
{
    return words.take(command, "a file of 'rule add' lines, or -");
}

void setLoad(Session &session, WordReader &words)
{
    const bool dry = words.skip("-n");
    const std::string path = fileOf(words, "set load");
    const bool alsoDry = !dry && words.skip("-n");
    words.expectEnd("set load");
    const bool only = dry || alsoDry;
    const int revision = session.device().revision();
    const SetFile file = readSetFile(path, revision);
    SetPlan plan(session, file);
    std::vector<RuleNote> notes;
    for (unsigned n = 0; n < file.rules.size(); ++n)
        for (const RuleNote &note : deadNotes(plan.rules(), n))
            notes.push_back(note);
    if (session.options().strict && !notes.empty())
        throw refused(Reason::NeverDecides, file.placeOf(notes.front().position) + ": rule",
                      plan.rules().wordsOf(notes.front().position),
                      describe(plan.rules(), notes.front()) + " (--strict)");
    plan.apply(only ? IFC_RULESET_PLAN_ONLY : 0);
    const std::vector<Switch> switches = switchesOf(session, file);
    if (!only)
        for (const Switch &change : switches)
            perform(session, change);

    const ifc_ruleset_report &report = plan.report();
    std::string text;
    auto steps = nlohmann::ordered_json::array();
    for (const SetStep &step : plan.steps()) {
        if (!session.options().brief)
            text += stepText(step, revision);
        steps.push_back(stepJson(step, revision));
    }
    auto changes = nlohmann::ordered_json::object();
    for (const Switch &change : switches) {
        text += std::string(change.name) + ' ' + change.word + '\n';
        changes[change.name] = change.wanted;
    }
    auto warnings = nlohmann::ordered_json::array();
    for (const RuleNote &note : notes) {
        warnings.push_back(describe(plan.rules(), note));
        text += "  warning: " + file.placeOf(note.position) + ": " + describe(plan.rules(), note) + '\n';
    }
    const unsigned changed = plan.changedActions();
    text += std::string(only ? "would be loaded: " : "loaded: ") + counted(report.kept, "kept, ") +
            counted(report.moved, report.fewest != 0 ? "moved, " : "moved (fewer may suffice), ") +
            counted(report.added, "added, ") + counted(report.deleted, "deleted, ") +
            counted(changed, "with a new action; ") + (only ? "at most " : "") +
            counted(report.accesses, "register accesses\n");
    session.print(text, {{"file", file.name},
                         {"applied", !only},
                         {"rules", steps},
                         {"switches", changes},
                         {"warnings", warnings},
                         {"kept", report.kept},
                         {"moved", report.moved},
                         {"added", report.added},
                         {"deleted", report.deleted},
                         {"new_actions", changed},
                         {"fewest_moves", report.fewest != 0},
                         {"accesses", report.accesses}});
}

void setDiff(Session &session, WordReader &words)
{
    const std::string path = fileOf(words, "set diff");
    words.expectEnd("set diff");
    const SetFile file = readSetFile(path, session.device().revision());
    const SetPlan plan(session, file);
    const Difference difference = differenceOf(session, file, plan);
    session.print(difference.text.empty() ? "no difference\n" : difference.text,
                  {{"file", file.name}, {"same", difference.text.empty()}, {"differences", difference.json}});
    if (!difference.text.empty())
        session.setCode(kExitDiffers);
}

// The lines broken so that a batch reads them as before.
std::string continued(const std::string &text, unsigned width)
{
    std::string out;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        out += line[0] == '#' ? line + '\n' : wrapped(line, width, 4, " \\");
    return out;
}

void setSave(Session &session, WordReader &words)
{
    std::string path;
    if (!words.atEnd())
        path = words.take("set save", "a file");
    words.expectEnd("set save");
    const RuleSet set(session);
    std::vector<ifc_rule> rules;
    for (unsigned n = 0; n < set.count(); ++n)
        rules.push_back(set.rule(n));
    const std::string text =
        setFileText(rules, ifcSendToPpe != 0, classifierOn(session), session.device().revision());
    if (path.empty() || path == "-") {
        // Standard output is folded as a batch is.
        session.print(session.options().foldWidth != 0 ? continued(text, session.options().foldWidth) : text,
                      {{"text", text}, {"rules", rules.size()}});
        return;
    }
    const bool isFile = writeTextFile("set save", path, text);
    const unsigned count = set.count();
    session.print(isFile ? "saved: " + counted(count, count == 1 ? "rule in " : "rules in ") + path + '\n'
                         : "",
                  {{"file", path}, {"rules", count}});
}

} // namespace

Difference differenceOf(Session &session, const SetFile &file, const SetPlan &plan)
{
    const int revision = session.device().revision();
    Difference difference;
    const auto add = [&](const std::string &line, nlohmann::ordered_json json) {
        difference.text += line + '\n';
        difference.json.push_back(std::move(json));
    };
    for (const SetStep &step : plan.steps()) {
        const std::string text = ruleText(step.rule, revision);
        if (step.kind == SetStep::Kind::Add)
            add("+ " + text, {{"kind", "file only"}, {"line", step.line}, {"text", text}});
        else if (step.kind == SetStep::Kind::Delete)
            add("- " + nameOf(step.from) + ": " + text,
                {{"kind", "tables only"}, {"rule", *step.from}, {"text", text}});
        else if (step.newAction)
            add("! " + nameOf(step.from) + " has another action: " + text,
                {{"kind", "action"}, {"rule", *step.from}, {"line", step.line}, {"text", text}});
    }
    for (const OrderFault &fault : plan.orderFaults()) {
        const SetStep &first = plan.steps()[fault.first];
        const SetStep &second = plan.steps()[fault.second];
        add("> " + nameOf(second.from) + " decides before " + nameOf(first.from) +
                "; the file has them the other way round",
            {{"kind", "order"}, {"first", *first.from}, {"second", *second.from}});
    }
    for (const Switch &change : switchesOf(session, file))
        add(std::string("! ") + change.name + ": the file says " + change.word,
            {{"kind", "switch"}, {"switch", change.name}, {"wanted", change.wanted}});
    return difference;
}

std::vector<Command> setCommands()
{
    return {
        {"set", "load", "[-n] FILE",
         "replace the rules by those of a file, all or nothing; -n: only show the plan", setLoad},
        {"set", "diff", "FILE", "what 'set load' would change", setDiff},
        {"set", "save", "[FILE]", "write all rules and switches as a file for 'set load'", setSave},
        {"set", "verify", "[FILE]", "compare hardware with shadow by rule and field, and both with a file",
         setVerify},
    };
}

} // namespace ifcctl
