// SPDX-License-Identifier: MIT OR GPL-2.0
#include "flow_words.h"

#include "flow_values.h"

#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/nearest_word.h"
#include "tools/ifcctl/core/values.h"

#include "ifc/records/chip.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <vector>

namespace ifcctl
{

namespace
{

const std::string kEnd = "end";

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

// Actions with one parameter that become one word.
struct FlowAction {
    const char *name;
    const char *parameter;
    const char *word;
    unsigned shift; // of the value
};

constexpr FlowAction kActions[] = {
    {"queue", "index", "queue", 0},
    {"mark", "id", "sp_tag", 0},
    {"meter", "mtr_id", "meter", 0},
    {"port_id", "id", "fport", 0},
    {"represented_port", "ethdev_port_id", "fport", 0},
    {"set_ipv4_dscp", "dscp_value", "dscp", 0},
    {"set_ipv6_dscp", "dscp_value", "traffic_class", 2},
};

struct OtherAction {
    const char *name;
    const char *parameter; // "" if there is none
};

constexpr OtherAction kOtherActions[] = {
    {"count", "identifier"},
    {"of_pop_vlan", ""},
    {"of_push_vlan", "ethertype"},
    {"of_set_vlan_vid", "vlan_vid"},
    {"of_set_vlan_pcp", "vlan_pcp"},
    {"passthru", ""},
    {"void", ""},
};

// What an action does to a tag: the values of vo0 and vo1.
enum TagEdit { kInsert = 1, kRemove = 2, kReplace = 3 };

void add(Words &words, const std::string &word, const std::string &value)
{
    words.push_back(word);
    words.push_back(value);
}

class PatternReader
{
public:
    explicit PatternReader(WordReader &words) : words_(words) {}

    Words read()
    {
        while (!words_.skip(kEnd)) {
            readItem();
            if (!words_.skip(kFlowNext))
                throw usage("pattern", words_.peek(), "'/' after an item, and 'end' after the last one");
        }
        if (version_ != 0 && !isVersionSaid_) // no condition says the version yet
            add(match_, version_ == 4 ? "sipv4" : "sipv6_31_0", "any");
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
            add(match_, tags_ == 2 ? "cvlan_id" : "vlan_id", "any");
        if (values.empty() && name == "pppoes")
            add(match_, "pppoe_sid", "any");
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
        add(match_, word, number);
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
        add(match_, word, text);
    }

    WordReader &words_;
    Words match_;
    unsigned tags_ = 0;
    unsigned version_ = 0;
    bool isVersionSaid_ = false;
    bool hasTransport_ = false;
};

class ActionsReader
{
public:
    explicit ActionsReader(WordReader &words) : words_(words) {}

    Words read()
    {
        while (!words_.skip(kEnd)) {
            readAction();
            if (!words_.skip(kFlowNext))
                throw usage("actions", words_.peek(), "'/' after an action, and 'end' after the last one");
        }
        addTags();
        return action_;
    }

private:
    void readAction()
    {
        const std::string name = words_.take("actions", flowActions() + ", or end");
        for (const FlowAction &action : kActions)
            if (name == action.name) {
                const uint64_t value = number(name, action.parameter);
                add(action_, action.word, std::to_string(value << action.shift));
                return;
            }
        const auto *other = std::find_if(std::begin(kOtherActions), std::end(kOtherActions),
                                         [&](const OtherAction &known) { return name == known.name; });
        if (other == std::end(kOtherActions))
            throw usage("actions", name,
                        flowActions() + (name == "drop" ? "; no action of this chip drops a frame"
                                                        : didYouMean(name, wordsOf(flowActions()))));
        if (name == "count" && words_.nextIs(other->parameter))
            add(action_, "count", std::to_string(number(name, other->parameter)));
        if (name == "of_pop_vlan") {
            if (push_)
                throw usage("actions", name, "of_pop_vlan before of_push_vlan");
            if (++pops_ > 2)
                throw usage("actions", name, "at most two of them");
        }
        if (name == "of_push_vlan")
            takePush(name, other->parameter);
        if (name == "of_set_vlan_vid")
            once(name, vid_, number(name, other->parameter));
        if (name == "of_set_vlan_pcp")
            once(name, pcp_, number(name, other->parameter));
    }

