// SPDX-License-Identifier: MIT OR GPL-2.0
// Any bytes as the state file of a simulated chip: refused with nothing changed, or read, and then written
// as the same bytes. A state that was read can be restored, and all of its tables can be printed. Input: 1
// byte (its lowest bit: whether length and checksum are put right), then the file.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"
#include "tools/state/chip_state.h"

namespace
{

void require(bool holds)
{
    if (!holds)
        std::abort();
}

bool same(const state::ChipState &one, const state::ChipState &other)
{
    return std::memcmp(&one, &other, sizeof one) == 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    std::string bytes(reinterpret_cast<const char *>(data) + 1, size - 1);
    if ((data[0] & 1) != 0) {
        // The mutations change contents, too, not only what the checksum refuses.
        bytes.resize(state::encode({}).size());
        const uint32_t sum = state::crc32(std::string_view(bytes).substr(0, bytes.size() - 4));
        for (size_t n = 0; n < 4; ++n)
            bytes[bytes.size() - 4 + n] = static_cast<char>(sum >> 8 * n);
    }
    const auto kept = std::make_unique<state::ChipState>();
    const auto chip = std::make_unique<state::ChipState>();
    std::memset(static_cast<void *>(kept.get()), 0xA5, sizeof *kept);
    std::memset(static_cast<void *>(chip.get()), 0xA5, sizeof *chip);
    const state::Damage damage = state::decode(bytes, *chip);
    if (damage != state::Damage::None) {
        require(same(*chip, *kept) && std::strlen(state::describe(damage)) != 0);
        return 0;
    }
    require(state::encode(*chip) == bytes);

    const auto window = std::make_unique<engine::RegisterWindow>();
    window->powerOn({});
    host::reset();
    host::attach(window.get());
    size_t printed = 0;
    host::setLogSink([&printed](std::string_view piece) { printed += piece.size(); });
    *gpIfcPriv = {};
    state::restore(*chip, *window);
    const int revision = static_cast<int>(chip->revision);
    const state::ChipState once = state::capture(*window, revision);
    (void)ifc_dump_all_rules();
    (void)ifc_get_rule_from_hw(8);
    require(printed != 0 && window->errors() == 0);
    // What no register stores is gone after the first round, and nothing more after the second.
    window->powerOn({});
    state::restore(once, *window);
    require(same(once, state::capture(*window, revision)));
    host::reset();
    return 0;
}
