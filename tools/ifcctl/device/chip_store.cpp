// SPDX-License-Identifier: MIT OR GPL-2.0
#include "chip_store.h"

#include "tools/ifcctl/core/errors.h"

#include <filesystem>
#include <utility>

namespace ifcctl
{

namespace
{

constexpr unsigned kWaitMilliseconds = 5000;

} // namespace

ChipStore::ChipStore(const std::string &path, std::shared_ptr<std::string> memory, bool readOnly)
    : path_(path), memory_(std::move(memory)), readOnly_(readOnly)
{
    load();
}

void ChipStore::reopen()
{
    load();
}

void ChipStore::load()
{
    stored_.reset();
    if (!keeps())
        return;
    const std::optional<std::string> bytes = content();
    if (!bytes)
        return;
    state::ChipState chip;
    const state::Damage damage = state::decode(*bytes, chip);
    if (damage != state::Damage::None)
        throw usage("--state", path_,
                    "a state file of this program, a new name, or none (this file " +
                        std::string(state::describe(damage)) + "; it stays as it is)");
    before_ = *bytes;
    stored_ = chip;
}

std::optional<std::string> ChipStore::content()
{
    using state::FileError;
    if (memory_)
        return memory_->empty() ? std::nullopt : std::optional(*memory_);
    const bool isDefault = path_ == state::defaultPath();
    const std::filesystem::path folder = std::filesystem::path(path_).parent_path();
    std::error_code ignored;
    if (!isDefault && !folder.empty() && !std::filesystem::exists(folder, ignored))
        throw usage("--state", path_, "a file in a folder that exists; there is no " + folder.string());
    try {
        if (!readOnly_)
            file_ = std::make_unique<state::StateFile>(path_, kWaitMilliseconds, isDefault);
    } catch (const FileError &error) {
        if (error.reason() == FileError::Reason::Busy)
            throw Error(Reason::DeviceFailed,
                        "state file '" + path_ + "': another ifcctl still uses it after " +
                            std::to_string(kWaitMilliseconds / 1000) + " seconds; nothing was changed");
        whyReadOnly_ = error.what();
    }
    try {
        return file_ ? file_->load() : state::readUnlocked(path_);
    } catch (const FileError &error) {
        throw usage("--state", path_, std::string("a file that can be read (") + error.what() + ')');
    }
}

void ChipStore::keep(const state::ChipState &chip)
{
    const std::string bytes = state::encode(chip);
    if (bytes == before_)
        return;
    const auto failed = [this](const std::string &why) {
        return Error(Reason::OutputFailed, "state file '" + path_ +
                                               "': the change is not saved, the old state stays (" + why +
                                               ')');
    };
    if (memory_) {
        before_ = *memory_ = bytes;
        return;
    }
    if (!file_)
        throw failed(whyReadOnly_);
    try {
        file_->save(bytes);
    } catch (const state::FileError &error) {
        throw failed(error.what());
    }
    before_ = bytes;
}

} // namespace ifcctl
