// SPDX-License-Identifier: MIT OR GPL-2.0
// A set of rules in the hardware, a wanted set, and the expected result for each rule. The tables are decoded
// here independently of the code under test.
#pragma once

#include "ruleset/update.h"
#include "tests/engine/random.h"

#include <array>
#include <cstdint>
#include <map>
#include <vector>

using Words4 = std::array<uint32_t, 4>;

// One rule as the chip sees it.
struct Living {
    unsigned first = 0; // wide: its place
    std::vector<uint32_t> words;
    bool operator==(const Living &) const = default;
};

// The living rules by number.
std::map<unsigned, Living> livingRules(const engine::Tables &tables);
std::map<unsigned, Living> livingRules(const ruleset::Tables &tables);

struct Scenario {
    Scenario() = default;
    Scenario(Scenario &&) = default; // no copies: the rules point into `given`
    Scenario &operator=(Scenario &&) = default;

    ruleset::Tables old{};
    ruleset::Tables wanted{};
    Words4 actions[IFC_ACTIONS] = {};   // before; in record order, word 0 first
    Words4 counters[IFC_COUNTERS] = {}; // before; in the order of the data registers
    uint8_t bindings[IFC_ACTIONS] = {}; // before

    std::vector<ruleset::WantedRule> rules;
    std::vector<IFC_Action_Format> given; // the targets of the rules' action pointers

    // Derived by settle().
    std::map<unsigned, Living> oldRules;
    std::map<unsigned, Living> newRules;
    std::map<unsigned, int> origin; // of a new rule: number of its old place, or -1; an unlisted one: its own
    std::map<unsigned, bool> fromZero;
    Words4 wantedActions[IFC_ACTIONS] = {};
    uint8_t wantedBindings[IFC_ACTIONS] = {};

    bool stays(unsigned number) const;

    void settle();
    ruleset::UpdateRequest request() const
    {
        return {&wanted, rules.data(), static_cast<unsigned>(rules.size()), false, false};
    }
};

// Helpers for handwritten scenarios. Each entry of a chain gets a different word 1.
void putChain(ruleset::Tables &tables, unsigned first, unsigned entries, uint32_t key);
void putWide(ruleset::Tables &tables, unsigned place, uint32_t key);
IFC_Action_Format actionOf(uint32_t value);

// Random tables with leftovers, and a second image made from them by replacing, shifting or swapping.
Scenario randomScenario(uint64_t seed);
