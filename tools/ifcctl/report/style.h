// SPDX-License-Identifier: MIT OR GPL-2.0
#pragma once

namespace ifcctl::report
{

// The style sheet of a report. It names system fonts only.
extern const char kStyle[];

} // namespace ifcctl::report
