// SPDX-License-Identifier: MIT OR GPL-2.0
// Frames as operators write and read them: hex, side data, fields, hits.
#pragma once

#include "rules.h"
#include "word_reader.h"

#include "engine/classifier.h"

#include <nlohmann/json.hpp>

namespace ifcctl
{

using FrameBytes = std::vector<uint8_t>;

// Pairs of hex digits; colons and dashes between pairs are skipped. Throws Error.
FrameBytes parseFrameHex(const std::string &field, const std::string &text);
std::string formatFrameHex(const uint8_t *data, size_t length);

// Reads "iface N" or "gem_port N", the side data of a frame. False: the next word is neither.
bool parseSideData(WordReader &words, engine::SideData &side);

// {"DMAC":"01:00:5e:00:00:01","VID0":100,...}: the fields that the frame has, in the enumeration's order.
nlohmann::ordered_json fieldsToJson(const engine::FieldImage &fields);

// {"lut0":[3],"lut1":[7,12]}: the rules that hit, a chain by its end entry.
nlohmann::ordered_json hitsToJson(const engine::Hits &hits);
std::string describeHits(const engine::Hits &hits); // "LUT0-3 LUT1-7", "none"
std::string entryName(int entry);                   // "LUT1-7" for entry 15, "none"

} // namespace ifcctl
