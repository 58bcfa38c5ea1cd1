// SPDX-License-Identifier: MIT OR GPL-2.0
#include "output_file.h"

#include "tools/ifcctl/core/errors.h"
#include "tools/state/state_file.h"

#include <filesystem>

#include <unistd.h>

namespace ifcctl
{

void writeTextFile(const std::string &command, const std::string &path, const std::string &text)
{
    std::error_code error;
    const bool exists = std::filesystem::exists(path, error);
    if (exists && !std::filesystem::is_regular_file(path, error))
        throw usage(command, path, "a new name or a regular file");
    try {
        state::replaceFile(path, path + '.' + std::to_string(getpid()) + ".new", text);
    } catch (const state::FileError &failure) {
        throw Error(Reason::OutputFailed, command + ": " + failure.what());
    }
}

} // namespace ifcctl
