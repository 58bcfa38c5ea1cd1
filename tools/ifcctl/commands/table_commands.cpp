// SPDX-License-Identifier: MIT OR GPL-2.0
// table dump, table verify, resource show.
#include "rule_auto.h"
#include "rule_commands.h"
#include "tools/ifcctl/core/placement_plan.h"
#include "tools/ifcctl/core/rules.h"
#include "tools/ifcctl/core/values.h"
#include "tools/ifcctl/device/hardware.h"

#include "ifc/ifc_glb.h"

namespace ifcctl
{

namespace
{

template <size_t N>
nlohmann::ordered_json wordsJson(const uint32_t (&words)[N])
{
    auto list = nlohmann::ordered_json::array();
    for (const uint32_t word : words)
        list.push_back(formatHex(word));
    return list;
}

void tableDump(Session &session, WordReader &words)
{
    words.expectEnd("table dump");
    if (!session.options().json) {
        session.print(session.textOf("ifc_dump_all_rules"), {});
        return;
    }
    nlohmann::ordered_json json;
    for (unsigned n = 0; n < IFC_LUT0_RULES; ++n)
        json["lut0"].push_back({{"index", n},
                                {"valid", static_cast<bool>(IFC_LUT0_Rule[n].bits.valid)},
                                {"words", wordsJson(IFC_LUT0_Rule[n].word)}});
    for (unsigned n = 0; n < IFC_LUT1_RULES; ++n)
        json["lut1"].push_back({{"index", n},
                                {"valid", static_cast<bool>(IFC_LUT1_Rule[n].type0.valid)},
                                {"end", static_cast<bool>(IFC_LUT1_Rule[n].type0.end)},
                                {"words", wordsJson(IFC_LUT1_Rule[n].word)}});
    json["rules"] = nlohmann::ordered_json::array();
    for (const PlacedRule &rule : placedRules()) {
        auto entry = toJson(rule);
        entry["actions"] = actionJson(readAction(session, rule.id), session.device().revision());
        json["rules"].push_back(entry);
    }
    session.print("", json);
}

template <size_t N>
void compare(const std::string &name, const uint32_t (&hardware)[N], const uint32_t (&shadow)[N],
             nlohmann::ordered_json &differences, std::string &text)
{
    for (size_t n = 0; n < N; ++n) {
        if (hardware[n] == shadow[n])
            continue;
        text += name + " word " + std::to_string(n) + ": hardware " + formatHex(hardware[n]) + ", shadow " +
                formatHex(shadow[n]) + '\n';
        differences.push_back({{"entry", name},
                               {"word", n},
                               {"hardware", formatHex(hardware[n])},
                               {"shadow", formatHex(shadow[n])}});
    }
}

void tableVerify(Session &session, WordReader &words)
{
    words.expectEnd("table verify");
    auto differences = nlohmann::ordered_json::array();
    std::string text;
    for (unsigned n = 0; n < IFC_LUT0_RULES; ++n)
        compare("LUT0-" + std::to_string(n), readLut0(session, n).word, IFC_LUT0_Rule[n].word, differences,
                text);
    for (unsigned n = 0; n < IFC_LUT1_RULES; ++n)
        compare("LUT1-" + std::to_string(n), readLut1(session, n).word, IFC_LUT1_Rule[n].word, differences,
                text);
    const size_t count = differences.size();
    session.print(text + (count == 0 ? "hardware and shadow agree\n" : ""),
                  {{"same", count == 0}, {"differences", differences}});
    session.checkTransfers();
    if (count != 0)
        throw refused(Reason::TablesDiffer, "table verify",
                      std::to_string(count) + (count == 1 ? " word" : " words"),
                      "hardware and shadow differ");
}

void resourceShow(Session &session, WordReader &words)
{
    const FreeSpace space = freeSpace();
    unsigned free = 0;
    std::string runs;
    for (const unsigned run : space.runs) {
        free += run;
        runs += (runs.empty() ? "" : " ") + std::to_string(run);
    }
    std::string text = "LUT0 " + std::to_string(space.lut0) + " of " + std::to_string(IFC_LUT0_RULES) +
                       " rules free\nLUT1 " + std::to_string(free) + " of " + std::to_string(IFC_LUT1_RULES) +
                       " entries free, in runs of " + (runs.empty() ? "0" : runs) + '\n';
    nlohmann::ordered_json json = {{"lut0_free", space.lut0}, {"lut1_free", free}, {"lut1_runs", space.runs}};
    if (!words.atEnd()) {
        (void)words.takeChoice("resource show", {"fits"});
        const bool automatic = words.skip("auto");
        const ifc_rule rule = ruleFrom(session, words);
        unsigned fits = 0;
        std::string each;
        if (automatic) {
            const Match match = automaticRequest(rule);
            fits = countFits(match, session.options().force);
            each = std::to_string(entryCount(match)) + " entries each";
        } else {
            ifc_rule_shape shape{};
            ifc_rule_shape_of(&rule, &shape);
            fits = RuleSet(session).countFits(rule);
            each = shape.narrow_entries == 0 ? "LUT0 only"
                                             : std::to_string(shape.narrow_entries) + " LUT1 entries each";
            if (shape.narrow_entries != 0 && shape.wide != 0)
                each += ", or a LUT0 rule";
        }
        text += std::to_string(fits) + " more rules of this shape fit (" + each + ")\n";
        json["fits"] = fits;
    }
    session.print(text, json);
}

} // namespace

std::vector<Command> tableCommands()
{
    return {
        {"table", "dump", "", "both tables and their actions, as the driver prints them", tableDump},
        {"table", "verify", "", "compare the hardware's tables with the shadow", tableVerify},
        {"resource", "show", "[fits [auto] MATCH...]", "free space, and how many such rules still fit",
         resourceShow},
    };
}

} // namespace ifcctl
