// SPDX-License-Identifier: MIT OR GPL-2.0
// The state file that keeps a simulated chip between two runs. It is locked while the store exists.
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
    // Waits some seconds while another program uses the file. "": keeps nothing. Without write permission for
    // the lock or the folder, the file is only read. Throws Error for a file that is in use, cannot be read,
    // or is no state file.
    // Only the default file's folder is made if it is missing.
    // `memory` takes the place of the file, if there is one; "" then stands for no file yet.
    // `readOnly`: neither lock nor folder is made, and nothing can be kept.
    explicit ChipStore(const std::string &path, std::shared_ptr<std::string> memory = nullptr,
                       bool readOnly = false);

    bool keeps() const { return !path_.empty() || memory_; }
    // The stored chip. Nothing: there is no file yet.
    const std::optional<state::ChipState> &stored() const { return stored_; }

    // Tells the store which fresh chip it starts with, if none was stored.
    void begin(const state::ChipState &chip) { before_ = state::encode(chip); }
    // Writes the chip if it has changed. Throws Error (Reason::OutputFailed).
    void keep(const state::ChipState &chip);

    // Lets other programs use the file, and reads it again. Throws Error as the constructor does.
    void release() { file_.reset(); }
    void reopen();

private:
    std::optional<std::string> content();
    void load();

    std::string path_;
    std::shared_ptr<std::string> memory_;
    bool readOnly_;
    std::unique_ptr<state::StateFile> file_;
    std::string whyReadOnly_;
    std::string before_; // the chip's bytes
    std::optional<state::ChipState> stored_;
};

} // namespace ifcctl
