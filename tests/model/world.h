// SPDX-License-Identifier: MIT OR GPL-2.0
// The layer on the simulated window, beside the model.
#pragma once

#include "steps.h"
#include "traffic.h"

#include "engine/register_window.h"

namespace model
{

class World
{
public:
    explicit World(unsigned polls = 1); // reads until the done bit shows, 1 to 3
    ~World();
    World(const World &) = delete;
    World &operator=(const World &) = delete;

    // Empty if answer, register accesses, shadow, tables and registers are what the model says.
    std::string run(const Step &step);

private:
    std::string compareTables();
    std::string compareAccesses();

    engine::RegisterWindow chip_;
    Tables model_;
    unsigned polls_;
    std::vector<Access> seen_;
};

} // namespace model
