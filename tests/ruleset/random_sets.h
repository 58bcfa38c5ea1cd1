// SPDX-License-Identifier: MIT OR GPL-2.0
// Random sets of rules of several kinds for the layout, and an independent check of a layout.
#pragma once

#include "ruleset/layout.h"
#include "tests/engine/random.h"

#include <algorithm>
#include <string>
#include <vector>

namespace random_sets
{

using ruleset::LayoutInput;
using ruleset::Place;
using ruleset::Shape;

// The cells of a place: a bit for each action entry.
inline uint64_t cells(Place place)
{
    uint64_t bits = 0;
    const unsigned first = place.table == ruleset::kWide ? place.first : 8u + place.first;
    for (unsigned n = 0; n < place.entries; ++n)
        bits |= uint64_t{1} << (first + n);
    return bits;
}

inline unsigned narrowLength(Random &random, unsigned kind)
{
    switch (kind) {
    case 0:
        return 1 + random.below(3);
    case 1:
        return 1 + random.below(6);
    case 2:
        return 3 + random.below(8);
    case 3:
        return random.oneIn(3) ? 5 + random.below(4) : 1 + random.below(2);
    case 4:
        return 2 + random.below(3);
    default:
        return 1 + random.below(16);
    }
}

// Adds rules until the tables are about full, with LUT0 relieving LUT1.
inline void addRules(Random &random, LayoutInput &input)
{
    const unsigned lengths = random.below(6);
    const unsigned wideOdds = (5 + random.below(16)) / 4; // of 4
    const unsigned wideOnlyOdds = random.below(3);        // of 16
    const unsigned size = random.below(3);                // any number of rules, or near what fits
    const unsigned wanted = 1 + random.below(random.oneIn(4) ? ruleset::kMaxRules : 10);
    const int target = static_cast<int>(14 + random.below(20));
    std::vector<unsigned> either;
    int narrow = 0;
    unsigned wideOnly = 0;
    while (input.count < ruleset::kMaxRules) {
        Shape shape;
        shape.narrowEntries = static_cast<uint8_t>(narrowLength(random, lengths));
        shape.wideAllowed = random.below(4) < wideOdds;
        if (random.below(16) < wideOnlyOdds) {
            shape.wideAllowed = true;
            shape.narrowEntries = 0;
        }
        shape.countedEntries =
            static_cast<uint8_t>(shape.narrowEntries + (random.oneIn(3) ? random.below(4) : 0));
        if (shape.narrowEntries == 0) {
            ++wideOnly;
        } else {
            narrow += shape.narrowEntries;
            if (shape.wideAllowed)
                either.push_back(shape.narrowEntries);
        }
        std::sort(either.rbegin(), either.rend());
        int least = narrow;
        for (unsigned n = 0; n + wideOnly < input.widePlaces && n < either.size(); ++n)
            least -= static_cast<int>(either[n]);
        const bool full = size == 0 ? input.count >= wanted : least > target || wideOnly > 8;
        if (full && input.count != 0)
            break;
        input.rule[input.count++] = shape;
    }
}

inline void addOverlaps(Random &random, LayoutInput &input)
{
    const unsigned kind = random.below(7);
    const unsigned percents[] = {0, 2, 5, 12, 40};
    for (unsigned i = 0; i < input.count; ++i) {
        for (unsigned j = i + 1; j < input.count; ++j) {
            const bool overlap = kind < 5 ? random.below(100) < percents[kind]
                                 : kind == 5
                                     ? j == i + 1 || random.oneIn(30)          // chains
                                     : i / 4 == j / 4 || j == input.count - 1; // groups and a last rule
            if (overlap)
                input.overlaps[i] |= uint64_t{1} << j;
        }
    }
}

// True: the place is in range, and its chain does not cross the sub-tables.
inline bool exists(ruleset::Place place)
{
    if (place.table == ruleset::kWide)
        return place.first < 8 && place.entries == 1;
    return place.table == ruleset::kNarrow && place.entries >= 1 && place.first < 32 &&
           place.first % 16 + place.entries <= 16;
}

inline bool tryPlace(Random &random, const LayoutInput &input, Shape &shape, uint64_t &used)
{
    for (unsigned n = 0; n < 20; ++n) {
        const bool wide = shape.wideAllowed && (shape.narrowEntries == 0 || random.oneIn(2));
        if (wide && input.widePlaces == 0)
            continue;
        const Place place = wide ? ruleset::widePlace(random.below(input.widePlaces))
                                 : ruleset::narrowPlace(random.below(32), shape.narrowEntries);
        if (!exists(place) || (cells(place) & used) != 0)
            continue;
        used |= cells(place);
        shape.now = place;
        return true;
    }
    return false;
}

// Some rules already have places: random ones, or those of a layout of all rules, with gaps.
inline void addPlaces(Random &random, LayoutInput &input)
{
    static ruleset::LayoutWorkspace work;
    const unsigned kind = random.below(4);
    const unsigned odds = 1 + random.below(10); // of 10 stand
    uint64_t used = uint64_t{input.reservedNarrow} << 8 | input.reservedWide;
    if (kind == 0)
        return;
    if (kind == 1) {
        for (unsigned rule = 0; rule < input.count; ++rule) {
            if (random.below(10) < odds)
                tryPlace(random, input, input.rule[rule], used);
        }
        return;
    }
    LayoutInput before = input;
    if (kind == 2) { // the same rules first without an order, then in order
        for (uint64_t &overlaps : before.overlaps)
            overlaps &= random.oneIn(2) ? ~uint64_t{0} : 0;
    } else {
        before.count = 1 + random.below(input.count);
    }
    ruleset::LayoutAnswer answer;
    if (ruleset::findLayout(before, work, answer) == ruleset::LayoutResult::NoLayout)
        return;
    for (unsigned rule = 0; rule < before.count; ++rule) {
        if (random.below(10) < odds)
            input.rule[rule].now = answer.place[rule];
    }
}

inline LayoutInput randomSet(uint64_t seed)
{
    Random random(seed);
    for (unsigned n = 0; n < 8; ++n)
        random.word();
    LayoutInput input;
    if (random.oneIn(8))
        input.widePlaces = random.below(9);
    if (random.oneIn(6)) {
        input.reservedWide = static_cast<uint8_t>(random.word() & random.word());
        input.reservedNarrow = random.word() & random.word() & random.word();
    }
    addRules(random, input);
    addOverlaps(random, input);
    addPlaces(random, input);
    return input;
}

// The fault of a layout; empty: none.
inline std::string faultOf(const LayoutInput &input, const Place *place)
{
    uint64_t used = uint64_t{input.reservedNarrow} << 8 | input.reservedWide;
    for (unsigned i = 0; i < input.count; ++i) {
        const std::string name = "rule " + std::to_string(i);
        const Shape &shape = input.rule[i];
        if (!exists(place[i]))
            return name + " has no place";
        const bool wide = place[i].table == ruleset::kWide;
        if (wide ? !shape.wideAllowed || place[i].first >= input.widePlaces
                 : shape.narrowEntries == 0 || place[i].entries != shape.narrowEntries)
            return name + " cannot stand there";
        if ((cells(place[i]) & used) != 0)
            return name + " stands on another";
        used |= cells(place[i]);
        for (unsigned j = i + 1; j < input.count; ++j) {
            const bool overlap = input.overlaps[i] >> j & 1;
            if (overlap && ruleset::placeNumber(place[i]) >= ruleset::placeNumber(place[j]))
                return name + " stands after rule " + std::to_string(j);
        }
    }
    return "";
}

} // namespace random_sets
