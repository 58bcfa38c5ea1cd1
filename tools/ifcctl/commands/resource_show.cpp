// SPDX-License-Identifier: MIT OR GPL-2.0
#include "resource_show.h"

#include "rule_auto.h"
#include "rule_commands.h"

#include "tools/ifcctl/core/placement_plan.h"

#include "ifc/ifc_glb.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace ifcctl
{

namespace
{

std::string capacityText(const std::vector<Capacity> &list)
{
    int width = 0;
    for (const Capacity &shape : list)
        width = std::max(width, static_cast<int>(std::strlen(shape.name)));
    char line[80];
    (void)std::snprintf(line, sizeof line, "more rules fit:  %*s entries    now  if rules move  empty chip\n",
                        width - 15, "");
    std::string text = line;
    for (const Capacity &shape : list) {
        (void)std::snprintf(line, sizeof line, "  %-*s %7u %6u %14u %11u\n", width, shape.name, shape.entries,
                            shape.now, shape.moving, shape.empty);
        text += line;
    }
    return text;
}

} // namespace

nlohmann::ordered_json capacityJson(const std::vector<Capacity> &list)
{
    auto json = nlohmann::ordered_json::array();
    for (const Capacity &shape : list)
        json.push_back({{"shape", shape.name},
                        {"rule", shape.pattern},
                        {"first_n", kFirstNumber},
                        {"entries", shape.entries},
                        {"wide", shape.wide},
                        {"now", shape.now},
                        {"if_rules_move", shape.moving},
                        {"empty_chip", shape.empty}});
    return json;
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
            fits = countFits(match, session.options().inexact);
            each = entriesText(entryCount(match)) + " each";
        } else {
            ifc_rule_shape shape{};
            ifc_rule_shape_of(&rule, &shape);
            fits = RuleSet(session).countFits(rule);
            each = shape.narrow_entries == 0 ? "LUT0 only" : entriesText(shape.narrow_entries) + " each";
            if (shape.narrow_entries != 0 && shape.wide != 0)
                each += ", or a LUT0 rule";
        }
        text += std::to_string(fits) +
                (fits == 1 ? " more rule of this shape fits (" : " more rules of this shape fit (") + each +
                ")\n";
        json["fits"] = fits;
    } else {
        const std::vector<Capacity> list = capacities(RuleSet(session));
        text += capacityText(list);
        json["shapes"] = capacityJson(list);
    }
    session.print(text, json);
}

} // namespace ifcctl
