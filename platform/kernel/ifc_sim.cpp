// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ifc_sim.h"

#include "engine/classifier.h"
#include "engine/register_window.h"

inline void *operator new(size_t, void *place) noexcept
{
    return place;
}

static constinit engine::RegisterWindow window{};

// Constructed at power-on, because a kernel runs no constructors.
static engine::Classifier *classifier;
alignas(engine::Classifier) static unsigned char classifierPlace[sizeof(engine::Classifier)];
static engine::ParsedFrame parsed;

void ifc_sim_power_on(unsigned int done_after)
{
    window.powerOn({done_after, false});
    classifier = new (classifierPlace) engine::Classifier(window);
}

unsigned int ifc_sim_done_after(void)
{
    return window.settings().doneAfter;
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

void *ifc_sim_tables(void)
{
    return &window.tables();
}

void ifc_sim_time_out(unsigned int after, unsigned int count)
{
    window.injectFault(engine::TransferFault::NeverComplete, after, count);
}

void ifc_sim_classify(const unsigned char *frame, unsigned int length, int source_interface, int gem_port,
                      struct ifc_sim_verdict *verdict)
{
    engine::SideData side;
    side.sourceInterface = source_interface;
    side.gemPort = gem_port;
    const engine::Result result = classifier->classify(frame, length, side, parsed);
    engine::reportHits(result.hits, *gpIfcPriv);
    *verdict = {result.entry, result.hits.lut0, {result.hits.lut1[0], result.hits.lut1[1]}};
}
