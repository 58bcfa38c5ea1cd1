// SPDX-License-Identifier: MIT OR GPL-2.0
// Each register access of each operation goes wrong in its turn. Whatever the layer cannot see (a lost
// write, stale data) must look to it as if it had worked; a transfer that is not done is polled three times,
// reported once, and changes neither result nor shadow. In the hardware, only the row of the fault differs,
// and a comparison with the shadow finds it.
//
// With IFC_FAULT_STEP=1 in the environment every access is taken; otherwise every 37th of the long
// operations, and their last 60.
#include "faulty_chip.h"

#include "ifc/records/fields.h"
#include "ruleset/ruleset.h"
#include "tests/ruleset/rule_support.h"
#include "tools/ifcctl/core/set_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

using namespace faults;

namespace
{

constexpr uint32_t kCommand = 0xBFB50204;

struct Named {
    std::string name;
    Operation call;
};

unsigned stepFor(unsigned count)
{
    static const char *const wish = std::getenv("IFC_FAULT_STEP");
    static const unsigned step = wish != nullptr ? static_cast<unsigned>(std::atoi(wish)) : 37;
    return count > 400 && step > 1 ? step : 1;
}

ifc_rule ruleOn(std::initializer_list<unsigned> fields)
{
    ifc_rule rule = {};
    for (const unsigned field : fields)
        rule.condition[rule.count++] = {static_cast<uint8_t>(field),  0, 0, 0, ifc::fieldOnes(field),
                                        field & ifc::fieldOnes(field)};
    return rule;
}

// What the layer saw of the transfers: all polls are as promised. Returns the number of time-outs, -1 if one
// is not.
int timeOuts(const std::vector<Event> &events)
{
    int count = 0;
    for (size_t n = 0; n < events.size(); ++n) {
        if (events[n].kind != Event::Write || events[n].reg != kCommand)
            continue;
        unsigned polls = 0;
        for (;; ++polls) {
            const Event *poll = n + 1 < events.size() ? &events[n + 1] : nullptr;
            if (poll == nullptr || poll->kind != Event::Read || poll->reg != kCommand)
                break;
            ++n;
            if ((poll->value & 0x80000000) != 0) {
                polls = 0;
                break;
            }
            if (n + 1 >= events.size() || events[++n].kind != Event::Wait)
                return -1;
        }
        if (polls != 0 && polls != 3)
            return -1;
        count += polls == 3;
    }
    return count;
}

// Without polls and waits.
std::vector<Event> core(const std::vector<Event> &events)
{
    std::vector<Event> left;
    for (const Event &event : events)
        if (event.kind != Event::Wait && (event.kind != Event::Read || event.reg != kCommand))
            left.push_back(event);
    return left;
}

std::vector<std::string> withoutTimeOuts(std::vector<std::string> texts, int &found)
{
    found = static_cast<int>(std::count(texts.begin(), texts.end(), kTimeout));
    texts.erase(std::remove(texts.begin(), texts.end(), kTimeout), texts.end());
    return texts;
}

// The entry that a row of a rule table belongs to; empty for all others.
std::string entryOf(uint32_t row)
{
    const unsigned table = row / 16 % 4;
    if (row >= 0xBFB50000 || table > 1)
        return "";
    return (table == 0 ? "LUT0-" : "LUT1-") + std::to_string(row / 65536);
}

constexpr const char *kKinds[] = {"none",     "never done", "unseen",     "late",
                                  "lost row", "stale row",  "lost write", "stale read"};

class FaultTest : public testing::Test
{
protected:
    void expectFaultsFound() const
    {
        EXPECT_GT(lasting_, 100u);
        EXPECT_GT(found_, 30u);
        std::printf("%u faults, %u of them lasting, %u of these found by comparing the rule tables\n", tried_,
                    lasting_, found_);
    }
    // One fault in one operation.
    void tryFault(const Named &op, const State &before, const Outcome &clean, Fault fault)
    {
        SCOPED_TRACE(op.name + ", " + kKinds[fault.kind] + " at " + std::to_string(fault.at));
        const Outcome got = run(op.call, before, fault);
        ++tried_;
        ASSERT_TRUE(got.fired);
        const int late = timeOuts(got.events);
        ASSERT_GE(late, 0) << "polls";
        if (fault.kind == Fault::NeverDone || fault.kind == Fault::Unseen) {
            ASSERT_EQ(late, 1);
        } else if (fault.kind != Fault::LostWrite) { // the first command of all has no old done bit
            ASSERT_EQ(late, 0);
        }
        int said = 0;
        const std::vector<std::string> texts = withoutTimeOuts(got.texts, said);
        ASSERT_EQ(said, late);

        // The rest is what the operation does on a chip that holds what it read.
        const auto chip = asRead(before, got.events);
        const Rows readWrong = chip->rowsThatDiffer(before);
        Outcome other;
        if (!readWrong.empty())
            other = run(op.call, *chip);
        const Outcome &wanted = readWrong.empty() ? clean : other;
        const bool shows = op.name == "ifcSetRuleConfig";
        ASSERT_EQ(got.result, shows && late != 0 ? -62 : wanted.result);
        ASSERT_EQ(texts, wanted.texts);
        ASSERT_TRUE(core(got.events) == core(wanted.events)) << "register accesses";
        ASSERT_TRUE(got.after->sameShadow(*wanted.after));

        const Rows differ = got.after->rowsThatDiffer(*wanted.after);
        for (const uint32_t row : differ)
            ASSERT_TRUE(got.faulty.count(row) == 1 || readWrong.count(row) == 1) << "row " << std::hex << row;
        if (fault.kind == Fault::Late || fault.kind == Fault::Unseen) {
            ASSERT_TRUE(got.after->rowsThatDiffer(*clean.after).empty());
        }
        lasting_ += !differ.empty();
        if (agrees_)
            expectFound(*got.after, got.after->rowsThatDiffer(*clean.after));
    }

