// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ifc/ifc_cmd.h"

#include "ifc/ifc_regs.h"
#include "ifc/ifc_util.h"

namespace
{

constexpr uint kMostNumbers = 8;
constexpr uint kMostFrameBytes = 2048;

// A word of the line.
struct Word {
    const char *text;
    uint length;
};

// A number that an operation takes.
struct Param {
    const char *name;
    int64_t least;
    int64_t most;
};

// What may follow the numbers.
enum class Tail : uint8_t { None, Request, Condition, Frame };

struct Arguments {
    int64_t n[kMostNumbers];
    orva_ifc_param *request;
    sk_buff *frame;
    uint u(uint i) const { return static_cast<uint>(n[i]); }
    int i(uint i) const { return static_cast<int>(n[i]); }
};

class Answer
{
public:
    Answer(ifc_cmd_print print, void *user) : print_(print), user_(user) {}
    void say(const char *text) { print_(user_, text); }
    template <typename... Values>
    void say(const char *format, Values... values)
    {
        char text[160];
        (void)snprintf(text, sizeof text, format, values...);
        print_(user_, text);
    }
    // The operation must not be called: it would leave what the arguments stand for.
    void refuse(const char *operation, const char *argument, const char *accepted)
    {
        say("%s: %s: accepted: %s\n", operation, argument, accepted);
        refused_ = true;
    }
    bool refused() const { return refused_; }

private:
    ifc_cmd_print print_;
    void *user_;
    bool refused_ = false;
};

struct Operation {
    const char *name;
    const Param *params;
    uint count;
    Tail tail;
    void (*call)(const Arguments &, Answer &);
};

constexpr Param U(const char *name)
{
    return {name, 0, 0xFFFFFFFF};
}
constexpr Param I(const char *name)
{
    return {name, -0x80000000LL, 0x7FFFFFFF};
}
constexpr Param Upto(const char *name, int64_t most)
{
    return {name, 0, most};
}

constexpr Param kIndex = U("ifcIndex");
constexpr Param kRule = Upto("rule", IFC_LUT0_RULES - 1);
constexpr Param kEntry = Upto("entry", IFC_LUT1_RULES - 1);
constexpr Param kHalfword = Upto("word", 0xFFFF);

constexpr Param kTransfer[] = {Upto("index", 255), Upto("offset", 255), I("sel"), I("type")};
constexpr Param kPoll[] = {U("reg"), U("doneBit")};
constexpr Param kInt[] = {I("ruleId")};
constexpr Param kOneRule[] = {kRule};
constexpr Param kOneEntry[] = {kEntry};
constexpr Param kShownRule[] = {kRule, I("ruleId")};
constexpr Param kSlot[] = {kRule, Upto("slot", 31), U("mask"), U("key")};
constexpr Param kSetLut0[] = {kIndex,         U("enMode"),   U("fieldIdx"), U("command"),
                              U("mask_high"), U("mask_low"), U("key_high"), U("key_low")};
constexpr Param kSetLut1[] = {kIndex,       U("enMode"), U("endFlag"),  U("fieldIdx"),
                              U("command"), U("mask"),   U("key_high"), U("key_low")};
constexpr Param kReduce[] = {U("mask_high"), U("mask_low"), I("mask_bit")};
constexpr Param kFree[] = {U("field_num")};
constexpr Param kMatchLut0[] = {U("field_num"), kRule};
constexpr Param kMatchLut1[] = {Upto("field_num", IFC_LUT1_RULES), kEntry};
constexpr Param kSetAction[] = {kIndex,      U("actIdx"), U("enMode"), U("value0"),
                                U("value1"), U("value2"), U("value3")};
constexpr Param kOneIndex[] = {kIndex};
constexpr Param kOneAction[] = {Upto("ifcIndex", IFC_ACTIONS - 1)};
constexpr Param kBind[] = {kIndex, U("acntIdx")};
constexpr Param kResult[] = {I("ifc_type"), I("index")};
constexpr Param kValue[] = {U("value")};
constexpr Param kWord[] = {kHalfword};
constexpr Param kPppoe[] = {Upto("pre_len", kMostFrameBytes)};
constexpr Param kLength[] = {Upto("lens", kMostFrameBytes)};
constexpr Param kOffset[] = {Upto("offset", kMostFrameBytes)};
constexpr Param kTransport[] = {Upto("offset", kMostFrameBytes), Upto("tcp_udp_length", 0xFFFF),
                                Upto("tcp_udp_protocol", 0xFF)};

void number(Answer &answer, int value)
{
    answer.say("= %d\n", value);
}

void bits(Answer &answer, uint value)
{
    answer.say("= 0x%x\n", value);
}

IFC_Mode_t mode(const Arguments &a, uint n)
{
    return static_cast<IFC_Mode_t>(a.u(n));
}

void showArrays(Answer &answer, const uint *masks, const uint *keys)
{
    answer.say("= ok\n");
    for (uint slot = 0; slot < 32; ++slot)
        answer.say("%2u mask 0x%08x key 0x%08x\n", slot, masks[slot], keys[slot]);
}

void getMaskKey(const Arguments &a, Answer &answer)
{
    uint masks[32];
    uint keys[32];
    get_lut0_mask_key(a.i(0), masks, keys);
    showArrays(answer, masks, keys);
}

void maskKeyToArray(const Arguments &a, Answer &answer)
{
    uint masks[32];
    uint keys[32];
    set_lut0_mask_key_to_array(&IFC_LUT0_Rule[a.i(0)], masks, keys);
    showArrays(answer, masks, keys);
}

// One word of the arrays: unpack, change, pack.
void setMaskKey(const Arguments &a, Answer &answer)
{
    uint masks[32];
    uint keys[32];
    get_lut0_mask_key(a.i(0), masks, keys);
    masks[a.u(1)] = a.u(2);
    keys[a.u(1)] = a.u(3);
    set_lut0_mask_key(a.i(0), masks, keys);
    answer.say("= ok\n");
}

void matchLut1(const Arguments &a, Answer &answer)
{
    ifc_field_param param{};
    param.fieldIdx = a.request->fieldIdx[0];
    param.command = a.request->command[0];
    param.mask = a.request->mask_low[0];
    param.mask_high = a.request->mask_high[0];
    param.key = a.request->key_low[0];
    param.key_high = a.request->key_high[0];
    number(answer, ifc_match_lut1(param));
}

void getCounter(const Arguments &a, Answer &answer)
{
    unsigned long long bytes = 0;
    unsigned long long packets = 0;
    const int result = ifc_get_acnt(a.u(0), &bytes, &packets);
    answer.say("= %d bytes %llu packets %llu\n", result, bytes, packets);
}

void pppoe(const Arguments &a, Answer &answer)
{
    if (a.u(0) + 10 > a.frame->len) {
        answer.refuse("getPppoeSid", "pre_len", "a place with 10 bytes of the frame behind it");
        return;
    }
    uint16_t sid = 0;
    uint16_t tag = 0;
    const int result = getPppoeSid(a.frame, a.u(0), &sid, &tag);
    answer.say("= %d sid 0x%04x ppp_tag 0x%04x\n", result, sid, tag);
}

void bufferChecksum(const Arguments &a, Answer &answer)
{
    if (a.u(0) > a.frame->len)
        answer.refuse("skb_chksum", "lens", "at most the length of the frame");
    else
        bits(answer, skb_chksum(a.frame, a.i(0)));
}

void headerChecksum(const Arguments &a, Answer &answer)
{
    if (a.u(0) + 20 > a.frame->len)
        answer.refuse("ipv4_checksum", "offset", "a place with 20 bytes of the frame behind it");
    else
        bits(answer, ipv4_checksum(a.frame, a.i(0)));
}

void transportChecksum(const Arguments &a, Answer &answer)
{
    if (a.u(0) > a.frame->len)
        answer.refuse("tcp_udp_checksum", "offset", "at most the length of the frame");
    else
        bits(answer,
             tcp_udp_checksum(a.frame, a.i(0), static_cast<uint16_t>(a.u(1)), static_cast<uint8_t>(a.u(2))));
}

// Shorthands for the table: an operation that returns a number, bits, or nothing.
// clang-format off
#define IFC_CMD_OWN(name, params, tail, function) \
    {#name, params, sizeof(params) / sizeof(Param), tail, function}
#define IFC_CMD_INT(name, params, tail, ...) \
    IFC_CMD_OWN(name, params, tail, \
                [](const Arguments &a, Answer &answer) { number(answer, name(__VA_ARGS__)); })
#define IFC_CMD_BITS(name, params, ...) \
    IFC_CMD_OWN(name, params, Tail::None, \
                [](const Arguments &a, Answer &answer) { bits(answer, name(__VA_ARGS__)); })
#define IFC_CMD_VOID(name, params, ...) \
    IFC_CMD_OWN(name, params, Tail::None, \
                [](const Arguments &a, Answer &answer) { name(__VA_ARGS__); answer.say("= ok\n"); })
#define IFC_CMD_PLAIN(name) \
    {#name, nullptr, 0, Tail::None, [](const Arguments &, Answer &answer) { number(answer, name()); }}

constexpr Operation kOperations[] = {
    IFC_CMD_INT(ifcSetRuleConfig, kTransfer, Tail::None, static_cast<uint8_t>(a.u(0)),
                static_cast<uint8_t>(a.u(1)),
                a.i(2), a.i(3)),
    IFC_CMD_INT(ifcChecConfigDone, kPoll, Tail::None, a.u(0), a.u(1)),
    IFC_CMD_PLAIN(write_all_ifc_rule_to_hw),
    IFC_CMD_PLAIN(clear_all_ifc_rules),
    IFC_CMD_INT(clear_ifc_rules, kInt, Tail::None, a.i(0)),
    IFC_CMD_PLAIN(ifc_enable),
    IFC_CMD_PLAIN(ifc_disable),
    IFC_CMD_PLAIN(ifc_get_ifc_staus),
    IFC_CMD_OWN(get_lut0_mask_key, kOneRule, Tail::None, getMaskKey),
    IFC_CMD_OWN(set_lut0_mask_key, kSlot, Tail::None, setMaskKey),
    IFC_CMD_OWN(set_lut0_mask_key_to_array, kOneRule, Tail::None, maskKeyToArray),
    IFC_CMD_INT(ifc_get_rule_from_reg, kInt, Tail::None, a.i(0)),
    IFC_CMD_INT(ifc_parser_lut0_rule, kShownRule, Tail::None, &IFC_LUT0_Rule[a.i(0)], a.i(1)),
    IFC_CMD_INT(ifc_get_rule_from_hw, kInt, Tail::None, a.i(0)),
    IFC_CMD_INT(ifc_set_lut0_rules, kSetLut0, Tail::None, a.u(0), mode(a, 1), a.u(2), a.u(3), a.u(4),
                a.u(5), a.u(6),
                a.u(7)),
    IFC_CMD_VOID(ifc_delete_lut0, kOneRule, a.i(0)),
    IFC_CMD_INT(ifc_set_lut1_rules, kSetLut1, Tail::None, a.u(0), mode(a, 1), a.u(2), a.u(3), a.u(4),
                a.u(5), a.u(6),
                a.u(7)),
    IFC_CMD_VOID(ifc_delete_lut1, kOneEntry, a.i(0)),
    IFC_CMD_BITS(change_mask_from_48_to_32, kReduce, a.u(0), a.u(1), a.i(2)),
    {"ifc_set_lut_rules_auto", nullptr, 0, Tail::Request,
     [](const Arguments &a, Answer &answer) { number(answer, ifc_set_lut_rules_auto(a.request)); }},
    IFC_CMD_INT(lut1_has_free_rule, kFree, Tail::None, a.u(0)),
    {"ifc_del_lut_rules_auto", nullptr, 0, Tail::Request,
     [](const Arguments &a, Answer &answer) { number(answer, ifc_del_lut_rules_auto(a.request)); }},
    IFC_CMD_INT(ifc_match_rule_lut0, kMatchLut0, Tail::Request, a.request, a.u(0), a.u(1)),
    IFC_CMD_INT(ifc_match_rule_lut1, kMatchLut1, Tail::Request, a.request, a.u(0), a.u(1)),
    {"ifc_match_lut1", nullptr, 0, Tail::Condition, matchLut1},
    IFC_CMD_INT(ifc_set_action, kSetAction, Tail::None, a.u(0), a.u(1), mode(a, 2), a.u(3), a.u(4), a.u(5),
                a.u(6)),
    IFC_CMD_INT(ifc_clear_action, kOneIndex, Tail::None, a.u(0)),
    IFC_CMD_PLAIN(clear_all_ifc_actions),
    IFC_CMD_INT(ifc_dump_action, kOneAction, Tail::None, a.i(0)),
    IFC_CMD_INT(ifc_set_acnt, kBind, Tail::None, a.u(0), a.u(1)),
    IFC_CMD_OWN(ifc_get_acnt, kOneIndex, Tail::None, getCounter),
    {"clear_all_ifc_acnt", nullptr, 0, Tail::None,
     [](const Arguments &, Answer &answer) {
         clear_all_ifc_acnt();
         answer.say("= ok\n");
     }},
    IFC_CMD_INT(checkIFCResult, kResult, Tail::None, a.i(0), a.i(1)),
    IFC_CMD_PLAIN(ifc_dump_lut0_rules),
    IFC_CMD_PLAIN(ifc_dump_lut1_rules),
    IFC_CMD_PLAIN(ifc_dump_all_rules),
    IFC_CMD_BITS(_getLowestBit, kValue, a.u(0)),
    IFC_CMD_BITS(getLowestBit, kValue, a.u(0)),
    IFC_CMD_INT(isTPID, kWord, Tail::None, static_cast<uint16_t>(a.u(0))),
    IFC_CMD_INT(transTPIDtoVPM, kWord, Tail::None, static_cast<uint16_t>(a.u(0))),
    IFC_CMD_BITS(transVPMtoTPID, kWord, static_cast<uint16_t>(a.u(0))),
    IFC_CMD_OWN(getPppoeSid, kPppoe, Tail::Frame, pppoe),
    IFC_CMD_OWN(skb_chksum, kLength, Tail::Frame, bufferChecksum),
    IFC_CMD_OWN(ipv4_checksum, kOffset, Tail::Frame, headerChecksum),
    IFC_CMD_OWN(tcp_udp_checksum, kTransport, Tail::Frame, transportChecksum),
    {"dump_skb", nullptr, 0, Tail::Frame,
     [](const Arguments &a, Answer &answer) {
         dump_skb(a.frame);
         answer.say("= ok\n");
     }},
};
// clang-format on

struct Variable {
    Param param;
    uint (*get)();
    void (*set)(uint value);
};

constexpr Variable kVariables[] = {
    {Upto("dbgLevel", DBG_MSG), [] { return static_cast<uint>(gpIfcPriv->dbgLevel); },
     [](uint value) { gpIfcPriv->dbgLevel = static_cast<uint8>(value); }},
    {U("ifcSendToPpe"), [] { return static_cast<uint>(ifcSendToPpe); },
     [](uint value) { ifcSendToPpe = value; }},
};

// One row of a table as the hardware holds it: a read transfer, then the four data registers.
constexpr Param kRow[] = {Upto("sel", IFC_SEL_COUNTER), Upto("index", 255), Upto("offset", 255)};

void readRow(Answer &answer, const int64_t *values)
{
    const int result = ifcSetRuleConfig(static_cast<uint8_t>(values[1]), static_cast<uint8_t>(values[2]),
                                        static_cast<int>(values[0]), IFC_TYPE_READ);
    if (result != 0) {
        number(answer, result);
        return;
    }
    answer.say("= 0x%08x 0x%08x 0x%08x 0x%08x\n", get_frame_engine_data(IFC_DATA0),
               get_frame_engine_data(IFC_DATA1), get_frame_engine_data(IFC_DATA2),
               get_frame_engine_data(IFC_DATA3));
}

constinit orva_ifc_param requestBuffer{};
constinit unsigned char frameBuffer[kMostFrameBytes] = {};

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// The next word; its length is 0 at the end of the line.
Word nextWord(const char *&line)
{
    while (isBlank(*line))
        ++line;
    const char *first = line;
    while (*line != '\0' && !isBlank(*line))
        ++line;
    return {first, static_cast<uint>(line - first)};
}

bool equals(const Word &word, const char *name)
{
    uint n = 0;
    for (; n < word.length; ++n)
        if (name[n] != word.text[n]) // also where the name is shorter
            return false;
    return name[n] == '\0';
}

int digit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return 99;
}

// Reads all of the word, or fails. 62 bits, so that no sum overflows.
bool parseNumber(Word word, int64_t &value)
{
    const bool negative = word.length > 1 && *word.text == '-';
    if (negative)
        ++word.text, --word.length;
    int base = 10;
    if (word.length > 2 && word.text[0] == '0' && (word.text[1] == 'x' || word.text[1] == 'X')) {
        base = 16;
        word.text += 2, word.length -= 2;
    }
    if (word.length == 0 || word.length > 18)
        return false;
    value = 0;
    for (uint n = 0; n < word.length; ++n) {
        const int d = digit(word.text[n]);
        if (d >= base || value >> 58 != 0)
            return false;
        value = value * base + d;
    }
    if (negative)
        value = -value;
    return true;
}

int shown(const Word &word)
{
    return static_cast<int>(word.length < 40 ? word.length : 40);
}

bool refuseValue(Answer &answer, const char *operation, const Param &param, const Word &word)
{
    answer.say("%s: %s '%.*s': accepted: %lld to %lld\n", operation, param.name, shown(word), word.text,
               static_cast<long long>(param.least), static_cast<long long>(param.most));
    return false;
}

bool readNumber(Answer &answer, const char *operation, const Param &param, const Word &word, int64_t &value)
{
    if (!parseNumber(word, value) || value < param.least || value > param.most)
        return refuseValue(answer, operation, param, word);
    return true;
}

constexpr Param kConditionParts[] = {U("field"), U("command"), Upto("mask", 0xFFFFFFFFFFFF),
                                     Upto("key", 0xFFFFFFFFFFFF)};

bool readCondition(Answer &answer, const char *operation, const Word &word, uint at)
{
    int64_t parts[4];
    uint part = 0;
    Word rest = word;
    for (; part < 4; ++part) {
        Word piece = {rest.text, 0};
        while (piece.length < rest.length && piece.text[piece.length] != ':')
            ++piece.length;
        const bool last = piece.length == rest.length;
        if (last != (part == 3))
            break;
        if (!readNumber(answer, operation, kConditionParts[part], piece, parts[part]))
            return false;
        if (!last)
            rest = {piece.text + piece.length + 1, rest.length - piece.length - 1};
    }
    if (part != 4) {
        answer.say("%s: condition '%.*s': accepted: FIELD:COMMAND:MASK:KEY\n", operation, shown(word),
                   word.text);
        return false;
    }
    requestBuffer.fieldIdx[at] = static_cast<uint32_t>(parts[0]);
    requestBuffer.command[at] = static_cast<uint32_t>(parts[1]);
    requestBuffer.mask_low[at] = static_cast<uint32_t>(parts[2]);
    requestBuffer.mask_high[at] = static_cast<uint32_t>(parts[2] >> 32);
    requestBuffer.key_low[at] = static_cast<uint32_t>(parts[3]);
    requestBuffer.key_high[at] = static_cast<uint32_t>(parts[3] >> 32);
    return true;
}

bool readRequest(Answer &answer, const Operation &operation, const char *&line)
{
    __builtin_memset(&requestBuffer, 0, sizeof requestBuffer);
    const uint most = operation.tail == Tail::Condition ? 1 : IFC_PARAM_CONDITIONS;
    uint count = 0;
    for (Word word = nextWord(line); word.length != 0; word = nextWord(line), ++count) {
        if (count == most) {
            answer.say("%s: too many conditions: accepted: at most %u\n", operation.name, most);
            return false;
        }
        if (!readCondition(answer, operation.name, word, count))
            return false;
    }
    if (operation.tail == Tail::Condition && count == 0) {
        answer.say("%s: no condition: accepted: FIELD:COMMAND:MASK:KEY\n", operation.name);
        return false;
    }
    return true;
}

bool readFrame(Answer &answer, const Operation &operation, const char *&line, sk_buff &frame)
{
    const Word word = nextWord(line);
    bool good = word.length % 2 == 0 && word.length / 2 <= kMostFrameBytes;
    for (uint n = 0; good && n < word.length; n += 2) {
        const int high = digit(word.text[n]);
        const int low = digit(word.text[n + 1]);
        good = high < 16 && low < 16;
        frameBuffer[n / 2] = static_cast<unsigned char>(high << 4 | low);
    }
    if (!good) {
        answer.say("%s: frame '%.*s': accepted: up to %u bytes, two hexadecimal digits each\n",
                   operation.name, shown(word), word.text, kMostFrameBytes);
        return false;
    }
    frame.head = frame.data = frameBuffer;
    frame.end = frameBuffer + kMostFrameBytes;
    frame.len = word.length / 2;
    return true;
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

int noSuch(Answer &answer, const char *what, const Word &name, const char *accepted)
{
    answer.say("%s '%.*s': accepted: %s\n", what, shown(name), name.text, accepted);
    return IFC_CMD_REFUSED;
}

int help(Answer &answer, const char *line)
{
    const Word name = nextWord(line);
    if (name.length != 0) {
        const Operation *operation = findOperation(name);
        if (operation == nullptr)
            return noSuch(answer, "help", name, "nothing, or the name of an operation that 'help' lists");
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
    return IFC_CMD_DONE;
}

int getRow(Answer &answer, const char *line)
{
    int64_t values[sizeof(kRow) / sizeof(Param)];
    uint n = 0;
    for (const Param &param : kRow)
        if (!readNumber(answer, "get row", param, nextWord(line), values[n++]))
            return IFC_CMD_REFUSED;
    if (const Word more = nextWord(line); more.length != 0)
        return noSuch(answer, "get row", more, "row SEL INDEX OFFSET");
    readRow(answer, values);
    return IFC_CMD_DONE;
}

int variable(Answer &answer, bool set, const char *line)
{
    const char *const verb = set ? "set" : "get";
    const Word name = nextWord(line);
    if (!set && equals(name, "row"))
        return getRow(answer, line);
    const Word text = nextWord(line);
    for (const Variable &v : kVariables) {
        if (!equals(name, v.param.name))
            continue;
        if (set != (text.length != 0) || nextWord(line).length != 0)
            return noSuch(answer, verb, text, set ? "NAME VALUE" : "NAME");
        int64_t value = 0;
        if (set && !readNumber(answer, verb, v.param, text, value))
            return IFC_CMD_REFUSED;
        if (set)
            v.set(static_cast<uint>(value));
        bits(answer, v.get());
        return IFC_CMD_DONE;
    }
    return noSuch(answer, verb, name, set ? "dbgLevel ifcSendToPpe" : "dbgLevel ifcSendToPpe row");
}

int callOperation(Answer &answer, const Operation &operation, const char *line)
{
    Arguments arguments{};
    sk_buff frame{};
    arguments.request = &requestBuffer;
    arguments.frame = &frame;
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
        good = readRequest(answer, operation, line);
    else if (operation.tail == Tail::Frame)
        good = readFrame(answer, operation, line, frame);
    if (!good)
        return IFC_CMD_REFUSED;
    if (const Word more = nextWord(line); more.length != 0) {
        answer.say("%s: '%.*s' is too much: accepted: ", operation.name, shown(more), more.text);
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
        return help(answer, line);
    if (equals(name, "get") || equals(name, "set"))
        return variable(answer, equals(name, "set"), line);
    if (const Operation *operation = findOperation(name))
        return callOperation(answer, *operation, line);
    return noSuch(answer, "operation", name, "help, get, set, or a name that 'help' lists");
}
