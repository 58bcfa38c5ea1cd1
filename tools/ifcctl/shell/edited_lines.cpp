// SPDX-License-Identifier: MIT OR GPL-2.0
// Lines by libedit. The user's ~/.editrc applies, with the program name ifcctl.
#ifdef IFCCTL_LIBEDIT

#include "columns.h"
#include "interrupt.h"
#include "line_editor.h"

#include "tools/ifcctl/commands/wrap.h"

#include <clocale>
#include <csignal>
#include <cstdio>
#include <utility>

#include <histedit.h>

namespace ifcctl
{

namespace
{

constexpr int kMostRecalled = 1000;

// Keys of an xterm that libedit does not know; else the end of their sequences would be typed.
constexpr std::pair<const char *, const char *> kTerminalKeys[] = {
    {"\\e[1;5D", "ed-prev-word"},      {"\\e[1;5C", "em-next-word"},  // Ctrl with left and right
    {"\\e[1;3D", "ed-prev-word"},      {"\\e[1;3C", "em-next-word"},  // Alt
    {"\\e[5~", "ed-prev-history"},     {"\\e[6~", "ed-next-history"}, // page up and down
    {"\\e[2~", "em-toggle-overwrite"},                                // insert
};

class EditedLines : public LineEditor
{
public:
    explicit EditedLines(LineCompleter completer)
        : completer_(std::move(completer)), editor_(el_init("ifcctl", stdin, stdout, stderr)),
          history_(history_init())
    {
        if (!usable())
            return;
        HistEvent event{};
        (void)history(history_, &event, H_SETSIZE, kMostRecalled);
        (void)history(history_, &event, H_SETUNIQUE, 1);
        (void)el_set(editor_, EL_CLIENTDATA, this);
        (void)el_set(editor_, EL_PROMPT, &EditedLines::promptOf);
        (void)el_set(editor_, EL_EDITOR, "emacs");
        (void)el_set(editor_, EL_HIST, history, history_);
        (void)el_set(editor_, EL_SIGNAL, 1);
        (void)el_set(editor_, EL_ADDFN, "ifcctl-complete", "Completes the word", &EditedLines::completeOf);
        (void)el_set(editor_, EL_BIND, "^I", "ifcctl-complete", nullptr);
        (void)el_set(editor_, EL_BIND, "^R", "em-inc-search-prev", nullptr);
        for (const auto &[key, command] : kTerminalKeys)
            (void)el_set(editor_, EL_BIND, key, command, nullptr);
        // Ctrl-C is a key while a line is edited: as a signal it could come just before a read that then
        // waits. So the other keys with signals are keys as well.
        (void)el_set(editor_, EL_SETTY, "-d", "-isig", nullptr);
        (void)el_set(editor_, EL_ADDFN, "ifcctl-drop", "Drops the line", &EditedLines::dropOf);
        (void)el_set(editor_, EL_ADDFN, "ifcctl-stop", "Stops the program", &EditedLines::stopOf);
        (void)el_set(editor_, EL_BIND, "^C", "ifcctl-drop", nullptr);
        (void)el_set(editor_, EL_BIND, "^Z", "ifcctl-stop", nullptr);
        (void)el_source(editor_, nullptr);
    }

    ~EditedLines() override
    {
        if (editor_ != nullptr)
            el_end(editor_);
        if (history_ != nullptr)
            history_end(history_);
    }

    bool usable() const { return editor_ != nullptr && history_ != nullptr; }

    Result read(const std::string &prompt, std::string &line) override
    {
        prompt_ = prompt;
        dropped_ = false;
        const InterruptCatch interrupt; // another process may send it
        int length = 0;
        const char *text = el_gets(editor_, &length);
        if (!dropped_ && text != nullptr && length > 0) {
            line.assign(text, static_cast<size_t>(length));
            while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
                line.pop_back();
            return Result::Line;
        }
        (void)std::fputs("\n", stdout);
        if (dropped_)
            return Result::Dropped;
        if (!interrupt.happened())
            return Result::End;
        el_reset(editor_);
        return Result::Dropped;
    }

    void remember(const std::string &line) override
    {
        HistEvent event{};
        (void)history(history_, &event, H_ENTER, line.c_str());
    }

private:
    static EditedLines &self(EditLine *editor)
    {
        void *data = nullptr;
        (void)el_get(editor, EL_CLIENTDATA, &data);
        return *static_cast<EditedLines *>(data);
    }
    static const char *promptOf(EditLine *editor) { return self(editor).prompt_.c_str(); }
    static unsigned char completeOf(EditLine *editor, int /*key*/) { return self(editor).complete(); }

    static unsigned char dropOf(EditLine *editor, int /*key*/)
    {
        self(editor).dropped_ = true;
        return CC_NEWLINE;
    }

    // libedit restores the terminal before the program stops. When it goes on, the line is drawn again.
    static unsigned char stopOf(EditLine * /*editor*/, int /*key*/)
    {
        (void)::raise(SIGTSTP);
        return CC_REDISPLAY;
    }

    // Inserts what all candidates have in common. If that is nothing, lists them.
    unsigned char complete()
    {
        const LineInfo *info = el_line(editor_);
        const std::string line(info->buffer, static_cast<size_t>(info->cursor - info->buffer));
        const size_t typed = line.size() - (line.find_last_of(" \t") + 1);
        const Completion found = completer_(line);
        if (found.words.empty() && found.hint.empty())
            return CC_REFRESH_BEEP;
        std::string more = commonBeginning(found.words);
        more.erase(0, typed);
        if (found.words.size() == 1 && found.words.front().back() != '/')
            more += ' ';
        if (!more.empty())
            return el_insertstr(editor_, more.c_str()) == 0 ? CC_REFRESH : CC_REFRESH_BEEP;
        const unsigned width = outputWidth();
        (void)std::fputs("\n", stdout);
        if (!found.hint.empty())
            (void)std::fputs(wrapped(found.hint, width, 2).c_str(), stdout);
        (void)std::fputs(inColumns(found.words, width).c_str(), stdout);
        return CC_REDISPLAY;
    }

    LineCompleter completer_;
    std::string prompt_;
    bool dropped_ = false; // the line that is read
    EditLine *editor_;
    History *history_;
};

} // namespace

std::unique_ptr<LineEditor> openEditingLines(LineCompleter completer)
{
    (void)std::setlocale(LC_CTYPE, ""); // libedit reads characters of the locale
    auto lines = std::make_unique<EditedLines>(std::move(completer));
    if (!lines->usable())
        return nullptr;
    return lines;
}

} // namespace ifcctl

#endif
