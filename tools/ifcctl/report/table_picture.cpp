// SPDX-License-Identifier: MIT OR GPL-2.0
#include "pictures.h"

#include <algorithm>

namespace ifcctl::report
{

namespace
{

constexpr unsigned kColours = 6; // classes o0 to o5 of the style
constexpr unsigned kBoxHeight = 44;
constexpr unsigned kNumbers = 20; // height of the entries' numbers above a row
constexpr unsigned kRowGap = 12;  // below a row
constexpr unsigned kBorder = 40;  // height of the border between two sub-tables
constexpr unsigned kGap = 3;      // between two boxes
constexpr unsigned kRadius = 7;
constexpr unsigned kWideCell = 66; // LUT1 entry if a whole sub-table is in a row
constexpr unsigned kNarrowCell = 44;

std::string number(unsigned value)
{
    return std::to_string(value);
}

std::string colourOf(size_t owner)
{
    return "o" + std::to_string(owner % kColours);
}

// A box whose corners are round where the chain begins and ends.
std::string boxPath(unsigned x, unsigned y, unsigned width, bool begins, bool ends)
{
    const unsigned left = begins ? kRadius : 0;
    const unsigned right = ends ? kRadius : 0;
    const auto corner = [](unsigned radius, int dx, int dy) {
        const int r = static_cast<int>(radius);
        return radius == 0 ? std::string()
                           : "a" + number(radius) + ' ' + number(radius) + " 0 0 1 " +
                                 std::to_string(dx * r) + ' ' + std::to_string(dy * r);
    };
    return "M" + number(x + left) + ' ' + number(y) + "h" + number(width - left - right) +
           corner(right, 1, 1) + "v" + number(kBoxHeight - 2 * right) + corner(right, -1, 1) + "h-" +
           number(width - left - right) + corner(left, -1, -1) + "v-" + number(kBoxHeight - 2 * left) +
           corner(left, 1, -1) + "z";
}

class TablePicture
{
public:
    TablePicture(Html &html, const TableMap &map, bool lut0, unsigned inRow)
        : html_(html), map_(map), segments_(lut0 ? map.lut0 : map.lut1), lut0_(lut0), inRow_(inRow),
          entries_(lut0 ? IFC_LUT0_RULES : IFC_LUT1_RULES),
          width_(inRow > 8 || lut0 ? 16 * kWideCell : 8 * kNarrowCell)
    {
        if (lut0 && inRow < IFC_LUT0_RULES)
            width_ = 8 * kNarrowCell;
        cell_ = width_ / inRow_;
    }

    unsigned width() const { return width_; }

    unsigned height() const
    {
        const unsigned rows = entries_ / inRow_;
        return rows * (kNumbers + kBoxHeight + kRowGap) + (lut0_ ? 0 : kBorder) - kRowGap;
    }

    void draw()
    {
        unsigned y = 0;
        for (unsigned first = 0; first < entries_; first += inRow_) {
            if (!lut0_ && first == IFC_LUT1_SUB_TABLE)
                border(y), y += kBorder;
            row(first, y);
            y += kNumbers + kBoxHeight + kRowGap;
        }
    }

private:
    void border(unsigned y)
    {
        const std::string at = number(y + kBorder / 2 - 12);
        html_.leaf("line",
                   {{"class", "border"}, {"x1", "0"}, {"x2", number(width_)}, {"y1", at}, {"y2", at}});
        html_.element("text", {{"class", "note"}, {"x", "0"}, {"y", number(y + kBorder / 2 + 7)}},
                      "sub-table 1; no chain crosses this border");
    }

    void row(unsigned first, unsigned y)
    {
        for (unsigned n = 0; n < inRow_; ++n)
            html_.element(
                "text",
                {{"class", "tick"}, {"x", number(n * cell_ + cell_ / 2)}, {"y", number(y + kNumbers - 7)}},
                number(first + n));
        for (const MapSegment &segment : segments_) {
            const unsigned from = std::max(segment.first, first);
            const unsigned to = std::min(segment.first + segment.entries, first + inRow_);
            if (from < to)
                box(segment, from - first, to - from, y + kNumbers, from == segment.first,
                    to == segment.first + segment.entries);
        }
    }

    void box(const MapSegment &segment, unsigned column, unsigned count, unsigned y, bool begins, bool ends)
    {
        const unsigned x = column * cell_ + (begins ? kGap / 2 + 1 : 0);
        const unsigned right = (column + count) * cell_ - (ends ? kGap / 2 + 1 : 0);
        const std::string path = boxPath(x, y, right - x, begins, ends);
        if (segment.owner == kFree) {
            html_.leaf("path", {{"class", "free"}, {"d", path}});
            label("free", x, right, y, count == 1 ? "free" : number(count) + " free");
            return;
        }
        const MapOwner &owner = map_.owners[static_cast<size_t>(segment.owner)];
        const bool works = owner.state == OwnerState::Rule;
        const std::string name = "rule " + number(owner.placed.id);
        if (works)
            html_.open("a", {{"href", "#rule-" + number(owner.placed.id)}});
        else
            html_.open("g");
        html_.element("title",
                      name + ", " + describePlace(owner.placed) +
                          (works ? "" : std::string(": ") + stateName(owner.state) + ", never hits"));
        html_.leaf("path",
                   {{"class", works ? "owner " + colourOf(static_cast<size_t>(segment.owner)) : "owner bad"},
                    {"d", path}});
        for (unsigned n = 1; n < count; ++n) {
            const std::string at = number((column + n) * cell_);
            html_.leaf("line", {{"class", "entry"},
                                {"x1", at},
                                {"x2", at},
                                {"y1", number(y + kBoxHeight - 7)},
                                {"y2", number(y + kBoxHeight)}});
        }
        const bool fits = right - x >= 9 * name.size();
        label("name", x, right, y, fits ? name : number(owner.placed.id));
        html_.close();
    }

    void label(const char *style, unsigned x, unsigned right, unsigned y, const std::string &text)
    {
        html_.element(
            "text", {{"class", style}, {"x", number((x + right) / 2)}, {"y", number(y + kBoxHeight / 2 + 5)}},
            text);
    }

    Html &html_;
    const TableMap &map_;
    const std::vector<MapSegment> &segments_;
    bool lut0_;
    unsigned inRow_;
    unsigned entries_;
    unsigned width_;
    unsigned cell_ = 0;
};

} // namespace

void drawSwatch(Html &html, const TableMap &map, unsigned rule)
{
    for (size_t n = 0; n < map.owners.size(); ++n)
        if (map.owners[n].placed.id == rule)
            html.element("i", {{"class", "swatch " + colourOf(n)}, {"aria-hidden", "true"}}, "");
}

void drawTable(Html &html, const TableMap &map, bool lut0, unsigned inRow, const std::string &name)
{
    TablePicture picture(html, map, lut0, inRow);
    html.open("svg",
              {{"class", "map " + std::string(name.find("wide") != std::string::npos ? "wide" : "narrow")},
               {"viewBox", "0 0 " + number(picture.width()) + ' ' + number(picture.height())},
               {"role", "group"},
               {"aria-labelledby", name + "-title " + name + "-desc"}});
    html.element("title", {{"id", name + "-title"}}, lut0 ? "Map of LUT0" : "Map of LUT1");
    std::string about = lut0 ? "Eight places, each for one wide rule."
                             : "32 entries in two sub-tables of 16. A chain of entries is one rule.";
    html.element("desc", {{"id", name + "-desc"}},
                 about + " The list of rules names the place of each rule.");
    picture.draw();
    html.close();
}

} // namespace ifcctl::report
