// SPDX-License-Identifier: MIT OR GPL-2.0
#include "directed.h"

namespace directed
{

namespace
{

constexpr unsigned kTextRoom = 8192;
char normalised[kTextRoom];

bool isNameChar(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

// The length of "source.cpp [123]: " at the front, or 0.
unsigned prefixLength(const char *at)
{
    const char *p = at;
    while (isNameChar(*p))
        ++p;
    for (const char *c = ".cpp ["; *c != '\0'; ++c, ++p)
        if (p == at || *p != *c)
            return 0;
    const char *digits = p;
    while (*p >= '0' && *p <= '9')
        ++p;
    if (p == digits)
        return 0;
    for (const char *c = "]: "; *c != '\0'; ++c, ++p)
        if (*p != *c)
            return 0;
    return static_cast<unsigned>(p - at);
}

} // namespace

void forget()
{
    directed_forget();
}

void powerOn(unsigned doneAfter, int revision)
{
    directed_power_on(doneAfter, revision);
    directed_forget();
}

void failed(const char *file, int line, const char *what, long long got, long long expected)
{
    directed_fail(file, line, what, got, expected);
}

const char *text()
{
    const char *from = directed_printed();
    unsigned used = 0;
    bool lineStarts = true;
    while (*from != '\0' && used + 2 < kTextRoom) {
        const unsigned skip = lineStarts ? prefixLength(from) : 0;
        lineStarts = skip == 0 && *from == '\n';
        normalised[used++] = skip != 0 ? '@' : *from;
        from += skip != 0 ? skip : 1;
    }
    normalised[used] = '\0';
    return normalised;
}

bool textIs(const char *expected)
{
    const char *got = text();
    while (*got != '\0' && *got == *expected)
        ++got, ++expected;
    return *got == *expected;
}

unsigned lines(const char *text)
{
    unsigned n = 0;
    for (; *text != '\0'; ++text)
        n += *text == '\n';
    return n;
}

unsigned count(Kind kind)
{
    unsigned n = 0;
    for (unsigned i = 0; i < directed_events(); ++i) {
        Event event;
        directed_event(i, &event);
        n += event.kind == kind;
    }
    return n;
}

Traffic::~Traffic()
{
    if (!failed_ && at_ != directed_events())
        directed_fail(file_, line_, "number of events", directed_events(), at_);
}

Traffic &Traffic::next(Kind kind, uint32_t reg, uint32_t value)
{
    if (failed_)
        return *this;
    Event event{};
    if (at_ < directed_events())
        directed_event(at_, &event);
    failed_ = at_ >= directed_events() || event.kind != kind || event.reg != reg || event.value != value;
    if (failed_)
        directed_fail(file_, line_, "event (kind, register, value as one number; this is its place)", at_,
                      at_);
    ++at_;
    return *this;
}

Traffic &Traffic::transfer(uint32_t index, uint32_t offset, uint32_t sel, uint32_t type)
{
    const uint32_t word = ifc_rule_cfg_word(index, offset, sel, type);
    return write(IFC_RULE_CFG, word).read(IFC_RULE_CFG, word | kDone);
}

Traffic &Traffic::timeOut(uint32_t index, uint32_t offset, uint32_t sel, uint32_t type)
{
    const uint32_t word = ifc_rule_cfg_word(index, offset, sel, type);
    write(IFC_RULE_CFG, word);
    for (int n = 0; n < 3; ++n)
        read(IFC_RULE_CFG, word).wait();
    return *this;
}

Traffic &Traffic::rewrite()
{
    lock();
    for (uint32_t rule = 0; rule < IFC_LUT0_RULES; ++rule) {
        const uint32_t *words = IFC_LUT0_Rule[rule].word;
        revision().revision();
        write(IFC_DATA0, 0).transfer(rule, 10, IFC_SEL_LUT0, IFC_TYPE_WRITE);
        for (uint32_t row = 0; row < 10; ++row) {
            for (uint32_t n = 0; n < 4; ++n)
                write(IFC_DATA0 + 4 * n, words[40 - 4 * row - n]);
            transfer(rule, row, IFC_SEL_LUT0, IFC_TYPE_WRITE);
        }
        write(IFC_DATA0, words[0]).transfer(rule, 10, IFC_SEL_LUT0, IFC_TYPE_WRITE);
    }
    for (uint32_t entry = 0; entry < IFC_LUT1_RULES; ++entry)
        write(IFC_DATA0, IFC_LUT1_Rule[entry].word[1])
            .write(IFC_DATA1, IFC_LUT1_Rule[entry].word[0])
            .transfer(entry, 0, IFC_SEL_LUT1, IFC_TYPE_WRITE);
    return unlock();
}

orva_ifc_param *requestOf(const Condition *conditions, unsigned count)
{
    static constinit orva_ifc_param request{};
    __builtin_memset(&request, 0, sizeof request);
    for (unsigned n = 0; n < count; ++n) {
        request.fieldIdx[n] = conditions[n].field;
        request.command[n] = conditions[n].command;
        request.mask_low[n] = static_cast<uint32_t>(conditions[n].mask);
        request.mask_high[n] = static_cast<uint32_t>(conditions[n].mask >> 32);
        request.key_low[n] = static_cast<uint32_t>(conditions[n].key);
        request.key_high[n] = static_cast<uint32_t>(conditions[n].key >> 32);
    }
    return &request;
}

extern const Group kTransferGroup, kLut0Group, kLut1Group, kPlacementGroup, kActionGroup, kCounterGroup,
    kDumpGroup, kPacketGroup;
const Group *const kGroups[] = {&kTransferGroup, &kLut0Group,    &kLut1Group, &kPlacementGroup,
                                &kActionGroup,   &kCounterGroup, &kDumpGroup, &kPacketGroup};
const unsigned kGroupCount = sizeof kGroups / sizeof *kGroups;

} // namespace directed
