// SPDX-License-Identifier: MIT OR GPL-2.0
// A simulated chip with one fault at one register access, and a record of what an operation did with it.
#pragma once

#include "engine/register_window.h"
#include "ifc/ifc_util.h"

#include <array>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace faults
{

struct Fault {
    enum Kind {
        None,
        NeverDone, // of transfers: it does not happen and is not done
        Unseen,    // it happens, its done bit shows at the fourth read: too late
        Late,      // it happens, its done bit shows at the third read
        LostRow,   // a write of a row is done, but the table keeps what it had
        StaleRow,  // a read of a row is done, but the data registers keep what they had
        LostWrite, // of register writes: it does not reach the chip
        StaleRead, // of register reads: it gives what the read before it gave, of whatever register
    };
    Kind kind = None;
    unsigned at = 0; // number of the transfer, write or read, from 0
};

struct Event {
    enum Kind { Read, Write, Wait, Lock, Unlock };
    Kind kind;
    uint32_t reg;
    uint32_t value;
    bool operator==(const Event &) const = default;
};

// A row of a table as a number: table, entry and, of LUT0, row. Registers outside the tables are rows, too.
using Rows = std::set<uint32_t>;

// Chip and driver, to be copied and compared.
struct State {
    engine::RegisterWindow chip;
    std::array<IFC_LUT0_Format, IFC_LUT0_RULES> lut0{};
    std::array<IFC_LUT1_Format, IFC_LUT1_RULES> lut1{};
    uint32_t ppe = 0;

    bool sameShadow(const State &other) const;
    Rows rowsThatDiffer(const State &other) const;
};

struct Outcome {
    long long result = 0;
    std::vector<Event> events;
    std::vector<std::string> texts; // without their source and line
    std::unique_ptr<State> after;
    Rows faulty; // the row that the fault concerns, if any
    bool fired = false;
    unsigned transfers = 0, writes = 0, reads = 0;
};

using Operation = std::function<long long()>;

// Runs it from this state, with the fault.
Outcome run(const Operation &operation, const State &before, Fault fault = {});

// The same chip with the rows and registers as the operation read them.
std::unique_ptr<State> asRead(const State &before, const std::vector<Event> &events);

// Reads both rule tables through the layer and compares them with the shadow, as `ifcctl set verify` does.
// The rows of the entries that differ, without the row of a LUT0 rule.
std::set<std::string> verify(const State &state);

constexpr const char *kTimeout = "Timeout for set IFC Rule configuration.\n";

} // namespace faults
