// SPDX-License-Identifier: MIT OR GPL-2.0
// frame replay, and what `frame send` shares with it.
#pragma once

#include "commands.h"

#include "tools/ifcctl/core/frame_fields.h"

namespace ifcctl
{

IFC_Action_Format actionOf(Session &session, int entry);

// The frame as it leaves the engine. A frame that no rule decides leaves unchanged.
FrameBytes acted(engine::Classifier &classifier, Session &session, int entry,
                 const engine::ParsedFrame &parsed, const uint8_t *data, size_t length);

// Handler of the table in frame_commands.cpp.
void frameReplay(Session &session, WordReader &words);

} // namespace ifcctl
