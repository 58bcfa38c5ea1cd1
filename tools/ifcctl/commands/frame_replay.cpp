// SPDX-License-Identifier: MIT OR GPL-2.0
#include "frame_replay.h"

#include "frame_selection.h"
#include "frame_support.h"
#include "progress.h"
#include "wrap.h"

#include "tools/capture/capture_writer.h"
#include "tools/ifcctl/core/replay_totals.h"
#include "tools/ifcctl/core/rule_words.h"
#include "tools/ifcctl/core/values.h"
#include "tools/ifcctl/device/rule_set.h"

#include <algorithm>
#include <memory>
#include <optional>

namespace ifcctl
{

IFC_Action_Format actionOf(Session &session, int entry)
{
    IFC_Action_Format action;
    const uint32_t *words = session.device().window().tables().action[entry];
    std::copy(words, words + std::size(action.word), action.word);
    return action;
}

// The frame as it leaves the engine. A frame that no rule decides leaves unchanged.
FrameBytes acted(engine::Classifier &classifier, Session &session, int entry,
                 const engine::ParsedFrame &parsed, const uint8_t *data, size_t length)
{
    if (entry == engine::kNoEntry)
        return {data, data + length};
    FrameBytes out(length + engine::kMaxGrowth);
    const engine::Action action = classifier.action(entry, session.device().revision());
    out.resize(
        engine::applyAction(action, parsed, classifier.userTpid(), data, length, out.data(), out.size()));
    return out;
}

namespace
{

std::string namesOf(const std::vector<Replayed> &captures)
{
    std::string names;
    for (const Replayed &capture : captures)
        names += (names.empty() ? "" : " ") + capture.name;
    return names;
}

// The rules in the order in which they decide: frames hit and decided, match and action in words.
std::string rulesText(Session &session, const ReplayTotals &totals)
{
    constexpr unsigned kIndent = 38;
    const RuleSet set(session);
    std::string text = "  rule      hits    frames       bytes  match -> action\n";
    for (unsigned n = 0; n < set.count(); ++n) {
        const ReplayTotals::Entry &entry = totals.entries[set.number(n)];
        char line[80];
        (void)std::snprintf(line, sizeof line, "  %4u  %8llu  %8llu  %10llu  ", set.number(n),
                            static_cast<unsigned long long>(entry.hits),
                            static_cast<unsigned long long>(entry.frames),
                            static_cast<unsigned long long>(entry.bytes));
        const std::string action = actionText(set.rule(n).action, session.device().revision());
        text += wrapped(line + matchText(set.rule(n)) + " -> " + (action.empty() ? "no action" : action),
                        outputWidth(), kIndent);
    }
    return text;
}

void printTotals(Session &session, const std::vector<Replayed> &captures, const ReplayTotals &totals,
                 const Selection &selection, const std::string &sideWords)
{
    nlohmann::ordered_json json = {{"capture", namesOf(captures)},
                                   {"frames", totals.frames},
                                   {"bytes", totals.bytes},
                                   {"hit", totals.hit},
                                   {"cut", totals.cut},
                                   {"classifier", classifierOn(session)},
                                   {"rules", nlohmann::ordered_json::array()}};
    for (const PlacedRule &rule : placedRules()) {
        const ReplayTotals::Entry &entry = totals.entries[rule.id];
        json["rules"].push_back({{"rule", rule.id},
                                 {"place", describePlace(rule)},
                                 {"hits", entry.hits},
                                 {"frames", entry.frames},
                                 {"bytes", entry.bytes},
                                 {"conditions", matchJson(rule.rule)}});
    }
    std::string text = session.options().brief ? "" : rulesText(session, totals);
    for (const Replayed &capture : captures)
        text += printable(capture.name) + ": " + framesText(capture.frames) + ", " +
                std::to_string(capture.hit) + " decided by a rule, " +
                std::to_string(capture.frames - capture.hit) + " without a rule\n";
    if (totals.cut != 0)
        text += framesText(totals.cut) + " cut off when captured\n";
    if (!classifierOn(session))
        text += "the classifier is off\n";
    if (selection.listed())
        addShapes(text, json, captures, selection, sideWords);
    session.print(text + kModelNote, json);
}

} // namespace

void frameReplay(Session &session, WordReader &words)
{
    const std::string accepted = "a capture file, or - for standard input";
    const Words choices = {"-o", "--only-hits", "--misses", "--rule", "iface", "gem_port"};
    std::vector<std::string> paths;
    engine::SideData side;
    std::string sideWords; // as given
    std::string outPath;
    Selection selection;
    while (!words.atEnd()) {
        const std::string word = words.peek();
        if (parseSideData(words, side)) {
            sideWords += ' ' + word + ' ' + words.value();
            continue;
        }
        if (word != "-o" && word.rfind("--", 0) != 0) {
            paths.push_back(words.take("frame replay", accepted));
            continue;
        }
        if (words.takeChoice("frame replay", choices) != 0) {
            readSelection(session, words, selection, word);
            continue;
        }
        outPath = words.take("-o", "the file to write");
        if (outPath.empty())
            words.reject("the file to write");
        if (outPath == "-")
            words.reject("the file to write; standard output gets the totals");
    }
    if (paths.empty())
        throw usage("frame replay", "", accepted);
    if (selection.which == Selection::Which::Hits && outPath.empty())
        throw usage("--only-hits", "", "--only-hits together with -o OUT only");

    if (!outPath.empty() && paths.size() != 1)
        throw usage("-o", outPath, "-o with one capture only");

    std::optional<capture::CaptureWriter> out;
    const auto classifier = std::make_unique<engine::Classifier>(session.device().window());
    ReplayTotals totals;
    std::vector<Replayed> captures;
    // All captures are opened before the first is replayed, so the counters count all of them or none.
    std::vector<std::unique_ptr<capture::FrameCapture>> sources;
    sources.reserve(paths.size());
    for (const std::string &path : paths)
        sources.push_back(std::make_unique<capture::FrameCapture>(path));
    if (!outPath.empty())
        out.emplace(outPath, sources.front()->nanoseconds());
    for (size_t n = 0; n < paths.size(); ++n) {
        capture::FrameCapture &source = *sources[n];
        const uint64_t before = totals.frames;
        const uint64_t hitBefore = totals.hit;
        Progress progress(source);
        engine::ParsedFrame parsed;
        for (capture::CapturedFrame frame{}; source.next(frame);) {
            const engine::Result result =
                session.device().classify(*classifier, frame.data, frame.length, side, parsed);
            totals.count(result, frame.length);
            totals.cut += frame.wireLength > frame.length;
            progress.frame();
            if (!selection.takes(result.entry))
                continue;
            if (selection.listed())
                selection.shapes.count(parsed.fields, frame.length, n, totals.frames - before);
            if (out) {
                const FrameBytes bytes =
                    acted(*classifier, session, result.entry, parsed, frame.data, frame.length);
                out->write(frame, bytes.data(), static_cast<uint32_t>(bytes.size()));
            }
        }
        const std::string &path = paths[n];
        captures.push_back({path, path == "-" ? "standard input" : path.substr(path.rfind('/') + 1),
                            totals.frames - before, totals.hit - hitBefore});
    }
    if (out)
        out->finish();
    printTotals(session, captures, totals, selection, sideWords);
}

} // namespace ifcctl
