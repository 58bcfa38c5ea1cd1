// SPDX-License-Identifier: MIT OR GPL-2.0
// frame send, frame replay, frame fields, rule explain.
#include "commands.h"

#include "tools/capture/capture_writer.h"
#include "tools/capture/frame_capture.h"
#include "tools/ifcctl/core/action.h"
#include "tools/ifcctl/core/explain.h"
#include "tools/ifcctl/core/frame_fields.h"
#include "tools/ifcctl/core/values.h"

#include <algorithm>
#include <array>
#include <optional>

#include <unistd.h>

namespace ifcctl
{

namespace
{

// What a line of the tool rests on the model's choices says so.
constexpr const char *kModel = "model: docs/hardware-model.md\n";

bool classifierOn(Session &session)
{
    return (session.device().window().globalConfig() & IFC_GLB_CFG_ENABLE) != 0;
}

IFC_Action_Format actionOf(Session &session, int entry)
{
    IFC_Action_Format action;
    const uint32_t *words = session.device().window().tables().action[entry];
    std::copy(words, words + std::size(action.word), action.word);
    return action;
}

// The frame as it leaves the engine: a frame that no rule decides leaves as it came.
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

void frameSend(Session &session, const Words &words, size_t at)
{
    if (at >= words.size())
        throw usage("frame send", "", "a frame in hex, without FCS");
    const FrameBytes frame = parseFrameHex("frame send", words[at++]);
    engine::SideData side;
    while (parseSideData(words, at, side))
        ;
    expectEnd(words, at, "frame send");

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
        const auto action = describeAction(actionOf(session, result.entry));
        text += "rule " + std::to_string(result.entry) + " (" + entryName(result.entry) +
                ") decides, action " + action.dump() + "\n";
        json["rule"] = result.entry;
        json["action"] = action;
    }
    text += out == frame ? "frame leaves as it came\n"
                         : "frame leaves as " + formatFrameHex(out.data(), out.size()) + "\n";
    json["out"] = formatFrameHex(out.data(), out.size());
    session.print(text + kModel, json);
}

// A line on the terminal, now and then.
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

void printTotals(Session &session, const std::string &path, const Totals &totals)
{
    const std::string capture = path == "-" ? "standard input" : path.substr(path.rfind('/') + 1);
    char line[160];
    std::string text;
    nlohmann::ordered_json json = {{"capture", capture},
                                   {"frames", totals.frames},
                                   {"bytes", totals.bytes},
                                   {"hit", totals.hit},
                                   {"cut", totals.cut},
                                   {"classifier", classifierOn(session)},
                                   {"rules", nlohmann::ordered_json::array()}};
    text += "  rule place                   hits    frames       bytes  conditions\n";
    for (const PlacedRule &rule : placedRules()) {
        const Totals::Entry &entry = totals.entries[rule.id];
        std::string conditions;
        for (const Condition &condition : rule.conditions)
            conditions += std::string(conditions.empty() ? "" : ", ").append(describeCondition(condition));
        if (!rule.complete)
            conditions += " (no end: never hits)";
        (void)std::snprintf(line, sizeof line, "  %4u %-19s %8llu  %8llu  %10llu  ", rule.id,
                            describePlace(rule).c_str(), static_cast<unsigned long long>(entry.hits),
                            static_cast<unsigned long long>(entry.frames),
                            static_cast<unsigned long long>(entry.bytes));
        text += line + conditions + '\n';
        json["rules"].push_back({{"rule", rule.id},
                                 {"place", describePlace(rule)},
                                 {"hits", entry.hits},
                                 {"frames", entry.frames},
                                 {"bytes", entry.bytes},
                                 {"conditions", toJson(rule.conditions)}});
    }
    text += capture + ": frames: " + std::to_string(totals.frames) +
            ", bytes: " + std::to_string(totals.bytes) + ", hit a rule: " + std::to_string(totals.hit);
    if (totals.cut != 0)
        text += ", cut off when captured: " + std::to_string(totals.cut);
    text += '\n';
    if (!classifierOn(session))
        text += "the classifier is off\n";
    session.print(text + kModel, json);
}

void frameReplay(Session &session, const Words &words, size_t at)
{
    if (at >= words.size())
        throw usage("frame replay", "", "a capture file, or - for standard input");
    const std::string &path = words[at++];
    engine::SideData side;
    std::string outPath;
    bool onlyHits = false;
    while (at < words.size()) {
        if (parseSideData(words, at, side))
            continue;
        const size_t choice =
            expectChoice(words, at, "frame replay", {"-o", "--only-hits", "iface", "gem_port"});
        if (choice == 1) {
            onlyHits = true;
        } else {
            if (at >= words.size() || words[at].empty())
                throw usage("-o", "", "the file to write");
            outPath = words[at++];
        }
    }
    if (onlyHits && outPath.empty())
        throw usage("--only-hits", "", "only together with -o OUT");

    capture::FrameCapture source(path);
    std::optional<capture::CaptureWriter> out;
    if (!outPath.empty())
        out.emplace(outPath, source.nanoseconds());
    const auto classifier = std::make_unique<engine::Classifier>(session.device().window());
    Totals totals;
    {
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
    }
    if (out)
        out->finish();
    printTotals(session, path, totals);
}

// One JSON object a frame, whether JSON was asked for or not.
void frameFields(Session &session, const Words &words, size_t at)
{
    if (at >= words.size())
        throw usage("frame fields", "", "a capture file, or - for standard input");
    capture::FrameCapture source(words[at++]);
    engine::SideData side;
    while (parseSideData(words, at, side))
        ;
    expectEnd(words, at, "frame fields");

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

// Hex, or FILE:NUMBER with the first frame as number 1.
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
    const uint64_t wanted = numberFor("rule explain", text.substr(colon + 1), 1, UINT32_MAX);
    capture::FrameCapture source(path);
    uint64_t number = 0;
    for (capture::CapturedFrame frame{}; source.next(frame);) {
        if (++number == wanted)
            return {frame.data, frame.data + frame.length};
    }
    throw usage("rule explain", text, "frame 1 to " + std::to_string(number) + " of this capture");
}

// With two words the first is a rule's number.
void ruleExplain(Session &session, const Words &words, size_t at)
{
    constexpr const char *kAccepted = "[rule number] and a frame in hex or as FILE:NUMBER";
    std::optional<unsigned> id;
    const auto isSide = [&](size_t n) { return words[n] == "iface" || words[n] == "gem_port"; };
    if (at + 1 < words.size() && !isSide(at + 1))
        id = expectNumber(words, at, "rule explain", IFC_ACTIONS - 1);
    if (at >= words.size())
        throw usage("rule explain", "", kAccepted);
    // A frame of one byte is a rule's number that nothing follows.
    if (!id && words[at].size() <= 2 && words[at].find_first_not_of("0123456789") == std::string::npos)
        throw usage("rule explain", words[at], kAccepted);
    const FrameBytes frame = frameFrom(words[at++]);
    engine::SideData side;
    while (parseSideData(words, at, side))
        ;
    expectEnd(words, at, "rule explain");

    const auto classifier = std::make_unique<engine::Classifier>(session.device().window());
    engine::ParsedFrame parsed;
    classifier->parse(frame.data(), frame.size(), side, parsed);
    const engine::Tables &tables = session.device().window().tables();
    std::string text =
        classifierOn(session) ? "" : "the classifier is off: nothing hits before 'classifier enable'\n";
    if (id) {
        const auto verdict = explainRule(tables, *id, parsed.fields);
        if (!verdict)
            throw refused("rule explain", std::to_string(*id), "no rule is there (or its chain has no end)");
        session.print(text + toText(*verdict) + kModel, toJson(*verdict));
        return;
    }
    auto json = nlohmann::ordered_json::array();
    for (const RuleVerdict &verdict : explainAll(tables, parsed.fields)) {
        text += toText(verdict);
        json.push_back(toJson(verdict));
    }
    if (json.empty())
        text += "no rule is valid\n";
    session.print(text + kModel, json);
}

} // namespace

std::vector<Command> explainCommands()
{
    return {{"rule", "explain", "[N] HEX|FILE:NUMBER [iface N] [gem_port N]",
             "why rule N, or each rule, hits this frame or not", ruleExplain}};
}

std::vector<Command> frameCommands()
{
    return {
        {"frame", "send", "HEX [iface N] [gem_port N]", "one frame through the engine", frameSend},
        {"frame", "replay", "FILE [-o OUT [--only-hits]] [iface N] [gem_port N]",
         "a capture through the engine; OUT gets the frames as acted upon", frameReplay},
        {"frame", "fields", "FILE [iface N] [gem_port N]", "the fields of each frame, one JSON object a line",
         frameFields},
    };
}

} // namespace ifcctl
