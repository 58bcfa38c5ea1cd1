// SPDX-License-Identifier: MIT OR GPL-2.0
// table dump, table verify; the table of these commands.
#include "findings.h"
#include "resource_show.h"
#include "table_map.h"

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
             Findings &found)
{
    for (size_t n = 0; n < N; ++n) {
        if (hardware[n] == shadow[n])
            continue;
        found.add(name + " word " + std::to_string(n) + ": hardware " + formatHex(hardware[n]) + ", shadow " +
                      formatHex(shadow[n]),
                  {{"entry", name},
                   {"word", n},
                   {"hardware", formatHex(hardware[n])},
                   {"shadow", formatHex(shadow[n])}});
    }
}

void tableVerify(Session &session, WordReader &words)
{
    words.expectEnd("table verify");
    const Findings found = tableFindings(session);
    const size_t count = found.lines.size();
    session.print(count == 0 ? "hardware and shadow agree\n" : found.text(),
                  {{"same", count == 0}, {"differences", found.json}});
    session.checkTransfers();
    if (count != 0)
        throw refused(Reason::TablesDiffer, "table verify",
                      std::to_string(count) + (count == 1 ? " word" : " words"),
                      "hardware and shadow differ");
}

} // namespace

Findings tableFindings(Session &session)
{
    Findings found;
    for (unsigned n = 0; n < IFC_LUT0_RULES; ++n)
        compare("LUT0-" + std::to_string(n), readLut0(session, n).word, IFC_LUT0_Rule[n].word, found);
    for (unsigned n = 0; n < IFC_LUT1_RULES; ++n)
        compare("LUT1-" + std::to_string(n), readLut1(session, n).word, IFC_LUT1_Rule[n].word, found);
    return found;
}

std::vector<Command> tableCommands()
{
    return {
        {"table", "dump", "", "both tables and their actions, as the driver prints them", tableDump},
        {"table", "map", "[--color WHEN]", "draw both tables: which rule owns which entry", tableMapCommand},
        {"table", "verify", "", "compare the hardware's tables with the shadow", tableVerify},
        {"resource", "show", "[fits [auto] MATCH...]",
         "free space, and how many more rules fit, by their shape", resourceShow},
    };
}

} // namespace ifcctl
