// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ruleset/packing.h"

#include "ruleset/layout.h"

namespace ruleset
{
namespace
{

constexpr unsigned kNoRule = kMaxRules;

// A search that is longer than this looks for twins.
constexpr unsigned kStepsWithoutTwins = 16;

constexpr BinSet binBit(unsigned bin)
{
    return BinSet{1} << bin;
}

inline unsigned lowestBin(BinSet set)
{
    return static_cast<unsigned>(__builtin_ctz(set));
}

inline unsigned highestBin(BinSet set)
{
    return 31u - static_cast<unsigned>(__builtin_clz(set));
}

inline bool single(BinSet set)
{
    return (set & (set - 1)) == 0;
}

inline RuleSet freeRules(const Packing &p)
{
    return p.rules & ~p.fixed;
}

inline bool inOneNarrowBin(const Packing &p, unsigned rule)
{
    return single(p.open[rule]) && (p.open[rule] & p.wideBins) == 0;
}

void addBin(Packing &p, unsigned start, unsigned room)
{
    p.bin[p.bins++] = {static_cast<uint8_t>(start), static_cast<uint8_t>(room)};
}

void layWideBins(Packing &p)
{
    unsigned start = 0;
    unsigned room = 0;
    for (unsigned place = 0; place < IFC_LUT0_RULES; ++place) {
        if ((p.usedWide >> place & 1) == 0) {
            start = room == 0 ? place : start;
            ++room;
        }
        // A fixed rule ends a bin, a closed place does not.
        const bool ends = (p.usedWide & ~p.closedWide) >> place & 1 || place == IFC_LUT0_RULES - 1;
        if (ends && room != 0) {
            addBin(p, start, room);
            room = 0;
        }
    }
    p.wideBins = binBit(p.bins) - 1;
}

void layNarrowBins(Packing &p)
{
    unsigned room = 0;
    for (unsigned entry = 0; entry < IFC_LUT1_RULES; ++entry) {
        const bool used = p.usedNarrow >> entry & 1;
        room = used ? 0 : room + 1;
        const bool last = entry % IFC_LUT1_SUB_TABLE == IFC_LUT1_SUB_TABLE - 1;
        if (room != 0 && (last || (p.usedNarrow >> (entry + 1) & 1))) {
            addBin(p, IFC_LUT0_RULES + entry + 1 - room, room);
            room = 0;
        }
        room = last ? 0 : room;
    }
}

// Bins only move towards their order: one sweep up and one down settle all pairs.
bool orderBins(Packing &p)
{
    for (unsigned n = 0; n < p.freeCount; ++n) {
        const unsigned rule = p.free[n];
        unsigned lowest = p.lowest[p.twinBefore[rule]];
        for (RuleSet before = p.earlier[rule]; before != 0;) {
            const unsigned low = p.lowest[takeLowest(before)];
            lowest = low > lowest ? low : lowest;
        }
        p.open[rule] &= ~(binBit(lowest) - 1);
        if (p.open[rule] == 0)
            return false;
        p.lowest[rule] = static_cast<uint8_t>(lowestBin(p.open[rule]));
    }
    for (unsigned n = p.freeCount; n-- != 0;) {
        const unsigned rule = p.free[n];
        unsigned highest = p.highest[p.twinAfter[rule]];
        for (RuleSet after = p.later[rule]; after != 0;) {
            const unsigned high = p.highest[takeLowest(after)];
            highest = high < highest ? high : highest;
        }
        p.open[rule] &= binBit(highest + 1) - 1;
        if (p.open[rule] == 0)
            return false;
        p.highest[rule] = static_cast<uint8_t>(highestBin(p.open[rule]));
    }
    return true;
}

// Takes the rules with one narrow bin out of its room, and closes bins without enough room for the others.
bool fillBins(Packing &p, bool &changed)
{
    for (unsigned bin = 0; bin < p.bins; ++bin)
        p.room[bin] = p.bin[bin].room;
    for (unsigned n = 0; n < p.freeCount; ++n) {
        const unsigned rule = p.free[n];
        if (!inOneNarrowBin(p, rule))
            continue;
        uint8_t &room = p.room[p.lowest[rule]];
        if (room < p.shape[rule].narrowEntries)
            return false;
        room = static_cast<uint8_t>(room - p.shape[rule].narrowEntries);
    }
    changed = false;
    for (unsigned n = 0; n < p.freeCount; ++n) {
        const unsigned rule = p.free[n];
        if (inOneNarrowBin(p, rule))
            continue;
        for (BinSet left = p.open[rule] & ~p.wideBins; left != 0; left &= left - 1) {
            if (p.room[lowestBin(left)] < p.shape[rule].narrowEntries) {
                p.open[rule] ^= binBit(lowestBin(left));
                changed = true;
            }
        }
        if (p.open[rule] == 0)
            return false;
    }
    return true;
}

// What each bin can be filled to by the entries of the rules that it is open to.
void findUsable(Packing &p)
{
    uint32_t sums[kMaxBins];
    for (unsigned bin = 0; bin < p.bins; ++bin)
        sums[bin] = 1;
    for (unsigned n = 0; n < p.freeCount; ++n) {
        const unsigned rule = p.free[n];
        const unsigned length = p.shape[rule].narrowEntries;
        const bool certain = single(p.open[rule]);
        for (BinSet open = p.open[rule] & ~p.wideBins; open != 0; open &= open - 1) {
            uint32_t &of = sums[lowestBin(open)];
            of = (certain ? 0 : of) | of << length;
        }
    }
    for (unsigned bin = 0; bin < p.bins; ++bin) {
        const unsigned room = p.bin[bin].room;
        const bool wide = p.wideBins >> bin & 1;
        const uint32_t within = sums[bin] & ((uint32_t{2} << room) - 1);
        p.usable[bin] = static_cast<uint8_t>(wide ? room : highestBin(within | 1));
    }
}

bool propagate(Packing &p)
{
    for (bool changed = true; changed;) {
        if (!orderBins(p) || !fillBins(p, changed))
            return false;
    }
    findUsable(p);
    return true;
}

// The bound, and at the end of the search the proof: rules as pieces of one entry, the most urgent first.
// A rule that may be wide is one piece, any other is its entries. Exact where no rule of more than one entry
// has a choice of bins: windows then keep the order of overlapping rules.
bool piecesFit(const Packing &p)
{
    uint16_t due[kMaxBins] = {};
    for (unsigned bin = 0; bin < p.bins; ++bin) {
        for (unsigned n = 0; n < p.freeCount; ++n) {
            const unsigned rule = p.free[n];
            if (p.lowest[rule] != bin)
                continue;
            const unsigned pieces = p.open[rule] & p.wideBins ? 1 : p.shape[rule].narrowEntries;
            uint16_t &of = due[p.highest[rule]];
            of = static_cast<uint16_t>(of + pieces);
        }
        unsigned room = p.usable[bin];
        for (unsigned at = bin; at < p.bins && room != 0; ++at) {
            const unsigned taken = due[at] < room ? due[at] : room;
            due[at] = static_cast<uint16_t>(due[at] - taken);
            room -= taken;
        }
        if (due[bin] != 0)
            return false;
    }
    return true;
}

// What a prefix of the bins must hold at least.
struct Demand {
    unsigned entries = 0;                        // if all that may be narrow is
    unsigned wide = 0;                           // rules that cannot be narrow
    uint8_t either[IFC_LUT1_SUB_TABLE + 1] = {}; // rules that fit both, by entries

