// SPDX-License-Identifier: MIT OR GPL-2.0
#include "session.h"

#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"

#include <cerrno>
#include <cstring>

namespace ifcctl
{

namespace
{

// A session begins with a driver that has just been loaded.
void resetDriver(unsigned debug)
{
    *gpIfcPriv = IFC_Private_T{};
    gpIfcPriv->dbgLevel = static_cast<uint8>(debug);
    (void)clear_all_ifc_rules();
    ifcSendToPpe = 0;
}

} // namespace

Session::Session(const Options &options) : options_(options), trace_(nullptr, std::fclose)
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
                             access.kind == engine::AccessKind::Read ? 'R' : 'W', access.reg, access.value);
            },
            trace_.get());
    host::attach(&window_);
    host::setRevision(options.revision);
    host::setLogSink([this](std::string_view piece) { heard(piece); });
    resetDriver(options.debug);
}

Session::~Session()
{
    host::setLogSink({});
    host::attach(nullptr);
}

void Session::heard(std::string_view piece)
{
    if (piece.find("Timeout for set IFC Rule configuration.") != std::string_view::npos)
        timedOut_ = true;
    if (options_.debug != 0)
        std::fwrite(piece.data(), 1, piece.size(), stderr);
    kept_ += piece;
}

std::string Session::lastMessage() const
{
    std::string text = kept_;
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    const size_t line = text.rfind('\n');
    if (line != std::string::npos)
        text.erase(0, line + 1);
    const size_t prefix = text.find("]: ");
    return prefix == std::string::npos ? text : text.substr(prefix + 3);
}

void Session::checkTransfers()
{
    if (!timedOut_)
        return;
    timedOut_ = false;
    throw Error(kExitTimeout,
                "hardware: a transfer did not report completion within 3 reads (the tables in the "
                "hardware may differ from the shadow)");
}

void Session::print(const std::string &text, const nlohmann::ordered_json &json)
{
    const std::string out = options_.json ? json.dump() + '\n' : text;
    std::fwrite(out.data(), 1, out.size(), stdout);
}

} // namespace ifcctl
