// SPDX-License-Identifier: MIT OR GPL-2.0
// A simulated chip with a driver on it, for the life of a batch.
#pragma once

#include "engine/register_window.h"
#include "errors.h"

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace ifcctl
{

struct Options {
    bool json = false;
    bool force = false;
    bool keepOrder = false;
    int revision = 0;
    unsigned doneAfter = 1;
    unsigned debug = 0;
    std::string traceFile;
};

class Session
{
public:
    explicit Session(const Options &options);
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    const Options &options() const { return options_; }
    engine::RegisterWindow &window() { return window_; }

    // Calls an operation. What it prints goes to standard error at debug levels, else nowhere; `kept` gets
    // it.
    template <typename Operation>
    auto call(const Operation &operation)
    {
        kept_.clear();
        return operation();
    }
    // The last message of the operation that call() ran, without its prefix and line end.
    std::string lastMessage() const;

    // Calls an operation and gives its text, as printed.
    template <typename Operation>
    std::string textOf(const Operation &operation)
    {
        kept_.clear();
        (void)operation();
        return kept_;
    }

    // A transfer that did not complete since the last look ends the batch.
    void checkTransfers();

    // Prints for people, or one JSON document a line. `text` ends with a line end.
    void print(const std::string &text, const nlohmann::ordered_json &json);

private:
    void heard(std::string_view piece);

    Options options_;
    engine::RegisterWindow window_;
    std::string kept_;
    bool timedOut_ = false;
    std::unique_ptr<std::FILE, int (*)(std::FILE *)> trace_;
};

} // namespace ifcctl
