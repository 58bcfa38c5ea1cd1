// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ifc/ifc_cmd/cmd_operations.h"
#include "ifc/ifc_regs.h"
#include "ifc/ifc_util/window.h"

using namespace ifc::cmd;

namespace
{

struct Variable {
    Param param;
    uint (*get)();
    void (*set)(uint value);
};

constexpr Variable kVariables[] = {
    {upTo("dbgLevel", DBG_MSG), [] { return static_cast<uint>(gpIfcPriv->dbgLevel); },
     [](uint value) { gpIfcPriv->dbgLevel = static_cast<uint8>(value); }},
    {u32("ifcSendToPpe"), [] { return static_cast<uint>(ifcSendToPpe); },
     [](uint value) { ifcSendToPpe = value; }},
};

// The arguments of `get row`: one row of a table in the hardware.
constexpr Param kRow[] = {upTo("sel", IFC_SEL_COUNTER), upTo("index", 255), upTo("offset", 255)};

// The argument of `clear counter`.
constexpr Param kCounter = upTo("index", IFC_COUNTERS - 1);

void printRow(Answer &answer, const int64_t *values)
{
    const int result = ifcSetRuleConfig(static_cast<uint8_t>(values[1]), static_cast<uint8_t>(values[2]),
                                        static_cast<int>(values[0]), IFC_TYPE_READ);
    if (result != 0) {
        printNumber(answer, result);
        return;
    }
    answer.say("= 0x%08x 0x%08x 0x%08x 0x%08x\n", get_frame_engine_data(IFC_DATA0),
               get_frame_engine_data(IFC_DATA1), get_frame_engine_data(IFC_DATA2),
               get_frame_engine_data(IFC_DATA3));
}

void describe(Answer &answer, const Operation &operation)
{
    answer.say(operation.name);
    for (uint n = 0; n < operation.count; ++n)
        answer.say(" %s", operation.params[n].name);
    switch (operation.tail) {
    case Tail::None:
        break;
    case Tail::Request:
        answer.say(" [FIELD:COMMAND:MASK:KEY]...");
        break;
    case Tail::Condition:
        answer.say(" FIELD:COMMAND:MASK:KEY");
        break;
    case Tail::Frame:
        answer.say(" HEX");
        break;
    }
    answer.say("\n");
}

const Operation *findOperation(const Word &name)
{
    for (const Operation &operation : kOperations)
        if (equals(name, operation.name))
            return &operation;
    return nullptr;
}

int refuseWord(Answer &answer, const char *what, const Word &name, const char *accepted)
{
    answer.say("%s '%.*s': accepted: %s\n", what, printedLength(name), name.text, accepted);
    return IFC_CMD_REFUSED;
}

int printHelp(Answer &answer, const char *line)
{
    const Word name = nextWord(line);
    if (name.length != 0) {
        const Operation *operation = findOperation(name);
        if (operation == nullptr)
            return refuseWord(answer, "help", name, "nothing, or the name of an operation that 'help' lists");
        describe(answer, *operation);
        for (uint n = 0; n < operation->count; ++n)
            answer.say("  %s: %lld to %lld\n", operation->params[n].name,
                       static_cast<long long>(operation->params[n].least),
                       static_cast<long long>(operation->params[n].most));
        return IFC_CMD_DONE;
    }
    for (const Operation &operation : kOperations)
        describe(answer, operation);
    for (const Variable &variable : kVariables)
        answer.say("get %s | set %s VALUE\n", variable.param.name, variable.param.name);
    answer.say("get row SEL INDEX OFFSET\n");
    answer.say("clear counter INDEX\n");
    return IFC_CMD_DONE;
}

int runGetRow(Answer &answer, const char *line)
{
    int64_t values[sizeof(kRow) / sizeof(Param)];
    uint n = 0;
    for (const Param &param : kRow)
        if (!readNumber(answer, "get row", param, nextWord(line), values[n++]))
            return IFC_CMD_REFUSED;
    if (const Word more = nextWord(line); more.length != 0)
        return refuseWord(answer, "get row", more, "row SEL INDEX OFFSET");
    printRow(answer, values);
    return IFC_CMD_DONE;
}

// One counter entry; clear_all_ifc_acnt() clears all of them.
int runClear(Answer &answer, const char *line)
{
    const Word name = nextWord(line);
    if (!equals(name, "counter"))
        return refuseWord(answer, "clear", name, "counter INDEX");
    int64_t entry = 0;
    if (!readNumber(answer, "clear counter", kCounter, nextWord(line), entry))
        return IFC_CMD_REFUSED;
    if (const Word more = nextWord(line); more.length != 0)
        return refuseWord(answer, "clear counter", more, "counter INDEX");
    {
        const ifc::WindowLock lock;
        ifc::writeZeroRow(static_cast<uint>(entry), IFC_SEL_COUNTER);
    }
    answer.say("= ok\n");
    return IFC_CMD_DONE;
}

int runGetOrSet(Answer &answer, bool set, const char *line)
{
    const char *const verb = set ? "set" : "get";
    const Word name = nextWord(line);
    if (!set && equals(name, "row"))
        return runGetRow(answer, line);
    const Word text = nextWord(line);
    for (const Variable &v : kVariables) {
        if (!equals(name, v.param.name))
            continue;
        if (set != (text.length != 0) || nextWord(line).length != 0)
            return refuseWord(answer, verb, text, set ? "NAME VALUE" : "NAME");
        int64_t value = 0;
        if (set && !readNumber(answer, verb, v.param, text, value))
            return IFC_CMD_REFUSED;
        if (set)
            v.set(static_cast<uint>(value));
        printBits(answer, v.get());
        return IFC_CMD_DONE;
    }
    return refuseWord(answer, verb, name, set ? "dbgLevel ifcSendToPpe" : "dbgLevel ifcSendToPpe row");
}

int callOperation(Answer &answer, const Operation &operation, const char *line)
{
    Arguments arguments{};
    for (uint n = 0; n < operation.count; ++n) {
        const Word word = nextWord(line);
        if (word.length == 0) {
            answer.say("%s: %u arguments are too few: accepted: ", operation.name, n);
            describe(answer, operation);
            return IFC_CMD_REFUSED;
        }
        if (!readNumber(answer, operation.name, operation.params[n], word, arguments.n[n]))
            return IFC_CMD_REFUSED;
    }
    bool good = true;
    if (operation.tail == Tail::Request || operation.tail == Tail::Condition)
        good = readRequest(answer, operation.name, operation.tail, line, arguments);
    else if (operation.tail == Tail::Frame)
        good = readFrame(answer, operation.name, line, arguments);
    if (!good)
        return IFC_CMD_REFUSED;
    if (const Word more = nextWord(line); more.length != 0) {
        answer.say("%s: '%.*s' is too much: accepted: ", operation.name, printedLength(more), more.text);
        describe(answer, operation);
        return IFC_CMD_REFUSED;
    }
    operation.call(arguments, answer);
    return answer.refused() ? IFC_CMD_REFUSED : IFC_CMD_DONE;
}

} // namespace

int ifc_cmd_run(const char *line, ifc_cmd_print print, void *user)
{
    Answer answer(print, user);
    const Word name = nextWord(line);
    if (name.length == 0 || *name.text == '#')
        return IFC_CMD_NOTHING;
    if (equals(name, "help"))
        return printHelp(answer, line);
    if (equals(name, "get") || equals(name, "set"))
        return runGetOrSet(answer, equals(name, "set"), line);
    if (equals(name, "clear"))
        return runClear(answer, line);
    if (const Operation *operation = findOperation(name))
        return callOperation(answer, *operation, line);
    return refuseWord(answer, "operation", name, "help, get, set, clear, or a name that 'help' lists");
}

int ifc_cmd_only_reads(const char *line)
{
    const Word name = nextWord(line);
    if (name.length == 0 || *name.text == '#' || equals(name, "help") || equals(name, "get"))
        return 1;
    const Operation *operation = findOperation(name);
    return operation != nullptr && operation->onlyReads ? 1 : 0;
}
