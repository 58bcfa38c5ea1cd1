// SPDX-License-Identifier: MIT OR GPL-2.0
#include "faulty_chip.h"

#include "platform/host/host_platform.h"
#include "tools/ifcctl/core/table_differences.h"

#include <cstring>

// The linker gives the layer's register accesses to these (option --wrap).
extern "C" {
uint32_t __real_get_frame_engine_data(uint32_t reg);
void __real_set_frame_engine_data(uint32_t reg, uint32_t value);
uint32_t __wrap_get_frame_engine_data(uint32_t reg);
void __wrap_set_frame_engine_data(uint32_t reg, uint32_t value);
}

namespace
{

using namespace faults;

constexpr uint32_t kCommand = 0xBFB50204;
constexpr uint32_t kData = 0xBFB50210;

bool isData(uint32_t reg)
{
    return reg >= kData && reg < kData + 16;
}

// The number of the row that a command moves: the command word without its direction.
uint32_t rowOf(uint32_t command)
{
    return command & ~6u;
}

struct Machine {
    engine::RegisterWindow *chip = nullptr;
    Outcome *outcome = nullptr;
    Fault fault;
    uint32_t lastRead = 0;
    bool awaitsCommand = false; // the fault concerns the row of the next command
} machine;

void startTransfer(uint32_t command)
{
    Outcome &out = *machine.outcome;
    machine.chip->settings().doneAfter = 1;
    if (machine.awaitsCommand)
        out.faulty.insert(rowOf(command));
    machine.awaitsCommand = false;
    const bool mine = machine.fault.kind >= Fault::NeverDone && machine.fault.kind <= Fault::StaleRow &&
                      out.transfers == machine.fault.at;
    ++out.transfers;
    if (!mine)
        return;
    out.fired = true;
    out.faulty.insert(rowOf(command));
    switch (machine.fault.kind) {
    case Fault::NeverDone:
        machine.chip->injectFault(engine::TransferFault::NeverComplete, 0, 1);
        break;
    case Fault::Unseen:
    case Fault::Late:
        machine.chip->settings().doneAfter = machine.fault.kind == Fault::Late ? 3 : 4;
        break;
    case Fault::LostRow:
        machine.chip->injectFault(engine::TransferFault::DropWrite, 0, 1);
        break;
    default:
        machine.chip->injectFault(engine::TransferFault::StaleData, 0, 1);
        break;
    }
}

// Text after "source [line]: ".
std::string withoutSource(const std::string &text)
{
    const size_t end = text.find("]: ");
    return end != std::string::npos && text.find(" [") < end ? text.substr(end + 3) : text;
}

} // namespace

uint32_t __wrap_get_frame_engine_data(uint32_t reg)
{
    uint32_t value = __real_get_frame_engine_data(reg);
    if (machine.outcome == nullptr)
        return value;
    Outcome &out = *machine.outcome;
    if (machine.fault.kind == Fault::StaleRead && out.reads == machine.fault.at) {
        out.fired = true;
        value = machine.lastRead;
        machine.awaitsCommand = isData(reg); // what was read is written back there
        if (reg != kCommand && !isData(reg))
            out.faulty.insert(reg);
    }
    machine.lastRead = value;
    ++out.reads;
    out.events.push_back({Event::Read, reg, value});
    return value;
}

void __wrap_set_frame_engine_data(uint32_t reg, uint32_t value)
{
    if (machine.outcome == nullptr) {
        __real_set_frame_engine_data(reg, value);
        return;
    }
    Outcome &out = *machine.outcome;
    out.events.push_back({Event::Write, reg, value});
    const bool lost = machine.fault.kind == Fault::LostWrite && out.writes == machine.fault.at;
    ++out.writes;
    if (lost) {
        out.fired = true;
        if (reg == kCommand) {
            out.faulty.insert(rowOf(value));
            ++out.transfers;
        } else if (isData(reg)) {
            machine.awaitsCommand = true;
        } else {
            out.faulty.insert(reg);
        }
        return;
    }
    if (reg == kCommand)
        startTransfer(value);
    __real_set_frame_engine_data(reg, value);
}

