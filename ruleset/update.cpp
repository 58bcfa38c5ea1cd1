// SPDX-License-Identifier: MIT OR GPL-2.0
//
// The order of an update, and why every state between two register accesses is a safe one.
//
//   1 retire       Each living rule that does not stay loses its head (LUT0) or its end (LUT1).
//   2 fill         All other rows get their wanted contents, but no head and no end of a wanted rule.
//   3 moveEntries  Actions, counters and bindings.
//   4 enliven      The wanted heads, then the wanted ends, in ascending order.
//
// A LUT0 rule depends on its own rows alone, and its body changes only while its head is not valid. For LUT1,
// call entries of chains that stay fixed and all others free.
//
//   1  Without its end a chain is a run that meets an invalid entry: no rule. The run after it begins after
//      an invalid entry where it began after an end, so no other chain changes. Afterwards the valid ends are
//      those of fixed chains: a free valid end would close a living chain.
//   2  A free entry becomes valid only without the end flag. Its run is a rule only if it reaches the end of
//      a fixed chain, through that chain's first entry f. Then entry f - 1 would be free, in the same
//      sub-table, and valid without an end. Its wanted contents are not so, since the chain that stays begins
//      at f in the wanted tables as well. Neither were its old contents.
//   3  No living rule uses the numbers that change here, but for a rule that stays and gets another action:
//      then one transfer exchanges one whole entry for another.
//   4  When the end e is written, every entry up to e has its wanted contents: 2 has written those that are
//      no ends, and lower ends come first. Which chain ends at e depends on these alone, so it is the wanted
//      one. After e, a run begins after an end where it began after an invalid entry. If e was still valid
//      without an end (a leftover that belongs to no rule), no fixed chain begins at e + 1, and no other
//      lives yet.
//
// The way back is the same with the old tables as the wanted ones, on what the hardware holds by then. A row
// whose write timed out is unsure: it holds what it held or what was written, and by the above both are safe.
// Step 1 switches it off like the end of a chain, which a free entry always may be. A row that cannot be
// written even then is left alone with all that might be one rule with it (freeze()), and a rule comes back
// only if all of it is known to be as it was (mayLive()).
#include "ruleset/update_steps.h"

#include "ifc/ifc_util.h"

namespace ruleset
{

namespace
{

constexpr int kRevisionsWithoutWideWrites[] = {14, 15};

bool goForth(Update &u, const UpdateRequest &request)
{
    const TablesView to = viewOf(*request.tables);
    return retire(u, to) && fill(u, to) && moveEntries(u, request) && enliven(u, to);
}

// True: the hardware holds what the shadow does, and actions and counters are as before.
bool report(Update &u, TablesView to)
{
    u.differ = {};
    uint64_t any = 0;
    for (unsigned number = 0; number < kMaxRules; ++number) {
        u.differ.actions |= uint64_t{has(u, number, kChanged)} << number;
        u.differ.counters |= uint64_t{has(u, number, kChanged << kCounter)} << number;
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
    const TablesView to = shadowView();
    u.undoing = true;
    u.frozenNarrow = 0;
    u.frozenWide = 0;
    (void)retire(u, to);
    (void)fill(u, to);
    restoreEntries(u);
    (void)enliven(u, to);

    return report(u, to) ? Outcome::Undone : Outcome::Incomplete;
}

bool standsAt(TablesView tables, Place place)
{
    return placeExists(place) && ruleLives(tables, placeNumber(place)) &&
           livingPlace(tables, placeNumber(place)) == place;
}

Refusal checkRule(Update &u, const WantedRule &rule, TablesView wanted)
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
        if (!standsAt(shadowView(), rule.oldPlace))
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

// Reads the request, and fills in what the steps need of it.
Refusal check(Update &u, const UpdateRequest &request)
{
    const TablesView wanted = viewOf(*request.tables);
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
            (has(u, number, kOldPlace) || !sameRule(shadowView(), wanted, number)))
            return Refusal::UnlistedRule;
    }
    const int revision = GET_HIR();
    for (const int without : kRevisionsWithoutWideWrites)
        if (revision == without && __builtin_memcmp(wanted.lut0, IFC_LUT0_Rule, sizeof IFC_LUT0_Rule) != 0)
            return Refusal::WideReadOnly;
    return Refusal::None;
}

} // namespace

Outcome apply(Update &update, const UpdateRequest &request)
{
    __builtin_memset(&update, 0, sizeof update);
    update.refusal = check(update, request);
    if (update.refusal != Refusal::None)
        return Outcome::Refused;
    __builtin_memcpy(update.held.lut0, IFC_LUT0_Rule, sizeof IFC_LUT0_Rule);
    __builtin_memcpy(update.held.lut1, IFC_LUT1_Rule, sizeof IFC_LUT1_Rule);
    update.port.dry = request.dryRun;

    uint32_t before = 0;
    if (request.quiesce) {
        before = readRegister(update.port, IFC_GLB_CFG);
        writeRegister(update.port, IFC_GLB_CFG, before & ~IFC_GLB_CFG_ENABLE);
    }
    Outcome outcome = Outcome::Done;
    if (!goForth(update, request))
        outcome = goBack(update);
    else if (!request.dryRun) {
        __builtin_memcpy(IFC_LUT0_Rule, request.tables->lut0, sizeof IFC_LUT0_Rule);
        __builtin_memcpy(IFC_LUT1_Rule, request.tables->lut1, sizeof IFC_LUT1_Rule);
    }
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
