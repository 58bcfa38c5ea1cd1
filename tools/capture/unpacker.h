// SPDX-License-Identifier: MIT OR GPL-2.0
// Runs the program that unpacks a compressed capture.
#pragma once

#include <sys/types.h>

namespace capture
{

// The name of the program that unpacks this file, by the file's first bytes; nullptr: it is not compressed.
const char *unpackerOf(int descriptor);

class Unpacker
{
public:
    Unpacker() = default;
    ~Unpacker() { (void)wait(); }
    Unpacker(const Unpacker &) = delete;
    Unpacker &operator=(const Unpacker &) = delete;

    // Starts `program` on the file. Returns the descriptor of its output, which the caller closes; -1: no
    // pipe, -2: the program could not be started.
    int start(const char *program, int descriptor);

    // Waits for the end of the program and returns its exit code, -1 after a signal. 0 if none is running.
    int wait();

private:
    pid_t process_ = -1;
};

} // namespace capture
