// SPDX-License-Identifier: MIT OR GPL-2.0
#include "pictures.h"

#include <algorithm>
#include <cmath>

namespace ifcctl::report
{

namespace
{

// With one decimal, whatever the locale.
std::string tenths(double value)
{
    const auto whole = static_cast<unsigned long>(std::lround(value * 10));
    return std::to_string(whole / 10) + '.' + std::to_string(whole % 10);
}

void rect(Html &html, const char *style, double width)
{
    html.leaf("rect", {{"class", style}, {"width", tenths(width)}, {"height", "10"}});
}

// The numbers stand beside these pictures, so a screen reader leaves them out.
void openHidden(Html &html, const char *style, const std::string &box)
{
    html.open("svg", {{"class", style},
                      {"viewBox", box},
                      {"preserveAspectRatio", "none"},
                      {"aria-hidden", "true"},
                      {"focusable", "false"}});
}

} // namespace

void drawBar(Html &html, double part)
{
    openHidden(html, "bar", "0 0 100 10");
    rect(html, "track", 100);
    // Something is visible as soon as it is not zero.
    if (part > 0)
        rect(html, "fill", std::max(0.6, 100 * std::min(1.0, part)));
    html.close();
}

void drawBullet(Html &html, unsigned first, unsigned some, unsigned all, unsigned most)
{
    const double unit = 100.0 / std::max(1u, most);
    openHidden(html, "bar", "0 0 100 10");
    rect(html, "track", all * unit);
    rect(html, "some", some * unit);
    rect(html, "fill", first * unit);
    html.close();
}

void drawActivity(Html &html, const std::vector<uint64_t> &parts)
{
    constexpr double kHeight = 20;
    const uint64_t most = parts.empty() ? 0 : *std::max_element(parts.begin(), parts.end());
    openHidden(html, "activity", "0 0 " + std::to_string(std::max<size_t>(1, parts.size())) + " 20");
    html.leaf("rect",
              {{"class", "track"}, {"y", "19"}, {"width", std::to_string(parts.size())}, {"height", "1"}});
    for (size_t n = 0; n < parts.size() && most != 0; ++n) {
        if (parts[n] == 0)
            continue;
        const double height =
            std::max(1.5, kHeight * static_cast<double>(parts[n]) / static_cast<double>(most));
        html.leaf("rect", {{"class", "fill"},
                           {"x", std::to_string(n) + ".1"},
                           {"y", tenths(kHeight - height)},
                           {"width", "0.8"},
                           {"height", tenths(height)}});
    }
    html.close();
}

} // namespace ifcctl::report
