// SPDX-License-Identifier: MIT OR GPL-2.0
#include "batch.h"

#include "commands.h"

#include "tools/ifcctl/core/values.h"
#include "tools/ifcctl/core/word_reader.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

namespace ifcctl
{

namespace
{

constexpr const char *kStandardInput = "-";
} // namespace

Batch::Batch(const std::string &path) : path_(path)
{
    if (path != kStandardInput)
        file_ = std::fopen(path.c_str(), "re");
    else if (read(STDIN_FILENO, nullptr, 0) == 0) // it can be read
        file_ = stdin;
    if (file_ == nullptr)
        throw usage("--batch", path,
                    std::string("a file that can be read, or - (") + std::strerror(errno) + ')');
}

Batch::~Batch()
{
    if (file_ != stdin)
        (void)std::fclose(file_);
}

bool Batch::next(std::string &line)
{
    char *text = nullptr;
    size_t size = 0;
    errno = 0;
    const ssize_t length = getline(&text, &size, file_);
    const int error = errno;
    if (length > 0)
        line.assign(text, static_cast<size_t>(text[length - 1] == '\n' ? length - 1 : length));
    std::free(text);
    if (length <= 0 && !std::feof(file_)) { // a folder can be opened, but not read
        std::fflush(stdout);
        throw usage("--batch", path_,
                    std::string("a file that can be read to its end, or - (") + std::strerror(error) +
                        "; lines that took effect: " + std::to_string(done_) + ')');
    }
    return length > 0;
}

ExitCode Batch::run(Session &session, bool goesOn)
{
    const std::string name = path_ == kStandardInput ? "standard input" : path_;
    unsigned number = 0;
    unsigned failures = 0;
    ExitCode code = kExitDone;
    for (std::string line; next(line);) {
        ++number;
        const unsigned begun = number;
        if (number == 1)
            dropByteOrderMark(line);
        bool isWhole = true;
        while (isWhole && ifcctl::goesOn(line)) {
            std::string more;
            isWhole = next(more);
            if (isWhole)
                joinLines(line, more);
            number += isWhole;
        }
        if (line.find_first_not_of(" \t\r") == line.find('#')) // empty, or a comment
            continue;
        try {
            if (!isWhole)
                throw noNextLine();
            runLine(session, line);
        } catch (const Error &error) {
            std::fflush(stdout);
            const bool stops = !goesOn || error.reason() == Reason::OutputFailed;
            std::string message = "ifcctl: " + name + ':' + std::to_string(begun) + ": " + error.text();
            if (stops)
                message += "; stopped, " + effect();
            std::fprintf(stderr, "%s\n", printable(message).c_str());
            if (failures++ == 0)
                code = exitCodeOf(error.reason());
            if (stops)
                return code;
            continue;
        }
        ++done_;
    }
    if (failures != 0)
        std::fprintf(stderr, "ifcctl: %s: %u %s failed, %s\n", printable(name).c_str(), failures,
                     failures == 1 ? "line" : "lines", effect().c_str());
    return code;
}

std::string Batch::effect() const
{
    return std::to_string(done_) + (done_ == 1 ? " line" : " lines") + " took effect";
}

} // namespace ifcctl
