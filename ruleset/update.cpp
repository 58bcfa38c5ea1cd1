// SPDX-License-Identifier: MIT OR GPL-2.0
//
// The order of an update, and why every state between two register accesses is a safe one.
//
//   1 retire   Each living rule that does not stay loses its head (LUT0) or its end (LUT1).
//   2 fill     All other rows get their wanted contents, but no head and no end of a wanted rule.
//   3 entries  Actions, counters and bindings.
//   4 enliven  The wanted heads, then the wanted ends, in ascending order.
//
// A LUT0 rule depends on its own rows alone, and its body changes only while its head is not valid. For LUT1,
// call entries of chains that stay fixed and all others free.
//
//   1  Without its end a chain is a run that meets an invalid entry: no rule. The run after it begins after an
//      invalid entry where it began after an end, so no other chain changes. Afterwards the valid ends are those
//      of fixed chains: a free valid end would close a living chain.
//   2  A free entry becomes valid only without the end flag. What it is part of is a rule only if its run reaches
//      the end of a fixed chain, through that chain's first entry f. Then entry f - 1 would be free, in the same
//      sub-table, and valid without an end. Its wanted contents are not so, since the chain that stays begins at
//      f in the wanted tables as well. Neither were its old contents.
//   3  No living rule uses the numbers that change here, but for a rule that stays and gets another action: then
//      one transfer exchanges one whole entry for another.
//   4  When the end e is written, every entry up to e has its wanted contents: 2 has written those that are no
//      ends, and lower ends come first. Which chain ends at e depends on these alone, so it is the wanted one.
//      After e, a run begins after an end where it began after an invalid entry. Was e still valid without an end
//      (a leftover that belongs to no rule), then no fixed chain begins at e + 1, and others are not alive yet.
//
// The way back is the same with the old tables as the wanted ones, on what the hardware holds by then. A row whose
// write timed out is unsure: it holds what it held or what was written, the one as safe as the other by the above.
// In 1 it is switched off like the end of a chain, which a free entry always may be. A row that cannot be written
// even then is left alone with everything that might be one rule with it (freeze()), and a rule comes back only if
// all of it is known to be as it was (mayLive()).
#include "ruleset/update.h"

#include "ifc/ifc_util.h"

