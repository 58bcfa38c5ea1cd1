// SPDX-License-Identifier: MIT OR GPL-2.0
// ppe, classifier, result, op.
#include "commands.h"
#include "rule_auto.h"

#include "ifc/ifc_glb.h"

namespace ifcctl
{

namespace
{

void ppeOn(Session &session, WordReader &words)
{
    words.expectEnd("ppe");
    session.perform("set ifcSendToPpe", 1);
    session.print("", {{"ppe", true}});
}

void ppeOff(Session &session, WordReader &words)
{
    words.expectEnd("ppe");
    session.perform("set ifcSendToPpe", 0);
    session.print("", {{"ppe", false}});
}

void ppeStatus(Session &session, WordReader &words)
{
    words.expectEnd("ppe");
    const bool on = ifcSendToPpe != 0;
    session.print(on ? "PPE on\n" : "PPE off: rules can only send to the CPU\n", {{"ppe", on}});
}

void classifierEnable(Session &session, WordReader &words)
{
    words.expectEnd("classifier");
    session.perform("ifc_enable");
    session.print("", {{"classifier", true}});
}

void classifierDisable(Session &session, WordReader &words)
{
    words.expectEnd("classifier");
    session.perform("ifc_disable");
    session.print("", {{"classifier", false}});
}

void classifierStatus(Session &session, WordReader &words)
{
    words.expectEnd("classifier");
    const std::string text = session.textOf("ifc_get_ifc_staus");
    // Like ifc_get_ifc_staus(): the whole register as a signed number.
    const bool on = static_cast<int32_t>(session.device().globalConfig()) > 0;
    session.print(text, {{"classifier", on}});
}

void resultCheck(Session &session, WordReader &words)
{
    const size_t table = words.takeChoice("result check", {"lut0", "lut1", "none"});
    int index = -1;
    if (table < 2)
        index = static_cast<int>(words.takeNumber("result check", table == 0 ? 7 : 31));
    words.expectEnd("result check");
    const bool as = session.call("checkIFCResult", table == 1 ? 1 : 0, index) == 0;
    session.print(as ? "the last frame hit exactly this\n" : "the last frame hit something else\n",
                  {{"result", as}});
}

// Passes the line to the driver's command handler. The operation's output comes before its result.
void op(Session &session, WordReader &words)
{
    std::string line;
    while (!words.atEnd())
        line += (line.empty() ? "" : " ") + words.takeKey();
    if (line.empty())
        throw usage("op", "", "an operation with its arguments; 'op help' lists them");
    const Reply reply = session.run(line);
    int id = -1;
    if (reply.refused)
        throw Error(Reason::Usage, "op " + reply.answer.substr(0, reply.answer.find_last_not_of('\n') + 1));
    std::string text = reply.printed + reply.answer;
    nlohmann::ordered_json json = {{"op", line}, {"printed", reply.printed}, {"answer", reply.answer}};
    if (words.first() == "ifc_set_lut_rules_auto" && std::sscanf(reply.answer.c_str(), "= %d", &id) == 1 &&
        id >= 0)
        for (const std::string &warning : orderWarnings(RuleSet(session), static_cast<unsigned>(id))) {
            text += "warning: " + warning + '\n';
            json["warnings"].push_back(warning);
        }
    session.printAlways(text, json);
}

} // namespace

std::vector<Command> switchCommands()
{
    return {
        {"ppe", "on", "", "frames that hit may go to the packet engine", ppeOn},
        {"ppe", "off", "", "they may not; rules only send to the CPU", ppeOff},
        {"ppe", "status", "", "print whether they may", ppeStatus},
        {"classifier", "enable", "", "switch the classifier on", classifierEnable},
        {"classifier", "disable", "", "switch it off", classifierDisable},
        {"classifier", "status", "", "print whether it is on", classifierStatus},
    };
}

std::vector<Command> operationCommands()
{
    return {
        {"result", "check", "lut0 N | lut1 N | none", "whether the last frame hit exactly this rule or entry",
         resultCheck},
        {"op", "", "OPERATION ARGUMENT...",
         "call an operation of the rule layer by name; 'op help' lists them", op},
    };
}

} // namespace ifcctl
