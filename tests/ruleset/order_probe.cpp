// SPDX-License-Identifier: MIT OR GPL-2.0
// Runs sets of rules on the simulated chip for order_oracle.py. Each line of standard input is a command,
// each line of standard output an answer.
//
//   new REVISION                        a chip as after power-on, an empty set
//   insert AT N {FIELD COMPARE MASK KEY LAST}...     RESULT
//   remove AT                           RESULT
//   move FROM TO                        RESULT
//   apply                               RESULT REASON CONFLICT N {TABLE FIRST ENTRIES}...
//   overlaps                            for each position a word in hex; bit j: it overlaps position j
//   read                                reads a set from the tables and applies it: RESULT ACCESSES
//   frame SINF GEMPORT HEX              the number that decides, -1: none (HEX of an empty frame: -)
//
// User-defined field n is the word at byte kUserDefined + 2 n of the frame.
#include "engine/classifier.h"
#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"
#include "ruleset/ruleset.h"

#include <cstdio>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace
{

constexpr unsigned kUserDefined = 200;
constexpr uint32_t kUserTpid = 0x9100;

class Probe
{
public:
    Probe()
    {
        host::attach(&window_);
        host::muteLog(true);
        for (unsigned n = 0; n < 16; ++n)
            classifier_->setUdf(n, {engine::UdfBase::Frame, static_cast<uint16_t>(kUserDefined + 2 * n)});
    }

    bool run(const std::string &line)
    {
        std::istringstream words(line);
        std::string verb;
        words >> verb;
        if (verb == "new")
            begin(words);
        else if (verb == "insert")
            insert(words);
        else if (verb == "remove")
            std::printf("%d\n", ifc_ruleset_remove(set_.get(), number(words)));
        else if (verb == "move")
            move(words);
        else if (verb == "apply")
            apply();
        else if (verb == "overlaps")
            overlaps();
        else if (verb == "read")
            read();
        else if (verb == "frame")
            frame(words);
        else
            return false;
        return !words.fail();
    }

private:
    static unsigned number(std::istringstream &words)
    {
        unsigned value = 0;
        words >> value;
        return value;
    }

    void begin(std::istringstream &words)
    {
        host::setRevision(static_cast<int>(number(words)));
        window_.powerOn({});
        set_frame_engine_data(FE_TPID_CFG, kUserTpid << FE_TPID_CFG_USER_LSB);
        clear_all_ifc_rules();
        ifc_enable();
        ifc_ruleset_init(set_.get());
        std::puts("0");
    }

    void insert(std::istringstream &words)
    {
        const unsigned at = number(words);
        ifc_rule rule = {};
        rule.count = number(words);
        for (unsigned n = 0; n < rule.count && n < IFC_RULE_CONDITIONS; ++n) {
            ifc_rule_condition &c = rule.condition[n];
            c.field = static_cast<uint8_t>(number(words));
            c.compare = static_cast<uint8_t>(number(words));
            words >> c.mask >> c.key >> c.key_last;
        }
        std::printf("%d\n", ifc_ruleset_insert(set_.get(), at, &rule, nullptr));
    }

    void move(std::istringstream &words)
    {
        const unsigned from = number(words);
        std::printf("%d\n", ifc_ruleset_move(set_.get(), from, number(words)));
    }

    void apply()
    {
        ifc_ruleset_report report;
        const int result = ifc_ruleset_apply(set_.get(), 0, &report);
        std::printf("%d %u %llu %u", result, report.reason, static_cast<unsigned long long>(report.conflict),
                    ifc_ruleset_count(set_.get()));
        for (unsigned n = 0; n < ifc_ruleset_count(set_.get()); ++n) {
            const ifc_ruleset_place place = ifc_ruleset_place_of(set_.get(), n);
            std::printf(" %u %u %u", place.table, place.first, place.entries);
        }
        std::putchar('\n');
    }

    void overlaps()
    {
        for (unsigned i = 0; i < ifc_ruleset_count(set_.get()); ++i) {
            unsigned long long row = 0;
            for (unsigned j = 0; j < ifc_ruleset_count(set_.get()); ++j)
                if (ifc_rule_overlap(ifc_ruleset_rule(set_.get(), i), ifc_ruleset_rule(set_.get(), j)) != 0)
                    row |= 1ull << j;
            std::printf("%llx ", row);
        }
        std::putchar('\n');
    }

    void read()
    {
        ifc_ruleset_report report = {};
        int result = ifc_ruleset_read(other_.get(), &report);
        if (result == IFC_RULESET_OK)
            result = ifc_ruleset_apply(other_.get(), 0, &report);
        std::printf("%d %u\n", result, report.accesses);
    }

    void frame(std::istringstream &words)
    {
        engine::SideData side;
        std::string hex;
        words >> side.sourceInterface >> side.gemPort >> hex;
        std::vector<uint8_t> bytes;
        for (size_t n = 0; n + 1 < hex.size(); n += 2)
            bytes.push_back(static_cast<uint8_t>(std::stoul(hex.substr(n, 2), nullptr, 16)));
        engine::ParsedFrame parsed;
        std::printf("%d\n", classifier_->classify(bytes.data(), bytes.size(), side, parsed).entry);
    }

    engine::RegisterWindow window_;
    std::unique_ptr<engine::Classifier> classifier_ = std::make_unique<engine::Classifier>(window_);
    std::unique_ptr<ifc_ruleset> set_ = std::make_unique<ifc_ruleset>();
    std::unique_ptr<ifc_ruleset> other_ = std::make_unique<ifc_ruleset>();
};

} // namespace

int main()
{
    const auto probe = std::make_unique<Probe>();
    std::string line;
    while (std::getline(std::cin, line)) {
        if (!probe->run(line)) {
            std::fprintf(stderr, "order_probe: not understood: %s\n", line.c_str());
            return 2;
        }
    }
    return 0;
}
