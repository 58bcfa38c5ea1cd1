// SPDX-License-Identifier: MIT OR GPL-2.0
#include "flow_pattern.h"

#include "flow_list.h"
#include "flow_values.h"

#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/nearest_word.h"
#include "tools/ifcctl/core/values.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <vector>

namespace ifcctl
{

namespace
{

struct FlowField {
    const char *item;
    const char *field;
    const char *word; // of `rule add`
};

constexpr FlowField kFields[] = {
    {"eth", "dst", "dst_mac"},
    {"eth", "src", "src_mac"},
    {"eth", "type", "eth_type"},
    {"vlan", "vid", "vlan_id"},
    {"vlan", "pcp", "vlan_prio"},
    {"vlan", "dei", "vlan_dei"},
    {"vlan", "inner_type", "eth_type"},
    {"ipv4", "src", "src_ip"},
    {"ipv4", "dst", "dst_ip"},
    {"ipv4", "proto", "ipv4_protocol"},
    {"ipv4", "tos", "ipv4_dscp"},
    {"ipv6", "src", "src_ip"},
    {"ipv6", "dst", "dst_ip"},
    {"ipv6", "proto", "ipv6_next_header"},
    {"ipv6", "tc", "ipv6_traffic_class"},
    {"ipv6", "flow", "flow_label"},
    {"udp", "src", "src_port"},
    {"udp", "dst", "dst_port"},
    {"tcp", "src", "src_port"},
    {"tcp", "dst", "dst_port"},
    {"sctp", "src", "src_port"},
    {"sctp", "dst", "dst_port"},
    {"pppoes", "seid", "pppoe_sid"},
};

struct FlowItem {
    const char *name;
    unsigned protocol; // of a transport item, in the IP header
    unsigned version;  // of IP that it needs: 4, 6, or 0 for any
};

constexpr FlowItem kItems[] = {
    {"eth", 0, 0},  {"vlan", 0, 0}, {"pppoes", 0, 0}, {"ipv4", 0, 0}, {"ipv6", 0, 0},
    {"udp", 17, 0}, {"tcp", 6, 0},  {"sctp", 132, 0}, {"icmp", 1, 4}, {"icmp6", 58, 6},
};

class PatternReader
{
public:
    explicit PatternReader(WordReader &words) : words_(words) {}

    Words read()
    {
        readFlowList(words_, "pattern", "an item", [this] { readItem(); });
        if (version_ != 0 && !isVersionSaid_) // no condition says the version yet
            addFlowPair(match_, version_ == 4 ? "sipv4" : "sipv6_31_0", "any");
        if (match_.empty())
            match_.emplace_back("any");
        return match_;
    }

private:
    struct Value {
        const FlowField *field;
        std::optional<std::string> spec;
        std::optional<std::string> last;
        std::optional<std::string> mask;
        bool isPrefix = false; // the mask
    };

    static constexpr size_t kPrefix = 4; // among the parts of a value

    void readItem()
    {
        const std::string name = words_.take("pattern", flowItems() + ", or end");
        if (name == "any" || name == "void")
            return;
        const auto *item = std::find_if(std::begin(kItems), std::end(kItems),
                                        [&](const FlowItem &known) { return name == known.name; });
        if (item == std::end(kItems))
            throw usage("pattern", name, flowItems() + didYouMean(name, wordsOf(flowItems())));
        beginItem(*item);
        std::vector<Value> values;
        while (!words_.atEnd() && !words_.nextIs(kFlowNext))
            readField(name, values);
        for (const Value &value : values)
            addCondition(name, value);
        if (values.empty() && name == "vlan")
            addFlowPair(match_, tags_ == 2 ? "cvlan_id" : "vlan_id", "any");
        if (values.empty() && name == "pppoes")
            addFlowPair(match_, "pppoe_sid", "any");
    }

