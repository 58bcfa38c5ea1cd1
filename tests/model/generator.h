// SPDX-License-Identifier: MIT OR GPL-2.0
// Steps that look random, from any source of numbers. Most of them make sense for the tables at hand.
#pragma once

#include "steps.h"

#include <deque>
#include <functional>

namespace model
{

class Generator
{
public:
    // A number below the bound; 0: any number.
    using Source = std::function<uint64_t(uint64_t bound)>;
    explicit Generator(Source source) : source_(std::move(source)) {}

    Step next();

private:
    void look(Step &step); // one of the operations that change no rule and no action
    unsigned below(unsigned bound) { return static_cast<unsigned>(source_(bound)); }
    uint64_t any() { return source_(0); }
    unsigned field();
    uint64_t mask();
    uint64_t key();
    FieldCondition condition(unsigned f);
    Request request();
    void remember(const Request &r);
    Request recall();

    Source source_;
    std::deque<Request> known_;
};

} // namespace model
