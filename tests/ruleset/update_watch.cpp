// SPDX-License-Identifier: MIT OR GPL-2.0
#include "update_watch.h"

#include "ifc/ifc_regs.h"
#include "ruleset/update_steps.h"

#include <algorithm>
#include <cstring>
#include <set>

using engine::Access;
using engine::AccessKind;
using ruleset::Outcome;

namespace
{

constexpr unsigned kStretchBound = 64;
constexpr unsigned kPolls = 3;
constexpr uint32_t kGlobalConfig = 0x00000031; // on, and bits that the update does not own

bool isWrite(uint32_t command)
{
    return (command >> 1 & 3) == 1;
}

unsigned selOf(uint32_t command)
{
    return command >> 4 & 3;
}

unsigned offsetOf(uint32_t command)
{
    return command >> 8 & 0x3F;
}

unsigned indexOf(uint32_t command)
{
    return command >> 16 & 0xFF;
}

// The table's word for a data register of a row, or nullptr.
uint32_t *rowWord(engine::Tables &tables, uint32_t command, unsigned n)
{
    const unsigned index = indexOf(command);
    const unsigned offset = offsetOf(command);
    switch (selOf(command)) {
    case 0:
        if (offset == 10)
            return n == 0 ? &tables.lut0[index][0] : nullptr;
        return &tables.lut0[index][40 - 4 * offset - n];
    case 1:
        return n < 2 ? &tables.lut1[index][1 - n] : nullptr;
    case 2:
        return &tables.action[index][3 - n];
    default:
        return &tables.counter[index][n];
    }
}

unsigned wideRowOf(unsigned word)
{
    return word == 0 ? 10 : (40 - word) / 4;
}

} // namespace

UpdateWatch::UpdateWatch(const Scenario &scenario, uint64_t seed) : s_(scenario), random_(seed)
{
    host::reset();
    host::muteLog(true);
    host::attach(&chip_);
    chip_.powerOn({1, true});
    for (unsigned n = 0; n < 8; ++n)
        std::memcpy(chip_.tables().lut0[n], s_.old.lut0[n].word, sizeof chip_.tables().lut0[n]);
    for (unsigned n = 0; n < 32; ++n)
        std::memcpy(chip_.tables().lut1[n], s_.old.lut1[n].word, sizeof chip_.tables().lut1[n]);
    for (unsigned n = 0; n < 40; ++n) {
        std::memcpy(chip_.tables().action[n], s_.actions[n].data(), sizeof chip_.tables().action[n]);
        std::memcpy(chip_.tables().counter[n], s_.counters[n].data(), sizeof chip_.tables().counter[n]);
    }
    for (unsigned n = 0; n < 5; ++n) {
        uint32_t word = 0;
        for (unsigned k = 0; k < 8; ++k)
            word |= static_cast<uint32_t>(s_.bindings[8 * n + k]) << 4 * k;
        chip_.write(IFC_ACNT_CFG + 4 * n, word);
    }
    chip_.write(IFC_GLB_CFG, kGlobalConfig);
    std::memcpy(IFC_LUT0_Rule, s_.old.lut0, sizeof IFC_LUT0_Rule);
    std::memcpy(IFC_LUT1_Rule, s_.old.lut1, sizeof IFC_LUT1_Rule);
    for (const auto &[number, living] : s_.oldRules)
        life_[number] = Life::Old;
    lastGeneration_ = chip_.generation() - 1;
    std::memset(update_.get(), 0xA5, sizeof *update_); // it needs no initialisation

    host::setMisuseHandler([this](std::string_view what) { complain("spin lock " + std::string(what)); });
    host::setEventWatch([this](host::Event event) {
        if (event == host::Event::Lock) {
            stretch_ = 0;
            loaded_ = 0;
            readInHold_ = false;
        } else if (event == host::Event::Unlock) {
            longest_ = std::max(longest_, stretch_);
            if (stretch_ > kStretchBound)
                complain("the lock was held for " + std::to_string(stretch_) + " accesses");
        }
    });
    chip_.onAccess(
        [](void *self, const Access &access) { static_cast<UpdateWatch *>(self)->onAccess(access); }, this);
    chip_.onError(
        [](void *self, engine::AccessError, uint32_t value) {
            static_cast<UpdateWatch *>(self)->complain("bad access " + std::to_string(value));
        },
        this);
}

UpdateWatch::~UpdateWatch()
{
    host::reset();
    std::memset(IFC_LUT0_Rule, 0, sizeof IFC_LUT0_Rule);
    std::memset(IFC_LUT1_Rule, 0, sizeof IFC_LUT1_Rule);
}