    void beginItem(const FlowItem &item)
    {
        const std::string name = item.name;
        if (name == "vlan" && ++tags_ > 2)
            throw usage("pattern", name, "at most two tags");
        if (name == "ipv4" || name == "ipv6") {
            if (version_ != 0)
                throw usage("pattern", name, "one of ipv4 and ipv6, once");
            version_ = name == "ipv4" ? 4 : 6;
        }
        if (item.protocol == 0)
            return;
        if (version_ == 0 || (item.version != 0 && item.version != version_))
            throw usage("pattern", name,
                        item.version == 4   ? "icmp after ipv4"
                        : item.version == 6 ? "icmp6 after ipv6"
                                            : name + " after ipv4 or ipv6");
        if (hasTransport_)
            throw usage("pattern", name, "one item after the IP header");
        hasTransport_ = true;
        isVersionSaid_ = true;
        const std::string word = version_ == 4 ? "ipv4_protocol" : "ipv6_next_header";
        const std::string number = std::to_string(item.protocol);
        for (size_t n = 0; n + 1 < match_.size(); n += 2)
            if (match_[n] == word && match_[n + 1] == number)
                return;
        addFlowPair(match_, word, number);
    }

    // FIELD is VALUE, FIELD spec VALUE, FIELD mask VALUE, FIELD last VALUE or FIELD prefix LENGTH.
    void readField(const std::string &item, std::vector<Value> &values)
    {
        const std::string &name = words_.takeKey();
        std::string known;
        const FlowField *field = nullptr;
        for (const FlowField &row : kFields) {
            if (item != row.item)
                continue;
            known += (known.empty() ? "" : " ") + std::string(row.field);
            if (name == row.field)
                field = &row;
        }
        if (field == nullptr)
            throw usage(item, name,
                        known.empty() ? "no fields of this item" : known + didYouMean(name, wordsOf(known)));
        const std::string key = item + ' ' + name;
        const size_t choice = words_.takeChoice(key, flowValueParts());
        const std::string value = words_.take(key, "a value");
        checkFamily(item, *field, choice, value);
        auto found =
            std::find_if(values.begin(), values.end(), [&](const Value &v) { return v.field == field; });
        if (found == values.end())
            found = values.insert(values.end(), Value{field, {}, {}, {}, false});
        std::optional<std::string> &part = choice <= 1   ? found->spec
                                           : choice == 2 ? found->last
                                                         : found->mask;
        if (part)
            throw usage(key, value, "each part of a value once");
        part = value;
        found->isPrefix = found->isPrefix || choice == kPrefix;
    }

    void checkFamily(const std::string &item, const FlowField &field, size_t choice,
                     const std::string &value) const
    {
        const std::string word = field.word;
        if ((word != "src_ip" && word != "dst_ip") || choice == kPrefix)
            return;
        const bool good = item == "ipv4" ? parseIpv4(value).has_value() : parseIpv6(value).has_value();
        if (!good)
            throw usage(item + ' ' + field.field, value,
                        item == "ipv4" ? "an IPv4 address" : "an IPv6 address");
    }

    void addCondition(const std::string &item, const Value &value)
    {
        const std::string key = item + ' ' + value.field->field;
        if (!value.spec)
            throw usage(key, value.mask ? *value.mask : *value.last, "a value with 'is' or 'spec' as well");
        if (value.last && value.mask)
            throw usage(key, *value.last, "last or mask, not both");
        std::string word = value.field->word;
        if (item == "vlan" && tags_ == 2 && word != "eth_type")
            word = 'c' + word;
        if (item == "ipv4" || item == "ipv6")
            isVersionSaid_ = true;
        std::string text = *value.spec;
        if (value.last)
            text += '-' + *value.last;
        else if (value.mask)
            text = maskedValue(key, word, text, *value.mask, value.isPrefix);
        for (size_t n = 0; n + 1 < match_.size(); n += 2)
            if (match_[n] == word && match_[n + 1] == text)
                return;
        addFlowPair(match_, word, text);
    }

    WordReader &words_;
    Words match_;
    unsigned tags_ = 0;
    unsigned version_ = 0;
    bool isVersionSaid_ = false;
    bool hasTransport_ = false;
};

} // namespace

Words readFlowPattern(WordReader &words)
{
    return PatternReader(words).read();
}

std::string flowItems()
{
    std::string text;
    for (const FlowItem &item : kItems)
        text += (text.empty() ? "" : " ") + std::string(item.name);
    return text;
}

Words flowFieldsOf(const std::string &item)
{
    Words fields;
    for (const FlowField &row : kFields)
        if (item == row.item)
            fields.emplace_back(row.field);
    return fields;
}

const Words &flowValueParts()
{
    static const Words parts = {"is", "spec", "last", "mask", "prefix"};
    return parts;
}

std::string flowMatchWord(const std::string &item, const std::string &field)
{
    for (const FlowField &row : kFields)
        if (item == row.item && field == row.field)
            return row.word;
    return "";
}

} // namespace ifcctl
