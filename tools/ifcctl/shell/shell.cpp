// SPDX-License-Identifier: MIT OR GPL-2.0
#include "shell.h"

#include "child.h"
#include "file_words.h"
#include "history_file.h"
#include "interrupt.h"
#include "line_editor.h"

#include "tools/ifcctl/completion/completion.h"
#include "tools/ifcctl/completion/rule_numbers.h"
#include "tools/ifcctl/core/values.h"
#include "tools/state/state_file.h"

#include <cstdio>
#include <memory>
#include <utility>

#include <unistd.h>

namespace ifcctl
{

namespace
{

const std::string kPrompt = "ifcctl> ";
const std::string kMorePrompt = "> ";

class Shell
{
public:
    Shell(Options options, const LineRunner &run)
        : options_(std::move(options)), run_(run), history_(HistoryFile::defaultPath()),
          editor_(openLineEditor([this](const std::string &line) { return complete(line); }))
    {
        if (options_.device == kSimulatedDevice && options_.state.empty())
            options_.memory = std::make_shared<std::string>();
    }

    ExitCode run()
    {
        const InterruptCatch interrupt; // between two lines, too
        greet();
        withHistory([this] {
            for (const std::string &line : history_.load())
                editor_->remember(line);
        });
        for (std::string line; readLine(line);) {
            if (isEnd(wordsIn(line)))
                break;
            if (line.find_first_not_of(" \t") == line.find('#')) // empty, or a comment
                continue;
            keep(line);
            runChild([&] { return run_(options_, line); }, options_.memory.get());
            options_.appendTrace = true;
        }
        return kExitDone;
    }

private:
    void greet() const
    {
        std::string where = "device " + options_.device;
        if (options_.device == kSimulatedDevice)
            where = options_.state.empty() ? "a simulated chip until the end" : "chip in " + options_.state;
        (void)std::printf("ifcctl: %s. 'help' lists the commands, 'quit' ends.\n", printable(where).c_str());
    }

    // Joins lines that end with a backslash. False: the end.
    bool readLine(std::string &line)
    {
        begun_.clear();
        for (;;) {
            std::string read;
            switch (editor_->read(begun_.empty() ? kPrompt : kMorePrompt, read)) {
            case LineEditor::Result::End:
                return false;
            case LineEditor::Result::Dropped:
                begun_.clear();
                continue;
            case LineEditor::Result::Line:
                break;
            }
            if (begun_.empty())
                begun_ = read;
            else
                joinLines(begun_, read);
            if (!goesOn(begun_)) {
                line = begun_;
                begun_.clear();
                return true;
            }
        }
    }

    static Words wordsIn(const std::string &line)
    {
        try {
            return splitLine(line);
        } catch (const Error &) {
            return {}; // the command reports it
        }
    }

    static bool isEnd(const Words &words)
    {
        for (const std::string &word : promptWords())
            if (words == Words{word})
                return true;
        return false;
    }

    void keep(const std::string &line)
    {
        if (line == last_)
            return;
        last_ = line;
        editor_->remember(line);
        withHistory([&] { history_.add(line); });
    }

    // The history is a convenience: its failure is said once.
    template <typename Action>
    void withHistory(const Action &action)
    {
        try {
            action();
        } catch (const state::FileError &error) {
            if (!std::exchange(historyFailed_, true))
                (void)std::fprintf(stderr, "ifcctl: the history is not kept: %s\n",
                                   printable(error.what()).c_str());
        }
    }

    Completion complete(const std::string &typed)
    {
        std::string line = begun_;
        if (line.empty())
            line = typed;
        else
            joinLines(line, typed);
        if (line.find('#') != std::string::npos)
            return {};
        Words before = wordsIn(line);
        std::string partial;
        if (!line.empty() && line.back() != ' ' && line.back() != '\t' && !before.empty()) {
            partial = before.back();
            before.pop_back();
        }
        Completion found = completePrompt(before, partial, [this] { return ruleNumbersOf(options_); });
        if (found.files)
            for (const std::string &word : fileWords(partial))
                found.words.push_back(word);
        return found;
    }

    Options options_;
    const LineRunner &run_;
    HistoryFile history_;
    bool historyFailed_ = false;
    std::string begun_; // lines that go on
    std::string last_;
    std::unique_ptr<LineEditor> editor_;
};

} // namespace

bool onTerminal()
{
    return isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
}

ExitCode runShell(Options options, const LineRunner &run)
{
    return Shell(std::move(options), run).run();
}

} // namespace ifcctl
