// SPDX-License-Identifier: MIT OR GPL-2.0
#include "session.h"

#include <cstdio>
#include <cstdlib>

namespace ifcctl
{

PrintStyle printStyleOf(const Options &options)
{
    return {options.json, options.pretty, options.colour, options.foldWidth};
}

Session::Session(const Options &options)
    : options_(options), printer_(printStyleOf(options)), device_(openDevice(options)),
      timeouts_(device_->timeouts())
{
}

const Reply &Session::run(const std::string &line)
{
    last_ = device_->run(line);
    called_ = true;
    const auto begins = [&](const char *with) { return line.rfind(with, 0) == 0; };
    mayWrite_ =
        mayWrite_ || !(begins("get ") || begins("ifc_get") || begins("ifc_dump") || begins("ifc_match"));
    if (options_.debug != 0)
        std::fwrite(last_.printed.data(), 1, last_.printed.size(), stderr);
    return last_;
}

int Session::callLine(const std::string &line)
{
    if (run(line).refused || last_.answer.rfind("= ", 0) != 0)
        throw Error(Reason::DeviceFailed,
                    "device: '" + line + "': " + last_.answer.substr(0, last_.answer.find('\n')));
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
    // Four words in hexadecimal, or -62.
    if (last_.answer.rfind("= 0x", 0) != 0)
        return words;
    const char *at = last_.answer.c_str() + 2;
    for (uint32_t &value : words) {
        char *end = nullptr;
        value = static_cast<uint32_t>(std::strtoul(at, &end, 16));
        at = end;
    }
    return words;
}

void Session::checkTransfers()
{
    if (!called_)
        return;
    const bool mayDiffer = mayWrite_;
    called_ = false;
    mayWrite_ = false;
    const unsigned long before = timeouts_;
    timeouts_ = device_->timeouts();
    if (timeouts_ != before)
        throw timedOut(mayDiffer ? " (the tables in the hardware may differ from the shadow)"
                                 : " (the hardware could not be read; nothing was changed)");
}

} // namespace ifcctl
