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
bool isBack(const Update &u, const Tables &to)
{
    if (u.unsureNarrow != 0 || __builtin_memcmp(&u.held, &to, sizeof to) != 0)
        return false;
    for (const uint16_t rows : u.unsureWide)
        if (rows != 0)
            return false;
    for (unsigned number = 0; number < kMaxRules; ++number)
        if (has(u, number, kChanged | kChanged << kCounter))
            return false;
    return true;
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

    return isBack(u, to) ? Outcome::Undone : Outcome::Incomplete;
}

// Others have changed the shadow after a failed undo, and perhaps written rows. So all rows are written
// again. A rule that changed keeps its new action and counter.
void takeNewShadow(Update &u)
{
    copyShadow(u.held);
    for (unsigned number = 0; number < kMaxRules; ++number)
        if (!sameRule(u.before, u.held, number))
            u.flags[number] = 0;
    u.before = u.held;
    u.counting = false;
    u.unsureNarrow = ~0u;
    if (ifc::hasWritableLut0(GET_HIR()))
        for (uint16_t &rows : u.unsureWide)
            rows = (1u << (IFC_LUT0_HEAD_ROW + 1)) - 1;
}

// Finds the listed rule of each number and the source of its entries.
void prepare(Update &u, const UpdateRequest &request)
{
    for (unsigned number = 0; number < kMaxRules; ++number) {
        const bool goes = ruleLives(u.before, number) && !ruleLives(*request.tables, number);
        u.source[number] = goes ? kZero : kStays;
        u.ruleAt[number] = kUnlisted;
    }
    for (unsigned n = 0; n < request.count; ++n) {
        const WantedRule &rule = request.rules[n];
        const unsigned number = placeNumber(rule.place);
        u.ruleAt[number] = static_cast<uint8_t>(n);
        const unsigned old = placed(rule.oldPlace) ? placeNumber(rule.oldPlace) : kNoRule;
        if (old == number)
            continue;
        u.source[number] = old == kNoRule ? kZero : static_cast<int8_t>(old);
        mark(u, number, kReborn);
    }
}

} // namespace

Outcome apply(Update &update, const UpdateRequest &request)
{
    __builtin_memset(&update, 0, sizeof update);
    copyShadow(update.before);
    prepare(update, request);
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
    if (!equalsShadow(update.before))
        takeNewShadow(update);
    Outcome outcome = Outcome::Incomplete;
    if (wake(update.port))
        outcome = goBack(update);
    release(update.port);
    return outcome;
}

} // namespace ruleset
