// SPDX-License-Identifier: MIT OR GPL-2.0
// The simulated register window: the frame engine's registers, and the four tables that the transfer command
// reaches.
//
// Freestanding and without heap, so that it runs in a kernel too. It knows the hardware formats
// (ifc/ifc_regs.h, ifc/ifc_glb.h), never the operations that use them. It takes no lock.
#pragma once

#include "ifc/ifc_glb.h"
#include "ifc/ifc_regs.h"

namespace engine
{

enum class AccessKind : uint8_t { Read, Write };

struct Access {
    AccessKind kind;
    uint32_t reg;
    uint32_t value;
};

// What went wrong with an access. Every error is counted. In strict mode the error hook is called as well.
enum class AccessError : uint8_t {
    None,
    UnknownRegister, // value: the address
    IndexOutOfRange, // value: the command word
    RowOutOfRange,   // value: the command word
    ReservedCommand, // value: the command word; a bit that must be 0, a missing start bit, an unknown type
    Unaligned,       // value: the address
};

// Faults that can be injected into transfers.
enum class TransferFault : uint8_t {
    None,
    DropWrite,     // completes, but the table keeps its row
    NeverComplete, // the done bit does not appear; the transfer does not happen
    StaleData,     // a read completes, but the data registers keep what they held
};

struct Settings {
    // The done bit is set from this read of IFC_RULE_CFG on. 0: never, and no transfer takes place.
    unsigned doneAfter = 1;
    bool strict = false;
};

// The tables as plain words in record order, word 0 first, as the records of ifc_glb.h count them.
struct Tables {
    uint32_t lut0[IFC_LUT0_RULES][IFC_LUT0_WORDS];
    uint32_t lut1[IFC_LUT1_RULES][2];
    uint32_t action[IFC_ACTIONS][4];
    uint32_t counter[IFC_COUNTERS][4]; // in the order of IFC_DATA0 to IFC_DATA3
};

class RegisterWindow
{
public:
    using AccessHook = void (*)(void *user, const Access &access);
    using ErrorHook = void (*)(void *user, AccessError error, uint32_t value);

    // Power-on. All contents are zero.
    void powerOn(const Settings &settings);
    // Power-on with noise in tables and data registers. The same seed gives the same noise.
    void powerOn(const Settings &settings, uint32_t seed);

    uint32_t read(uint32_t reg);
    void write(uint32_t reg, uint32_t value);

    Settings &settings() { return settings_; }

    // The hook is called for every access in order: before a write takes effect, after a read. nullptr: no
    // hook.
    void onAccess(AccessHook hook, void *user);
    void onError(ErrorHook hook, void *user);
    uint32_t errors() const { return errors_; }

    // The fault affects `count` transfers in a row, after `after` good ones.
    void injectFault(TransferFault fault, uint32_t after, uint32_t count);

    // The tables. generation() changes whenever a rule, an action or a global register may have changed. Code
    // that keeps derived data compares it. touch() is for a change that bypasses the registers.
    Tables &tables() { return tables_; }
    const Tables &tables() const { return tables_; }
    uint32_t generation() const { return generation_; }
    void touch() { ++generation_; }

    uint32_t globalConfig() const { return globalConfig_; }
    uint32_t tpidConfig() const { return tpidConfig_; }
    uint32_t counterBinding(unsigned n) const { return counterBinding_[n]; }

private:
    void startTransfer(uint32_t command);
    TransferFault nextFault();
    uint32_t *findRegister(uint32_t reg);
    uint32_t *rowWord(uint32_t command, unsigned data);
    bool check(uint32_t command);
    void fail(AccessError error, uint32_t value);

    Settings settings_{};
    Tables tables_{};
    uint32_t tpidConfig_ = 0;
    uint32_t globalConfig_ = 0;
    uint32_t command_ = 0;
    uint32_t data_[IFC_ROW_WORDS] = {};
    uint32_t counterBinding_[IFC_ACNT_CFG_COUNT] = {};
    unsigned statusReads_ = 0; // of IFC_RULE_CFG since the command
    bool completes_ = false;   // the done bit of command_ will be set
    TransferFault fault_ = TransferFault::None;
    uint32_t faultAfter_ = 0;
    uint32_t faultCount_ = 0;
    uint32_t errors_ = 0;
    uint32_t generation_ = 0;
    AccessHook accessHook_ = nullptr;
    void *accessUser_ = nullptr;
    ErrorHook errorHook_ = nullptr;
    void *errorUser_ = nullptr;
};

} // namespace engine
