// SPDX-License-Identifier: MIT OR GPL-2.0
#include "pictures.h"
#include "sections.h"
#include "words.h"

#include <algorithm>

namespace ifcctl::report
{

namespace
{

void framesCell(Html &html, uint64_t frames, uint64_t all, uint64_t most, const char *style)
{
    openCell(html, style, "Frames decided");
    html.element("span", {{"class", "figure"}}, thousands(frames));
    html.text(" ");
    html.element("span", {{"class", "soft"}}, share(frames, all));
    drawBar(html, most == 0 ? 0 : static_cast<double>(frames) / static_cast<double>(most));
    html.close();
}

void restOfRow(Html &html, const Traffic &traffic, bool replayed, bool hits)
{
    if (replayed) {
        openCell(html, hits ? "course" : "course nobody", "Over the capture");
        drawActivity(html, traffic.activity);
        html.close();
    }
    openCell(html, "number short bytes", "Bytes");
    html.text(thousands(traffic.bytes)).close();
    if (replayed) {
        openCell(html, "number short", "Hits");
        html.text(hits ? thousands(traffic.hits) : "\xE2\x80\x93").close(); // an en dash
    }
    html.close();
}

void missTable(Html &html, const Replay &replay)
{
    html.element("h3", "Frames without a rule");
    if (replay.missShapes.empty()) {
        html.element("p", {{"class", "soft"}}, "Every frame was decided by a rule.");
        return;
    }
    openTable(html, "stack misses",
              "By shape, most frames first, with the command that explains the first one",
              {"Shape", ">Frames", "Command"});
    constexpr size_t kMost = 20; // lines
    uint64_t others = 0;
    for (size_t n = kMost; n < replay.missShapes.size(); ++n)
        others += replay.missShapes[n].frames;
    for (size_t n = 0; n < std::min(kMost, replay.missShapes.size()); ++n) {
        const Miss &miss = replay.missShapes[n];
        openRow(html);
        openRowHeader(html);
        html.text(miss.shape).close();
        openCell(html, "number", "Frames");
        html.text(thousands(miss.frames)).close();
        openCell(html, "command", "Command");
        html.element("code", miss.explain).close().close();
    }
    closeTable(html);
    if (others != 0)
        html.element("p", {{"class", "soft"}},
                     "And " + counted(others, "frame") + " of " +
                         counted(replay.missShapes.size() - kMost, "other shape") + '.');
}

} // namespace

void trafficSection(Html &html, const Data &data)
{
    openSection(html, "traffic", "Traffic");
    uint64_t all = 0;
    uint64_t most = 0;
    for (const Rule &rule : data.rules) {
        all += rule.traffic.frames;
        most = std::max(most, rule.traffic.frames);
    }
    if (data.replay) {
        const Replay &replay = *data.replay;
        all = replay.frames;
        most = std::max(most, replay.misses.frames);
        html.element(
            "p", counted(replay.frames, "frame") + " of " + replay.captures +
                     ", replayed in the model of the chip: " + thousands(replay.hit) +
                     " decided by a rule, " + thousands(replay.frames - replay.hit) +
                     " without a rule. The chip's own counters did not change." +
                     (replay.cut == 0 ? "" : " " + counted(replay.cut, "frame") + " cut off when captured.") +
                     (data.classifier ? "" : " The classifier is off, so no rule decides."));
        openTable(html, "stack traffic", "Frames by the rule that decided",
                  {"Rule", "Frames decided", "Over the capture", ">Bytes", ">Hits"});
    } else {
        html.element("p", "The counters of the chip, since they were last reset. A capture was not replayed "
                          "(--capture FILE).");
        openTable(html, "stack traffic", "Frames by the rule that decided",
                  {"Rule", "Frames decided", ">Bytes"});
    }
    for (const Rule &rule : data.rules) {
        openRow(html);
        openRowHeader(html, "name");
        drawSwatch(html, data.map, rule.number);
        html.element("a", {{"href", "#rule-" + std::to_string(rule.number)}},
                     "Rule " + std::to_string(rule.number));
        html.close();
        framesCell(html, rule.traffic.frames, all, most, "frames");
        restOfRow(html, rule.traffic, data.replay.has_value(), true);
    }
    if (data.replay) {
        openRow(html);
        openRowHeader(html, "name nobody");
        html.text("No rule").close();
        framesCell(html, data.replay->misses.frames, all, most, "frames nobody");
        restOfRow(html, data.replay->misses, true, false);
    }
    closeTable(html);
    if (data.replay)
        missTable(html, *data.replay);
    html.close();
}

} // namespace ifcctl::report
