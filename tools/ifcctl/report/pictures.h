// SPDX-License-Identifier: MIT OR GPL-2.0
// The pictures of a report, as SVG inside the page. Their colours are those of the page's style.
#pragma once

#include "html.h"
#include "report_data.h"

namespace ifcctl::report
{

// One table of the map: `inRow` entries side by side. Each rule links to its row of the list. `name` is the
// prefix of the picture's ids and unique in the page.
void drawTable(Html &html, const TableMap &map, bool lut0, unsigned inRow, const std::string &name);

// A patch in the colour that the rule has in the map.
void drawSwatch(Html &html, const TableMap &map, unsigned number);

// A bar of `part` (0 to 1) of its width, next to a number that says the same.
void drawBar(Html &html, double part);

// Three bars, one on the other: of `all`, `some` and of these `first`.
void drawBullet(Html &html, unsigned first, unsigned some, unsigned all, unsigned most);

// A column for each part of a capture.
void drawActivity(Html &html, const std::vector<uint64_t> &parts);

// The pairs of Data::overlaps as arcs from the rule that decides to the other one. There must be a pair.
void drawOverlaps(Html &html, const Data &data);

} // namespace ifcctl::report
