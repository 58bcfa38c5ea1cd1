// SPDX-License-Identifier: MIT OR GPL-2.0
// A driver that has just been loaded, on a simulated chip, in this process.
#include "device.h"
#include "tools/ifcctl/core/errors.h"

#include "ifc/ifc_cmd.h"
#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"

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
    explicit Simulation(const Options &options)
        : revision_(options.revision), traceFile_(options.traceFile), trace_(nullptr, std::fclose)
    {
        if (!options.traceFile.empty()) {
            trace_.reset(std::fopen(options.traceFile.c_str(), "w"));
            if (!trace_)
                throw usage("--trace", options.traceFile,
                            std::string("a file that can be written (") + std::strerror(errno) + ")");
        }
        window_.powerOn({options.doneAfter, true});
        if (trace_)
            window_.onAccess(
                [](void *file, const engine::Access &access) {
                    std::fprintf(static_cast<std::FILE *>(file), "%c 0x%08x 0x%08x\n",
                                 access.kind == engine::AccessKind::Read ? 'R' : 'W', access.reg,
                                 access.value);
                },
                trace_.get());
        host::attach(&window_);
        host::setRevision(options.revision);
        host::setLogSink([this](std::string_view piece) { printed_ += piece; });
        *gpIfcPriv = IFC_Private_T{};
        gpIfcPriv->dbgLevel = static_cast<uint8>(options.debug);
        (void)clear_all_ifc_rules();
        ifcSendToPpe = 0;
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

    int revision() const override { return revision_; }

private:
    int revision_;
    engine::RegisterWindow window_;
    std::string printed_;
    std::string traceFile_;
    std::unique_ptr<std::FILE, int (*)(std::FILE *)> trace_;
};

} // namespace

std::unique_ptr<Device> openSimulation(const Options &options)
{
    return std::make_unique<Simulation>(options);
}

std::unique_ptr<Device> openDevice(const Options &options)
{
    const std::string kind = options.device.substr(0, options.device.find(':'));
    const std::string rest = options.device.substr(kind.size());
    if (kind == "debugfs" && rest != ":")
        return openDebugfs(rest.empty() ? "/sys/kernel/debug/ifc" : rest.substr(1), options);
    if (options.device == "sim")
        return openSimulation(options);
    throw usage("--device", options.device, "sim, debugfs or debugfs:FOLDER");
}

} // namespace ifcctl
