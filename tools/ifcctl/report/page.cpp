// SPDX-License-Identifier: MIT OR GPL-2.0
#include "pictures.h"
#include "sections.h"
#include "style.h"

#include <algorithm>

namespace ifcctl::report
{

namespace
{

size_t countFindings(const Data &data)
{
    size_t count = 0;
    for (const Check &check : data.checks)
        count += check.findings.size();
    return count;
}

void fact(Html &html, const char *name, const std::string &value, const std::string &more)
{
    html.open("div").element("dt", name).open("dd").text(value);
    if (!more.empty())
        html.element("small", more);
    html.close().close();
}

void header(Html &html, const Data &data)
{
    html.open("header").open("div", {{"class", "inner"}});
    html.element("h1", data.title);
    html.element("p", {{"class", "meta"}},
                 "Packet classifier, " + data.device + ", revision " + std::to_string(data.revision) + ". " +
                     data.made + ".");
    const TableMap &map = data.map;
    html.open("dl", {{"class", "facts"}});
    fact(html, "Classifier", data.classifier ? "on" : "off",
         data.ppe ? "packet engine on" : "packet engine off");
    fact(html, "Rules", std::to_string(data.rules.size()), "of at most " + std::to_string(IFC_RULESET_RULES));
    fact(html, "LUT0", map.lut0Works ? std::to_string(map.freeOf(map.lut0)) + " free" : "not used",
         "of " + std::to_string(IFC_LUT0_RULES) + " wide rules");
    fact(html, "LUT1", std::to_string(map.freeOf(map.lut1)) + " free",
         "of " + std::to_string(IFC_LUT1_RULES) + " narrow entries");
    if (data.replay)
        fact(html, "Decided by a rule", share(data.replay->hit, data.replay->frames),
             "of " + counted(data.replay->frames, "frame"));
    const size_t findings = countFindings(data);
    fact(html, "Findings", std::to_string(findings), "from " + counted(data.checks.size(), "check"));
    html.close();
    html.open("nav", {{"aria-label", "Sections"}}).open("ul");
    const std::pair<const char *, const char *> sections[] = {
        {"#tables", "Tables"},     {"#rules", "Rules"},
        {"#traffic", "Traffic"},   {"#overlaps", "Who decides before whom"},
        {"#findings", "Findings"}, {"#capacity", "Free capacity"}};
    for (const auto &[where, name] : sections)
        html.open("li").element("a", {{"href", where}}, name).close();
    html.close().close().close().close();
}

} // namespace

void findingsSection(Html &html, const Data &data)
{
    openSection(html, "findings", "Findings");
    html.element("p", "What the tool's own checks say about these rules and tables.");
    for (const Check &check : data.checks) {
        const bool good = check.findings.empty();
        html.open("div", {{"class", "check"}}).open("h3").element("code", check.command).text(" ");
        html.element("span",
                     {{"class", good          ? "state good"
                                : check.grave ? "state bad"
                                              : "state note"}},
                     good ? check.good : counted(check.findings.size(), "finding"));
        html.close();
        html.element("p", check.about);
        if (!good) {
            html.open("ul");
            for (const std::string &finding : check.findings)
                html.element("li", finding);
            html.close();
        }
        html.close();
    }
    html.close();
}

void capacitySection(Html &html, const Data &data)
{
    openSection(html, "capacity", "Free capacity");
    html.element("p", "How many more rules of one shape fit, if they decide after all others.");
    html.open("p");
    const std::pair<const char *, const char *> keys[] = {
        {"accent", "now"}, {"some", "if rules move"}, {"track", "in an empty chip"}};
    for (const auto &[colour, name] : keys) {
        html.open("span", {{"class", "key"}});
        html.element(
            "i", {{"style", std::string("background:var(--") + colour + ")"}, {"aria-hidden", "true"}}, "");
        html.text(name).close();
    }
    html.close();
    openTable(html, "fits", "More rules that fit, by shape",
              {"Shape", ">Now", ">If rules move", ">Empty chip"});
    unsigned most = 0;
    for (const Capacity &shape : data.capacity)
        most = std::max(most, shape.empty);
    for (const Capacity &shape : data.capacity) {
        openRow(html);
        openRowHeader(html);
        html.text(shape.name);
        html.element("span", {{"class", "place"}},
                     std::to_string(shape.entries) + (shape.entries == 1 ? " entry" : " entries"));
        drawBullet(html, shape.now, shape.moving, shape.empty, most);
        html.close();
        for (const unsigned value : {shape.now, shape.moving, shape.empty}) {
            openCell(html, "number", "");
            html.text(std::to_string(value)).close();
        }
        html.close();
    }
    closeTable(html);
    html.close();
}

std::string page(const Data &data)
{
    Html html;
    html.fixed("<!DOCTYPE html>\n<html lang=\"en\">");
    html.open("head");
    html.leaf("meta", {{"charset", "utf-8"}});
    html.leaf("meta", {{"name", "viewport"}, {"content", "width=device-width, initial-scale=1"}});
    html.leaf("meta", {{"http-equiv", "Content-Security-Policy"},
                       {"content", "default-src 'none'; style-src 'unsafe-inline'; img-src data:"}});
    html.leaf("link", {{"rel", "icon"}, {"href", "data:,"}});
    html.element("title", data.title);
    html.fixed("\n<style>").style(kStyle).fixed("</style>");
    html.close();
    html.open("body");
    html.element("a", {{"class", "skip"}, {"href", "#main"}}, "Skip to the content");
    header(html, data);
    html.open("main", {{"id", "main"}, {"class", "inner"}, {"tabindex", "-1"}});
    tablesSection(html, data);
    rulesSection(html, data);
    trafficSection(html, data);
    overlapsSection(html, data);
    findingsSection(html, data);
    capacitySection(html, data);
    html.close();
    html.open("footer").open("div", {{"class", "inner"}});
    html.text("Made by ifcctl report. What the rules do with a frame follows the model of the chip: "
              "docs/hardware-model.md.");
    html.close().close().close();
    html.fixed("\n</html>\n");
    return html.done();
}

} // namespace ifcctl::report
