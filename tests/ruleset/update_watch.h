// SPDX-License-Identifier: MIT OR GPL-2.0
// Runs an update on a simulated chip while frames hit the living rules. Makes transfers fail, and checks the
// chip's tables after every single register access.
#pragma once

#include "update_scenario.h"

#include "platform/host/host_platform.h"

#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

struct Fault {
    enum Kind {
        None,
        NotDone,      // `count` transfers in a row do not happen
        NotDoneTwice, // it does not happen, nor does the one `count` + 1 transfers later, in the undo
        DoneUnseen,   // the transfer happens, its done bit is set too late
        LateTransfer, // the transfer happens `count` accesses later, or just before the next command
        DeadRow,      // no transfer to the row of this transfer happens any more
        StuckRow,     // the same, but the transfer itself happens; its done bit is not seen
        OtherDead,    // it does not happen, nor any other to the row that was moved `count` transfers before
    };
    Kind kind = None;
    unsigned at = 0; // number of the transfer, from 0
    unsigned count = 1;
};

constexpr unsigned kForever = ~0u;

// Rows by table. A set bit: the hardware may differ from the shadow, or from what it held before.
struct RowSet {
    uint16_t wide[IFC_LUT0_RULES] = {}; // bit: row 0..10
    uint32_t narrow = 0;                // bit: entry
    uint64_t actions = 0;               // bit: number
    uint64_t counters = 0;              // bit: number
};

class UpdateWatch
{
public:
    explicit UpdateWatch(const Scenario &scenario, uint64_t seed = 1);
    ~UpdateWatch();
    UpdateWatch(const UpdateWatch &) = delete;
    UpdateWatch &operator=(const UpdateWatch &) = delete;

    // Runs it, with checks during and after it. `doneAfter`: polls of each transfer.
    ruleset::Outcome run(const Fault &fault, bool quiesce = false, unsigned doneAfter = 1);
    // After Incomplete: the chip answers again.
    ruleset::Outcome finish();

    // After Incomplete.
    RowSet differ() const;
    const std::string &complaint() const { return complaint_; } // the first one; empty: all is well
    unsigned accesses() const { return accesses_; }
    unsigned transfers() const { return transfers_; }
    unsigned writesOf(unsigned sel, unsigned index, unsigned offset = 0) const;
    unsigned longestStretch() const { return longest_; } // with every poll used
    bool fired() const { return fired_; }
    ruleset::Update &update() { return *update_; }
    engine::RegisterWindow &chip() { return chip_; }

private:
    enum class Life { Dead, Old, New };
    using Key = std::tuple<unsigned, unsigned, unsigned>;

    void onAccess(const engine::Access &access);
    void onCommand(uint32_t command);
    void happenLate();
    void look();
    void lookAt(unsigned number, const Living *living);
    void frame();
    void complain(const std::string &what);
    void checkTables(const ruleset::Tables &tables, const RowSet &except, const char *name);
    void checkEntries(bool old, const RowSet &except);
    void checkWrites();
    void checkEnd(ruleset::Outcome outcome);

    const Scenario &s_;
    Random random_;
    engine::RegisterWindow chip_;
    std::unique_ptr<ruleset::Update> update_ = std::make_unique<ruleset::Update>();
    std::string complaint_;

    Fault fault_;
    bool watching_ = false;
    bool fired_ = false;
    bool past_ = false; // a command came after the one that failed
    bool pending_ = false;
    unsigned pendingFor_ = 0;
    uint32_t pendingCommand_ = 0;
    uint32_t deadRow_ = 0;
    std::vector<uint32_t> commands_;
    uint32_t data_[4] = {};
    unsigned doneAfter_ = 1;

    unsigned accesses_ = 0;
    unsigned transfers_ = 0;
    unsigned stretch_ = 0;
    unsigned longest_ = 0;
    unsigned loaded_ = 0;
    bool readInHold_ = false;
    uint32_t lastGeneration_ = 0;
    std::map<Key, unsigned> writes_;
    std::vector<unsigned> living_;
    Life life_[40] = {};
    uint32_t oldHits_[40] = {};
    uint32_t newHits_[40] = {};
    uint64_t countersLost_ = 0; // continued from a wrong value while the undo was incomplete
};
