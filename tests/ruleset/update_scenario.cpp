// SPDX-License-Identifier: MIT OR GPL-2.0
#include "update_scenario.h"

#include <algorithm>
#include <cstring>

using ruleset::Place;
using ruleset::WantedRule;

namespace
{

constexpr uint32_t kValid = 1u << 15;
constexpr uint32_t kEnd = 1u << 14;
constexpr uint32_t kWideValid = 1u << 31;

template <typename WideWord, typename NarrowWord>
std::map<unsigned, Living> readTables(const WideWord &wideWord, const NarrowWord &narrowWord)
{
    std::map<unsigned, Living> found;
    for (unsigned rule = 0; rule < 8; ++rule) {
        if ((wideWord(rule, 0) & kWideValid) == 0)
            continue;
        Living &living = found[rule];
        living.first = rule;
        for (unsigned word = 0; word < 41; ++word)
            living.words.push_back(wideWord(rule, word));
    }
    for (unsigned base = 0; base < 32; base += 16) {
        Living run;
        for (unsigned entry = base; entry < base + 16; ++entry) {
            const uint32_t control = narrowWord(entry, 0);
            if ((control & kValid) == 0) {
                run = {};
                continue;
            }
            if (run.words.empty())
                run.first = entry;
            run.words.push_back(control);
            run.words.push_back(narrowWord(entry, 1));
            if ((control & kEnd) != 0) {
                found[8 + entry] = run;
                run = {};
            }
        }
    }
    return found;
}

Place placeOf(unsigned number, const Living &living)
{
    if (number < 8)
        return ruleset::widePlace(number);
    return ruleset::narrowPlace(living.first, static_cast<unsigned>(living.words.size() / 2));
}

Words4 wordsOf(const IFC_Action_Format &action)
{
    return {action.word[0], action.word[1], action.word[2], action.word[3]};
}

/* ---- random tables ---- */

// Few different contents, so that rows of old and new tables are often equal.
uint32_t likelyKey(Random &random)
{
    return random.oneIn(3) ? random.word() : random.below(2);
}

IFC_LUT1_Format randomEntry(Random &random, unsigned invalidOneIn, unsigned endOneIn)
{
    IFC_LUT1_Format entry{};
    const bool valid = !random.oneIn(invalidOneIn);
    if (valid || random.oneIn(4)) {
        entry.word[0] = random.oneIn(6) ? random.word() & ~(kValid | kEnd) : 1 + random.below(2);
        entry.word[1] = likelyKey(random);
    }
    if (valid)
        entry.word[0] |= kValid;
    if ((valid || entry.word[0] != 0) && random.oneIn(endOneIn))
        entry.word[0] |= kEnd;
    return entry;
}

void randomNarrow(Random &random, IFC_LUT1_Format *entries, unsigned count)
{
    constexpr unsigned kRates[] = {2, 4, 10, 1000};
    const unsigned invalidOneIn = random.oneIn(10) ? 1 : kRates[random.below(4)];
    const unsigned endOneIn = 1 + random.below(5);
    for (unsigned n = 0; n < count; ++n)
        entries[n] = randomEntry(random, invalidOneIn, endOneIn);
}

void randomWide(Random &random, IFC_LUT0_Format &rule)
{
    rule = {};
    if (random.oneIn(4))
        return;
    for (unsigned n = random.below(8); n != 0; --n)
        rule.word[random.below(41)] = likelyKey(random);
    rule.word[0] = random.below(3) | (random.oneIn(4) ? 0 : kWideValid);
}

void changeNarrow(Random &random, IFC_LUT1_Format *table)
{
    const unsigned at = random.below(32);
    const unsigned count = 1 + random.below(std::min(32 - at, 8u));
    IFC_LUT1_Format before[32];
    std::memcpy(before, table, sizeof before);
    switch (random.below(8)) {
    case 0: // a shift within a sub-table, as after adding or deleting a rule before the others
    case 1: {
        const unsigned base = at & 16;
        const unsigned by = 1 + random.below(4);
        const bool up = random.oneIn(2);
        for (unsigned n = 0; n < 16; ++n) {
            const unsigned from = up ? n - by : n + by;
            table[base + n] = from < 16 ? before[base + from] : IFC_LUT1_Format{};
        }
        break;
    }
    case 2: // everything one sub-table on
        for (unsigned n = 0; n < 32; ++n)
            table[n] = before[(n + 16) % 32];
        break;
    case 3: // a cycle
        for (unsigned n = 0; n < 16; ++n)
            table[(at & 16) + n] = before[(at & 16) + (n + count) % 16];
        break;
    case 4:
        std::memset(table + at, 0, count * sizeof *table);
        break;
    case 5: // other lengths of the same chains
        table[at].word[0] ^= kEnd;
        break;
    case 6:
        table[at].word[0] ^= kValid;
        break;
    default:
        randomNarrow(random, table + at, count);
        break;
    }
}

void changeWide(Random &random, IFC_LUT0_Format *table)
{
    const unsigned a = random.below(8);
    const unsigned b = random.below(8);
    switch (random.below(5)) {
    case 0:
        std::swap(table[a], table[b]);
        break;
    case 1:
        table[a].word[0] ^= kWideValid;
        break;
    case 2:
        table[a].word[random.below(41)] ^= 1u << random.below(31);
        break;
    case 3:
        table[a] = {};
        break;
    default:
        randomWide(random, table[a]);
        break;
    }
}

void chooseRules(Random &random, Scenario &s)
{
    const auto oldRules = livingRules(s.old);
    const auto newRules = livingRules(s.wanted);
    std::vector<unsigned> left; // old rules that may still move
    for (const auto &[number, living] : oldRules)
        left.push_back(number);
    const auto take = [&](size_t at) {
        const unsigned number = left[at];
        left.erase(left.begin() + static_cast<long>(at));
        return number;
    };
    std::vector<unsigned> others;
    const auto list = [&](unsigned number, int old) {
        WantedRule rule;
        rule.place = placeOf(number, newRules.at(number));
        if (old >= 0)
            rule.oldPlace = placeOf(static_cast<unsigned>(old), oldRules.at(static_cast<unsigned>(old)));
        if (random.oneIn(2)) {
            s.given.push_back(actionOf(random.below(3)));
            rule.action = &s.given.back();
        }
        s.rules.push_back(rule);
    };
    for (const auto &[number, living] : newRules) {
        const auto old = oldRules.find(number);
        if (old == oldRules.end() || !(old->second == living) || random.oneIn(12)) {
            others.push_back(number);
            continue;
        }
        (void)take(static_cast<size_t>(std::find(left.begin(), left.end(), number) - left.begin()));
        if (!random.oneIn(3))
            list(number, static_cast<int>(number));
    }
    for (const unsigned number : others) {
        const bool moves = !left.empty() && !random.oneIn(3);
        list(number, moves ? static_cast<int>(take(random.below(static_cast<unsigned>(left.size())))) : -1);
    }
    for (size_t n = s.rules.size(); n > 1; --n)
        std::swap(s.rules[n - 1], s.rules[random.below(static_cast<unsigned>(n))]);
}

} // namespace

