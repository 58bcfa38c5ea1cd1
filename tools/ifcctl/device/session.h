// SPDX-License-Identifier: MIT OR GPL-2.0
// A device during a batch, and the output of its operations.
#pragma once

#include "device.h"
#include "printer.h"

#include "tools/ifcctl/core/errors.h"

#include <array>
#include <string>
#include <type_traits>

namespace ifcctl
{

PrintStyle printStyleOf(const Options &options);

class Session
{
public:
    explicit Session(const Options &options);

    const Options &options() const { return options_; }
    Device &device() { return *device_; }

    // Calls an operation by its name and returns its result; "= ok" counts as 0. What the operation prints
    // goes to standard error at debug levels, else nowhere; lastMessage() and lastPrinted() keep it.
    template <typename... Arguments>
    [[nodiscard]] int call(const char *operation, const Arguments &...arguments)
    {
        std::string line = operation;
        ((line += ' ' + word(arguments)), ...);
        return callLine(line);
    }
    // The same for an operation that must succeed: throws Error if the result is negative.
    template <typename... Arguments>
    void perform(const char *operation, const Arguments &...arguments)
    {
        if (call(operation, arguments...) < 0)
            throw refused(Reason::LayerRefused, "operation", operation, lastMessage());
    }
    // The same, with the text that it printed.
    template <typename... Arguments>
    std::string textOf(const char *operation, const Arguments &...arguments)
    {
        perform(operation, arguments...);
        return last_.printed;
    }

    const std::string &lastPrinted() const { return last_.printed; }
    // The last line that the last operation printed, without its prefix and line end.
    std::string lastMessage() const;
    // The handler's answer to the last line.
    const std::string &lastAnswer() const { return last_.answer; }

    // Runs any line of the command handler.
    const Reply &run(const std::string &line);

    // One row of a table of the hardware: IFC_DATA0 to IFC_DATA3; zeros if the transfer does not complete.
    std::array<uint32_t, 4> row(unsigned sel, unsigned index, unsigned offset);

    // Throws Error if a transfer did not complete since the last call.
    void checkTransfers();
    // The exit code of a command that succeeded: kExitDone, unless the command sets another one.
    ExitCode code() const { return code_; }
    void setCode(ExitCode code) { code_ = code; }

    // Prints text, or one JSON document in a line. `text` ends with a line end. What was read in a transfer
    // that did not complete is not printed: throws Error.
    void print(const std::string &text, const nlohmann::ordered_json &json)
    {
        checkTransfers();
        printAlways(text, json);
    }
    // The same for a text that programs read, see Printer.
    void printForPrograms(const std::string &text, const nlohmann::ordered_json &json)
    {
        checkTransfers();
        printer_.printForPrograms(text, json);
    }
    // print() without that check.
    void printAlways(const std::string &text, const nlohmann::ordered_json &json)
    {
        printer_.print(text, json);
    }

private:
    static const std::string &word(const std::string &text) { return text; }
    template <typename Number, typename = std::enable_if_t<std::is_arithmetic_v<Number>>>
    static std::string word(Number number)
    {
        return std::to_string(number);
    }
    int callLine(const std::string &line);

    Options options_;
    Printer printer_;
    std::unique_ptr<Device> device_;
    Reply last_{};
    // Since the last checkTransfers():
    bool called_ = false;
    bool mayWrite_ = false;
    ExitCode code_ = kExitDone;
    unsigned long timeouts_ = 0;
};

} // namespace ifcctl