void UpdateWatch::complain(const std::string &what)
{
    if (complaint_.empty())
        complaint_ =
            "access " + std::to_string(accesses_) + ", transfer " + std::to_string(transfers_) + ": " + what;
}

unsigned UpdateWatch::writesOf(unsigned sel, unsigned index, unsigned offset) const
{
    const auto found = writes_.find({sel, index, offset});
    return found == writes_.end() ? 0 : found->second;
}

// The simulated chip calls it before a write takes effect and after a read.
void UpdateWatch::onAccess(const Access &access)
{
    if (!watching_)
        return;
    look(); // at the state after the previous access
    frame();
    const bool isCommand = access.kind == AccessKind::Write && access.reg == IFC_RULE_CFG;
    if (pending_ && (isCommand || pendingFor_-- == 0))
        happenLate();

    ++accesses_;
    if (!host::lockHeld())
        complain("an access without the lock");
    if (access.reg != IFC_RULE_CFG)
        ++stretch_;
    if (access.reg >= IFC_DATA0 && access.reg <= IFC_DATA3) {
        const unsigned n = (access.reg - IFC_DATA0) / 4;
        if (access.kind == AccessKind::Write) {
            data_[n] = access.value;
            loaded_ |= 1u << n;
        } else if (!readInHold_) {
            complain("data are read in another hold of the lock than the row");
        }
    }
    if (isCommand)
        onCommand(access.value);
}

void UpdateWatch::onCommand(uint32_t command)
{
    stretch_ += 1 + kPolls;
    past_ = fired_;
    chip_.settings().doneAfter = doneAfter_;
    const bool rowDies =
        fault_.kind == Fault::DeadRow || fault_.kind == Fault::StuckRow || fault_.kind == Fault::OtherDead;
    const uint32_t row = command & ~6u; // without the direction
    commands_.push_back(row);
    if (rowDies && fired_ && row == deadRow_)
        chip_.injectFault(engine::TransferFault::NeverComplete, 0, 1);
    if (fault_.kind == Fault::NotDoneTwice && transfers_ == fault_.at + fault_.count + 1)
        chip_.injectFault(engine::TransferFault::NeverComplete, 0, 1);
    if (fault_.kind != Fault::None && transfers_ == fault_.at) {
        fired_ = true;
        const unsigned back = fault_.kind == Fault::OtherDead ? std::min(fault_.count, transfers_) : 0;
        deadRow_ = commands_[transfers_ - back];
        if (fault_.kind == Fault::DoneUnseen || fault_.kind == Fault::StuckRow)
            chip_.settings().doneAfter = kPolls + 1;
        else
            chip_.injectFault(engine::TransferFault::NeverComplete, 0,
                              fault_.kind == Fault::NotDone ? fault_.count : 1);
        pending_ = fault_.kind == Fault::LateTransfer;
        pendingFor_ = kPolls + fault_.count;
        pendingCommand_ = command;
    }
    ++transfers_;
    readInHold_ = !isWrite(command);
    if (!isWrite(command))
        return;
    const unsigned needed = selOf(command) == 1 ? 3 : selOf(command) == 0 && offsetOf(command) == 10 ? 1 : 15;
    if ((loaded_ & needed) != needed)
        complain("a row is written with data that were not loaded under this hold of the lock");
    loaded_ = 0;
    ++writes_[{selOf(command), indexOf(command), offsetOf(command)}];
}

void UpdateWatch::happenLate()
{
    pending_ = false;
    watching_ = false;
    for (unsigned n = 0; n < 4; ++n) {
        uint32_t *word = rowWord(chip_.tables(), pendingCommand_, n);
        if (word != nullptr && isWrite(pendingCommand_))
            *word = data_[n];
        else if (word != nullptr)
            chip_.write(IFC_DATA0 + 4 * n, data_[n] = *word);
    }
    chip_.touch();
    watching_ = true;
    look();
}

// Every living rule is a complete old or new one, with its action.
void UpdateWatch::look()
{
    if (chip_.generation() == lastGeneration_)
        return;
    lastGeneration_ = chip_.generation();
    const auto rules = livingRules(chip_.tables());
    living_.clear();
    for (unsigned number = 0; number < 40; ++number) {
        const auto found = rules.find(number);
        lookAt(number, found == rules.end() ? nullptr : &found->second);
        if (found != rules.end())
            living_.push_back(number);
    }
}

