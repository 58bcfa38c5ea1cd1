// SPDX-License-Identifier: MIT OR GPL-2.0
// action.
#include "commands.h"

#include "tools/ifcctl/core/rule_name.h"
#include "tools/ifcctl/device/hardware.h"

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

} // namespace

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
    };
}

} // namespace ifcctl
