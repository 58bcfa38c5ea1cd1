// SPDX-License-Identifier: MIT OR GPL-2.0
// The frames of a replay that the words --only-hits, --misses and --rule choose.
#pragma once

#include "commands.h"

#include "tools/ifcctl/core/frame_shapes.h"

#include "engine/classifier.h"

namespace ifcctl
{

// The frames that OUT gets. Misses, and the frames of a rule, are listed by shape, too.
struct Selection {
    enum class Which { All, Hits, Misses, Rule };
    Which which = Which::All;
    int rule = 0; // number of the rule, if chosen
    FrameShapes shapes{};

    bool listed() const { return which == Which::Misses || which == Which::Rule; }
    bool takes(int entry) const
    {
        switch (which) {
        case Which::Hits:
            return entry != engine::kNoEntry;
        case Which::Misses:
            return entry == engine::kNoEntry;
        case Which::Rule:
            return entry == rule;
        default:
            return true;
        }
    }
};

// `word` was read. Reads what belongs to it. Throws Error, also for a second choice.
void readSelection(Session &session, WordReader &words, Selection &selection, const std::string &word);

// One capture.
struct Replayed {
    std::string path;
    std::string name;
    uint64_t frames;
    uint64_t hit;
};

std::string framesText(uint64_t frames); // "1 frame"

// The command that explains a frame of a capture. `sideWords` are the words of the side data, each after a
// space.
std::string explainCommand(const std::string &path, uint64_t number, const std::string &sideWords);

// Appends the chosen frames by shape, each with the command that explains its first frame. `sideWords` are
// the words of the side data, each after a space.
void addShapes(std::string &text, nlohmann::ordered_json &json, const std::vector<Replayed> &captures,
               const Selection &selection, const std::string &sideWords);

} // namespace ifcctl
