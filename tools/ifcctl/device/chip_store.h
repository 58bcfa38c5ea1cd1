// SPDX-License-Identifier: MIT OR GPL-2.0
// The state file that a simulated chip lives in between two programs. It is locked for the life of a store.
#pragma once

#include "tools/state/chip_state.h"
#include "tools/state/state_file.h"

#include <memory>
#include <optional>
#include <string>

namespace ifcctl
{

class ChipStore
{
public:
    // Waits some seconds for another program that uses the file. "": keeps nothing. A file that cannot be
    // locked or whose folder cannot be made, because it may not be written, is only read. Throws Error for a
    // file that is in use, cannot be read, or is no state.
    explicit ChipStore(const std::string &path);

    bool keeps() const { return !path_.empty(); }
    // The chip as it was kept. Nothing: there is no file yet.
    const std::optional<state::ChipState> &stored() const { return stored_; }

    // The fresh chip that was begun with, where nothing was stored.
    void begin(const state::ChipState &chip) { before_ = state::encode(chip); }
    // Writes the chip, if it is not as it was. Throws Error (Reason::OutputFailed).
    void keep(const state::ChipState &chip);

private:
    std::optional<std::string> content();

    std::string path_;
    std::unique_ptr<state::StateFile> file_;
    std::string whyReadOnly_;
    std::string before_; // the chip's bytes
    std::optional<state::ChipState> stored_;
};

} // namespace ifcctl
