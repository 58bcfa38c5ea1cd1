// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ruleset/layout.h"

namespace ruleset
{

static_assert(placeNumber(widePlace(7)) == 7 && placeNumber(narrowPlace(16, 16)) == IFC_ACTIONS - 1);

} // namespace ruleset
