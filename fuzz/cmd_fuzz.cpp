// SPDX-License-Identifier: MIT OR GPL-2.0
// The command handler refuses or runs any line. The rule layer stays inside its tables, and the lock is free
// afterwards. Input: the number of reads until the done bit shows (1 byte), the chip's revision
// (1 byte), then lines.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "engine/register_window.h"
#include "ifc/ifc_cmd.h"
#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2)
        return 0;
    const auto window = std::make_unique<engine::RegisterWindow>();
    host::reset();
    host::attach(window.get());
    host::setRevision(data[1]);
    engine::Settings settings;
    settings.doneAfter = data[0];
    window->powerOn(settings);
    // The operations' messages would only lengthen the fuzzer's log.
    host::setLogSink([](std::string_view) {});
    *gpIfcPriv = {};
    memset(IFC_LUT0_Rule, 0, sizeof IFC_LUT0_Rule);
    memset(IFC_LUT1_Rule, 0, sizeof IFC_LUT1_Rule);
    ifcSendToPpe = 0;

    std::string text(reinterpret_cast<const char *>(data) + 2, size - 2);
    for (size_t at = 0; at < text.size();) {
        size_t end = text.find('\n', at);
        if (end == std::string::npos)
            end = text.size();
        size_t answer = 0;
        const int status = ifc_cmd_run(
            text.substr(at, end - at).c_str(),
            [](void *user, const char *piece) { *static_cast<size_t *>(user) += strlen(piece); }, &answer);
        if (status < IFC_CMD_REFUSED || status > IFC_CMD_NOTHING ||
            (answer == 0) != (status == IFC_CMD_NOTHING))
            abort();
        if (host::lockHeld())
            abort();
        at = end + 1;
    }
    return 0;
}