namespace ruleset
{

namespace
{

constexpr unsigned kTriesBack = 3; // of a row on the way back
constexpr uint8_t kUnlisted = 0xFF;
constexpr uint32_t kSlotMask = (1u << IFC_ACNT_ID_BITS) - 1;
constexpr uint32_t kCounterTopWord = 0x00FFFFFF; // what a counter entry holds in IFC_DATA3
constexpr int kRevisionsWithoutWideWrites[] = {14, 15};
constexpr IFC_LUT1_Format kNothing = {};

// The two tables of entries that stand beside the rules, and the bindings, which move in the same way.
enum Kind : unsigned { kAction, kCounter, kBinding };
constexpr Kind kRowKinds[] = {kAction, kCounter};
constexpr uint8_t kSelectors[] = {IFC_SEL_ACTION, IFC_SEL_COUNTER};

// Flags of a number. Those of actions stand one to the right of the counters'.
enum Flag : unsigned {
    kReborn = 1,   // the rule is another one afterwards, even if its rows are the same
    kOldPlace = 2, // a listed rule comes from here
    kChanged = 4,  // its action is to be put back on the way back; 8: its counter
    kNeeded = 16,  // its action has to be read; 32: its counter
};

bool has(const Update &u, unsigned number, unsigned flag)
{
    return (u.flags[number] & flag) != 0;
}

void mark(Update &u, unsigned number, unsigned flag)
{
    u.flags[number] |= static_cast<uint8_t>(flag);
}

// The row that decides whether the rule lives may hold something else than u.held says.
bool headUnsure(const Update &u, unsigned number)
{
    return number < IFC_LUT0_RULES ? u.unsureWide[number] >> IFC_LUT0_HEAD_ROW & 1
                                   : u.unsureNarrow >> (number - IFC_LUT0_RULES) & 1;
}

/* ---- rows ------------------------------------------------------------------------------------------- */

bool put(Update &u, Row row, const uint32_t *data, unsigned words)
{
    for (unsigned tries = u.undoing ? kTriesBack : 1; tries != 0; --tries)
        if (writeRow(u.port, row, data, words))
            return true;
    return false;
}

// The words of a LUT0 row stand together in the record, those of IFC_DATA0 last.
struct WideRow {
    unsigned first;
    unsigned words;
};

WideRow wideRow(unsigned row)
{
    const unsigned words = row == IFC_LUT0_HEAD_ROW ? 1 : IFC_ROW_WORDS;
    const int last = ifc_lut0_row_word(static_cast<int>(row), 0);
    return {static_cast<unsigned>(last) + 1 - words, words};
}

bool wideRowDiffers(const IFC_LUT0_Format &a, const IFC_LUT0_Format &b, unsigned row)
{
    const WideRow at = wideRow(row);
    return __builtin_memcmp(&a.word[at.first], &b.word[at.first], at.words * sizeof *a.word) != 0;
}

// `to`: the first word of the row in record order.
bool putWide(Update &u, unsigned rule, unsigned row, const uint32_t *to)
{
    if (u.port.silent)
        return false;
    const WideRow at = wideRow(row);
    uint32_t data[IFC_ROW_WORDS];
    for (unsigned n = 0; n < at.words; ++n)
        data[n] = to[at.words - 1 - n];
    const auto bit = static_cast<uint16_t>(1u << row);
    u.unsureWide[rule] |= bit;
    if (!put(u, {IFC_SEL_LUT0, static_cast<uint8_t>(rule), static_cast<uint8_t>(row)}, data, at.words))
        return false;
    __builtin_memcpy(&u.held.lut0[rule].word[at.first], to, at.words * sizeof *to);
    u.unsureWide[rule] &= static_cast<uint16_t>(~bit);
    return true;
}

bool putNarrow(Update &u, unsigned entry, const IFC_LUT1_Format &to)
{
    if (u.port.silent)
        return false;
    const uint32_t data[] = {to.word[1], to.word[0]};
    u.unsureNarrow |= 1u << entry;
    if (!put(u, {IFC_SEL_LUT1, static_cast<uint8_t>(entry), 0}, data, 2))
        return false;
    u.held.lut1[entry] = to;
    u.unsureNarrow &= ~(1u << entry);
    return true;
}

bool putEntry(Update &u, Kind kind, unsigned number, const uint32_t *data)
{
    return put(u, {kSelectors[kind], static_cast<uint8_t>(number), 0}, data, IFC_ROW_WORDS);
}

/* ---- the steps on the rule tables. False: a transfer timed out; on the way back they go on. ---------- */

// This rule's head or end could not be switched off: it may live. Whatever may be part of it stays as it is, and
// so does the entry before it, which must not become part of it.
void freeze(Update &u, unsigned number)
{
    if (number < IFC_LUT0_RULES) {
        u.frozenWide |= static_cast<uint8_t>(1u << number);
        return;
    }
    const unsigned end = number - IFC_LUT0_RULES;
    const unsigned start = runStart(u.held.lut1, end);
    const unsigned first = start % IFC_LUT1_SUB_TABLE != 0 ? start - 1 : start;
    for (unsigned entry = first; entry <= end; ++entry)
        u.frozenNarrow |= 1u << entry;
}

// What is wanted there goes in at once if it is not valid either.
bool switchOff(Update &u, TablesView to, unsigned number)
{
    if (number < IFC_LUT0_RULES)
        return putWide(u, number, IFC_LUT0_HEAD_ROW,
                       to.lut0[number].bits.valid ? kNothing.word : to.lut0[number].word);
    const unsigned end = number - IFC_LUT0_RULES;
    return putNarrow(u, end, to.lut1[end].type0.valid ? kNothing : to.lut1[end]);
}

bool retire(Update &u, TablesView to)
{
    const TablesView held = viewOf(u.held);
    for (unsigned number = 0; number < kMaxRules; ++number) {
        const bool stays = sameRule(held, to, number) && !has(u, number, kReborn);
        if (!headUnsure(u, number) && (stays || !ruleLives(held, number)))
            continue;
        if (switchOff(u, to, number))
            continue;
        if (!u.undoing)
            return false;
        freeze(u, number);
    }
    return true;
}

bool fill(Update &u, TablesView to)
{
    for (unsigned rule = 0; rule < IFC_LUT0_RULES; ++rule) {
        if (u.frozenWide >> rule & 1)
            continue;
        const unsigned rows = to.lut0[rule].bits.valid ? IFC_LUT0_BODY_ROWS : IFC_LUT0_BODY_ROWS + 1;
        for (unsigned row = 0; row < rows; ++row)
            if ((u.unsureWide[rule] >> row & 1 || wideRowDiffers(u.held.lut0[rule], to.lut0[rule], row)) &&
                !putWide(u, rule, row, &to.lut0[rule].word[wideRow(row).first]) && !u.undoing)
                return false;
    }
    for (unsigned entry = 0; entry < IFC_LUT1_RULES; ++entry) {
        const IFC_LUT1_Format &wanted = to.lut1[entry];
        const bool differs = __builtin_memcmp(&u.held.lut1[entry], &wanted, sizeof wanted) != 0;
        if (!isEnd(wanted) && (u.frozenNarrow >> entry & 1) == 0 &&
            (differs || u.unsureNarrow >> entry & 1) && !putNarrow(u, entry, wanted) && !u.undoing)
            return false;
    }
    return true;
}

// All that the rule consists of is known to be in place, but for its head or end.
bool mayLive(const Update &u, TablesView to, unsigned number)
{
    if (has(u, number, kChanged))
        return false;
    if (number < IFC_LUT0_RULES)
        return u.unsureWide[number] == 0 &&
               __builtin_memcmp(&u.held.lut0[number].word[1], &to.lut0[number].word[1],
                                sizeof to.lut0->word - sizeof to.lut0->word[0]) == 0;
    const Place place = livingPlace(to, number);
    const unsigned before = place.first % IFC_LUT1_SUB_TABLE != 0 ? 1 : 0;
    const unsigned from = place.first - before;
    const uint32_t rows = narrowBits(place) | 1u << from;
    return (u.unsureNarrow & rows) == 0 && (before == 0 || !goesOn(u.held.lut1[from])) &&
           __builtin_memcmp(&u.held.lut1[place.first], &to.lut1[place.first],
                            (place.entries - 1u) * sizeof *to.lut1) == 0;
}

bool enliven(Update &u, TablesView to)
{
    for (unsigned number = 0; number < kMaxRules; ++number) {
        if (!ruleLives(to, number) || sameRule(viewOf(u.held), to, number) ||
            (u.undoing && !mayLive(u, to, number)))
            continue;
        const unsigned entry = number - IFC_LUT0_RULES;
        const bool done = number < IFC_LUT0_RULES
                              ? putWide(u, number, IFC_LUT0_HEAD_ROW, to.lut0[number].word)
                              : putNarrow(u, entry, to.lut1[entry]);
        if (!done && !u.undoing)
            return false;
    }
    return true;
}

/* ---- actions, counters, bindings --------------------------------------------------------------------- */

// Where the entry of a number comes from: that of another number, or one of these.
enum Source : int { kStays = -1, kZero = -2, kGiven = -3 };

int sourceOf(const Update &u, const UpdateRequest &request, Kind kind, unsigned number)
{
    if (!ruleLives(viewOf(*request.tables), number))
        return ruleLives(shadowView(), number) ? kZero : kStays;
    if (u.ruleAt[number] == kUnlisted)
        return kStays;
    const WantedRule &rule = request.rules[u.ruleAt[number]];
    if ((kind == kAction && rule.action != nullptr) || (kind == kBinding && rule.binding != kBindingKept))
        return kGiven;
    if ((kind == kCounter && rule.counterFromZero) || !placed(rule.oldPlace))
        return kZero;
    const unsigned old = placeNumber(rule.oldPlace);
    return old == number ? kStays : static_cast<int>(old);
}

// All is read before anything is written: rules may have changed places.
bool readEntries(Update &u, const UpdateRequest &request, Kind kind)
{
    for (unsigned number = 0; number < kMaxRules; ++number) {
        const int source = sourceOf(u, request, kind, number);
        if (source != kStays)
            mark(u, number, kNeeded << kind);
        if (source >= 0)
            mark(u, static_cast<unsigned>(source), kNeeded << kind);
    }
    for (unsigned number = 0; number < kMaxRules; ++number) {
        if (!has(u, number, kNeeded << kind))
            continue;
        if (!readRow(u.port, {kSelectors[kind], static_cast<uint8_t>(number), 0}, u.saved[kind][number]))
            return false;
        if (kind == kCounter)
            u.saved[kind][number][IFC_ROW_WORDS - 1] &= kCounterTopWord;
    }
    return true;
}

bool writeEntries(Update &u, const UpdateRequest &request, Kind kind)
{
    for (unsigned number = 0; number < kMaxRules; ++number) {
        const int source = sourceOf(u, request, kind, number);
        if (source == kStays)
            continue;
        uint32_t data[IFC_ROW_WORDS] = {};
        if (source == kGiven)
            for (unsigned n = 0; n < IFC_ROW_WORDS; ++n)
                data[n] = request.rules[u.ruleAt[number]].action->word[IFC_ROW_WORDS - 1 - n];
        else if (source >= 0)
            __builtin_memcpy(data, u.saved[kind][source], sizeof data);
        // A counter that had the right value counts on as soon as its rule lives.
        const bool differs = u.port.dry || __builtin_memcmp(data, u.saved[kind][number], sizeof data) != 0;
        if (differs || kind == kCounter)
            mark(u, number, kChanged << kind);
        if (differs && !putEntry(u, kind, number, data))
            return false;
    }
    return true;
}

void moveBindings(Update &u, const UpdateRequest &request)
{
    unsigned known = 0;
    const auto fetch = [&](unsigned number) {
        const unsigned n = number / IFC_ACNT_PER_REGISTER;
        if ((known >> n & 1) == 0)
            u.bindings[n] = readRegister(u.port, IFC_ACNT_CFG + 4 * n);
        known |= 1u << n;
        return u.bindings[n] >> IFC_ACNT_ID_BITS * (number % IFC_ACNT_PER_REGISTER) & kSlotMask;
    };
    uint32_t wanted[IFC_ACNT_CFG_COUNT];
    unsigned concerned = 0;
    for (unsigned number = 0; number < kMaxRules; ++number) {
        const int source = sourceOf(u, request, kBinding, number);
        if (source == kStays)
            continue;
        const unsigned n = number / IFC_ACNT_PER_REGISTER;
        const unsigned lsb = IFC_ACNT_ID_BITS * (number % IFC_ACNT_PER_REGISTER);
        (void)fetch(number);
        if ((concerned >> n & 1) == 0)
            wanted[n] = u.bindings[n];
        concerned |= 1u << n;
        uint32_t id = 0;
        if (source == kGiven)
            id = request.rules[u.ruleAt[number]].binding;
        else if (source >= 0)
            id = fetch(static_cast<unsigned>(source));
        wanted[n] = (wanted[n] & ~(kSlotMask << lsb)) | id << lsb;
    }
    for (unsigned n = 0; n < IFC_ACNT_CFG_COUNT; ++n)
        if (concerned >> n & 1 && (wanted[n] != u.bindings[n] || u.port.dry)) {
            writeRegister(u.port, IFC_ACNT_CFG + 4 * n, wanted[n]);
            u.bindingsWritten |= static_cast<uint8_t>(1u << n);
        }
}

bool moveEntries(Update &u, const UpdateRequest &request)
{
    for (const Kind kind : kRowKinds)
        if (!readEntries(u, request, kind))
            return false;
    moveBindings(u, request);
    for (const Kind kind : kRowKinds)
        if (!writeEntries(u, request, kind))
            return false;
    return true;
}

// An action that a rule may still use which could not be switched off stays with it.
void restoreEntries(Update &u)
{
    for (const Kind kind : kRowKinds)
        for (unsigned number = 0; number < kMaxRules; ++number)
            if (has(u, number, kChanged << kind) && !headUnsure(u, number) &&
                putEntry(u, kind, number, u.saved[kind][number]))
                u.flags[number] &= static_cast<uint8_t>(~(kChanged << kind));
    for (unsigned n = 0; n < IFC_ACNT_CFG_COUNT; ++n)
        if (u.bindingsWritten >> n & 1)
            writeRegister(u.port, IFC_ACNT_CFG + 4 * n, u.bindings[n]);
    u.bindingsWritten = 0;
}

/* ---- the whole --------------------------------------------------------------------------------------- */

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
