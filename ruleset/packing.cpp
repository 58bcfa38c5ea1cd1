// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ruleset/packing.h"

#include "ruleset/layout.h"

namespace ruleset
{
namespace
{

// The last wide place; modulo the sub-table's size, also the last entry of each sub-table.
constexpr unsigned kLastCell = IFC_LUT0_RULES - 1;
static_assert((IFC_LUT0_RULES + IFC_LUT1_SUB_TABLE - 1) % IFC_LUT1_SUB_TABLE == kLastCell);
static_assert(IFC_LUT0_RULES <= IFC_LUT1_SUB_TABLE);

// A search with more steps than this uses twins.
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

[[gnu::noinline]] void addBin(Packing &p, unsigned start, unsigned room)
{
    if (room != 0)
        p.bin[p.bins++] = {static_cast<uint8_t>(start), static_cast<uint8_t>(room)};
}

// A fixed rule and a closed narrow entry end a bin. A closed wide place does not.
void cutBins(Packing &p)
{
    unsigned start = 0;
    unsigned room = 0;
    p.bins = 0;
    for (unsigned cell = 0; cell < kMaxRules; ++cell) {
        const bool used = hasRule(p.used, cell);
        if (!used && room++ == 0)
            start = cell;
        const bool last = cell % IFC_LUT1_SUB_TABLE == kLastCell;
        if (!last && (!used || (cell < IFC_LUT0_RULES && hasRule(p.closed, cell))))
            continue;
        addBin(p, start, room);
        room = 0;
        if (cell == kLastCell)
            p.wideBins = binBit(p.bins) - 1;
    }
}

// Bounds only get tighter: one sweep up and one sweep down settle all pairs.
bool orderBins(Packing &p)
{
    for (unsigned n = 0; n < p.freeCount; ++n) {
        const unsigned rule = p.free[n];
        unsigned lowest = p.lowest[p.twin[0][rule]];
        RuleSet before = p.order.earlier[rule];
        for (unsigned other; (other = takeLowest(before)) != kNoRule;) {
            const unsigned low = p.lowest[other];
            lowest = low > lowest ? low : lowest;
        }
        p.open[rule] &= ~(binBit(lowest) - 1);
        if (p.open[rule] == 0)
            return false;
        p.lowest[rule] = static_cast<uint8_t>(lowestBin(p.open[rule]));
    }
    for (unsigned n = p.freeCount; n-- != 0;) {
        const unsigned rule = p.free[n];
        unsigned highest = p.highest[p.twin[1][rule]];
        RuleSet after = p.order.later[rule];
        for (unsigned other; (other = takeLowest(after)) != kNoRule;) {
            const unsigned high = p.highest[other];
            highest = high < highest ? high : highest;
        }
        p.open[rule] &= binBit(highest + 1) - 1;
        if (p.open[rule] == 0)
            return false;
        p.highest[rule] = static_cast<uint8_t>(highestBin(p.open[rule]));
    }
    return true;
}

// Rules with a single narrow bin use its room. Bins without enough room left are closed to the others.
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

// The most that the rules with this bin open can fill of it, for each bin.
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

// A bound, and at the end of the search the proof. Rules count as pieces of one entry, the most urgent first:
// a rule that may be wide is one piece, any other is as many as its entries. The bound is exact if no rule of
// more than one entry has a choice of bins: the windows then keep the order of overlapping rules.
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

// The least that a prefix of the bins must hold.
struct Demand {
    unsigned entries = 0;                        // if all rules that may be narrow are narrow
    unsigned wide = 0;                           // rules that cannot be narrow
    uint8_t either[IFC_LUT1_SUB_TABLE + 1] = {}; // rules that both tables hold, by entries

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

