// SPDX-License-Identifier: MIT OR GPL-2.0
#include "session.h"

#include <cstdio>
#include <cstdlib>

namespace ifcctl
{

const Reply &Session::run(const std::string &line)
{
    last_ = device_->run(line);
    if (last_.printed.find("Timeout for set IFC Rule configuration.") != std::string::npos)
        timedOut_ = true;
    if (options_.debug != 0)
        std::fwrite(last_.printed.data(), 1, last_.printed.size(), stderr);
    return last_;
}

int Session::callLine(const std::string &line)
{
    if (run(line).refused || last_.answer.rfind("= ", 0) != 0)
        throw Error(kExitDevice,
                    "device: '" + line + "': " + last_.answer.substr(0, last_.answer.find('\n')));
    // "= ok" of an operation without a result counts as 0.
    return static_cast<int>(std::strtol(last_.answer.c_str() + 2, nullptr, 0));
}

std::string Session::lastMessage() const
{
    std::string text = last_.printed;
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    const size_t line = text.rfind('\n');
    if (line != std::string::npos)
        text.erase(0, line + 1);
    const size_t prefix = text.find("]: ");
    return prefix == std::string::npos ? text : text.substr(prefix + 3);
}

std::array<uint32_t, 4> Session::row(unsigned sel, unsigned index, unsigned offset)
{
    std::array<uint32_t, 4> words{};
    (void)call("get row", sel, index, offset);
    const char *at = last_.answer.c_str() + 2;
    for (uint32_t &value : words) {
        char *end = nullptr;
        value = static_cast<uint32_t>(std::strtoul(at, &end, 16));
        at = end;
    }
    return *at == '\n' && last_.answer.compare(0, 4, "= 0x") == 0 ? words : std::array<uint32_t, 4>{};
}

void Session::checkTransfers()
{
    if (!timedOut_)
        return;
    timedOut_ = false;
    throw Error(kExitTimeout,
                "hardware: a transfer did not report completion within 3 reads (the tables in the "
                "hardware may differ from the shadow)");
}

void Session::print(const std::string &text, const nlohmann::ordered_json &json)
{
    const std::string out =
        options_.json ? json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n' : text;
    if (std::fwrite(out.data(), 1, out.size(), stdout) != out.size())
        throw outputFailed("standard output");
}

} // namespace ifcctl