    // A comparison with the shadow finds the rows that differ from what the operation should have left, and
    // no others.
    void expectFound(const State &state, const Rows &differ)
    {
        std::set<std::string> expected;
        for (const uint32_t row : differ)
            if (const std::string entry = entryOf(row); !entry.empty())
                expected.insert(entry);
        found_ += !expected.empty();
        if (!expected.empty() || tried_ % 64 == 0) { // of the faults without a trace some are enough
            ASSERT_EQ(verify(state), expected);
        }
    }

    // Every access of an operation, each kind of fault. Returns the state after the operation without faults.
    State tryAll(const Named &op, const State &before)
    {
        const Outcome clean = run(op.call, before);
        EXPECT_EQ(timeOuts(clean.events), 0) << op.name;
        agrees_ =
            verify(*clean.after).empty(); // not after operations that leave hardware and shadow different
        const auto each = [&](Fault::Kind kind, unsigned count) {
            // Each of the last ones is taken: what goes wrong there, lasts.
            const unsigned step = stepFor(count);
            const unsigned tail = count > 60 ? count - 60 : 0;
            for (unsigned at = kind % step; at < count && !HasFatalFailure(); at += at < tail ? step : 1)
                tryFault(op, before, clean, {kind, at});
        };
        for (const Fault::Kind kind : {Fault::NeverDone, Fault::Unseen, Fault::Late})
            each(kind, clean.transfers);
        for (const Fault::Kind kind : {Fault::LostRow, Fault::StaleRow})
            each(kind, clean.transfers);
        each(Fault::LostWrite, clean.writes);
        each(Fault::StaleRead, clean.reads);
        return std::move(*clean.after);
    }

    State start()
    {
        State state;
        state.chip.powerOn({});
        state.ppe = 1;
        return state;
    }

    // Both tables and all actions in use.
    State busy()
    {
        State state = start();
        const ifc_rule wide = ruleOn({14, 15, 16, 17, 18, 19, 20, 21, 22});
        const ifc_rule narrow = ruleOn({24, 28, 29});
        state = std::move(*run(
                               [&] {
                                   orva_ifc_param first = rules::requestOf(wide);
                                   orva_ifc_param second = rules::requestOf(narrow);
                                   (void)ifc_set_lut_rules_auto(&first);
                                   (void)ifc_set_lut_rules_auto(&second);
                                   return 0;
                               },
                               state)
                               .after);
        for (unsigned n = 0; n < 40; ++n)
            for (unsigned k = 0; k < 4; ++k) {
                state.chip.tables().action[n][k] = 0x01010101 * (n + 1) + k;
                state.chip.tables().counter[n][k] = k == 3 ? n : 0x10000 * n + k;
            }
        for (unsigned n = 0; n < 5; ++n)
            state.chip.write(0xBFB50240 + 4 * n, 0x76543210);
        state.chip.write(0xBFB50200, 0x30);
        state.chip.write(0xBFB50000, 0x91000000);
        return state;
    }

    void TearDown() override
    {
        std::memset(IFC_LUT0_Rule, 0, sizeof IFC_LUT0_Rule);
        std::memset(IFC_LUT1_Rule, 0, sizeof IFC_LUT1_Rule);
        ifcSendToPpe = 0;
    }

    unsigned tried_ = 0;
    unsigned lasting_ = 0;
    bool agrees_ = true;
    unsigned found_ = 0;
};

} // namespace

