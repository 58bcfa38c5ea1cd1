// SPDX-License-Identifier: MIT OR GPL-2.0
#include "form.h"

#include "tools/ifcctl/commands/flow_list.h"
#include "tools/ifcctl/commands/flow_pattern.h"
#include "tools/ifcctl/core/match_words.h"
#include "tools/ifcctl/core/rule_words.h"

#include <algorithm>

namespace ifcctl
{

namespace
{

const std::string kRepeated = "...";

bool isPlaceholder(const std::string &word)
{
    return word[0] >= 'A' && word[0] <= 'Z';
}

bool isRuleNumber(const std::string &word)
{
    return (!word.empty() && word[0] >= '0' && word[0] <= '9') || word.rfind("LUT", 0) == 0;
}

// How well the place fits the word: 0 not at all, 1 it accepts any word, 2 by the kind of word, 3 itself.
unsigned fit(const Place &place, const std::string &word)
{
    using Kind = Place::Kind;
    switch (place.kind) {
    case Kind::Literal:
        return word == place.name ? 3 : 0;
    case Kind::MatchKey:
        return findMatchWord(word) ? 2 : 0;
    case Kind::Compare:
        return compareOf(word) ? 2 : 0;
    case Kind::ActionWord:
        return isActionWord(word) ? 2 : 0;
    case Kind::FlowPart:
        return std::find(flowValueParts().begin(), flowValueParts().end(), word) != flowValueParts().end()
                   ? 2
                   : 0;
    case Kind::MatchValue:
    case Kind::ActionValue:
    case Kind::FlowItem:
    case Kind::FlowField:
    case Kind::FlowValue:
    case Kind::FlowAction:
    case Kind::FlowParameter:
    case Kind::FlowNumber:
        return 1;
    case Kind::Free:
        break;
    }
    if (place.name == "N" || place.name == "M")
        return isRuleNumber(word) ? 2 : 0;
    return 1;
}

} // namespace

// Reads the text of a form into nodes and edges. Each reader takes the node at which its part begins and
// returns the node at which it ends.
class FormReader
{
public:
    FormReader(const std::string &text, std::vector<std::vector<Form::Edge>> &edges) : edges_(edges)
    {
        // Brackets become words of their own.
        std::string apart;
        for (const char c : text)
            apart += c == '[' || c == ']' ? std::string(" ") + c + ' ' : std::string(1, c);
        words_ = splitLine(apart);
    }

    // The node at which the form ends.
    size_t read() { return readChoice(newNode()); }

private:
    size_t newNode()
    {
        edges_.emplace_back();
        return edges_.size() - 1;
    }
    void join(size_t from, size_t to) { edges_[from].push_back({to, true, {}}); }
    void accept(size_t from, size_t to, Place::Kind kind, const std::string &name = "")
    {
        edges_[from].push_back({to, false, {kind, name, depth_ > 0}});
    }
    bool ends() const { return at_ == words_.size() || words_[at_] == "]"; }

    // ... | ...
    size_t readChoice(size_t from)
    {
        const size_t end = newNode();
        for (;;) {
            join(readSequence(from), end);
            if (ends())
                return end;
            ++at_; // |
        }
    }

    size_t readSequence(size_t from)
    {
        while (!ends() && words_[at_] != "|")
            from = words_[at_] == "[" ? readOptions(from) : readWord(from);
        return from;
    }

    // Bracketed parts that follow each other may stand in any order.
    size_t readOptions(size_t from)
    {
        const size_t begin = newNode();
        join(from, begin);
        const size_t end = newNode();
        join(begin, end);
        size_t count = 0;
        std::vector<size_t> ends;
        for (; at_ < words_.size() && words_[at_] == "["; ++count) {
            ++at_;
            ++depth_;
            ends.push_back(readChoice(begin));
            --depth_;
            ++at_; // ]
        }
        for (const size_t part : ends)
            join(part, count > 1 ? begin : end);
        return end;
    }

