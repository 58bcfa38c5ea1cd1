// SPDX-License-Identifier: MIT OR GPL-2.0
#include "line_editor.h"

#include <cstdlib>
#include <utility>

namespace ifcctl
{

std::unique_ptr<LineEditor> openLineEditor(LineCompleter completer)
{
#ifdef IFCCTL_LIBEDIT
    const char *terminal = std::getenv("TERM");
    if (terminal != nullptr && *terminal != '\0' && std::string(terminal) != "dumb")
        if (auto editor = openEditingLines(std::move(completer)))
            return editor;
#else
    (void)completer;
#endif
    return openPlainLines();
}

} // namespace ifcctl