void UpdateWatch::lookAt(unsigned number, const Living *living)
{
    Life &life = life_[number];
    if (living == nullptr) {
        if (s_.stays(number))
            complain("rule " + std::to_string(number) + " stays and was not there");
        life = Life::Dead;
        return;
    }
    const auto before = s_.oldRules.find(number);
    const auto after = s_.newRules.find(number);
    const bool isOld = before != s_.oldRules.end() && before->second == *living;
    const bool isNew = after != s_.newRules.end() && after->second == *living;
    if (!isOld && !isNew) {
        complain("number " + std::to_string(number) + " is neither an old nor a new rule");
        return;
    }
    if (isOld != isNew)
        life = isOld ? Life::Old : Life::New;
    else if (life == Life::Dead)
        life = past_ ? Life::Old : Life::New;

    Words4 action;
    std::memcpy(action.data(), chip_.tables().action[number], sizeof action);
    const bool right = s_.stays(number)
                           ? action == s_.actions[number] || action == s_.wantedActions[number]
                           : action == (life == Life::Old ? s_.actions : s_.wantedActions)[number];
    if (!right)
        complain("rule " + std::to_string(number) + " lives with a wrong action");
}

// A frame hits one of the living rules.
void UpdateWatch::frame()
{
    if (living_.empty())
        return;
    const unsigned number = living_[random_.below(static_cast<unsigned>(living_.size()))];
    ++chip_.tables().counter[number][2];
    ++(life_[number] == Life::New ? newHits_ : oldHits_)[number];
}

void UpdateWatch::checkTables(const ruleset::Tables &tables, const RowSet &except, const char *name)
{
    for (unsigned rule = 0; rule < 8; ++rule)
        for (unsigned word = 0; word < 41; ++word)
            if ((except.wide[rule] >> wideRowOf(word) & 1) == 0 &&
                chip_.tables().lut0[rule][word] != tables.lut0[rule].word[word])
                complain(std::string("LUT0 in the hardware is not ") + name);
    for (unsigned entry = 0; entry < 32; ++entry)
        if ((except.narrow >> entry & 1) == 0 &&
            std::memcmp(chip_.tables().lut1[entry], tables.lut1[entry].word, 8) != 0)
            complain("LUT1-" + std::to_string(entry) + " in the hardware is not " + name);
}

void UpdateWatch::checkEntries(bool old, const RowSet &except)
{
    for (unsigned number = 0; number < 40; ++number) {
        const auto complainOf = [&](const char *what) {
            complain(std::string(what) + " of " + std::to_string(number) +
                     (old ? " is not as before" : " is wrong"));
        };
        if ((except.actions >> number & 1) == 0 &&
            std::memcmp(chip_.tables().action[number], (old ? s_.actions : s_.wantedActions)[number].data(),
                        16) != 0)
            complainOf("the action");
        const uint32_t binding = chip_.counterBinding(number / 8) >> 4 * (number % 8) & 15;
        if (binding != (old ? s_.bindings : s_.wantedBindings)[number])
            complainOf("the binding");

        if (except.counters >> number & 1)
            continue;
        Words4 expected = s_.counters[number];
        const bool isNew = s_.newRules.count(number) != 0;
        const bool isOld = s_.oldRules.count(number) != 0;
        bool exact = true;
        if (!old && isNew) {
            const int origin = s_.origin.at(number);
            exact = !(s_.stays(number) && s_.fromZero.at(number)); // frames hit it meanwhile
            expected = {};
            if (!s_.fromZero.at(number)) {
                expected = s_.counters[origin];
                expected[2] += oldHits_[origin];
            }
            if (!s_.stays(number))
                expected[2] += newHits_[number];
        } else if (!old && isOld) {
            expected = {};
        } else if (isOld) {
            exact = !isNew || !s_.fromZero.at(number) || !s_.stays(number);
            expected[2] += oldHits_[number];
            // Hits at its new place, which may be the same number.
            for (const auto &[place, origin] : s_.origin)
                if (origin == static_cast<int>(number) && !s_.stays(place))
                    expected[2] += newHits_[place];
        }
        if (exact && std::memcmp(chip_.tables().counter[number], expected.data(), 16) != 0)
            complainOf("the counter");
    }
}

