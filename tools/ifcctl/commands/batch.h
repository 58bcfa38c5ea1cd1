// SPDX-License-Identifier: MIT OR GPL-2.0
// Runs a file of commands, one on each line.
#pragma once

#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/device/session.h"

#include <cstdio>
#include <string>

namespace ifcctl
{

class Batch
{
public:
    // "-" is standard input. Throws Error when the file cannot be opened.
    explicit Batch(const std::string &path);
    ~Batch();
    Batch(const Batch &) = delete;
    Batch &operator=(const Batch &) = delete;

    // At a line that fails it prints a message on standard error. Then it stops, or with `goesOn` continues
    // and returns the code of the first failure. Output that cannot be written always ends it.
    ExitCode run(Session &session, bool goesOn);

private:
    bool next(std::string &line);
    std::string effect() const;

    std::string path_;
    std::FILE *file_ = nullptr;
    unsigned done_ = 0; // lines that took effect
};

} // namespace ifcctl