namespace faults
{

bool State::sameShadow(const State &other) const
{
    return ppe == other.ppe && std::memcmp(&lut0, &other.lut0, sizeof lut0) == 0 &&
           std::memcmp(&lut1, &other.lut1, sizeof lut1) == 0;
}

Rows State::rowsThatDiffer(const State &other) const
{
    Rows rows;
    const engine::Tables &a = chip.tables();
    const engine::Tables &b = other.chip.tables();
    const auto add = [&rows](unsigned table, unsigned index, unsigned row) {
        rows.insert(65536 * index + 256 * row + 16 * table + 1);
    };
    for (unsigned n = 0; n < 8; ++n)
        for (unsigned word = 0; word < 41; ++word)
            if (a.lut0[n][word] != b.lut0[n][word])
                add(0, n, word == 0 ? 10 : (40 - word) / 4);
    for (unsigned n = 0; n < 32; ++n)
        if (std::memcmp(a.lut1[n], b.lut1[n], 8) != 0)
            add(1, n, 0);
    for (unsigned n = 0; n < 40; ++n) {
        if (std::memcmp(a.action[n], b.action[n], 16) != 0)
            add(2, n, 0);
        if (std::memcmp(a.counter[n], b.counter[n], 16) != 0)
            add(3, n, 0);
    }
    if (chip.globalConfig() != other.chip.globalConfig())
        rows.insert(0xBFB50200);
    if (chip.tpidConfig() != other.chip.tpidConfig())
        rows.insert(0xBFB50000);
    for (unsigned n = 0; n < 5; ++n)
        if (chip.counterBinding(n) != other.chip.counterBinding(n))
            rows.insert(0xBFB50240 + 4 * n);
    return rows;
}

Outcome run(const Operation &operation, const State &before, Fault fault)
{
    Outcome out;
    out.after = std::make_unique<State>(before);
    std::memcpy(IFC_LUT0_Rule, before.lut0.data(), sizeof IFC_LUT0_Rule);
    std::memcpy(IFC_LUT1_Rule, before.lut1.data(), sizeof IFC_LUT1_Rule);
    ifcSendToPpe = before.ppe;
    host::reset();
    host::attach(&out.after->chip);
    host::setLogSink(
        [&out](std::string_view text) { out.texts.push_back(withoutSource(std::string(text))); });
    host::setEventWatch([&out](host::Event event) {
        if (event == host::Event::Delay)
            out.events.push_back({Event::Wait, 0, 0});
        else if (event != host::Event::RevisionQuery)
            out.events.push_back({event == host::Event::Lock ? Event::Lock : Event::Unlock, 0, 0});
    });
    machine = {&out.after->chip, &out, fault};
    out.result = operation();
    machine = {};
    if (host::lockHeld())
        out.events.push_back({Event::Lock, 0, 1}); // differs from every record of a clean run
    out.after->chip.settings().doneAfter = 1;
    out.after->chip.injectFault(engine::TransferFault::None, 0, 0);
    std::memcpy(out.after->lut0.data(), IFC_LUT0_Rule, sizeof IFC_LUT0_Rule);
    std::memcpy(out.after->lut1.data(), IFC_LUT1_Rule, sizeof IFC_LUT1_Rule);
    out.after->ppe = ifcSendToPpe;
    host::reset();
    return out;
}

std::unique_ptr<State> asRead(const State &before, const std::vector<Event> &events)
{
    auto made = std::make_unique<State>(before);
    engine::Tables &tables = made->chip.tables();
    uint32_t command = 0;
    for (const Event &event : events) {
        if (event.kind == Event::Write && event.reg == kCommand)
            command = event.value;
        if (event.kind != Event::Read || event.reg == kCommand)
            continue;
        if (!isData(event.reg)) {
            made->chip.write(event.reg, event.value);
            continue;
        }
        const unsigned data = (event.reg - kData) / 4;
        const unsigned index = command / 65536;
        const unsigned row = command / 256 % 64;
        switch (command / 16 % 4) {
        case 0:
            tables.lut0[index][row == 10 ? 0 : 40 - 4 * row - data] = event.value;
            break;
        case 1:
            tables.lut1[index][1 - data] = event.value;
            break;
        case 2:
            tables.action[index][3 - data] = event.value;
            break;
        default:
            tables.counter[index][data] = event.value;
            break;
        }
    }
    return made;
}

std::set<std::string> verify(const State &state)
{
    std::vector<ifcctl::TableDifference> differences;
    (void)run(
        [&differences] {
            const auto word = [](unsigned n) { return get_frame_engine_data(kData + 4 * n); };
            for (unsigned rule = 0; rule < 8; ++rule) {
                IFC_LUT0_Format record = {};
                for (unsigned row = 0; row <= 10; ++row) {
                    (void)ifcSetRuleConfig(static_cast<uint8_t>(rule), static_cast<uint8_t>(row), 0, 0);
                    for (unsigned n = 0; n < (row == 10 ? 1u : 4u); ++n)
                        record.word[row == 10 ? 0 : 40 - 4 * row - n] = word(n);
                }
                ifcctl::compareWide(rule, record, IFC_LUT0_Rule[rule], differences);
            }
            for (unsigned entry = 0; entry < 32; ++entry) {
                (void)ifcSetRuleConfig(static_cast<uint8_t>(entry), 0, 1, 0);
                const IFC_LUT1_Format record = {{word(1), word(0)}};
                ifcctl::compareNarrow(entry, record, IFC_LUT1_Rule[entry], differences);
            }
            return 0;
        },
        state);
    std::set<std::string> entries;
    for (const ifcctl::TableDifference &difference : differences)
        entries.insert(difference.entry);
    return entries;
}

} // namespace faults