std::map<unsigned, Living> livingRules(const engine::Tables &tables)
{
    return readTables([&](unsigned rule, unsigned word) { return tables.lut0[rule][word]; },
                      [&](unsigned entry, unsigned word) { return tables.lut1[entry][word]; });
}

std::map<unsigned, Living> livingRules(const ruleset::Tables &tables)
{
    return readTables([&](unsigned rule, unsigned word) { return tables.lut0[rule].word[word]; },
                      [&](unsigned entry, unsigned word) { return tables.lut1[entry].word[word]; });
}

bool Scenario::stays(unsigned number) const
{
    const auto before = oldRules.find(number);
    const auto after = newRules.find(number);
    return before != oldRules.end() && after != newRules.end() && before->second == after->second &&
           origin.at(number) == static_cast<int>(number);
}

void Scenario::settle()
{
    oldRules = livingRules(old);
    newRules = livingRules(wanted);
    origin.clear();
    fromZero.clear();
    for (unsigned number = 0; number < 40; ++number) {
        wantedActions[number] = actions[number];
        wantedBindings[number] = bindings[number];
        if (newRules.count(number) != 0) {
            origin[number] = static_cast<int>(number);
            fromZero[number] = false;
        } else if (oldRules.count(number) != 0) {
            wantedActions[number] = {};
            wantedBindings[number] = 0;
        }
    }
    for (const WantedRule &rule : rules) {
        const unsigned number = ruleset::placeNumber(rule.place);
        const bool known = rule.oldPlace.table != ruleset::kNowhere;
        const unsigned from = known ? ruleset::placeNumber(rule.oldPlace) : 0;
        origin[number] = known ? static_cast<int>(from) : -1;
        fromZero[number] = !known;
        wantedActions[number] = known ? actions[from] : Words4{};
        wantedBindings[number] = known ? bindings[from] : uint8_t{0};
        if (rule.action != nullptr)
            wantedActions[number] = wordsOf(*rule.action);
    }
}

void putChain(ruleset::Tables &tables, unsigned first, unsigned entries, uint32_t key)
{
    for (unsigned n = 0; n < entries; ++n) {
        tables.lut1[first + n].word[0] = kValid | (n + 1 == entries ? kEnd : 0) | 22;
        tables.lut1[first + n].word[1] = key + n;
    }
}

void putWide(ruleset::Tables &tables, unsigned place, uint32_t key)
{
    for (unsigned word = 1; word < 41; ++word)
        tables.lut0[place].word[word] = key + word;
    tables.lut0[place].word[0] = kWideValid | 3;
}

IFC_Action_Format actionOf(uint32_t value)
{
    return {{value << 12, value * 3, value * 5, value}};
}

Scenario randomScenario(uint64_t seed)
{
    Random random(seed);
    Scenario s;
    for (unsigned n = 0; n < 3; ++n)
        (void)random.word();
    randomNarrow(random, s.old.lut1, 16);
    randomNarrow(random, s.old.lut1 + 16, 16);
    for (IFC_LUT0_Format &rule : s.old.lut0)
        randomWide(random, rule);
    s.wanted = s.old;
    if (random.oneIn(6)) {
        randomNarrow(random, s.wanted.lut1, 16);
        randomNarrow(random, s.wanted.lut1 + 16, 16);
        for (IFC_LUT0_Format &rule : s.wanted.lut0)
            randomWide(random, rule);
    }
    for (unsigned n = random.below(5); n != 0; --n)
        changeNarrow(random, s.wanted.lut1);
    for (unsigned n = random.below(4); n != 0; --n)
        changeWide(random, s.wanted.lut0);

    for (unsigned number = 0; number < 40; ++number) {
        const IFC_Action_Format action = actionOf(random.below(4));
        s.actions[number] = wordsOf(action);
        if (!random.oneIn(4))
            s.counters[number] = {random.word(), random.word(), random.word() & ~(1u << 24), // room for hits
                                  random.word() & 0xFFFFFF};
        s.bindings[number] = static_cast<uint8_t>(random.below(16));
    }
    s.given.reserve(64); // the rules point into it
    chooseRules(random, s);
    s.settle();
    return s;
}
