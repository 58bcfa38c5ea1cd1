// SPDX-License-Identifier: MIT OR GPL-2.0
// The sections of a report. Each begins with a heading of the second level.
#pragma once

#include "html.h"
#include "report_data.h"

namespace ifcctl::report
{

void tablesSection(Html &html, const Data &data);
void rulesSection(Html &html, const Data &data);
void trafficSection(Html &html, const Data &data);
void overlapsSection(Html &html, const Data &data);
void findingsSection(Html &html, const Data &data);
void capacitySection(Html &html, const Data &data);

// <section id="..."> with its heading; close() it.
void openSection(Html &html, const char *id, const char *heading);

// A table that becomes a list of cards on a narrow screen. The roles keep it a table for screen readers.
void openTable(Html &html, const char *style, const char *caption,
               std::initializer_list<const char *> columns);
void closeTable(Html &html);
void openRow(Html &html, const std::string &id = "");
// Cells; close() each. On a narrow screen `label` stands above the content.
void openRowHeader(Html &html, const char *style = "");
void openCell(Html &html, const char *style, const char *label);

std::string thousands(uint64_t value);                         // "12 345", with narrow spaces
std::string counted(uint64_t value, const std::string &thing); // "1 frame", "2 frames"
std::string share(uint64_t part, uint64_t whole);              // "12.3 %"

} // namespace ifcctl::report
