// SPDX-License-Identifier: MIT OR GPL-2.0
// Operations of the layer as data: as lines for the command handler, and with the answers that the model
// expects.
#pragma once

#include "table_model.h"

#include <string>

namespace model
{

enum Kind {
    kSetLut0,
    kSetLut1,
    kPlace,
    kRemove,
    kFind,
    kFreeRun,
    kSetAction,
    kClearAction,
    kClearActions,
    kBind,
    kInvalidate,
    kClearRules,
    kRewrite,
    kDeleteLut0,
    kDeleteLut1,
    kPpe,
    kRevision,
    kReduce,
    kSwitch, // a[0]: 0 off, 1 on, 2 show
    kGetCounter,
    kClearCounters,
    kDumpAction,
    kDump, // a[0]: LUT0, LUT1, both
    kReadBack,
    kShowShadow,
    kShowRecord,
    kMatchWide,
    kMatchNarrow,
    kCheckResult, // a[0] to a[2]: the hit maps
    kSetSlot,
    kGetSlots, // a[0]: which of the two operations
    kTpid,     // a[0]: FE_TPID_CFG
    kVpm,
    kFindTpid,
    kLowestBit,
    kTransfer, // a read of any row
    kPoll,     // a[0]: bits of IFC_GLB_CFG
    kSum,      // a[0]: which of the packet helpers
    kKinds
};

struct Step {
    Kind kind;
    unsigned a[8] = {};
    uint64_t mask = 0;
    uint64_t key = 0;
    Request request;
    std::vector<unsigned char> frame;
};

// The operation as a line for the command handler. Empty for events of the surroundings.
std::string lineOf(const Step &step);

// Makes the same change in the model and returns the answer that the handler must give.
std::string expectedAnswer(Tables &model, const Step &step);

} // namespace model
