// SPDX-License-Identifier: MIT OR GPL-2.0
// Decodes the hardware's images for the model, independently of the layer.
#pragma once

#include "table_model.h"

namespace model
{

// Words in record order.
WideRule decodeWide(const uint32_t *rule);
NarrowEntry decodeNarrow(const uint32_t *entry);
ActionFields decodeAction(const uint32_t *action);

} // namespace model
