// SPDX-License-Identifier: MIT OR GPL-2.0
// frame send, frame fields; the table of these commands.
#include "frame_replay.h"
#include "frame_support.h"
#include "wrap.h"

#include "tools/capture/frame_capture.h"
#include "tools/ifcctl/core/rule_words.h"

#include <memory>

namespace ifcctl
{

namespace
{

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

// One JSON object for each frame, even without --json.
void frameFields(Session &session, WordReader &words)
{
    engine::SideData side;
    while (parseSideData(words, side))
        ;
    capture::FrameCapture source(words.take("frame fields", "a capture file, or - for standard input"));
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
        {"frame", "replay",
         "FILE... [-o OUT] [--only-hits | --misses | --rule N] [iface VALUE] [gem_port VALUE]",
         "send captures through the engine; OUT gets the frames as they leave", frameReplay},
        {"frame", "fields", "FILE [iface VALUE] [gem_port VALUE]",
         "the fields of each frame, one JSON object a line", frameFields},
    };
}

} // namespace ifcctl
