// SPDX-License-Identifier: MIT OR GPL-2.0
// A driver in this process on a simulated chip: a fresh one with empty tables, or one from a state file.
#include "chip_store.h"
#include "device.h"
#include "tools/ifcctl/core/errors.h"

#include "ifc/ifc_cmd.h"
#include "ifc/ifc_regs.h"
#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"
#include "ruleset/edits.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace ifcctl
{

namespace
{

class Simulation : public Device
{
public:
    Simulation(const Options &options, const std::optional<state::ChipState> &chip)
        : store_(options.state, options.memory, options.dryRun),
          revision_(chip ? static_cast<int>(chip->revision) : revisionOf(store_, options)),
          keeps_(store_.keeps() && !options.dryRun), traceFile_(options.traceFile),
          trace_(nullptr, std::fclose)
    {
        if (!options.traceFile.empty()) {
            trace_.reset(std::fopen(options.traceFile.c_str(), options.appendTrace ? "a" : "w"));
            if (!trace_)
                throw usage("--trace", options.traceFile,
                            std::string("a file that can be written (") + std::strerror(errno) + ")");
        }
        window_.powerOn({options.doneAfter, true});
        host::attach(&window_);
        host::setRevision(revision_);
        host::setLogSink([this](std::string_view piece) { printed_ += piece; });
        *gpIfcPriv = IFC_Private_T{};
        gpIfcPriv->dbgLevel = static_cast<uint8>(options.debug);
        (void)clear_all_ifc_rules();
        ifc_ruleset_forget_undo();
        ifcSendToPpe = 0;
        if (chip)
            state::restore(*chip, window_);
        else if (store_.stored())
            state::restore(*store_.stored(), window_);
        else
            store_.begin(state::capture(window_, revision_));
        hook();
    }

    void keep() override
    {
        if (keeps_)
            store_.keep(state::capture(window_, revision_));
    }

    void pause() override
    {
        keep();
        store_.release();
    }

    void resume() override
    {
        if (!keeps_)
            return;
        store_.reopen();
        if (!store_.stored())
            return;
        window_.onAccess(nullptr, nullptr);
        revision_ = static_cast<int>(store_.stored()->revision);
        host::setRevision(revision_);
        state::restore(*store_.stored(), window_);
        hook();
    }

    void finish() override
    {
        if (trace_ && (std::fflush(trace_.get()) != 0 || std::ferror(trace_.get()) != 0))
            throw outputFailed("--trace '" + traceFile_ + '\'');
    }

    ~Simulation() override
    {
        host::setLogSink({});
        host::attach(nullptr);
    }

    Reply run(const std::string &line) override
    {
        printed_.clear();
        Reply reply;
        const int code = ifc_cmd_run(
            line.c_str(), [](void *to, const char *text) { *static_cast<std::string *>(to) += text; },
            &reply.answer);
        reply.refused = code == IFC_CMD_REFUSED;
        reply.printed = std::move(printed_);
        return reply;
    }

    engine::RegisterWindow &window() override { return window_; }

    engine::Result classify(engine::Classifier &classifier, const uint8_t *data, size_t length,
                            const engine::SideData &side, engine::ParsedFrame &parsed) override
    {
        const engine::Result result = classifier.classify(data, length, side, parsed);
        engine::reportHits(result.hits, *gpIfcPriv);
        return result;
    }

    void readRules(ifc_ruleset &set) override
    {
        if (ifc_ruleset_read(&set, nullptr) != IFC_RULESET_OK)
            throw timedOut(" (the hardware could not be read; nothing was changed)");
    }

    int applyRules(ifc_ruleset &set, const RuleEdits & /*edits*/, unsigned flags,
                   ifc_ruleset_report &report) override
    {
        printed_.clear();
        if ((flags & IFC_RULESET_PLAN_ONLY) != 0)
            return ifc_ruleset_plan(&set, &report);
        return ifc_ruleset_apply(&set, flags, &report);
    }

    int revision() const override { return revision_; }
    uint32_t globalConfig() override { return window_.globalConfig(); }
    unsigned long timeouts() override { return timeouts_; }

private:
    static constexpr unsigned kPolls = 3; // of a transfer, see ifcChecConfigDone()

    void hook()
    {
        window_.onAccess(
            [](void *self, const engine::Access &access) { static_cast<Simulation *>(self)->watch(access); },
            this);
    }

    void watch(const engine::Access &access)
    {
        const bool read = access.kind == engine::AccessKind::Read;
        if (access.reg == IFC_RULE_CFG && !read)
            polls_ = 0;
        else if (access.reg == IFC_RULE_CFG && (access.value & IFC_RULE_CFG_DONE) == 0 && ++polls_ == kPolls)
            ++timeouts_;
        if (trace_)
            std::fprintf(trace_.get(), "%c 0x%08x 0x%08x\n", read ? 'R' : 'W', access.reg, access.value);
    }

    // A stored chip keeps its revision.
    static int revisionOf(const ChipStore &store, const Options &options)
    {
        if (!store.stored())
            return options.revision;
        const int stored = static_cast<int>(store.stored()->revision);
        if (options.revisionGiven && options.revision != stored)
            throw usage("--revision", std::to_string(options.revision),
                        std::to_string(stored) + ", the revision of the chip in the state file '" +
                            options.state + '\'');
        return stored;
    }

    ChipStore store_;
    int revision_;
    bool keeps_;
    engine::RegisterWindow window_;
    unsigned polls_ = 0; // without the done bit, since the last transfer began
    unsigned long timeouts_ = 0;
    std::string printed_;
    std::string traceFile_;
    std::unique_ptr<std::FILE, int (*)(std::FILE *)> trace_;
};

} // namespace

std::unique_ptr<Device> openSimulation(const Options &options, const std::optional<state::ChipState> &chip)
{
    return std::make_unique<Simulation>(options, chip);
}

std::optional<std::string> moduleFolder(const std::string &device)
{
    const std::string kind = device.substr(0, device.find(':'));
    const std::string rest = device.substr(kind.size());
    if (kind != kModuleDevice || rest == ":")
        return std::nullopt;
    return rest.empty() ? "/sys/kernel/debug/ifc" : rest.substr(1);
}

std::unique_ptr<Device> openDevice(const Options &options)
{
    if (const auto folder = moduleFolder(options.device)) {
        auto module = openDebugfs(*folder, options);
        if (!options.dryRun)
            return module;
        const state::ChipState chip = state::capture(module->window(), module->revision());
        module.reset();
        return openSimulation(options, chip);
    }
    if (options.device == kSimulatedDevice)
        return openSimulation(options);
    throw usage("--device", options.device, "sim, debugfs or debugfs:FOLDER");
}

} // namespace ifcctl