    // The longest of the rules that both tables hold get the remaining wide places.
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

// The longest chain that has a choice of bins and is not certainly wide.
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

// The next place in the bin. Wide bins skip closed places.
[[gnu::noinline]] Place takePlace(const Packing &p, unsigned bin, unsigned rule, unsigned &next)
{
    if (p.wideBins >> bin & 1) {
        while (hasRule(p.used, next))
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
    for (unsigned bin = 0; bin < p.bins; ++bin) {
        RuleSet inside = 0;
        unsigned room = p.bin[bin].room;
        while (room != 0) {
            unsigned urgent = kNoRule;
            unsigned due = kMaxBins;
            RuleSet left = waiting;
            for (unsigned rule; (rule = takeLowest(left)) != kNoRule;) {
                if (p.lowest[rule] <= bin && p.highest[rule] < due) {
                    urgent = rule;
                    due = p.highest[rule];
                }
            }
            if (urgent == kNoRule)
                break;
            room -= p.wideBins >> bin & 1 ? 1 : p.shape[urgent].narrowEntries;
            const RuleSet taken = ruleBit(urgent);
            waiting ^= taken;
            inside |= taken;
        }
        unsigned next = p.bin[bin].start;
        for (unsigned rule; (rule = takeLowest(inside)) != kNoRule;)
            p.plan[rule] = takePlace(p, bin, rule, next);
    }
}

// Twins have the same length and the same rules before and after them. They could exchange places, so the
// search keeps them in order.
void findTwins(Packing &p)
{
    for (unsigned n = 1; n < p.freeCount; ++n) {
        const unsigned rule = p.free[n];
        for (unsigned m = n; m-- != 0;) {
            const unsigned other = p.free[m];
            if (p.shape[rule].narrowEntries == p.shape[other].narrowEntries &&
                p.shape[rule].wideAllowed == p.shape[other].wideAllowed &&
                p.order.later[rule] == p.order.later[other] &&
                p.order.earlier[rule] == p.order.earlier[other]) {
                p.twin[0][rule] = static_cast<uint8_t>(other);
                p.twin[1][other] = static_cast<uint8_t>(rule);
                break;
            }
        }
    }
}

// Limits the open bins of these rules to these bins.
void keepOpen(Packing &p, RuleSet rules, BinSet bins)
{
    for (unsigned rule; (rule = takeLowest(rules)) != kNoRule;)
        p.open[rule] &= bins;
}

} // namespace

void setOrder(Packing &p, const uint64_t *overlaps, RuleSet rules)
{
    p.rules = rules;
    __builtin_memset(&p.order, 0, sizeof p.order);
    if (overlaps == nullptr)
        return;
    for (unsigned rule; (rule = takeHighest(rules)) != kNoRule;) {
        const RuleSet self = ruleBit(rule);
        RuleSet next = overlaps[rule] & p.rules & (0 - 2 * self);
        for (unsigned other; (other = takeLowest(next)) != kNoRule;) {
            const RuleSet bit = ruleBit(other);
            if ((p.order.after[rule] & bit) != 0)
                continue;
            p.order.after[rule] |= bit | p.order.after[other];
            p.order.later[rule] |= bit;
            p.order.earlier[other] |= self;
        }
    }
}

void toggleRule(Packing &p, unsigned rule)
{
    p.fixed ^= ruleBit(rule);
    p.used ^= cellsOf(p.place[rule]);
}

void fixRule(Packing &p, unsigned rule, Place place)
{
    p.place[rule] = place;
    toggleRule(p, rule);
}

void freeAll(Packing &p)
{
    p.fixed = 0;
    p.used = p.closed;
}

bool layBins(Packing &p)
{
    cutBins(p);
    BinSet holds[IFC_LUT1_SUB_TABLE + 1] = {}; // narrow bins by the room that they have at least
    for (unsigned bin = lowestBin(~p.wideBins); bin < p.bins; ++bin) {
        for (unsigned length = p.bin[bin].room; length != 0; --length)
            holds[length] |= binBit(bin);
    }
    __builtin_memset(p.lowest, 0, sizeof p.lowest);
    __builtin_memset(p.highest, kMaxBins, sizeof p.highest);
    __builtin_memset(p.twin, kNoRule, sizeof p.twin);
    p.freeCount = 0;
    RuleSet left = freeRules(p);
    for (unsigned rule; (rule = takeLowest(left)) != kNoRule;) {
        const Shape &shape = p.shape[rule];
        p.open[rule] = holds[shape.narrowEntries] | (shape.wideAllowed ? p.wideBins : 0);
        p.free[p.freeCount++] = static_cast<uint8_t>(rule);
    }
    left = p.rules & p.fixed;
    for (unsigned rule; (rule = takeLowest(left)) != kNoRule;) {
        unsigned bin = 0;
        while (bin < p.bins && p.bin[bin].start < placeNumber(p.place[rule]))
            ++bin;
        const BinSet below = binBit(bin) - 1;
        keepOpen(p, p.order.earlier[rule], below);
        keepOpen(p, p.order.later[rule], ~below);
    }
    for (unsigned n = 0; n < p.freeCount; ++n) {
        if (p.open[p.free[n]] == 0)
            return false;
    }
    return true;
}

Place firstPlace(const Packing &p, unsigned rule, unsigned bin)
{
    unsigned next = p.bin[bin].start;
    return takePlace(p, bin, rule, next);
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
            // LUT0 first, then the narrow bins from the lowest on. If that fails, all other bins.
            const BinSet wide = p.open[rule] & p.wideBins;
            const BinSet first = wide != 0 ? wide : binBit(lowestBin(p.open[rule]));
            __builtin_memcpy(p.saved[depth], p.open, sizeof p.open);
            p.saved[depth++][rule] ^= first;
            p.open[rule] = first;
        } else if (depth == 0) {
            return Verdict::No;
        } else {
            __builtin_memcpy(p.open, p.saved[--depth], sizeof p.open);
        }
    }
}

} // namespace ruleset
