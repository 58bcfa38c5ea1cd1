// SPDX-License-Identifier: MIT OR GPL-2.0
#include "table_model.h"

#include <optional>

namespace model
{

namespace
{

constexpr uint32_t kNoMask = 0xFFFFFFFF;

bool isMac(unsigned field)
{
    return field == 1 || field == 2;
}

unsigned widthOf(unsigned field)
{
    static const unsigned widths[] = {0, 48, 48, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 20, 5,  3,
                                      2, 2,  12, 4,  12, 4,  16, 16, 8,  8,  8,  8,  16, 16, 16, 2};
    return widths[field];
}

uint64_t ones(unsigned count)
{
    return count >= 64 ? ~uint64_t{0} : (uint64_t{1} << count) - 1;
}

// The number of ones, if the mask is one run from the given end of the width; else -1.
int runFrom(bool bottom, uint64_t mask, unsigned width)
{
    for (unsigned count = 1; count <= width; ++count)
        if (mask == (bottom ? ones(count) : ones(width) & ~ones(width - count)))
            return static_cast<int>(count);
    return -1;
}

} // namespace

uint32_t Tables::reduce(uint64_t mask, int width)
{
    const auto w = static_cast<unsigned>(width);
    const int top = runFrom(false, mask, w);
    if (top > 0)
        return static_cast<uint32_t>(top);
    const int bottom = runFrom(true, mask, w);
    if (bottom < 0)
        return kNoMask;
    // Known: anything above the low word counts as 47.
    return 0x80000000u + static_cast<uint32_t>(bottom > 32 ? 47 : bottom);
}

int Tables::setLut0(unsigned index, bool on, unsigned field, unsigned command, uint64_t mask, uint64_t key)
{
    if (index > 7 || field < 1 || field > 31 || (field <= 13 && command > 1))
        return -1;
    WideRule &rule = wide[index];
    if (!on) {
        rule.valid = false;
        for (WideField &f : rule.fields)
            f.enabled = false;
        rewrite();
        return 0;
    }
    rule.valid = true;
    WideField &f = rule.fields[field];
    f.enabled = true;
    f.command = 0;
    // Known: a wide command spills over the fields above, as far as the 16 that share a word.
    const unsigned last = field <= 16 ? 16 : 31;
    for (unsigned above = field; above <= last && command != 0; ++above, command >>= 2)
        rule.fields[above].command |= command & 3;
    f.mask = mask & ones(widthOf(field));
    f.key = key & ones(widthOf(field));
    rewrite();
    return 0;
}

int Tables::setLut1(unsigned index, bool on, bool end, unsigned field, unsigned command, uint32_t reduced,
                    uint64_t key)
{
    if (index > 31 || field < 1 || field > 47 || (field <= 13 && command > 1) ||
        (isMac(field) && index % 16 == 15))
        return -1;
    if (!on) {
        narrow[index].valid = false;
        rewrite();
        return static_cast<int>(index) + 1;
    }
    const auto wordEntry = [&](unsigned at, bool last, unsigned length, bool bottom) {
        narrow[at] = {true, last, true, field, command & 1, bottom, length, 0, 0, static_cast<uint32_t>(key)};
    };
    const auto halfEntry = [&](unsigned at, unsigned sel, uint32_t mask, uint32_t bits) {
        narrow[at] = {true, end, false, field, command & 3, false, 0, sel, mask & 0xFFFF, bits & 0xFFFF};
    };
    const bool bottom = reduced >> 31;
    unsigned count = reduced & 0x3F;
    if (isMac(field)) {
        if (count == 0 || count > 48)
            count = 48;
        const uint64_t mask = bottom ? ones(count) : ones(48) & ~ones(48 - count);
        unsigned lowCount = 0;
        for (unsigned bit = 0; bit < 32; ++bit)
            lowCount += static_cast<unsigned>(mask >> bit & 1);
        const auto high = static_cast<uint32_t>(mask >> 32);
        if (lowCount != 0)
            wordEntry(index, high == 0 && end, lowCount, bottom);
        if (lowCount != 0 && high != 0)
            ++index;
        if (high != 0)
            halfEntry(index, 2, high, static_cast<uint32_t>(key >> 32));
    } else if (field <= 13) {
        wordEntry(index, end, (count & 31) == 0 ? 32 : count & 31, bottom);
    } else {
        halfEntry(index, 0, reduced, static_cast<uint32_t>(key));
    }
    rewrite();
    return static_cast<int>(index) + 1;
}

int Tables::freeRun(unsigned wanted) const
{
    int best = -1;
    unsigned bestLength = 100;
    for (unsigned start = 0; start < 32; ++start) {
        if (narrow[start].valid || (start % 16 != 0 && !narrow[start - 1].valid))
            continue;
        unsigned length = 0;
        while (start + length < (start / 16 + 1) * 16 && !narrow[start + length].valid)
            ++length;
        if (length >= wanted && length < bestLength) {
            best = static_cast<int>(start);
            bestLength = length;
        }
    }
    return best;
}

int Tables::place(const Request &request)
{
    unsigned entries = 0;
    for (const FieldCondition &c : request)
        entries += isMac(c.field) ? 2 : 1;
    if (entries == 0)
        return -1;
    int freeRule = -1;
    for (int n = 7; n >= 0; --n)
        if (!wide[static_cast<unsigned>(n)].valid)
            freeRule = n;
    if (entries >= 9 && freeRule >= 0) {
        for (const FieldCondition &c : request)
            if (setLut0(static_cast<unsigned>(freeRule), true, c.field, c.command, c.mask, c.key) != 0)
                return -1;
        rewrite();
        return freeRule;
    }
    int at = freeRun(entries);
    if (at < 0)
        return -1;
    for (size_t n = 0; n < request.size(); ++n) {
        const FieldCondition &c = request[n];
        uint32_t mask = static_cast<uint32_t>(c.mask);
        if (c.field <= 13) {
            mask = reduce(isMac(c.field) ? c.mask : c.mask & ones(32), isMac(c.field) ? 48 : 32);
            if (mask == kNoMask)
                return -1;
        }
        at = setLut1(static_cast<unsigned>(at), true, n + 1 == request.size(), c.field, c.command, mask,
                     c.key);
        if (at < 0)
            return -1;
    }
    rewrite();
    return at + 7;
}

bool Tables::wideHolds(const Request &request, unsigned index) const
{
    const WideRule &rule = wide[index];
    unsigned enabled = 0;
    for (const WideField &f : rule.fields)
        enabled += f.enabled;
    if (!rule.valid || enabled != request.size())
        return false;
    for (const FieldCondition &c : request) {
        if (c.field > 31)
            return false;
        const WideField &f = rule.fields[c.field];
        const uint64_t whole = isMac(c.field) ? ~uint64_t{0} : ones(32);
        if (!f.enabled || f.command != c.command || f.mask != (c.mask & whole) || f.key != (c.key & whole))
            return false;
    }
    return true;
}

// Compares a condition with an entry. Each class of fields has its own rule. A MAC may match by either half.
bool Tables::lut1HasCondition(const FieldCondition &c, unsigned entry) const
{
    const NarrowEntry e = entry < 32 ? narrow[entry] : NarrowEntry{};
    if (e.field != c.field)
        return false;
    // The two command bits as a comparison reads them that ignores the type of the entry.
    const unsigned command2 = e.isWord ? e.command | (e.fromBottom ? 2u : 0u) : e.command;
    if (isMac(c.field)) {
        if (!e.isWord)
            return command2 == c.command && e.key == c.key >> 32 && e.mask == c.mask >> 32;
        const uint32_t reduced = reduce(c.mask, 48);
        return e.command == c.command && e.key == static_cast<uint32_t>(c.key) &&
               e.fromBottom == reduced >> 31 && e.length % 32 == reduced % 16; // Known: four bits
    }
    if (c.field == 3 || c.field == 4) {
        const uint32_t reduced = reduce(c.mask & ones(32), 32);
        return e.isWord && e.command == c.command && e.key == static_cast<uint32_t>(c.key) &&
               e.fromBottom == reduced >> 31 && e.length % 32 == reduced % 32;
    }
    const uint32_t mask = e.isWord ? e.key >> 16 : e.mask; // a word entry's key, read as a halfword entry
    return command2 == c.command && mask == (c.mask & 0xFFFF) && (e.key & 0xFFFF) == (c.key & 0xFFFF);
}

bool Tables::chainHolds(const Request &request, unsigned entries, unsigned first) const
{
    const unsigned end = first + entries;
    for (size_t i = 0; i < entries;) {
        // After the end of the list the field is 0. An all-zero entry in a gap of the range matches it.
        const FieldCondition c = i < request.size() ? request[i] : FieldCondition{};
        std::optional<size_t> step;
        for (unsigned k = first; k < end && !step; ++k) {
            if (!isMac(c.field)) {
                if (lut1HasCondition(c, k))
                    step = 1;
                continue;
            }
            unsigned high = k;
            if (narrow[k].isWord) {
                if (!lut1HasCondition(c, k))
                    continue;
                high = ++k; // takes the next entry
            }
            const bool isHigh = (high >= 32 || !narrow[high].isWord) && lut1HasCondition(c, high);
            if (high == end)
                step = isHigh ? 0 : 1;
            else if (isHigh)
                step = 2;
        }
        if (!step || *step == 0)
            return false;
        i += *step;
    }
    return true;
}

int Tables::remove(const Request &request)
{
    unsigned macs = 0;
    for (const FieldCondition &c : request) {
        if (c.field >= 5 && c.field <= 13)
            return -1;
        macs += isMac(c.field);
    }
    bool found = false;
    for (unsigned n = 0; n < 8; ++n)
        if (wideHolds(request, n)) {
            wide[n] = {};
            (void)clearAction(n);
            found = true;
        }
    const auto entries = static_cast<unsigned>(request.size()) + macs;
    unsigned chain = 1;
    for (unsigned last = 0; last < 32; ++last) {
        if (!narrow[last].valid)
            continue;
        if (!narrow[last].end) {
            ++chain;
            continue;
        }
        if (chain == entries && chainHolds(request, entries, last + 1 - entries)) {
            for (unsigned n = last + 1 - entries; n <= last; ++n) {
                narrow[n] = {};
                (void)clearAction(n + 8);
            }
            found = true;
        }
        chain = 1;
    }
    if (!found)
        return -1;
    rewrite();
    return 0;
}

int Tables::matchLut1(const FieldCondition &c) const
{
    for (unsigned n = 0; n < 32; ++n)
        if ((c.field <= 4 || narrow[n].valid) && lut1HasCondition(c, n))
            return static_cast<int>(n);
    return -1;
}

int Tables::clearAction(unsigned index)
{
    if (index > 39)
        return -1;
    actions[index] = {};
    moves.push_back({Move::ZeroAction, index});
    return 0;
}

int Tables::setAction(unsigned index, unsigned sub, bool on, const std::array<unsigned, 4> &given)
{
    if (index > 39 || sub > 16)
        return -1;
    if (!ppe && sub != 14) {
        (void)clearAction(index);
        if (index < 8)
            wide[index] = {};
        else
            narrow[index - 8] = {};
        return -1;
    }
    moves.push_back({Move::ReadAction, index});
    moves.push_back({Move::WriteAction, index});
    ActionFields &a = actions[index];
    const auto v = on || sub > 14 ? given : std::array<unsigned, 4>{};
    const auto put = [&a](unsigned field, unsigned value, unsigned width) {
        a[field] = static_cast<unsigned>(value & ones(width));
    };
    if (sub <= 13)
        put(kEnable0 + (revision == 12 && sub >= 4 ? sub - 1 : sub), on, 1);
    switch (sub) {
    case 0:
        put(kChannel, v[0], 5), put(kQueue, v[1], 3);
        break;
    case 1:
        put(kFport, v[0], 4), put(kNbq, v[1], 5), put(kCpu, 0, 1);
        break;
    case 2:
        put(kSpTag, v[0], 16);
        break;
    case 3:
        put(kCnt0, v[0], 6);
        break;
    case 4:
        put(kCnt1, v[0], 5);
        break;
    case 5:
        put(kMtrG, v[0], 8);
        break;
    case 6:
        put(kDscp, v[0], 8);
        break;
    case 7:
        put(kTc, v[0], 8);
        break;
    case 8:
        put(kVpm0, v[0], 2), put(kVo0, v[1], 2), put(kVp0, v[2], 4), put(kVid0, v[3], 12);
        break;
    case 9:
        put(kVo1, v[0], 2), put(kVp1, v[1], 4), put(kVid1, v[2], 12);
        break;
    case 10:
        put(kFqos, v[0], 1);
        break;
    case 11:
        put(kFast, v[0], 1);
        break;
    case 12:
        put(kMc, v[0], 1);
        break;
    case 13:
        put(kKeepPcp, v[0], 1);
        break;
    case 14:
        put(kCpu, v[0], 1), put(kNbq, v[1], 5);
        break;
    case 15:
        put(kOwf, v[0], 1);
        break;
    default:
        put(kDpi, v[0], 1), put(kEnable0 + 13, on, 1);
        break;
    }
    return 0;
}

void Tables::rewrite()
{
    moves.push_back({Move::Rewrite, 0});
    if (revision != 14 && revision != 15)
        hardwareWide = wide;
    hardwareNarrow = narrow;
}

void Tables::invalidate(int rule)
{
    for (int n = 0; n < 8; ++n) {
        if (rule >= 0 && rule < 8 && n != rule)
            continue;
        moves.push_back({Move::ClearHead, static_cast<uint32_t>(n)});
        for (WideRule *r : {&wide[static_cast<unsigned>(n)], &hardwareWide[static_cast<unsigned>(n)]}) {
            r->valid = false;
            for (WideField &f : r->fields)
                f.enabled = false;
        }
    }
}

void Tables::clearRules()
{
    wide = {};
    narrow = {};
}

void Tables::clearActions()
{
    actions = {};
    moves.push_back({Move::ZeroActions, 0});
}

void Tables::clearCounters()
{
    counters = {};
    moves.push_back({Move::ZeroCounters, 0});
}

void Tables::switchTo(bool on)
{
    moves.push_back({Move::ReadRegister, 0xBFB50200});
    moves.push_back({Move::WriteRegister, 0xBFB50200});
    global = global / 2 * 2 + (on ? 1 : 0);
}

void Tables::showTables(bool lut0, bool lut1)
{
    for (unsigned n = 0; n < 8 && lut0; ++n)
        if (wide[n].valid)
            moves.push_back({Move::ShowAction, n});
    for (unsigned n = 0; n < 32 && lut1; ++n)
        if (narrow[n].valid)
            moves.push_back({Move::ShowAction, n + 8});
}

// Slots 0 to 2 are the words of one number of 96 bits: DMAC in the lower half, SMAC in the upper one.
void Tables::setSlot(unsigned rule, unsigned slot, uint32_t mask, uint32_t key)
{
    const auto put = [slot](uint64_t &dmac, uint64_t &smac, uint64_t word) {
        const uint64_t high = 0xFFFFFFFF00000000;
        if (slot == 0)
            dmac = (dmac & high) | word;
        if (slot == 1)
            dmac = (dmac & ~high) | (word & 0xFFFF) << 32, smac = (smac & ~uint64_t{0xFFFF}) | word >> 16;
        if (slot == 2)
            smac = (smac & 0xFFFF) | word << 16;
    };
    auto &fields = wide[rule].fields;
    if (slot < 3) {
        put(fields[1].mask, fields[2].mask, mask);
        put(fields[1].key, fields[2].key, key);
    } else {
        fields[slot].mask = mask & ones(widthOf(slot));
        fields[slot].key = key & ones(widthOf(slot));
    }
}

// The word lies as in the frame: its bytes are exchanged.
int Tables::vpmOf(unsigned frameWord)
{
    moves.push_back({Move::ReadRegister, 0xBFB50000});
    const unsigned type = frameWord % 256 * 256 + frameWord / 256;
    const unsigned user = tpid >> 16;
    return type == 0x8100 ? 1 : type == 0x88A8 ? 2 : user != 0 && type == user ? 3 : -1;
}

unsigned Tables::tpidOf(unsigned vpm)
{
    moves.push_back({Move::ReadRegister, 0xBFB50000});
    return vpm == 1 ? 0x8100 : vpm == 2 ? 0x88A8 : vpm == 3 ? tpid >> 16 : 0;
}

int Tables::bind(unsigned index, unsigned id)
{
    if (index > 39 || id > 16)
        return -1;
    moves.push_back({Move::ReadRegister, 0xBFB50240 + index / 8 * 4});
    moves.push_back({Move::WriteRegister, 0xBFB50240 + index / 8 * 4});
    bindings[index / 8][index % 8] = id % 16;
    if (id == 16 && index % 8 != 7)
        bindings[index / 8][index % 8 + 1] |= 1;
    return 0;
}

} // namespace model
