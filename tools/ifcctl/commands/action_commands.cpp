// SPDX-License-Identifier: MIT OR GPL-2.0
// action, counter.
#include "commands.h"

#include "tools/ifcctl/core/rule_name.h"
#include "tools/ifcctl/device/hardware.h"

#include "ifc/ifc_glb.h"

#include <cstdio>

namespace ifcctl
{

namespace
{

void actionShow(Session &session, WordReader &words)
{
    const unsigned entry = takeEntry(words, "action show");
    words.expectEnd("action show");
    const std::string text = session.textOf("ifc_dump_action", entry);
    auto json = actionJson(readAction(session, entry), session.device().revision());
    session.print(text, {{"action", entry}, {"fields", json}});
}

void actionSet(Session &session, WordReader &words)
{
    const unsigned entry = takeEntry(words, "action set");
    IFC_Action_Format action{};
    const auto subActions = readSubActions(words, action);
    refuseWithoutPpe(action);
    const std::string text = programAction(session, entry, subActions);
    session.print(text, {{"action", entry},
                         {"fields", actionJson(readAction(session, entry), session.device().revision())}});
}

void actionClear(Session &session, WordReader &words)
{
    const unsigned entry = takeEntry(words, "action clear");
    words.expectEnd("action clear");
    session.perform("ifc_clear_action", entry);
    session.print("", {{"action", entry}, {"cleared", true}});
}

void counterShow(Session &session, WordReader &words)
{
    unsigned first = 0;
    unsigned last = IFC_COUNTERS - 1;
    const bool one = !words.atEnd();
    if (one)
        first = last = takeEntry(words, "counter show");
    words.expectEnd("counter show");
    std::string text = "entry    packets              bytes\n";
    auto json = nlohmann::ordered_json::array();
    for (unsigned entry = first; entry <= last; ++entry) {
        const auto [packets, bytes] = readCounter(session, entry);
        json.push_back({{"entry", entry}, {"packets", packets}, {"bytes", bytes}});
        if (!one && bytes == 0 && packets == 0 && !session.options().statistics)
            continue;
        char line[80];
        (void)std::snprintf(line, sizeof line, "%5u %10llu %18llu\n", entry, packets, bytes);
        text += line;
    }
    session.print(text, json);
}

void counterBind(Session &session, WordReader &words)
{
    const unsigned entry = takeEntry(words, "counter bind");
    // The rule layer also accepts 16, which would change the id of the next entry. The tool refuses it.
    const unsigned id = words.takeNumber("counter bind", 15);
    words.expectEnd("counter bind");
    session.perform("ifc_set_acnt", entry, id);
    session.print("", {{"entry", entry}, {"id", id}});
}

void counterReset(Session &session, WordReader &words)
{
    words.expectEnd("counter reset");
    session.perform("clear_all_ifc_acnt");
    session.print("", {{"counters", "cleared"}});
}

} // namespace

Counter readCounter(Session &session, unsigned entry)
{
    Counter counter{};
    session.perform("ifc_get_acnt", entry);
    if (std::sscanf(session.lastAnswer().c_str(), "= %*d bytes %llu packets %llu", &counter.bytes,
                    &counter.frames) != 2)
        throw Error(Reason::DeviceFailed, "device: no counters in '" + session.lastAnswer() + '\'');
    return counter;
}

std::string programAction(Session &session, unsigned entry, const std::vector<SubAction> &action)
{
    std::string text;
    for (const SubAction &sub : action) {
        if (session.call("ifc_set_action", entry, sub.actIdx, 1, sub.values[0], sub.values[1], sub.values[2],
                         sub.values[3]) != 0)
            throw refused(Reason::LayerRefused, "action", std::to_string(entry), session.lastMessage());
        text += session.lastPrinted();
    }
    return text;
}

std::vector<Command> actionCommands()
{
    return {
        {"action", "show", "N", "an action entry of the hardware", actionShow},
        {"action", "set", "N WORD...", "program sub-actions of an entry", actionSet},
        {"action", "clear", "N", "zero an entry", actionClear},
        {"counter", "show", "[N]", "packets and bytes of one entry, or of all entries that counted",
         counterShow},
        {"counter", "bind", "N ID", "bind entry N to counter id 0 to 15", counterBind},
        {"counter", "reset", "", "zero all counters", counterReset},
    };
}

} // namespace ifcctl
