// SPDX-License-Identifier: MIT OR GPL-2.0
// Reads lines from the terminal: with editing, recall and completion by libedit, or plain lines.
#pragma once

#include "tools/ifcctl/completion/completion.h"

#include <functional>
#include <memory>
#include <string>

namespace ifcctl
{

// Completes the line up to the cursor. File names are among the words.
using LineCompleter = std::function<Completion(const std::string &line)>;

class LineEditor
{
public:
    enum class Result {
        Line,
        Dropped, // Ctrl-C
        End,     // Ctrl-D, or the terminal is gone
    };

    LineEditor() = default;
    virtual ~LineEditor() = default;
    LineEditor(const LineEditor &) = delete;
    LineEditor &operator=(const LineEditor &) = delete;

    // `line` is without its line end.
    virtual Result read(const std::string &prompt, std::string &line) = 0;
    // Adds a line to those that the arrow keys recall.
    virtual void remember(const std::string &line) = 0;
};

// By libedit if this program was built with it, and if TERM names a terminal that can move its cursor.
std::unique_ptr<LineEditor> openLineEditor(LineCompleter completer);

// nullptr: libedit cannot be used.
std::unique_ptr<LineEditor> openEditingLines(LineCompleter completer);
std::unique_ptr<LineEditor> openPlainLines();

} // namespace ifcctl
