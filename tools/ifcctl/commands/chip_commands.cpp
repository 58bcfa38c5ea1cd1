// SPDX-License-Identifier: MIT OR GPL-2.0
// ppe, classifier, action, counter, result.
#include "commands.h"
#include "tools/ifcctl/core/action.h"
#include "tools/ifcctl/device/hardware.h"

#include "ifc/ifc_glb.h"

namespace ifcctl
{

namespace
{

void ppeOn(Session &session, const Words &words, size_t at)
{
    expectEnd(words, at, "ppe");
    session.call("set ifcSendToPpe", 1);
    session.print("", {{"ppe", true}});
}

void ppeOff(Session &session, const Words &words, size_t at)
{
    expectEnd(words, at, "ppe");
    session.call("set ifcSendToPpe", 0);
    session.print("", {{"ppe", false}});
}

void classifierEnable(Session &session, const Words &words, size_t at)
{
    expectEnd(words, at, "classifier");
    session.call("ifc_enable");
    session.print("", {{"classifier", true}});
}

void classifierDisable(Session &session, const Words &words, size_t at)
{
    expectEnd(words, at, "classifier");
    session.call("ifc_disable");
    session.print("", {{"classifier", false}});
}

void classifierStatus(Session &session, const Words &words, size_t at)
{
    expectEnd(words, at, "classifier");
    const std::string text = session.textOf("ifc_get_ifc_staus");
    session.print(text, {{"classifier", text.find("Enable") != std::string::npos}});
}

unsigned entryNumber(const Words &words, size_t &at, const std::string &field)
{
    return expectNumber(words, at, field, IFC_ACTIONS - 1);
}

void actionShow(Session &session, const Words &words, size_t at)
{
    const unsigned entry = entryNumber(words, at, "action show");
    expectEnd(words, at, "action show");
    const std::string text = session.textOf("ifc_dump_action", entry);
    auto json = describeAction(readAction(session, entry));
    session.print(text, {{"action", entry}, {"fields", json}});
}

void actionSet(Session &session, const Words &words, size_t at)
{
    const unsigned entry = entryNumber(words, at, "action set");
    const Action action = parseAction(words, at);
    refuseWithoutPpe(action);
    std::string text;
    for (const SubAction &sub : action)
        text += session.textOf("ifc_set_action", entry, sub.actIdx, 1, sub.values[0], sub.values[1],
                               sub.values[2], sub.values[3]);
    session.print(text, {{"action", entry}, {"fields", describeAction(readAction(session, entry))}});
}

void actionClear(Session &session, const Words &words, size_t at)
{
    const unsigned entry = entryNumber(words, at, "action clear");
    expectEnd(words, at, "action clear");
    session.call("ifc_clear_action", entry);
    session.print("", {{"action", entry}, {"cleared", true}});
}

void counterShow(Session &session, const Words &words, size_t at)
{
    unsigned first = 0;
    unsigned last = IFC_COUNTERS - 1;
    const bool one = at < words.size();
    if (one)
        first = last = entryNumber(words, at, "counter show");
    expectEnd(words, at, "counter show");
    std::string text = "entry    packets              bytes\n";
    auto json = nlohmann::ordered_json::array();
    for (unsigned entry = first; entry <= last; ++entry) {
        unsigned long long bytes = 0;
        unsigned long long packets = 0;
        session.call("ifc_get_acnt", entry);
        (void)std::sscanf(session.lastAnswer().c_str(), "= %*d bytes %llu packets %llu", &bytes, &packets);
        json.push_back({{"entry", entry}, {"packets", packets}, {"bytes", bytes}});
        if (!one && bytes == 0 && packets == 0)
            continue;
        char line[80];
        (void)std::snprintf(line, sizeof line, "%5u %10llu %18llu\n", entry, packets, bytes);
        text += line;
    }
    session.print(text, json);
}

void counterBind(Session &session, const Words &words, size_t at)
{
    const unsigned entry = entryNumber(words, at, "counter bind");
    // The rule layer admits 16 as well, which changes the neighbour's id: not from here.
    const unsigned id = expectNumber(words, at, "counter bind", 15);
    expectEnd(words, at, "counter bind");
    session.call("ifc_set_acnt", entry, id);
    session.print("", {{"entry", entry}, {"id", id}});
}

void counterReset(Session &session, const Words &words, size_t at)
{
    expectEnd(words, at, "counter reset");
    session.call("clear_all_ifc_acnt");
    session.print("", {{"counters", "cleared"}});
}

void resultCheck(Session &session, const Words &words, size_t at)
{
    const size_t table = expectChoice(words, at, "result check", {"lut0", "lut1", "none"});
    int index = -1;
    if (table < 2)
        index = static_cast<int>(expectNumber(words, at, "result check", table == 0 ? 7 : 31));
    expectEnd(words, at, "result check");
    const bool as = session.call("checkIFCResult", table == 1 ? 1 : 0, index) == 0;
    session.print(as ? "exactly this was hit\n" : "something else was hit\n", {{"result", as}});
}

// The driver's own command handler. What the operation prints comes before its result.
void op(Session &session, const Words &words, size_t at)
{
    std::string line;
    for (; at < words.size(); ++at)
        line += (line.empty() ? "" : " ") + words[at];
    if (line.empty())
        throw usage("op", "", "an operation with its arguments; 'op help' lists them");
    const Reply &reply = session.run(line);
    if (reply.refused)
        throw Error(kExitUsage, "op " + reply.answer.substr(0, reply.answer.find_last_not_of('\n') + 1));
    session.print(reply.printed + reply.answer,
                  {{"op", line}, {"printed", reply.printed}, {"answer", reply.answer}});
}

} // namespace

std::vector<Command> chipCommands()
{
    return {
        {"ppe", "on", "", "frames that hit may go to the packet engine", ppeOn},
        {"ppe", "off", "", "they may not: rules can only send to the CPU", ppeOff},
        {"classifier", "enable", "", "switch the classifier on", classifierEnable},
        {"classifier", "disable", "", "switch it off", classifierDisable},
        {"classifier", "status", "", "is it on", classifierStatus},
        {"action", "show", "N", "an action entry as the hardware holds it", actionShow},
        {"action", "set", "N WORD VALUE...", "program sub-actions of an entry", actionSet},
        {"action", "clear", "N", "zero an entry", actionClear},
        {"counter", "show", "[N]", "packets and bytes of one entry, or of all that counted", counterShow},
        {"counter", "bind", "N ID", "bind entry N to counter id 0 to 15", counterBind},
        {"counter", "reset", "", "zero all counters", counterReset},
        {"result", "check", "lut0 N | lut1 N | none", "was exactly this hit by the last frame", resultCheck},
        {"op", "", "OPERATION ARGUMENT...", "call an operation of the rule layer; 'op help' lists them", op},
    };
}

} // namespace ifcctl
