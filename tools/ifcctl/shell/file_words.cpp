// SPDX-License-Identifier: MIT OR GPL-2.0
#include "file_words.h"

#include "tools/ifcctl/core/values.h"

#include <algorithm>
#include <filesystem>

namespace ifcctl
{

Words fileWords(const std::string &partial)
{
    namespace fs = std::filesystem;
    const size_t slash = partial.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : partial.substr(0, slash + 1);
    const std::string begin = partial.substr(folder.size());
    Words words;
    std::error_code error;
    for (fs::directory_iterator at(folder.empty() ? "." : folder, error), end; !error && at != end;
         at.increment(error)) {
        const std::string name = at->path().filename().string();
        const bool fits = name.compare(0, begin.size(), begin) == 0 && (name[0] != '.' || !begin.empty());
        if (!fits || name.find_first_of(" \t#") != std::string::npos || printable(name) != name)
            continue;
        std::error_code ignored;
        words.push_back(folder + name + (at->is_directory(ignored) ? "/" : ""));
    }
    std::sort(words.begin(), words.end());
    return words;
}

} // namespace ifcctl
