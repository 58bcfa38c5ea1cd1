// SPDX-License-Identifier: MIT OR GPL-2.0
#include "rule_batch.h"

#include "tools/ifcctl/core/errors.h"

#include "ruleset/edits.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace ifcctl
{

namespace
{

template <typename Struct>
void appendBytes(std::string &bytes, const Struct &from)
{
    bytes.append(reinterpret_cast<const char *>(&from), sizeof from);
}

} // namespace

std::string ruleBatch(const RuleEdits &edits, unsigned flags)
{
    if (edits.size() > IFC_RULESET_BATCH_EDITS)
        throw Error(Reason::DeviceFailed, "device: " + std::to_string(edits.size()) +
                                              " edits: accepted: up to " +
                                              std::to_string(IFC_RULESET_BATCH_EDITS) + " at once");
    ifc_ruleset_batch head{};
    head.magic = IFC_RULESET_BATCH_MAGIC;
    head.version = IFC_RULESET_BATCH_VERSION;
    head.checksum = ifc_ruleset_checksum(IFC_LUT0_Rule, IFC_LUT1_Rule);
    head.flags = flags;
    head.count = static_cast<uint32_t>(edits.size());
    head.edit_size = sizeof(ifc_ruleset_edit);
    std::string bytes;
    appendBytes(bytes, head);
    for (const RuleEdit &edit : edits)
        appendBytes(bytes, ifc_ruleset_edit{static_cast<uint32_t>(edit.kind), edit.position, edit.argument, 0,
                                            edit.rule});
    return bytes;
}

bool readReport(const std::string &text, ifc_ruleset_report &report)
{
    report = {};
    bool hasResult = false;
    unsigned places = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const size_t sign = line.find('=');
        if (sign == std::string::npos)
            return false;
        const std::string name = line.substr(0, sign);
        const char *value = line.c_str() + sign + 1;
        if (name == "place") {
            ifc_ruleset_place place{};
            if (places == IFC_RULESET_RULES ||
                std::sscanf(value, "%hhu,%hhu,%hhu", &place.table, &place.first, &place.entries) != 3)
                return false;
            report.place[places++] = place;
            continue;
        }
        const auto number = std::strtoull(value, nullptr, 0);
        const auto take = [&](const char *wanted, auto &member) {
            if (name == wanted)
                member = static_cast<std::remove_reference_t<decltype(member)>>(number);
        };
        if (name == "result") {
            report.result = static_cast<int32_t>(std::strtol(value, nullptr, 10));
            hasResult = true;
        }
        take("reason", report.reason);
        take("condition", report.condition);
        take("other", report.other);
        take("position", report.position);
        take("later", report.later);
        take("conflict", report.conflict);
        take("wide_needed", report.wide_needed);
        take("wide_free", report.wide_free);
        take("narrow_needed", report.narrow_needed);
        take("narrow_free", report.narrow_free);
        take("either_rules", report.either_rules);
        take("either_entries", report.either_entries);
        take("kept", report.kept);
        take("moved", report.moved);
        take("added", report.added);
        take("deleted", report.deleted);
        take("fewest", report.fewest);
        take("undo", report.undo);
        take("accesses", report.accesses);
    }
    return hasResult;
}

} // namespace ifcctl
