// SPDX-License-Identifier: MIT OR GPL-2.0
// The surroundings of a test of the rule layer: a fresh chip in strict mode, and ears on log, lock and
// registers.
#pragma once

#include "engine/register_window.h"
#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

struct Seen {
    engine::Access access;
    bool locked;
};

std::string describe(const engine::Access &access);

// An ordered list of register accesses across all registers. Build it, then compare it with what was seen.
class Traffic
{
public:
    Traffic &write(uint32_t reg, uint32_t value);
    Traffic &read(uint32_t reg, uint32_t value);
    // A command and `reads` polls, the last of which shows the done bit (if `done`).
    Traffic &transfer(uint32_t command, unsigned reads = 1, bool done = true);
    // A row of zeros, its last word first, as actions and counters are cleared.
    Traffic &zeros(uint32_t index, uint32_t sel, unsigned reads = 1, bool done = true);
    const std::vector<std::string> &lines() const { return lines_; }

private:
    std::vector<std::string> lines_;
};

class LayerTest : public testing::Test
{
protected:
    LayerTest();
    ~LayerTest() override;

    // All register accesses since the last forget(), as lines.
    std::vector<std::string> traffic() const;
    void expectTraffic(const Traffic &expected) const { EXPECT_EQ(traffic(), expected.lines()); }
    unsigned count(engine::AccessKind kind) const;
    unsigned lockedAccesses() const;

    // Every call of printk since the last forget(). A prefix of source and line becomes "@".
    std::vector<std::string> pieces() const;
    std::string text() const; // all of it, unchanged

    void forget();
    void powerOn(unsigned doneAfter = 1);

    // Expects that these operations changed neither shadow nor hardware tables.
    template <typename Operation>
    void expectNothingChanges(const Operation &operation)
    {
        const Image before = image();
        operation();
        EXPECT_TRUE(before == image()) << "shadow or hardware changed";
    }

    struct Image {
        std::vector<uint32_t> words;
        bool operator==(const Image &) const = default;
    };
    Image image() const;

    engine::RegisterWindow chip;
    std::vector<Seen> seen;
    std::vector<std::string> said;
    std::vector<size_t> saidBehind; // for each piece, how many events came before it
    std::vector<host::Event> events;
};

// A request from (field, command, mask, key); MAC values are 48 bits wide.
struct Cond {
    uint32_t field;
    uint32_t command;
    uint64_t mask;
    uint64_t key;
};
orva_ifc_param requestOf(const std::vector<Cond> &conditions);

// Rows as they travel, for expected traffic.
uint32_t command(uint32_t index, uint32_t offset, uint32_t sel, uint32_t type);
Traffic rewriteTraffic(unsigned reads = 1);
