// SPDX-License-Identifier: MIT OR GPL-2.0
// frame send, frame replay, frame fields.
#include "commands.h"
#include "frame_support.h"
#include "wrap.h"

#include "tools/capture/capture_writer.h"
#include "tools/capture/frame_capture.h"
#include "tools/ifcctl/core/frame_fields.h"
#include "tools/ifcctl/core/rule_words.h"
#include "tools/ifcctl/core/values.h"
#include "tools/ifcctl/device/rule_set.h"

#include <algorithm>
#include <array>
#include <optional>

#include <unistd.h>

namespace ifcctl
{

namespace
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

void frameSend(Session &session, WordReader &words)
{
    const std::string hex = words.take("frame send", "a frame in hex, without FCS");
    const FrameBytes frame = parseFrameHex("frame send", hex);
    engine::SideData side;
    while (parseSideData(words, side))
        ;
    words.expectEnd("frame send");

    const auto classifier = std::make_unique<engine::Classifier>(session.device().window());
    engine::ParsedFrame parsed;
    const engine::Result result =
        session.device().classify(*classifier, frame.data(), frame.size(), side, parsed);
    const FrameBytes out = acted(*classifier, session, result.entry, parsed, frame.data(), frame.size());

    std::string text = "hits: " + describeHits(result.hits) + "\n";
    nlohmann::ordered_json json = {{"len", frame.size()}, {"hits", hitsToJson(result.hits)}};
    if (!classifierOn(session))
        text += "the classifier is off\n";
    json["classifier"] = classifierOn(session);
    if (result.entry == engine::kNoEntry) {
        json["rule"] = nullptr;
    } else {
        const IFC_Action_Format action = actionOf(session, result.entry);
        const int revision = session.device().revision();
        text += wrapped("rule " + std::to_string(result.entry) + " (" + entryName(result.entry) +
                            ") decides, " + actionLine(action, revision),
                        outputWidth(), 2);
        json["rule"] = result.entry;
        json["action"] = actionJson(action, revision);
    }
    text += out == frame ? "frame leaves as it came\n"
                         : "frame leaves as " + formatFrameHex(out.data(), out.size()) + "\n";
    json["out"] = formatFrameHex(out.data(), out.size());
    session.print(text + kModelNote, json);
}

// Shows the progress on a terminal.
class Progress
{
public:
    explicit Progress(const capture::FrameCapture &source)
        : capture_(source), shown_(isatty(STDERR_FILENO) != 0 && source.size() != 0)
    {
    }
    void frame(uint64_t frames)
    {
        if (!shown_ || frames % kEvery != 0)
            return;
        const uint64_t percent = std::min<uint64_t>(100, 100 * capture_.consumed() / capture_.size());
        std::fprintf(stderr, "\r%llu frames, %llu %%", static_cast<unsigned long long>(frames),
                     static_cast<unsigned long long>(percent));
        wrote_ = true;
    }
    ~Progress()
    {
        if (wrote_)
            std::fputs("\r\033[K", stderr);
    }

private:
    static constexpr uint64_t kEvery = 1u << 18;
    const capture::FrameCapture &capture_;
    bool shown_;
    bool wrote_ = false;
};

struct Totals {
    uint64_t frames = 0;
    uint64_t bytes = 0;
    uint64_t hit = 0;
    uint64_t cut = 0; // frames that are shorter in the capture than they were on the wire
    struct Entry {
        uint64_t hits = 0;
        uint64_t frames = 0; // decided
        uint64_t bytes = 0;  // of these
    };
    std::array<Entry, IFC_ACTIONS> entries{};
};

void countHits(Totals &totals, const engine::Result &result, uint32_t length)
{
    ++totals.frames;
    totals.bytes += length;
    if (result.entry == engine::kNoEntry)
        return;
    ++totals.hit;
    uint64_t hits = uint64_t{result.hits.lut1[0]} << IFC_LUT0_RULES | result.hits.lut0;
    for (; hits != 0; hits &= hits - 1)
        ++totals.entries[static_cast<size_t>(__builtin_ctzll(hits))].hits;
    Totals::Entry &entry = totals.entries[static_cast<size_t>(result.entry)];
    ++entry.frames;
    entry.bytes += length;
}

std::string framesText(uint64_t frames)
{
    return std::to_string(frames) + (frames == 1 ? " frame" : " frames");
}

// One capture, or several together.
struct Replayed {
    std::string name;
    uint64_t frames;
    uint64_t hit;
};

std::string namesOf(const std::vector<Replayed> &captures)
{
    std::string names;
    for (const Replayed &capture : captures)
        names += (names.empty() ? "" : " ") + capture.name;
    return names;
}

// The rules in the order in which they decide: frames hit and decided, match and action in words.
std::string rulesText(Session &session, const Totals &totals)
{
    constexpr unsigned kIndent = 38;
    const RuleSet set(session);
    std::string text = "  rule      hits    frames       bytes  match -> action\n";
    for (unsigned n = 0; n < set.count(); ++n) {
        const Totals::Entry &entry = totals.entries[set.number(n)];
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

void printTotals(Session &session, const std::vector<Replayed> &captures, const Totals &totals)
{
    nlohmann::ordered_json json = {{"capture", namesOf(captures)},
                                   {"frames", totals.frames},
                                   {"bytes", totals.bytes},
                                   {"hit", totals.hit},
                                   {"cut", totals.cut},
                                   {"classifier", classifierOn(session)},
                                   {"rules", nlohmann::ordered_json::array()}};
    for (const PlacedRule &rule : placedRules()) {
        const Totals::Entry &entry = totals.entries[rule.id];
        json["rules"].push_back({{"rule", rule.id},
                                 {"place", describePlace(rule)},
                                 {"hits", entry.hits},
                                 {"frames", entry.frames},
                                 {"bytes", entry.bytes},
                                 {"conditions", matchJson(rule.rule)}});
    }
    std::string text = rulesText(session, totals);
    for (const Replayed &capture : captures)
        text += printable(capture.name) + ": " + framesText(capture.frames) + ", " +
                std::to_string(capture.hit) + " decided by a rule, " +
                std::to_string(capture.frames - capture.hit) + " without a rule\n";
    if (totals.cut != 0)
        text += framesText(totals.cut) + " cut off when captured\n";
    if (!classifierOn(session))
        text += "the classifier is off\n";
    session.print(text + kModelNote, json);
}

void frameReplay(Session &session, WordReader &words)
{
    std::vector<std::string> paths = {words.take("frame replay", "a capture file, or - for standard input")};
    engine::SideData side;
    std::string outPath;
    bool onlyHits = false;
    while (!words.atEnd()) {
        if (parseSideData(words, side))
            continue;
        if (const std::string &word = words.peek(); word != "-o" && word.rfind("--", 0) != 0) {
            paths.push_back(words.take("frame replay", "a capture file"));
            continue;
        }
        const size_t choice = words.takeChoice("frame replay", {"-o", "--only-hits", "iface", "gem_port"});
        if (choice == 1) {
            onlyHits = true;
        } else {
            outPath = words.take("-o", "the file to write");
            if (outPath.empty())
                words.reject("the file to write");
        }
    }
    if (onlyHits && outPath.empty())
        throw usage("--only-hits", "", "--only-hits together with -o OUT only");

    if (!outPath.empty() && paths.size() != 1)
        throw usage("-o", outPath, "-o with one capture only");

    std::optional<capture::CaptureWriter> out;
    const auto classifier = std::make_unique<engine::Classifier>(session.device().window());
    Totals totals;
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
            countHits(totals, result, frame.length);
            totals.cut += frame.wireLength > frame.length;
            if (out && (!onlyHits || result.entry != engine::kNoEntry)) {
                const FrameBytes bytes =
                    acted(*classifier, session, result.entry, parsed, frame.data, frame.length);
                out->write(frame, bytes.data(), static_cast<uint32_t>(bytes.size()));
            }
            progress.frame(totals.frames);
        }
        const std::string &path = paths[n];
        captures.push_back({path == "-" ? "standard input" : path.substr(path.rfind('/') + 1),
                            totals.frames - before, totals.hit - hitBefore});
    }
    if (out)
        out->finish();
    printTotals(session, captures, totals);
}

// One JSON object for each frame, even without --json.
void frameFields(Session &session, WordReader &words)
{
    capture::FrameCapture source(words.take("frame fields", "a capture file, or - for standard input"));
    engine::SideData side;
    while (parseSideData(words, side))
        ;
    words.expectEnd("frame fields");

    const auto classifier = std::make_unique<engine::Classifier>(session.device().window());
    engine::ParsedFrame parsed;
    uint64_t number = 0;
    for (capture::CapturedFrame frame{}; source.next(frame);) {
        classifier->parse(frame.data, frame.length, side, parsed);
        const nlohmann::ordered_json json = {
            {"frame", ++number}, {"len", frame.length}, {"fields", fieldsToJson(parsed.fields)}};
        session.print(json.dump() + '\n', json);
    }
}

} // namespace

std::vector<Command> frameCommands()
{
    return {
        {"frame", "send", "HEX [iface VALUE] [gem_port VALUE]", "send one frame through the engine",
         frameSend},
        {"frame", "replay", "FILE... [-o OUT [--only-hits]] [iface VALUE] [gem_port VALUE]",
         "send captures through the engine; OUT gets the frames as they leave", frameReplay},
        {"frame", "fields", "FILE [iface VALUE] [gem_port VALUE]",
         "the fields of each frame, one JSON object a line", frameFields},
    };
}

} // namespace ifcctl
