// SPDX-License-Identifier: MIT OR GPL-2.0
#include "output_file.h"

#include "tools/ifcctl/core/errors.h"
#include "tools/state/state_file.h"

#include <cstdio>
#include <filesystem>
#include <memory>

#include <unistd.h>

namespace ifcctl
{

bool writeTextFile(const std::string &command, const std::string &path, const std::string &text)
{
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        throw usage(command, path, "a file; this is a folder");
    if (std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error)) {
        const std::unique_ptr<std::FILE, int (*)(std::FILE *)> file(std::fopen(path.c_str(), "we"),
                                                                    std::fclose);
        if (!file || std::fputs(text.c_str(), file.get()) < 0 || std::fflush(file.get()) != 0)
            throw outputFailed(command + " '" + path + '\'');
        return false;
    }
    try {
        state::replaceFile(path, path + '.' + std::to_string(getpid()) + ".new", text);
    } catch (const state::FileError &failure) {
        throw Error(Reason::OutputFailed, command + ": " + failure.what());
    }
    return true;
}

} // namespace ifcctl