RowSet UpdateWatch::differ() const
{
    const ruleset::Update &u = *update_;
    RowSet rows;
    for (unsigned number = 0; number < 40; ++number) {
        if ((u.flags[number] & ruleset::kChanged << ruleset::kAction) != 0)
            rows.actions |= uint64_t{1} << number;
        if ((u.flags[number] & ruleset::kChanged << ruleset::kCounter) != 0)
            rows.counters |= uint64_t{1} << number;
    }
    rows.narrow = u.unsureNarrow;
    for (unsigned entry = 0; entry < 32; ++entry)
        if (std::memcmp(&u.held.lut1[entry], &s_.old.lut1[entry], sizeof u.held.lut1[entry]) != 0)
            rows.narrow |= 1u << entry;
    for (unsigned rule = 0; rule < 8; ++rule) {
        rows.wide[rule] = u.unsureWide[rule];
        for (unsigned word = 0; word < 41; ++word)
            if (u.held.lut0[rule].word[word] != s_.old.lut0[rule].word[word])
                rows.wide[rule] |= static_cast<uint16_t>(1u << wideRowOf(word));
    }
    return rows;
}

// Only rows that differ, and heads and ends of deleted and new rules, are written; each at most twice.
void UpdateWatch::checkWrites()
{
    std::set<Key> heads;
    for (const auto *rules : {&s_.oldRules, &s_.newRules})
        for (const auto &[number, living] : *rules)
            if (!s_.stays(number))
                heads.insert(number < 8 ? Key{0, number, 10} : Key{1, number - 8, 0});
    for (const auto &[key, count] : writes_) {
        const auto [sel, index, offset] = key;
        const bool isEntry = sel >= 2;
        if (count > (isEntry ? 1 : 2))
            complain("a row was written " + std::to_string(count) + " times");
        bool differs = isEntry;
        for (unsigned word = 0; sel == 0 && word < 41; ++word)
            differs |= wideRowOf(word) == offset &&
                       s_.old.lut0[index].word[word] != s_.wanted.lut0[index].word[word];
        if (sel == 1)
            differs = std::memcmp(&s_.old.lut1[index], &s_.wanted.lut1[index], 8) != 0;
        if (sel == 2)
            differs = s_.actions[index] != s_.wantedActions[index];
        if (!differs && heads.count(key) == 0)
            complain("table " + std::to_string(sel) + ", " + std::to_string(index) +
                     ": a row that does not differ was written");
        if (count > 1 && heads.count(key) == 0)
            complain("table " + std::to_string(sel) + ", " + std::to_string(index) +
                     ": written twice without need");
    }
}

void UpdateWatch::checkEnd(Outcome outcome)
{
    watching_ = false;
    look();
    if (host::lockHeld())
        complain("the lock is still held");
    if (chip_.globalConfig() != kGlobalConfig)
        complain("the classifier's switch is not what it was");
    const bool done = outcome == Outcome::Done;
    const ruleset::Tables &shadow = done ? s_.wanted : s_.old;
    if (std::memcmp(IFC_LUT0_Rule, shadow.lut0, sizeof IFC_LUT0_Rule) != 0 ||
        std::memcmp(IFC_LUT1_Rule, shadow.lut1, sizeof IFC_LUT1_Rule) != 0)
        complain("the shadow is wrong");
    RowSet except = outcome == Outcome::Incomplete ? differ() : RowSet{};
    // A counter that was not taken back from a rule's new place is not that of the old place either.
    for (const auto &[number, origin] : s_.origin)
        if ((except.counters >> number & 1) != 0 && origin >= 0)
            except.counters |= uint64_t{1} << origin;
    except.counters |= countersLost_;
    countersLost_ = except.counters;
    checkTables(shadow, except, done ? "what is wanted" : "as before");
    checkEntries(!done, except);
    if (done && !fired_)
        checkWrites();
    if (done && fired_)
        complain("a time-out went unnoticed");
    if (!done && !fired_)
        complain("not done, though nothing timed out");
}

Outcome UpdateWatch::run(const Fault &fault, bool quiesce, unsigned doneAfter)
{
    fault_ = fault;
    doneAfter_ = doneAfter;
    chip_.settings().doneAfter = doneAfter;
    look();
    watching_ = true;
    ruleset::UpdateRequest request = s_.request();
    request.quiesce = quiesce;
    const Outcome outcome = apply(*update_, request);
    checkEnd(outcome);
    return outcome;
}

Outcome UpdateWatch::finish()
{
    fault_ = {};
    pending_ = false;
    chip_.injectFault(engine::TransferFault::None, 0, 0);
    watching_ = true;
    const Outcome outcome = finishUndo(*update_);
    checkEnd(outcome);
    return outcome;
}