TEST_F(FaultTest, OfEachOperation)
{
    const ifc_rule wide = ruleOn({14, 15, 16, 17, 18, 19, 20, 21, 22});
    const ifc_rule narrow = ruleOn({24, 28, 29});
    const auto place = [](const ifc_rule &rule) {
        orva_ifc_param request = rules::requestOf(rule);
        return ifc_set_lut_rules_auto(&request);
    };
    const auto remove = [](const ifc_rule &rule) {
        orva_ifc_param request = rules::requestOf(rule);
        return ifc_del_lut_rules_auto(&request);
    };
    static unsigned long long bytes, packets;
    const Named operations[] = {
        {"ifcSetRuleConfig", [] { return ifcSetRuleConfig(3, 0, 1, 1); }},
        {"write_all_ifc_rule_to_hw", [] { return write_all_ifc_rule_to_hw(); }},
        {"clear_ifc_rules 0", [] { return clear_ifc_rules(0); }},
        {"clear_ifc_rules 8", [] { return clear_ifc_rules(8); }},
        {"ifc_enable", [] { return ifc_enable(); }},
        {"ifc_disable", [] { return ifc_disable(); }},
        {"ifc_get_ifc_staus", [] { return ifc_get_ifc_staus(); }},
        {"ifc_get_rule_from_reg", [] { return ifc_get_rule_from_reg(0); }},
        {"ifc_set_lut0_rules",
         [] { return ifc_set_lut0_rules(2, IFC_ENABLE, 1, 0, 0xFFFF, ~0u, 0x0211, 5); }},
        {"ifc_set_lut0_rules, off", [] { return ifc_set_lut0_rules(0, IFC_DISABLE, 14, 0, 0, 0, 0, 0); }},
        {"ifc_set_lut1_rules", [] { return ifc_set_lut1_rules(8, IFC_ENABLE, 1, 1, 0, 48, 0x0211, 5); }},
        {"ifc_set_lut1_rules, off", [] { return ifc_set_lut1_rules(2, IFC_DISABLE, 1, 29, 0, 0, 0, 0); }},
        {"placement in LUT1",
         [&] {
             return place(ruleOn({32, 33}));
         }},
        {"placement in LUT0", [&] { return place(wide); }},
        {"deletion from LUT1", [&] { return remove(narrow); }},
        {"deletion from LUT0", [&] { return remove(wide); }},
        {"ifc_clear_action", [] { return ifc_clear_action(9); }},
        {"clear_all_ifc_actions", [] { return clear_all_ifc_actions(); }},
        {"ifc_dump_action", [] { return ifc_dump_action(9); }},
        {"ifc_dump_all_rules", [] { return ifc_dump_all_rules(); }},
        {"ifc_set_acnt", [] { return ifc_set_acnt(9, 5); }},
        {"ifc_get_acnt",
         [] {
             (void)ifc_get_acnt(9, &bytes, &packets);
             return static_cast<long long>(bytes * 31 + packets);
         }},
        {"clear_all_ifc_acnt",
         [] {
             clear_all_ifc_acnt();
             return 0;
         }},
        {"isTPID", [] { return isTPID(0x0091); }},
        {"transTPIDtoVPM", [] { return transTPIDtoVPM(0x0091); }},
        {"transVPMtoTPID", [] { return transVPMtoTPID(3); }},
    };
    const State before = busy();
    for (const Named &op : operations) {
        (void)tryAll(op, before);
        ASSERT_FALSE(HasFatalFailure());
    }
    for (unsigned sub = 0; sub < 17; ++sub)
        for (const IFC_Mode_t mode : {IFC_ENABLE, IFC_DISABLE}) {
            (void)tryAll({"ifc_set_action " + std::to_string(sub),
                          [=] { return ifc_set_action(11, sub, mode, 0x15, 3, 7, 0x123); }},
                         before);
            ASSERT_FALSE(HasFatalFailure());
        }
    State refusing = busy();
    refusing.ppe = 0;
    (void)tryAll({"ifc_set_action, refused", [] { return ifc_set_action(0, 0, IFC_ENABLE, 1, 1, 0, 0); }},
                 refusing);
    expectFaultsFound();
}

