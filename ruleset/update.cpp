// SPDX-License-Identifier: MIT OR GPL-2.0
//
// The order of an update, and the proof that every state between two register accesses is safe.
//
//   1 retire       Each living rule that does not stay loses its head (LUT0) or its end (LUT1).
//   2 fill         All other rows get their wanted contents, except heads and ends of wanted rules.
//   3 moveEntries  Actions, counters and bindings are written.
//   4 enliven      The wanted heads, then the wanted ends are written, in ascending order.
//
// A LUT0 rule depends only on its own rows, and its body changes only while its head is not valid. In LUT1,
// entries of chains that stay are called fixed, all others free.
//
//   1  Without its end a chain is a run that meets an invalid entry: no rule. The next run now begins after
//      an invalid entry instead of an end, so no other chain changes. After this step only fixed chains have
//      valid ends: a free valid end would close a living chain.
//   2  A free entry becomes valid only without the end flag. Its run is a rule only if it reaches the end of
//      a fixed chain, through that chain's first entry f. Then entry f - 1 would be free, in the same
//      sub-table, and valid without an end. Its wanted contents are not like that, because the chain that
//      stays begins at f in the wanted tables too. Nor were its old contents.
//   3  No living rule uses the numbers that change here, with one exception: a rule that stays and gets
//      another action. One transfer then replaces the whole entry.
//   4  When the end e is written, every entry before e has its wanted contents: step 2 has written those that
//      are no ends, and lower ends come first. The chain that ends at e depends on these only, so it is the
//      wanted one. The next run now begins after an end instead of an invalid entry. If e was still valid
//      without an end (a leftover of no rule), no fixed chain begins at e + 1, and no other chain lives yet.
//
// The undo takes the same steps, with the old tables as the wanted ones and from the hardware's current
// contents. A row whose write timed out is unsure: it has its old or its new content, and by the above both
// are safe. Step 1 makes it invalid like the end of a chain; for a free entry this is always safe. If even
// that write fails, the row and everything that might be one rule with it are not written (freeze()). A rule
// comes back only if all its rows are known to have their old contents (mayLive()).
#include "ruleset/update_steps.h"

#include "ifc/ifc_util.h"
#include "ifc/records/chip.h"
#include "ruleset/rule_bits.h"

namespace ruleset
{

namespace
{

bool goForth(Update &u, const UpdateRequest &request)
{
    const Tables &to = *request.tables;
    return retire(u, to) && fill(u, to) && moveEntries(u, request) && enliven(u, to);
}

// True: the hardware equals the shadow, and actions and counters are as before.
bool report(Update &u, const Tables &to)
{
    u.differ = {};
    uint64_t any = 0;
    for (unsigned number = 0; number < kMaxRules; ++number) {
        if (has(u, number, kChanged))
            addRule(u.differ.actions, number);
        if (has(u, number, kChanged << kCounter))
            addRule(u.differ.counters, number);
    }
    u.differ.narrow = u.unsureNarrow;
    for (unsigned entry = 0; entry < IFC_LUT1_RULES; ++entry)
        if (__builtin_memcmp(&u.held.lut1[entry], &to.lut1[entry], sizeof *to.lut1) != 0)
            u.differ.narrow |= 1u << entry;
    for (unsigned rule = 0; rule < IFC_LUT0_RULES; ++rule) {
        u.differ.wide[rule] = u.unsureWide[rule];
        for (unsigned row = 0; row <= IFC_LUT0_HEAD_ROW; ++row)
            if (wideRowDiffers(u.held.lut0[rule], to.lut0[rule], row))
                u.differ.wide[rule] |= static_cast<uint16_t>(1u << row);
        any |= u.differ.wide[rule];
    }
    return (any | u.differ.narrow | u.differ.actions | u.differ.counters) == 0;
}

Outcome goBack(Update &u)
{
    const Tables &to = u.before;
    u.undoing = true;
    u.frozenNarrow = 0;
    u.frozenWide = 0;
    (void)retire(u, to);
    (void)fill(u, to);
    restoreEntries(u);
    (void)enliven(u, to);

    return report(u, to) ? Outcome::Undone : Outcome::Incomplete;
}

bool standsAt(const Tables &tables, Place place)
{
    return placeExists(place) && livingPlace(tables, placeNumber(place)) == place;
}

Refusal checkRule(Update &u, const WantedRule &rule, const Tables &wanted)
{
    if (!standsAt(wanted, rule.place))
        return Refusal::NotInTables;
    const unsigned number = placeNumber(rule.place);
    if (u.ruleAt[number] != kUnlisted)
        return Refusal::PlaceTwice;
    if (rule.binding > kSlotMask && rule.binding != kBindingKept)
        return Refusal::BadBinding;
    u.ruleAt[number] = u.culprit;
    if (placed(rule.oldPlace)) {
        if (!standsAt(u.before, rule.oldPlace))
            return Refusal::NotInShadow;
        const unsigned old = placeNumber(rule.oldPlace);
        if (has(u, old, kOldPlace))
            return Refusal::OldPlaceTwice;
        mark(u, old, kOldPlace);
        if (old == number)
            return Refusal::None;
    }
    mark(u, number, kReborn);
    return Refusal::None;
}

// Checks the request, and prepares the state that the steps use.
Refusal check(Update &u, const UpdateRequest &request)
{
    const Tables &wanted = *request.tables;
    if (request.count > kMaxRules)
        return Refusal::TooManyRules;
    __builtin_memset(u.ruleAt, kUnlisted, sizeof u.ruleAt);
    for (unsigned n = 0; n < request.count; ++n) {
        u.culprit = static_cast<uint8_t>(n);
        const Refusal refusal = checkRule(u, request.rules[n], wanted);
        if (refusal != Refusal::None)
            return refusal;
    }
    for (unsigned number = 0; number < kMaxRules; ++number) {
        u.culprit = static_cast<uint8_t>(number);
        if (u.ruleAt[number] == kUnlisted && ruleLives(wanted, number) &&
            (has(u, number, kOldPlace) || !sameRule(u.before, wanted, number)))
            return Refusal::UnlistedRule;
    }
    return ifc::hasWritableLut0(GET_HIR()) ||
                   __builtin_memcmp(wanted.lut0, u.before.lut0, sizeof wanted.lut0) == 0
               ? Refusal::None
               : Refusal::WideReadOnly;
}

} // namespace

Outcome apply(Update &update, const UpdateRequest &request)
{
    __builtin_memset(&update, 0, sizeof update);
    copyShadow(update.before);
    update.refusal = check(update, request);
    if (update.refusal != Refusal::None)
        return Outcome::Refused;
    update.held = update.before;
    update.port.dry = request.dryRun;

    uint32_t before = 0;
    if (request.quiesce) {
        before = readRegister(update.port, IFC_GLB_CFG);
        writeRegister(update.port, IFC_GLB_CFG, before & ~IFC_GLB_CFG_ENABLE);
    }
    Outcome outcome = Outcome::Done;
    if (!goForth(update, request))
        outcome = goBack(update);
    else if (!request.dryRun)
        setShadow(*request.tables);
    if (request.quiesce) {
        const uint32_t now = readRegister(update.port, IFC_GLB_CFG);
        writeRegister(update.port, IFC_GLB_CFG, now | (before & IFC_GLB_CFG_ENABLE));
    }
    release(update.port);
    return outcome;
}

Outcome finishUndo(Update &update)
{
    if (!wake(update.port))
        return Outcome::Incomplete;
    const Outcome outcome = goBack(update);
    release(update.port);
    return outcome;
}

} // namespace ruleset
