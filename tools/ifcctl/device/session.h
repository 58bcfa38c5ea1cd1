// SPDX-License-Identifier: MIT OR GPL-2.0
// A device for the life of a batch, and what its operations said.
#pragma once

#include "device.h"
#include "tools/ifcctl/core/errors.h"

#include <array>
#include <string>
#include <type_traits>

#include <nlohmann/json.hpp>

namespace ifcctl
{

class Session
{
public:
    explicit Session(const Options &options) : options_(options), device_(openDevice(options)) {}

    const Options &options() const { return options_; }
    Device &device() { return *device_; }

    // Calls an operation by its name and gives its result. What it prints goes to standard error at debug
    // levels, else nowhere; lastMessage() and textOf() know it.
    template <typename... Arguments>
    int call(const char *operation, const Arguments &...arguments)
    {
        std::string line = operation;
        ((line += ' ' + word(arguments)), ...);
        return callLine(line);
    }
    // The same, with the text that it printed.
    template <typename... Arguments>
    std::string textOf(const char *operation, const Arguments &...arguments)
    {
        (void)call(operation, arguments...);
        return last_.printed;
    }

    // The last message of the operation that call() ran, without its prefix and line end.
    std::string lastMessage() const;
    // The handler's answer to it.
    const std::string &lastAnswer() const { return last_.answer; }

    // Any line of the command handler.
    const Reply &run(const std::string &line);

    // One row of a table as the hardware holds it: IFC_DATA0 to IFC_DATA3; zeros when the transfer does not
    // complete.
    std::array<uint32_t, 4> row(unsigned sel, unsigned index, unsigned offset);

    // A transfer that did not complete since the last look ends the batch.
    void checkTransfers();

    // Prints for people, or one JSON document a line. `text` ends with a line end.
    void print(const std::string &text, const nlohmann::ordered_json &json);

private:
    static const std::string &word(const std::string &text) { return text; }
    template <typename Number, typename = std::enable_if_t<std::is_arithmetic_v<Number>>>
    static std::string word(Number number)
    {
        return std::to_string(number);
    }
    int callLine(const std::string &line);

    Options options_;
    std::unique_ptr<Device> device_;
    Reply last_{};
    bool timedOut_ = false;
};

} // namespace ifcctl