// The rules of the example, operation by operation: the switch, the rule, each part of its action, its
// counter.
TEST_F(FaultTest, OfAGatewaysSession)
{
    const ifcctl::SetFile file = ifcctl::readSetFile(IFC_SOURCE_DIR "/examples/gateway.ifc", 0);
    ASSERT_EQ(file.rules.size(), 9u);
    State state = start();
    state = tryAll({"ifc_enable", [] { return ifc_enable(); }}, state);
    for (const ifc_rule &rule : file.rules) {
        orva_ifc_param request = rules::requestOf(rule);
        int number = -1;
        state = tryAll({"placement", [&] { return number = ifc_set_lut_rules_auto(&request); }}, state);
        ASSERT_FALSE(HasFatalFailure());
        ASSERT_GE(number, 0);
        const auto index = static_cast<uint>(number);
        const auto &a = rule.action.bits;
        const uint32_t counter = a.cnt0_5_4 * 16u + a.cnt0_3_0;
        const uint32_t values[14][4] = {{a.channel, a.queue},
                                        {a.fport, a.nbq},
                                        {a.sp_tag},
                                        {counter},
                                        {a.cnt1},
                                        {a.mtr_g},
                                        {a.ipv4_dscp},
                                        {a.ipv6_traffic_class},
                                        {a.vpm0, a.vo0, a.vid0_15_12, a.vid0_11_0},
                                        {a.vo1, a.vid1_15_12, a.vid1_11_0},
                                        {a.fqos},
                                        {a.fast},
                                        {a.mc},
                                        {a.keep_pcp}};
        for (unsigned sub = 0; sub < 15; ++sub) {
            const uint32_t cpu[4] = {a.cpu, a.nbq};
            const uint32_t *const v = sub == 14 ? cpu : values[sub];
            if (sub == 14 ? a.cpu == 0 : (a.enable >> sub & 1) == 0)
                continue;
            state = tryAll({"action " + std::to_string(sub),
                            [=] { return ifc_set_action(index, sub, IFC_ENABLE, v[0], v[1], v[2], v[3]); }},
                           state);
            ASSERT_FALSE(HasFatalFailure());
        }
        ASSERT_EQ(std::memcmp(state.chip.tables().action[index], rule.action.word, 16), 0);
        state = tryAll({"counter", [=] { return ifc_set_acnt(index, counter % 16); }}, state);
        ASSERT_FALSE(HasFatalFailure());
    }
    EXPECT_EQ(verify(state), std::set<std::string>{});
    expectFaultsFound();
}

// An update of a set, where transfers that fail in sight are tests of the ruleset: here go the faults that
// nobody sees.
TEST_F(FaultTest, OfASetUpdate)
{
    const ifcctl::SetFile file = ifcctl::readSetFile(IFC_SOURCE_DIR "/examples/gateway.ifc", 0);
    const auto loaded = std::make_unique<ifc_ruleset>();
    ifc_ruleset_init(loaded.get());
    // Some of the rules and others first, then the file's.
    const ifc_rule others[] = {ruleOn({24, 28}), ruleOn({18, 22})};
    for (const ifc_rule &rule : others)
        ASSERT_EQ(ifc_ruleset_insert(loaded.get(), IFC_RULESET_LAST, &rule, nullptr), IFC_RULESET_OK);
    State state = start();
    state = std::move(*run([&] { return ifc_ruleset_apply(loaded.get(), 0, nullptr); }, state).after);
    ASSERT_EQ(ifc_ruleset_remove(loaded.get(), 0), IFC_RULESET_OK);
    for (const ifc_rule &rule : file.rules)
        ASSERT_EQ(ifc_ruleset_insert(loaded.get(), IFC_RULESET_LAST, &rule, nullptr), IFC_RULESET_OK);

    const auto set = std::make_unique<ifc_ruleset>();
    const Operation apply = [&] {
        *set = *loaded;
        return ifc_ruleset_apply(set.get(), 0, nullptr);
    };
    const Outcome clean = run(apply, state);
    ASSERT_EQ(clean.result, IFC_RULESET_OK);
    ASSERT_TRUE(verify(*clean.after).empty());
    for (const Fault::Kind kind :
         {Fault::Late, Fault::LostRow, Fault::StaleRow, Fault::LostWrite, Fault::StaleRead}) {
        const unsigned count = kind == Fault::LostWrite   ? clean.writes
                               : kind == Fault::StaleRead ? clean.reads
                                                          : clean.transfers;
        for (unsigned at = 0; at < count; ++at) {
            SCOPED_TRACE(std::string(kKinds[kind]) + " at " + std::to_string(at));
            const Outcome got = run(apply, state, {kind, at});
            ASSERT_TRUE(got.fired);
            if (timeOuts(got.events) != 0) {
                ASSERT_EQ(kind, Fault::LostWrite); // the first command of all: no old done bit answers for it
                continue;
            }
            ++tried_;
            ASSERT_EQ(got.result, IFC_RULESET_OK);
            ASSERT_TRUE(got.after->sameShadow(*clean.after));
            const Rows differ = got.after->rowsThatDiffer(*clean.after);
            ASSERT_LE(differ.size(), 1u);
            std::set<std::string> expected;
            for (const uint32_t row : differ) {
                // What was read wrong can reach the row that it is moved to; what was written wrong, its own.
                const bool read = kind == Fault::StaleRead || kind == Fault::StaleRow;
                ASSERT_TRUE(read || got.faulty.count(row) == 1) << std::hex << row;
                if (const std::string entry = entryOf(row); !entry.empty())
                    expected.insert(entry);
            }
            lasting_ += !differ.empty();
            found_ += !expected.empty();
            ASSERT_EQ(verify(*got.after), expected);
        }
    }
    expectFaultsFound();
}
