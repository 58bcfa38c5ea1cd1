// SPDX-License-Identifier: MIT OR GPL-2.0
// The device of a session: its own driver on a simulated chip, or ifc.ko through its files. Both accept lines
// of the command handler.
//
// The rule layer's shadow tables of this process always equal those of the device, so listings and plans need
// no device.
#pragma once

#include "rule_edit.h"

#include "engine/classifier.h"
#include "engine/register_window.h"
#include "tools/state/chip_state.h"

#include <memory>
#include <optional>
#include <string>

namespace ifcctl
{

inline const std::string kSimulatedDevice = "sim";
inline const std::string kModuleDevice = "debugfs"; // a folder may stand after a colon

struct Options {
    bool json = false;
    bool pretty = false;     // JSON with line ends
    bool statistics = false; // more numbers
    bool details = false;    // every condition in its line
    bool brief = false;      // one line for each rule
    bool colour = false;
    unsigned foldWidth = 0; // lines of text are folded at this width; 0: not
    bool dryRun = false;    // on a copy of the device, which is left as it is
    bool inexact = false;   // wider MAC masks and deletions
    bool keepOrder = false;
    bool strict = false;
    int revision = 0;
    bool revisionGiven = false;
    unsigned doneAfter = 1;
    unsigned debug = 0;
    std::string traceFile;
    bool appendTrace = false; // else the trace replaces the file
    std::string state;        // sim: the file that keeps the chip; "": a fresh chip, kept nowhere
    // sim without a file: the bytes of the chip between sessions, empty for a fresh one. nullptr: not kept.
    std::shared_ptr<std::string> memory;
    std::string device = kSimulatedDevice;
};

struct Reply {
    bool refused;        // by the command handler: no operation was called
    std::string printed; // by the operation
    std::string answer;  // by the handler: "= 0" and the like, or why it refused
};

class Device
{
public:
    Device() = default;
    virtual ~Device() = default;
    Device(const Device &) = delete;
    Device &operator=(const Device &) = delete;

    virtual Reply run(const std::string &line) = 0;

    // The current registers and tables of the hardware: the simulated chip itself, or a copy.
    virtual engine::RegisterWindow &window() = 0;

    // Sends one frame through the device. A device without an engine for frames uses the model over
    // window(), which counts nothing.
    virtual engine::Result classify(engine::Classifier &classifier, const uint8_t *data, size_t length,
                                    const engine::SideData &side, engine::ParsedFrame &parsed) = 0;

    // Reads the rules in the device's tables. Throws Error if a transfer does not complete.
    virtual void readRules(ifc_ruleset &set) = 0;

    // Updates the tables to the rules of the set, all or nothing. `edits` are all changes to the set since it
    // was read, `flags` those of ifc_ruleset_run(). Returns an ifc_ruleset_result and fills the report as
    // ifc_ruleset_apply() does.
    virtual int applyRules(ifc_ruleset &set, const RuleEdits &edits, unsigned flags,
                           ifc_ruleset_report &report) = 0;

    virtual int revision() const = 0;

    // The register IFC_GLB_CFG.
    virtual uint32_t globalConfig() = 0;

    // How many transfers did not report completion since the device was opened.
    virtual unsigned long timeouts() = 0;

    // Between pause() and resume() others may use the device: another ifcctl is not kept waiting. Call
    // nothing else in between. pause() saves as keep() does. A chip that is kept nowhere stays as it is. Both
    // throw Error.
    virtual void pause() {}
    virtual void resume() {}

    // Saves changes for the next run, also after a command that failed. Throws Error; what was saved before
    // is then unchanged.
    virtual void keep() {}

    // Call it last. Throws Error if an output of the device could not be written.
    virtual void finish() {}
};

// `chip`: the chip to start with, instead of that of the state file.
std::unique_ptr<Device> openSimulation(const Options &options,
                                       const std::optional<state::ChipState> &chip = std::nullopt);
std::unique_ptr<Device> openDebugfs(const std::string &folder, const Options &options);
// The folder of the module's files, if Options::device names a module.
std::optional<std::string> moduleFolder(const std::string &device);
// Opens the device that the options name. Throws Error.
std::unique_ptr<Device> openDevice(const Options &options);

} // namespace ifcctl
