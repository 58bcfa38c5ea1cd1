// SPDX-License-Identifier: MIT OR GPL-2.0
// report: one page about the rules, for people.
#include "findings.h"
#include "frame_selection.h"
#include "frame_support.h"
#include "progress.h"
#include "resource_show.h"
#include "rule_commands.h"
#include "rule_notes.h"
#include "set_commands.h"

#include "tools/ifcctl/core/frame_fields.h"
#include "tools/ifcctl/core/replay_totals.h"
#include "tools/ifcctl/core/values.h"
#include "tools/ifcctl/device/output_file.h"
#include "tools/ifcctl/report/activity.h"
#include "tools/ifcctl/report/report_data.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>

namespace ifcctl
{

namespace
{

struct Request {
    std::string out;
    std::string title = "Classifier report";
    std::string set;
    std::vector<std::string> captures;
    engine::SideData side;
    std::string sideWords;
};

bool nextIsFile(const WordReader &words)
{
    const std::string &word = words.peek();
    return !words.atEnd() && (word == "-" || word[0] != '-') && word != "iface" && word != "gem_port";
}

Request readRequest(WordReader &words)
{
    Request request;
    while (!words.atEnd()) {
        const std::string word = words.peek();
        if (parseSideData(words, request.side)) {
            request.sideWords += ' ' + word + ' ' + words.value();
            continue;
        }
        switch (words.takeChoice("report", {"-o", "--capture", "--set", "--title", "iface", "gem_port"})) {
        case 0:
            request.out = words.take("-o", "the file to write");
            break;
        case 1:
            do
                request.captures.push_back(
                    words.take("--capture", "a capture file, or - for standard input"));
            while (nextIsFile(words));
            break;
        case 2:
            request.set = words.take("--set", "a file of 'rule add' lines, or -");
            break;
        default:
            request.title = words.take("--title", "the title of the page");
        }
    }
    if (request.out.empty())
        throw usage("report", "", "-o FILE, the page to write");
    if (request.captures.empty() && !request.sideWords.empty())
        throw usage("report", request.sideWords.substr(1), "only together with --capture FILE");
    return request;
}

std::string nameOf(const std::string &path)
{
    return path == "-" ? "standard input" : path.substr(path.rfind('/') + 1);
}

// Replays the captures on a copy of the tables, so that no counter of the chip changes.
report::Replay replay(Session &session, const Request &request, ReplayTotals &totals,
                      report::Activity &activity)
{
    const auto window = std::make_unique<engine::RegisterWindow>(session.device().window());
    window->onAccess(nullptr, nullptr);
    const auto classifier = std::make_unique<engine::Classifier>(*window);
    std::vector<std::unique_ptr<capture::FrameCapture>> sources;
    report::Replay result{};
    for (const std::string &path : request.captures) {
        sources.push_back(std::make_unique<capture::FrameCapture>(path));
        result.captures += (result.captures.empty() ? "" : ", ") + nameOf(path);
    }
    FrameShapes shapes;
    engine::ParsedFrame parsed;
    for (size_t n = 0; n < sources.size(); ++n) {
        Progress progress(*sources[n]);
        uint64_t number = 0;
        for (capture::CapturedFrame frame{}; sources[n]->next(frame);) {
            const engine::Result verdict =
                classifier->classify(frame.data, frame.length, request.side, parsed);
            totals.count(verdict, frame.length);
            totals.cut += frame.wireLength > frame.length;
            ++number;
            const bool miss = verdict.entry == engine::kNoEntry;
            activity.count(miss ? report::Activity::kNoRule : static_cast<unsigned>(verdict.entry));
            if (miss) {
                shapes.count(parsed.fields, frame.length, n, number);
                ++result.misses.frames;
                result.misses.bytes += frame.length;
            }
            progress.frame();
        }
    }
    result.frames = totals.frames;
    result.bytes = totals.bytes;
    result.hit = totals.hit;
    result.cut = totals.cut;
    result.misses.activity = activity.of(report::Activity::kNoRule);
    for (const ShapeGroup &group : shapes.groups())
        result.missShapes.push_back(
            {group.shape, group.frames,
             explainCommand(request.captures[group.capture], group.firstNumber, request.sideWords)});
    return result;
}

// SOURCE_DATE_EPOCH instead of the time, if it is set: the same input gives the same page.
std::string timeText()
{
    const char *fixed = std::getenv("SOURCE_DATE_EPOCH");
    const auto seconds = fixed == nullptr ? std::nullopt : parseNumber(fixed);
    const std::time_t now = seconds ? static_cast<std::time_t>(*seconds) : std::time(nullptr);
    std::tm parts{};
    char text[40] = "";
    if (gmtime_r(&now, &parts) != nullptr)
        (void)std::strftime(text, sizeof text, "%Y-%m-%d %H:%M UTC", &parts);
    return text;
}

struct SetCheck {
    report::Check check;
    nlohmann::ordered_json json;
};

SetCheck checkSet(Session &session, const std::string &path)
{
    SetCheck result{{"set verify", "Hardware and shadow, by rule and field.", "they agree", true, {}}, {}};
    const Findings fields = fieldFindings(session);
    result.check.findings = fields.lines;
    result.json = {{"hardware_shadow", fields.json}};
    if (path.empty())
        return result;
    const SetFile file = readSetFile(path, session.device().revision());
    const Difference difference = differenceOf(session, file, SetPlan(session, file));
    result.check.command += ' ' + nameOf(path);
    result.check.about = "Hardware and shadow, by rule and field, and the shadow with the file.";
    result.json["shadow_file"] = difference.json;
    for (size_t from = 0; from < difference.text.size();) {
        const size_t end = difference.text.find('\n', from);
        result.check.findings.push_back(difference.text.substr(from, end - from));
        from = end + 1;
    }
    return result;
}

nlohmann::ordered_json replayJson(const report::Replay &replay)
{
    nlohmann::ordered_json json = {
        {"captures", replay.captures}, {"frames", replay.frames},
        {"bytes", replay.bytes},       {"hit", replay.hit},
        {"cut", replay.cut},           {"misses", nlohmann::ordered_json::array()}};
    for (const report::Miss &miss : replay.missShapes)
        json["misses"].push_back({{"shape", miss.shape}, {"frames", miss.frames}, {"explain", miss.explain}});
    return json;
}

void makeReport(Session &session, WordReader &words)
{
    const Request request = readRequest(words);
    if (request.out == "-" && session.options().json)
        throw usage("-o", request.out, "a file; with --json standard output gets the document");
    const int revision = session.device().revision();
    const RuleSet set(session);
    ReplayTotals totals;
    const auto activity = std::make_unique<report::Activity>();

    report::Data data{};
    data.title = request.title;
    data.made = timeText();
    data.device = session.options().device == kSimulatedDevice ? "simulated chip" : "kernel module";
    data.revision = revision;
    data.classifier = classifierOn(session);
    data.ppe = ifcSendToPpe != 0;
    data.map = tableMap(revision);
    if (!request.captures.empty())
        data.replay = replay(session, request, totals, *activity);

    auto rules = nlohmann::ordered_json::array();
    for (unsigned n = 0; n < set.count(); ++n) {
        const unsigned number = set.number(n);
        report::Traffic traffic;
        if (data.replay) {
            const ReplayTotals::Entry &entry = totals.entries[number];
            traffic = {entry.hits, entry.frames, entry.bytes, activity->of(number)};
        } else {
            const Counter counter = readCounter(session, number);
            traffic = {0, counter.frames, counter.bytes, {}};
        }
        data.rules.push_back({number, describePlace(set.place(n)), matchText(set.rule(n)),
                              actionText(set.rule(n).action, revision), traffic});
        auto json = standingJson(set, n, revision);
        json["frames"] = traffic.frames;
        json["bytes"] = traffic.bytes;
        if (data.replay)
            json["hits"] = traffic.hits;
        rules.push_back(json);
    }

    auto overlaps = nlohmann::ordered_json::array();
    for (const RuleNote &note : allNotes(set)) {
        if (note.kind != RuleNote::Kind::Overlap)
            continue;
        data.overlaps.push_back({note.position, note.other});
        overlaps.push_back({{"decides", set.number(note.position)}, {"not", set.number(note.other)}});
    }
    const Findings ofRules = ruleFindings(session);
    const Findings ofTables = tableFindings(session);
    SetCheck ofSet = checkSet(session, request.set);
    session.checkTransfers();
    data.checks.push_back({"rule check",
                           "Rules that never decide, rules whose order matters, and rules that the automatic "
                           "deletion takes together.",
                           "nothing found", false, ofRules.lines});
    data.checks.push_back(
        {"table verify", "Hardware and shadow, word by word.", "they agree", true, ofTables.lines});
    data.checks.push_back(ofSet.check);
    data.capacity = capacities(set);

    const std::string page = report::page(data);
    if (request.out == "-") {
        if (std::fputs(page.c_str(), stdout) < 0)
            throw outputFailed("standard output");
        return;
    }
    // A device may be the standard output. It gets the page without the line that follows.
    const bool isFile = writeTextFile("report", request.out, page);

    nlohmann::ordered_json json = {{"file", request.out}, {"title", data.title},
                                   {"made", data.made},   {"classifier", data.classifier},
                                   {"ppe", data.ppe},     {"tables", toJson(data.map)},
                                   {"rules", rules}};
    json["replay"] = data.replay ? replayJson(*data.replay) : nlohmann::ordered_json(nullptr);
    json["overlaps"] = overlaps;
    json["findings"] = {
        {"rule_check", ofRules.json}, {"table_verify", ofTables.json}, {"set_verify", ofSet.json}};
    json["shapes"] = capacityJson(data.capacity);
    size_t findings = 0;
    for (const report::Check &check : data.checks)
        findings += check.findings.size();
    session.print(isFile ? "report: " + printable(request.out) + ": " + std::to_string(data.rules.size()) +
                               (data.rules.size() == 1 ? " rule, " : " rules, ") + std::to_string(findings) +
                               (findings == 1 ? " finding\n" : " findings\n")
                         : "",
                  json);
}

} // namespace

std::vector<Command> reportCommands()
{
    return {
        {"report", "",
         "-o OUT [--capture FILE...] [--set FILE] [--title TEXT] [iface VALUE] [gem_port VALUE]",
         "write one page: tables, rules, traffic, findings and free space", makeReport},
    };
}

} // namespace ifcctl
