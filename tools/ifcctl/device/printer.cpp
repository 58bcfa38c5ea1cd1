// SPDX-License-Identifier: MIT OR GPL-2.0
#include "printer.h"

#include "tools/ifcctl/core/errors.h"

#include <cstdio>

namespace ifcctl
{

void Printer::print(const std::string &text, const nlohmann::ordered_json &json) const
{
    const std::string out =
        json_ ? json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n' : text;
    if (std::fwrite(out.data(), 1, out.size(), stdout) != out.size())
        throw outputFailed("standard output");
}

} // namespace ifcctl