    uint64_t number(const std::string &action, const char *parameter)
    {
        (void)words_.takeChoice(action, {parameter});
        const std::string &text = words_.take(action + ' ' + parameter, "a number");
        const auto value = parseNumber(text);
        if (!value || *value > UINT16_MAX)
            words_.reject("a number");
        return *value;
    }

    void takePush(const std::string &name, const char *parameter)
    {
        const uint64_t type = number(name, parameter);
        const unsigned vpm = ifc::vpmOf(static_cast<unsigned>(type), 0);
        if (vpm == ifc::kVpmNone)
            throw usage(name + ' ' + parameter, formatHex(type), "0x8100 or 0x88a8");
        once(name, push_, vpm);
    }

    static void once(const std::string &name, std::optional<uint64_t> &value, uint64_t given)
    {
        if (value)
            throw usage("actions", name, "it once");
        value = given;
    }

    // The chip writes a whole tag. Without a priority it keeps that of the frame.
    void addTags()
    {
        const auto set = [this](const char *word, uint64_t value) {
            add(action_, word, std::to_string(value));
        };
        if ((vid_ || pcp_) && !push_ && (pops_ != 0 || !vid_))
            throw usage("actions", vid_ ? "of_set_vlan_vid" : "of_set_vlan_pcp",
                        pops_ != 0 ? "it after of_push_vlan, if a tag is popped"
                                   : "it together with of_set_vlan_vid: the chip writes a whole tag");
        if (push_) {
            set("vo0", pops_ == 0 ? kInsert : kReplace);
            set("vpm0", *push_);
        } else if (vid_) {
            set("vo0", kReplace);
        } else if (pops_ != 0) {
            set("vo0", kRemove);
        }
        if (pops_ == 2)
            set("vo1", kRemove);
        if (vid_)
            set("vid0", *vid_);
        if (pcp_)
            set("vprio0", *pcp_ << 1);
        else if (vid_ && !push_)
            action_.emplace_back("keep_pcp");
    }

    WordReader &words_;
    Words action_;
    unsigned pops_ = 0;
    std::optional<uint64_t> push_; // VPM code
    std::optional<uint64_t> vid_;
    std::optional<uint64_t> pcp_;
};

} // namespace

void takeFlowPort(WordReader &words)
{
    const std::string &port = words.take("port", "0");
    if (parseNumber(port) != 0u)
        words.reject("0; there is one chip");
}

Words ruleWordsOfFlow(WordReader &words)
{
    while (!words.skip("pattern")) {
        const size_t choice = words.takeChoice("flow", {"ingress", "group", "priority", "pattern"});
        if (choice == 0)
            continue;
        const std::string name = choice == 1 ? "group" : "priority";
        const std::string &value = words.take(name, "0");
        if (parseNumber(value) != 0u)
            words.reject(choice == 1 ? "0; there is one table of rules"
                                     : "0; rules decide in their order, see 'rule insert'");
    }
    Words rule = PatternReader(words).read();
    (void)words.takeChoice("flow", {"actions"});
    const Words action = ActionsReader(words).read();
    words.expectEnd("flow");
    if (!action.empty()) {
        rule.emplace_back("action");
        rule.insert(rule.end(), action.begin(), action.end());
    }
    return rule;
}

std::string flowItems()
{
    std::string text;
    for (const FlowItem &item : kItems)
        text += (text.empty() ? "" : " ") + std::string(item.name);
    return text;
}

std::string flowActions()
{
    std::string text;
    for (const FlowAction &action : kActions)
        text += (text.empty() ? "" : " ") + std::string(action.name);
    for (const OtherAction &action : kOtherActions)
        text += std::string(" ") + action.name;
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

std::string flowParameterOf(const std::string &action)
{
    for (const FlowAction &known : kActions)
        if (action == known.name)
            return known.parameter;
    for (const OtherAction &known : kOtherActions)
        if (action == known.name)
            return known.parameter;
    return "";
}

} // namespace ifcctl
