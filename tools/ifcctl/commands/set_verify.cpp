// SPDX-License-Identifier: MIT OR GPL-2.0
// set verify.
#include "findings.h"
#include "set_commands.h"

#include "tools/ifcctl/core/table_differences.h"
#include "tools/ifcctl/core/values.h"
#include "tools/ifcctl/device/hardware.h"

#include "ifc/records/chip.h"

namespace ifcctl
{

// Known: on chips whose LUT0 is not written, its shadow may hold anything. It is not compared.
Findings fieldFindings(Session &session)
{
    std::vector<TableDifference> tables;
    for (unsigned n = 0; n < IFC_LUT0_RULES && ifc::hasWritableLut0(session.device().revision()); ++n)
        compareWide(n, readLut0(session, n), IFC_LUT0_Rule[n], tables);
    for (unsigned n = 0; n < IFC_LUT1_RULES; ++n)
        compareNarrow(n, readLut1(session, n), IFC_LUT1_Rule[n], tables);
    session.checkTransfers();
    Findings found;
    for (const TableDifference &d : tables) {
        nlohmann::ordered_json json = {
            {"entry", d.entry}, {"part", d.part}, {"hardware", d.hardware}, {"shadow", d.shadow}};
        if (d.rule)
            json["rule"] = *d.rule;
        found.add((d.rule ? "rule " + std::to_string(*d.rule) : std::string("no rule")) + ", " + d.entry +
                      ": " + d.part + ": hardware " + formatHex(d.hardware) + ", shadow " +
                      formatHex(d.shadow),
                  json);
    }
    return found;
}

void setVerify(Session &session, WordReader &words)
{
    std::string path;
    if (!words.atEnd())
        path = words.take("set verify", "a file of 'rule add' lines, or -");
    words.expectEnd("set verify");
    const int revision = session.device().revision();
    std::optional<SetFile> file;
    if (!path.empty())
        file = readSetFile(path, revision);

    const Findings tables = fieldFindings(session);
    const bool agree = tables.lines.empty();
    std::string text = agree ? "hardware and shadow agree\n" : tables.text();
    nlohmann::ordered_json json = {{"same", agree}, {"hardware_shadow", tables.json}};
    bool same = agree;
    if (file) {
        const SetPlan plan(session, *file);
        const Difference difference = differenceOf(session, *file, plan);
        text += difference.text.empty() ? "shadow and file agree\n" : difference.text;
        json["shadow_file"] = difference.json;
        same = same && difference.text.empty();
        json["same"] = same;
    }
    session.print(text, json);
    if (!same)
        throw refused(Reason::TablesDiffer, "set verify", path,
                      agree ? "the device does not hold the rules of this file"
                            : "hardware and shadow differ");
}

} // namespace ifcctl