    void add(const Packing &p, unsigned rule)
    {
        const unsigned length = p.shape[rule].narrowEntries;
        const bool canBeWide = p.open[rule] & p.wideBins;
        if ((p.open[rule] & ~p.wideBins) == 0) {
            ++wide;
            return;
        }
        entries += length;
        either[length] = static_cast<uint8_t>(either[length] + canBeWide);
    }

    // With the longest of the rules that fit both in the places that are left.
    unsigned leastEntries(unsigned widePlaces) const
    {
        unsigned left = widePlaces > wide ? widePlaces - wide : 0;
        unsigned least = entries;
        for (unsigned length = IFC_LUT1_SUB_TABLE; length != 0 && left != 0; --length) {
            const unsigned taken = either[length] < left ? either[length] : left;
            least -= taken * length;
            left -= taken;
        }
        return least;
    }
};

// The second bound: the rules that must be in the first bins, with LUT0 for the longest of them.
bool longestFit(const Packing &p)
{
    Demand demand;
    unsigned widePlaces = 0;
    unsigned entries = 0;
    for (unsigned bin = 0; bin < p.bins; ++bin) {
        (p.wideBins >> bin & 1 ? widePlaces : entries) += p.usable[bin];
        bool more = false;
        for (unsigned n = 0; n < p.freeCount; ++n) {
            if (p.highest[p.free[n]] == bin) {
                demand.add(p, p.free[n]);
                more = true;
            }
        }
        if (more && demand.leastEntries(widePlaces) > entries)
            return false;
    }
    return true;
}

// The longest chain that has a choice of bins and is not certain to be wide.
unsigned nextRule(const Packing &p)
{
    unsigned best = kNoRule;
    unsigned longest = 1; // single entries need no decision
    for (unsigned n = 0; n < p.freeCount; ++n) {
        const unsigned rule = p.free[n];
        const bool decided = single(p.open[rule]) || (p.open[rule] & ~p.wideBins) == 0;
        if (!decided && p.shape[rule].narrowEntries > longest) {
            longest = p.shape[rule].narrowEntries;
            best = rule;
        }
    }
    return best;
}

// A place in the bin after those that it gave out. Wide bins skip closed places.
Place takePlace(Packing &p, unsigned bin, unsigned rule, unsigned &next)
{
    if (p.wideBins >> bin & 1) {
        while (p.usedWide >> next & 1)
            ++next;
        return widePlace(next++);
    }
    const Place place = narrowPlace(next - IFC_LUT0_RULES, p.shape[rule].narrowEntries);
    next += place.entries;
    return place;
}

void writePlan(Packing &p)
{
    RuleSet waiting = freeRules(p);
    for (unsigned bin = 0; bin < p.bins && waiting != 0; ++bin) {
        RuleSet inside = 0;
        unsigned room = p.bin[bin].room;
        while (room != 0) {
            unsigned urgent = kNoRule;
            unsigned due = kMaxBins;
            for (RuleSet left = waiting; left != 0;) {
                const unsigned rule = takeLowest(left);
                if (p.lowest[rule] <= bin && p.highest[rule] < due) {
                    urgent = rule;
                    due = p.highest[rule];
                }
            }
            if (urgent == kNoRule)
                break;
            room -= p.wideBins >> bin & 1 ? 1 : p.shape[urgent].narrowEntries;
            waiting ^= ruleBit(urgent);
            inside |= ruleBit(urgent);
        }
        for (unsigned next = p.bin[bin].start; inside != 0;) {
            const unsigned rule = takeLowest(inside);
            p.plan[rule] = takePlace(p, bin, rule, next);
        }
    }
}

// Rules of one length that come before and after the same others can change places: they are kept in order.
void findTwins(Packing &p)
{
    for (unsigned n = 1; n < p.freeCount; ++n) {
        const unsigned rule = p.free[n];
        for (unsigned m = n; m-- != 0;) {
            const unsigned other = p.free[m];
            if (p.shape[rule].narrowEntries == p.shape[other].narrowEntries &&
                p.shape[rule].wideAllowed == p.shape[other].wideAllowed && p.later[rule] == p.later[other] &&
                p.earlier[rule] == p.earlier[other]) {
                p.twinBefore[rule] = static_cast<uint8_t>(other);
                p.twinAfter[other] = static_cast<uint8_t>(rule);
                break;
            }
        }
    }
}

void copyOpen(BinSet *to, const BinSet *from)
{
    for (unsigned rule = 0; rule < kMaxRules; ++rule)
        to[rule] = from[rule];
}

} // namespace

void setOrder(Packing &p, const uint64_t *overlaps, RuleSet rules)
{
    p.rules = rules;
    for (unsigned rule = 0; rule < kMaxRules; ++rule)
        p.earlier[rule] = 0;
    for (RuleSet left = rules; left != 0;) {
        const unsigned rule = takeHighest(left);
        p.after[rule] = 0;
        p.later[rule] = 0;
        const RuleSet above = rules & ~(ruleBit(rule) | (ruleBit(rule) - 1));
        for (RuleSet next = overlaps[rule] & above; next != 0;) {
            const unsigned other = takeLowest(next);
            if (p.after[rule] >> other & 1)
                continue;
            p.after[rule] |= ruleBit(other) | p.after[other];
            p.later[rule] |= ruleBit(other);
            p.earlier[other] |= ruleBit(rule);
        }
    }
}

void fixRule(Packing &p, unsigned rule, Place place)
{
    p.place[rule] = place;
    p.fixed |= ruleBit(rule);
    if (place.table == kWide)
        p.usedWide = static_cast<uint8_t>(p.usedWide | 1u << place.first);
    else
        p.usedNarrow |= narrowBits(place);
}

void freeRule(Packing &p, unsigned rule)
{
    const Place place = p.place[rule];
    p.fixed &= ~ruleBit(rule);
    if (place.table == kWide)
        p.usedWide = static_cast<uint8_t>(p.usedWide & ~(1u << place.first));
    else
        p.usedNarrow &= ~narrowBits(place);
}

void freeAll(Packing &p)
{
    p.fixed = 0;
    p.usedWide = p.closedWide;
    p.usedNarrow = p.closedNarrow;
}

bool layBins(Packing &p)
{
    p.bins = 0;
    layWideBins(p);
    layNarrowBins(p);
    BinSet holds[IFC_LUT1_SUB_TABLE + 1] = {}; // narrow bins by the entries that they hold at least
    for (unsigned bin = lowestBin(~p.wideBins); bin < p.bins; ++bin) {
        for (unsigned length = 1; length <= p.bin[bin].room; ++length)
            holds[length] |= binBit(bin);
    }
    p.freeCount = 0;
    p.lowest[kNoRule] = 0;
    p.highest[kNoRule] = kMaxBins;
    for (RuleSet left = freeRules(p); left != 0;) {
        const unsigned rule = takeLowest(left);
        const Shape &shape = p.shape[rule];
        p.open[rule] = holds[shape.narrowEntries] | (shape.wideAllowed ? p.wideBins : 0);
        p.free[p.freeCount++] = static_cast<uint8_t>(rule);
        p.twinBefore[rule] = p.twinAfter[rule] = kNoRule;
    }
    for (RuleSet left = p.rules & p.fixed; left != 0;) {
        const unsigned rule = takeLowest(left);
        BinSet below = 0;
        for (unsigned bin = 0; bin < p.bins && p.bin[bin].start < placeNumber(p.place[rule]); ++bin)
            below |= binBit(bin);
        for (RuleSet next = p.earlier[rule]; next != 0;)
            p.open[takeLowest(next)] &= below;
        for (RuleSet next = p.later[rule]; next != 0;)
            p.open[takeLowest(next)] &= ~below;
        p.lowest[rule] = 0;
        p.highest[rule] = kMaxBins;
    }
    for (unsigned n = 0; n < p.freeCount; ++n) {
        if (p.open[p.free[n]] == 0)
            return false;
    }
    return true;
}

Place firstPlace(const Packing &p, unsigned rule, unsigned bin)
{
    const unsigned start = p.bin[bin].start;
    if (p.wideBins >> bin & 1)
        return widePlace(start);
    return narrowPlace(start - IFC_LUT0_RULES, p.shape[rule].narrowEntries);
}

Verdict findPlan(Packing &p, uint32_t *budget)
{
    if (!layBins(p))
        return Verdict::No;
    unsigned depth = 0;
    for (uint32_t steps = 0;; steps += steps <= kStepsWithoutTwins) {
        if (steps == kStepsWithoutTwins)
            findTwins(p);
        if (budget != nullptr && (*budget)-- == 0) {
            *budget = 0;
            return Verdict::Unknown;
        }
        if (propagate(p) && piecesFit(p) && longestFit(p)) {
            const unsigned rule = nextRule(p);
            if (rule == kNoRule) {
                writePlan(p);
                return Verdict::Yes;
            }
            // LUT0 first, then the narrow bins from the lowest on; when that fails, all the others.
            const BinSet wide = p.open[rule] & p.wideBins;
            const BinSet first = wide != 0 ? wide : binBit(lowestBin(p.open[rule]));
            copyOpen(p.saved[depth], p.open);
            p.saved[depth++][rule] ^= first;
            p.open[rule] = first;
        } else if (depth == 0) {
            return Verdict::No;
        } else {
            copyOpen(p.open, p.saved[--depth]);
        }
    }
}

} // namespace ruleset
