// SPDX-License-Identifier: MIT OR GPL-2.0
#include "world.h"

#include "images.h"

#include "ifc/ifc_cmd.h"
#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"

#include <cstring>

namespace model
{

World::World(unsigned polls) : polls_(polls)
{
    host::reset();
    chip_.powerOn({polls, true});
    uint32_t word = 0x7FFFFFF0; // the low words' highest bits are of both kinds
    for (unsigned n = 0; n < 40; ++n)
        for (unsigned k = 0; k < 4; ++k, word = word * 1664525 + 1013904223)
            chip_.tables().counter[n][k] = model_.counters[n][k] = k == 3 ? word & 0xFFFFFF : word;
    chip_.onAccess(
        [](void *self, const engine::Access &access) {
            static_cast<World *>(self)->seen_.push_back(
                {access.kind == engine::AccessKind::Write, access.reg, host::lockHeld(), access.value});
        },
        this);
    host::attach(&chip_);
    host::setLogSink([](std::string_view) {});
    *gpIfcPriv = IFC_Private_T{};
    (void)clear_all_ifc_rules();
    ifcSendToPpe = 0;
}

World::~World()
{
    host::reset();
}

std::string World::run(const Step &s)
{
    model_.moves.clear();
    const std::string expected = expectedAnswer(model_, s);
    if (s.kind == kTpid)
        chip_.write(0xBFB50000, s.a[0]);
    if (s.kind == kRevision)
        host::setRevision(static_cast<int>(s.a[0]));
    if (s.kind == kCheckResult) {
        gpIfcPriv->lut0HitMap = s.a[0];
        gpIfcPriv->lut1HitMap0 = s.a[1];
        gpIfcPriv->lut1HitMap1 = s.a[2];
    }
    seen_.clear();
    const std::string line = lineOf(s);
    if (!line.empty()) {
        std::string answer;
        (void)ifc_cmd_run(
            line.c_str(), [](void *to, const char *text) { *static_cast<std::string *>(to) += text; },
            &answer);
        if (answer != expected)
            return "result " + answer + "expected " + expected;
    }
    const std::string difference = compareAccesses();
    return difference.empty() ? compareTables() : difference;
}

std::string World::compareAccesses()
{
    const std::vector<Access> wanted = accessesOf(model_.moves, model_.revision, polls_);
    for (size_t n = 0; n < wanted.size() || n < seen_.size(); ++n) {
        if (n >= wanted.size() || n >= seen_.size())
            return std::to_string(seen_.size()) + " register accesses, expected " +
                   std::to_string(wanted.size());
        const Access &w = wanted[n];
        const Access &s = seen_[n];
        if (w.write != s.write || w.reg != s.reg || w.locked != s.locked || (w.value && *w.value != *s.value))
            return "register access " + std::to_string(n);
    }
    return host::lockHeld() ? "the lock is still held" : "";
}

std::string World::compareTables()
{
    const engine::Tables &t = chip_.tables();
    for (unsigned n = 0; n < 8; ++n) {
        if (decodeWide(IFC_LUT0_Rule[n].word) != model_.wide[n])
            return "shadow of LUT0 rule " + std::to_string(n);
        if (decodeWide(t.lut0[n]) != model_.hardwareWide[n])
            return "hardware's LUT0 rule " + std::to_string(n);
    }
    for (unsigned n = 0; n < 32; ++n) {
        if (decodeNarrow(IFC_LUT1_Rule[n].word) != model_.narrow[n])
            return "shadow of LUT1 entry " + std::to_string(n);
        if (decodeNarrow(t.lut1[n]) != model_.hardwareNarrow[n])
            return "hardware's LUT1 entry " + std::to_string(n);
    }
    for (unsigned n = 0; n < 40; ++n) {
        if (decodeAction(t.action[n]) != model_.actions[n])
            return "action " + std::to_string(n);
        if (std::memcmp(t.counter[n], model_.counters[n].data(), sizeof t.counter[n]) != 0)
            return "counter " + std::to_string(n);
    }
    for (unsigned n = 0; n < 5; ++n)
        for (unsigned k = 0; k < 8; ++k)
            if ((chip_.counterBinding(n) >> 4 * k & 15) != model_.bindings[n][k])
                return "binding of entry " + std::to_string(8 * n + k);
    if (chip_.globalConfig() != model_.global || chip_.tpidConfig() != model_.tpid)
        return "a global register";
    if (chip_.errors() != 0)
        return "an access that the hardware does not know";
    return "";
}

} // namespace model
