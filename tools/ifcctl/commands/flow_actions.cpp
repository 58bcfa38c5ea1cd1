// SPDX-License-Identifier: MIT OR GPL-2.0
#include "flow_actions.h"

#include "flow_list.h"

#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/nearest_word.h"
#include "tools/ifcctl/core/values.h"

#include "ifc/records/chip.h"

#include <algorithm>
#include <iterator>
#include <optional>

namespace ifcctl
{

namespace
{

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

class ActionsReader
{
public:
    explicit ActionsReader(WordReader &words) : words_(words) {}

    Words read()
    {
        readFlowList(words_, "actions", "an action", [this] { readAction(); });
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
                addFlowPair(action_, action.word, std::to_string(value << action.shift));
                return;
            }
        const auto *other = std::find_if(std::begin(kOtherActions), std::end(kOtherActions),
                                         [&](const OtherAction &known) { return name == known.name; });
        if (other == std::end(kOtherActions))
            throw usage("actions", name,
                        flowActions() + (name == "drop" ? "; no action of this chip drops a frame"
                                                        : didYouMean(name, wordsOf(flowActions()))));
        if (name == "count" && words_.nextIs(other->parameter))
            addFlowPair(action_, "count", std::to_string(number(name, other->parameter)));
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
            addFlowPair(action_, word, std::to_string(value));
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

Words readFlowActions(WordReader &words)
{
    return ActionsReader(words).read();
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
