// SPDX-License-Identifier: MIT OR GPL-2.0
// The form of a command's arguments (Command::arguments) as an automaton: which words may come next.
#pragma once

#include "tools/ifcctl/core/word_reader.h"

#include <string>
#include <vector>

namespace ifcctl
{

// What a form accepts at one place.
struct Place {
    enum class Kind {
        Literal,  // the word `name` itself
        MatchKey, // MATCH is KEY [Compare] Value
        Compare,
        MatchValue,
        ActionWord, // WORD is a word and its value
        ActionValue,
        FlowItem, // ITEM is an item with fields, ACTION an action with a number; / begins the next one
        FlowField,
        FlowPart,
        FlowValue,
        FlowAction,
        FlowParameter,
        FlowNumber,
        Free, // any word; `name` is the placeholder
    };
    Kind kind;
    std::string name;
    bool once; // Literal: in brackets, whose parts stand in any order but not twice
};

class Form
{
public:
    explicit Form(const std::string &arguments);

    // The places that accept the next word after these. None: the words do not fit the form, or are complete.
    std::vector<Place> placesAfter(const Words &words) const;

    // True: these words are complete, although more may follow.
    bool mayEndAfter(const Words &words) const;

private:
    friend class FormReader;
    struct Edge {
        size_t to;
        bool empty; // taken without a word
        Place place;
    };
    using Nodes = std::vector<size_t>;

    Nodes reachedFrom(Nodes nodes) const;
    Nodes after(const Nodes &nodes, const std::string &word) const;
    Nodes afterAll(const Words &words) const;

    std::vector<std::vector<Edge>> edges_; // by node; the form starts at node 0
    size_t end_ = 0;
};

} // namespace ifcctl
