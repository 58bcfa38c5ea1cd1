// SPDX-License-Identifier: MIT OR GPL-2.0
// The parts that the sections share.
#include "sections.h"

#include <cmath>

namespace ifcctl::report
{

std::string thousands(uint64_t value)
{
    std::string digits = std::to_string(value);
    for (size_t n = digits.size(); n > 3; n -= 3)
        digits.insert(n - 3, "\xE2\x80\xAF"); // U+202F
    return digits;
}

std::string counted(uint64_t value, const std::string &thing)
{
    return thousands(value) + ' ' + thing + (value == 1 ? "" : "s");
}

std::string share(uint64_t part, uint64_t whole)
{
    const double exact = whole == 0 ? 0 : 1000.0 * static_cast<double>(part) / static_cast<double>(whole);
    const long tenths = std::lround(exact);
    return std::to_string(tenths / 10) + '.' + std::to_string(tenths % 10) + "\xC2\xA0%";
}

void openSection(Html &html, const char *id, const char *heading)
{
    const std::string name = std::string(id) + "-heading";
    html.open("section", {{"id", id}, {"aria-labelledby", name}});
    html.element("h2", {{"id", name}}, heading);
}

void openTable(Html &html, const char *style, const char *caption,
               std::initializer_list<const char *> columns)
{
    html.open("table", {{"class", style}, {"role", "table"}});
    html.element("caption", caption);
    html.open("thead", {{"role", "rowgroup"}}).open("tr", {{"role", "row"}});
    for (const std::string column : columns) {
        const bool right = column[0] == '>';
        html.element("th",
                     {{"scope", "col"}, {"role", "columnheader"}, {"class", right ? "number" : "column"}},
                     column.substr(right ? 1 : 0));
    }
    html.close().close().open("tbody", {{"role", "rowgroup"}});
}

void closeTable(Html &html)
{
    html.close().close();
}

void openRow(Html &html, const std::string &id)
{
    if (id.empty())
        html.open("tr", {{"role", "row"}});
    else
        html.open("tr", {{"role", "row"}, {"id", id}});
}

void openRowHeader(Html &html, const char *style)
{
    html.open("th", {{"scope", "row"}, {"role", "rowheader"}, {"class", style}});
}

void openCell(Html &html, const char *style, const char *label)
{
    html.open("td", {{"role", "cell"}, {"class", style}, {"data-label", label}});
}

} // namespace ifcctl::report
