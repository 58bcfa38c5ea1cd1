// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/register_window.h"

#include "ifc/records/chip.h"

namespace engine
{

namespace
{

constexpr uint32_t kMustBeZero =
    ~(IFC_RULE_CFG_START | IFC_RULE_CFG_TYPE_MASK << IFC_RULE_CFG_TYPE_LSB |
      IFC_RULE_CFG_SEL_MASK << IFC_RULE_CFG_SEL_LSB | IFC_RULE_CFG_OFFSET_MASK << IFC_RULE_CFG_OFFSET_LSB |
      IFC_RULE_CFG_INDEX_MASK << IFC_RULE_CFG_INDEX_LSB);

struct Transfer {
    uint32_t index;
    uint32_t offset;
    uint32_t sel;
    uint32_t type;
};

Transfer decode(uint32_t word)
{
    return {word >> IFC_RULE_CFG_INDEX_LSB & IFC_RULE_CFG_INDEX_MASK,
            word >> IFC_RULE_CFG_OFFSET_LSB & IFC_RULE_CFG_OFFSET_MASK,
            word >> IFC_RULE_CFG_SEL_LSB & IFC_RULE_CFG_SEL_MASK,
            word >> IFC_RULE_CFG_TYPE_LSB & IFC_RULE_CFG_TYPE_MASK};
}

struct TableShape {
    uint32_t entries;
    uint32_t rows;
};

// By table selector.
constexpr TableShape kShapes[] = {
    {IFC_LUT0_RULES, IFC_LUT0_BODY_ROWS + 1},
    {IFC_LUT1_RULES, 1},
    {IFC_ACTIONS, 1},
    {IFC_COUNTERS, 1},
};

uint32_t nextNoise(uint32_t &state)
{
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}

} // namespace

void RegisterWindow::powerOn(const Settings &settings)
{
    __builtin_memset(&tables_, 0, sizeof tables_);
    __builtin_memset(data_, 0, sizeof data_);
    __builtin_memset(counterBinding_, 0, sizeof counterBinding_);
    settings_ = settings;
    tpidConfig_ = 0;
    globalConfig_ = 0;
    command_ = 0;
    statusReads_ = 0;
    completes_ = false;
    fault_ = TransferFault::None;
    faultAfter_ = 0;
    faultCount_ = 0;
    errors_ = 0;
    touch(); // the hooks are kept
}

void RegisterWindow::powerOn(const Settings &settings, uint32_t seed)
{
    powerOn(settings);
    uint32_t state = seed != 0 ? seed : 1;
    uint32_t *words = reinterpret_cast<uint32_t *>(&tables_);
    for (size_t n = 0; n < sizeof tables_ / sizeof *words; ++n)
        words[n] = nextNoise(state);
    for (auto &counter : tables_.counter)
        counter[3] &= ifc::kCounterTopWord;
    for (uint32_t &data : data_)
        data = nextNoise(state);
}

void RegisterWindow::onAccess(AccessHook hook, void *user)
{
    accessHook_ = hook;
    accessUser_ = user;
}

void RegisterWindow::onError(ErrorHook hook, void *user)
{
    errorHook_ = hook;
    errorUser_ = user;
}

void RegisterWindow::injectFault(TransferFault fault, uint32_t after, uint32_t count)
{
    fault_ = fault;
    faultAfter_ = after;
    faultCount_ = count;
}

void RegisterWindow::fail(AccessError error, uint32_t value)
{
    ++errors_;
    if (settings_.strict && errorHook_ != nullptr)
        errorHook_(errorUser_, error, value);
}

uint32_t *RegisterWindow::findRegister(uint32_t reg)
{
    switch (reg) {
    case FE_TPID_CFG:
        return &tpidConfig_;
    case IFC_GLB_CFG:
        return &globalConfig_;
    case IFC_RULE_CFG:
        return &command_;
    default:
        break;
    }
    if (reg >= IFC_DATA0 && reg <= IFC_DATA3 && reg % 4 == 0)
        return &data_[(reg - IFC_DATA0) / 4];
    if (reg >= IFC_ACNT_CFG && reg < IFC_ACNT_CFG + 4 * IFC_ACNT_CFG_COUNT && reg % 4 == 0)
        return &counterBinding_[(reg - IFC_ACNT_CFG) / 4];
    fail(reg % 4 != 0 ? AccessError::Unaligned : AccessError::UnknownRegister, reg);
    return nullptr;
}

uint32_t RegisterWindow::read(uint32_t reg)
{
    const uint32_t *found = findRegister(reg);
    uint32_t value = found != nullptr ? *found : 0;
    if (reg == IFC_RULE_CFG) {
        ++statusReads_;
        if (completes_ && settings_.doneAfter != 0 && statusReads_ >= settings_.doneAfter)
            value |= IFC_RULE_CFG_DONE;
    }
    if (accessHook_ != nullptr)
        accessHook_(accessUser_, {AccessKind::Read, reg, value});
    return value;
}

void RegisterWindow::write(uint32_t reg, uint32_t value)
{
    if (accessHook_ != nullptr)
        accessHook_(accessUser_, {AccessKind::Write, reg, value});
    uint32_t *found = findRegister(reg);
    if (found == nullptr)
        return;
    if (reg == IFC_RULE_CFG) {
        startTransfer(value);
        return;
    }
    *found = value;
    if (reg < IFC_DATA0) // FE_TPID_CFG or IFC_GLB_CFG
        touch();
}

// False: the command is faulty, an error is counted and nothing is transferred.
bool RegisterWindow::check(uint32_t command)
{
    const Transfer c = decode(command);
    const TableShape &shape = kShapes[c.sel];
    if ((command & kMustBeZero) != 0 || (command & IFC_RULE_CFG_START) == 0 || c.type > IFC_TYPE_WRITE)
        fail(AccessError::ReservedCommand, command);
    else if (c.index >= shape.entries)
        fail(AccessError::IndexOutOfRange, command);
    else if (c.offset >= shape.rows)
        fail(AccessError::RowOutOfRange, command);
    else
        return true;
    return false;
}

// The word of the table that data register `data` carries in this row, or nullptr.
uint32_t *RegisterWindow::rowWord(uint32_t command, unsigned data)
{
    const Transfer c = decode(command);
    switch (c.sel) {
    case IFC_SEL_LUT0:
        if (c.offset == IFC_LUT0_HEAD_ROW)
            return data == 0 ? &tables_.lut0[c.index][0] : nullptr;
        return &tables_.lut0[c.index][ifc_lut0_row_word(static_cast<int>(c.offset), static_cast<int>(data))];
    case IFC_SEL_LUT1:
        return data < 2 ? &tables_.lut1[c.index][1 - data] : nullptr;
    case IFC_SEL_ACTION:
        return &tables_.action[c.index][3 - data];
    default:
        return &tables_.counter[c.index][data];
    }
}

TransferFault RegisterWindow::nextFault()
{
    if (faultCount_ == 0)
        return TransferFault::None;
    if (faultAfter_ != 0) {
        --faultAfter_;
        return TransferFault::None;
    }
    --faultCount_;
    return fault_;
}

void RegisterWindow::startTransfer(uint32_t command)
{
    command_ = command & ~IFC_RULE_CFG_DONE;
    statusReads_ = 0;
    completes_ = false;
    const TransferFault fault = nextFault();
    if (!check(command) || settings_.doneAfter == 0 || fault == TransferFault::NeverComplete)
        return;
    completes_ = true;

    const Transfer c = decode(command);
    if (c.type == IFC_TYPE_WRITE && fault == TransferFault::DropWrite)
        return;
    if (c.type == IFC_TYPE_READ && fault == TransferFault::StaleData)
        return;
    for (unsigned n = 0; n < IFC_ROW_WORDS; ++n) {
        uint32_t *word = rowWord(command, n);
        if (c.type == IFC_TYPE_READ)
            data_[n] = word != nullptr ? *word : data_[n];
        else if (word != nullptr)
            *word = data_[n];
    }
    if (c.type == IFC_TYPE_WRITE) {
        if (c.sel == IFC_SEL_COUNTER)
            tables_.counter[c.index][3] &= ifc::kCounterTopWord;
        else
            touch();
    }
}

} // namespace engine
