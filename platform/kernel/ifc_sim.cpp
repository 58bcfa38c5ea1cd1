// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ifc_sim.h"

#include "engine/register_window.h"

static constinit engine::RegisterWindow window{};

void ifc_sim_power_on(unsigned int done_after)
{
    window.powerOn({done_after, false});
}

unsigned int ifc_sim_read(unsigned int reg)
{
    return window.read(reg);
}

void ifc_sim_write(unsigned int reg, unsigned int value)
{
    window.write(reg, value);
}

unsigned int ifc_sim_errors(void)
{
    return window.errors();
}
