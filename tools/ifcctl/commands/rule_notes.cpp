// SPDX-License-Identifier: MIT OR GPL-2.0
#include "rule_notes.h"

#include <algorithm>

namespace ifcctl
{

namespace
{

bool neverHits(const RuleSet &set, unsigned position)
{
    return ifc_rule_contradicts_itself(&set.rule(position)) != 0;
}

} // namespace

std::vector<RuleNote> deadNotes(const RuleSet &set, unsigned position)
{
    using Kind = RuleNote::Kind;
    if (neverHits(set, position))
        return {{Kind::NeverHits, position, position}};
    const ifc_rule &rule = set.rule(position);
    for (unsigned earlier = 0; earlier < position; ++earlier)
        if (ifc_rule_repeats(&set.rule(earlier), &rule) != 0)
            return {{Kind::Repeats, position, earlier}};
    for (unsigned earlier = 0; earlier < position; ++earlier)
        if (ifc_rule_covers(&set.rule(earlier), &rule) != 0)
            return {{Kind::Covered, position, earlier}};
    return {};
}

std::vector<RuleNote> notesAround(const RuleSet &set, unsigned position)
{
    std::vector<RuleNote> notes = deadNotes(set, position);
    for (unsigned later = position + 1; later < set.count(); ++later)
        for (const RuleNote &note : deadNotes(set, later))
            if (note.other == position)
                notes.push_back(note);
    return notes;
}

std::vector<RuleNote> allNotes(const RuleSet &set)
{
    std::vector<RuleNote> notes;
    for (unsigned n = 0; n < set.count(); ++n) {
        const auto dead = deadNotes(set, n);
        notes.insert(notes.end(), dead.begin(), dead.end());
    }
    const auto isDead = [&](unsigned position) {
        return std::any_of(notes.begin(), notes.end(),
                           [&](const RuleNote &note) { return note.position == position; });
    };
    std::vector<RuleNote> overlaps;
    for (unsigned n = 0; n < set.count(); ++n)
        for (unsigned later = n + 1; later < set.count(); ++later)
            if (!isDead(n) && !isDead(later) && !sameAction(set.rule(n), set.rule(later)) &&
                ifc_rule_overlap(&set.rule(n), &set.rule(later)) != 0)
                overlaps.push_back({RuleNote::Kind::Overlap, n, later});
    notes.insert(notes.end(), overlaps.begin(), overlaps.end());
    return notes;
}

std::string describe(const RuleSet &set, const RuleNote &note)
{
    const std::string self = set.nameOf(note.position);
    const std::string other = set.nameOf(note.other);
    switch (note.kind) {
    case RuleNote::Kind::NeverHits:
        return self + " can never hit: no frame fulfils all its conditions";
    case RuleNote::Kind::Repeats:
        return self + " repeats " + other + ", which decides before it";
    case RuleNote::Kind::Covered:
        return self + " never decides: " + other + " matches all its frames and decides before it";
    case RuleNote::Kind::Overlap:
        break;
    }
    return self + " and " + other + " may match the same frame and act differently: the first one decides";
}

const char *kindName(RuleNote::Kind kind)
{
    static const char *const names[] = {"never_hits", "repeats", "covered", "overlap"};
    return names[static_cast<unsigned>(kind)];
}

} // namespace ifcctl
