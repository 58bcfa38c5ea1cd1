// SPDX-License-Identifier: MIT OR GPL-2.0
#include "capacity.h"

#include "tools/ifcctl/core/rule_words.h"

#include <memory>

namespace ifcctl
{

namespace
{

struct Shape {
    const char *name;
    const char *pattern;
};

// One line for each range of prefix lengths that needs the same number of address words.
constexpr Shape kShapes[] = {
    {"VLAN ID", "vlan_id N"},
    {"protocol and port", "ip_proto udp dst_port N"},
    {"MAC address", "dst_mac 02:00:00:00:00:N"},
    {"IPv4 5-tuple", "src_ip 198.51.100.1 dst_ip 192.0.2.N ip_proto tcp src_port 1024 dst_port 443"},
    {"IPv6 prefix /1 to /32", "dst_ip 2001:N::/32"},
    {"IPv6 prefix /33 to /64", "dst_ip 2001:db8:0:N::/64"},
    {"IPv6 prefix /65 to /96", "dst_ip 2001:db8:0:0:0:N::/96"},
    {"IPv6 prefix /97 to /128", "dst_ip 2001:db8::N/128"},
    {"IPv6 5-tuple", "src_ip 2001:db8::1 dst_ip 2001:db8::N ip_proto tcp src_port 1024 dst_port 443"},
};

ifc_rule ruleOf(const Shape &shape, unsigned number, int revision)
{
    std::string text = shape.pattern;
    text.replace(text.find('N'), 1, std::to_string(number));
    WordReader words(splitLine(text));
    return readRule(words, revision);
}

// How many of these rules fit after those of the set. With `stay`, only as long as no placed rule moves.
unsigned countFits(const ifc_ruleset &start, const std::vector<ifc_rule> &rules, bool stay)
{
    const auto trial = std::make_unique<ifc_ruleset>(start);
    unsigned fits = 0;
    for (const ifc_rule &rule : rules) {
        ifc_ruleset_report report{};
        if (ifc_ruleset_insert(trial.get(), IFC_RULESET_LAST, &rule, nullptr) != IFC_RULESET_OK ||
            ifc_ruleset_plan(trial.get(), &report) != IFC_RULESET_OK || (stay && report.moved != 0))
            break;
        ++fits;
    }
    return fits;
}

} // namespace

std::vector<Capacity> capacities(const RuleSet &set)
{
    // The same tables with all rules taken away. A set that did not read the tables would be refused.
    const auto empty = std::make_unique<ifc_ruleset>(set.raw());
    ifc_ruleset_claim(empty.get());
    ifc_ruleset_clear(empty.get());
    std::vector<Capacity> list;
    for (const Shape &shape : kShapes) {
        std::vector<ifc_rule> rules;
        // The rules name no action, so the revision has no influence on their words.
        for (unsigned n = 0; n < IFC_RULESET_RULES; ++n)
            rules.push_back(ruleOf(shape, kFirstNumber + n, 0));
        ifc_rule_shape size{};
        ifc_rule_shape_of(&rules.front(), &size);
        list.push_back({shape.name, shape.pattern, size.narrow_entries, size.wide != 0,
                        countFits(set.raw(), rules, true), countFits(set.raw(), rules, false),
                        countFits(*empty, rules, false)});
    }
    return list;
}

} // namespace ifcctl