    // A word, or several with | between them; with "..." once or more.
    size_t readWord(size_t from)
    {
        std::string word = words_[at_++];
        const bool repeated = word.size() > kRepeated.size() &&
                              word.compare(word.size() - kRepeated.size(), kRepeated.size(), kRepeated) == 0;
        if (repeated)
            word.erase(word.size() - kRepeated.size());
        const size_t begin = newNode();
        join(from, begin);
        const size_t end = newNode();
        for (size_t start = 0; start <= word.size();) {
            const size_t bar = std::min(word.find('|', start), word.size());
            readPlace(word.substr(start, bar - start), begin, end);
            start = bar + 1;
        }
        if (repeated)
            join(end, begin);
        return end;
    }

    void readPlace(const std::string &name, size_t from, size_t to)
    {
        using Kind = Place::Kind;
        if (name == "MATCH") {
            const size_t key = newNode();
            const size_t compare = newNode();
            accept(from, to, Kind::Literal, kAnyWord);
            accept(from, key, Kind::MatchKey);
            accept(key, compare, Kind::Compare);
            accept(key, to, Kind::MatchValue);
            accept(compare, to, Kind::MatchValue);
        } else if (name == "WORD") {
            const size_t word = newNode();
            accept(from, word, Kind::ActionWord);
            accept(word, to, Kind::ActionValue);
            join(word, to); // a flag
        } else if (name == "ITEM") {
            const size_t item = newNode();
            const size_t field = newNode();
            const size_t part = newNode();
            accept(from, item, Kind::FlowItem);
            accept(item, field, Kind::FlowField);
            accept(field, part, Kind::FlowPart);
            accept(part, item, Kind::FlowValue);
            accept(item, from, Kind::Literal, kFlowNext);
            join(item, to);
        } else if (name == "ACTION") {
            const size_t action = newNode();
            const size_t parameter = newNode();
            accept(from, action, Kind::FlowAction);
            accept(action, parameter, Kind::FlowParameter);
            accept(parameter, action, Kind::FlowNumber);
            accept(action, from, Kind::Literal, kFlowNext);
            join(action, to);
        } else {
            accept(from, to, isPlaceholder(name) ? Kind::Free : Kind::Literal, name);
        }
    }

    std::vector<std::vector<Form::Edge>> &edges_;
    Words words_;
    size_t at_ = 0;
    unsigned depth_ = 0; // of brackets
};

Form::Form(const std::string &arguments)
{
    end_ = FormReader(arguments, edges_).read();
}

Form::Nodes Form::reachedFrom(Nodes nodes) const
{
    for (size_t n = 0; n < nodes.size(); ++n)
        for (const Edge &edge : edges_[nodes[n]])
            if (edge.empty && std::find(nodes.begin(), nodes.end(), edge.to) == nodes.end())
                nodes.push_back(edge.to);
    return nodes;
}

// Of the places that accept the word, those that fit it best.
Form::Nodes Form::after(const Nodes &nodes, const std::string &word) const
{
    unsigned best = 1;
    Nodes next;
    for (const size_t node : nodes) {
        for (const Edge &edge : edges_[node]) {
            const unsigned fits = edge.empty ? 0 : fit(edge.place, word);
            if (fits < best)
                continue;
            if (fits > best)
                next.clear();
            best = fits;
            next.push_back(edge.to);
        }
    }
    return reachedFrom(next);
}

Form::Nodes Form::afterAll(const Words &words) const
{
    Nodes nodes = reachedFrom({0});
    for (const std::string &word : words)
        nodes = after(nodes, word);
    return nodes;
}

bool Form::mayEndAfter(const Words &words) const
{
    const Nodes nodes = afterAll(words);
    return std::find(nodes.begin(), nodes.end(), end_) != nodes.end();
}

std::vector<Place> Form::placesAfter(const Words &words) const
{
    std::vector<Place> places;
    for (const size_t node : afterAll(words))
        for (const Edge &edge : edges_[node])
            if (!edge.empty)
                places.push_back(edge.place);
    return places;
}

} // namespace ifcctl
