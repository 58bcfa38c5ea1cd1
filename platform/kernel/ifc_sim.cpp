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

namespace
{

class Locked
{
public:
    Locked() : flags_(ifc_sim_lock()) {}
    ~Locked() { ifc_sim_unlock(flags_); }
    Locked(const Locked &) = delete;
    Locked &operator=(const Locked &) = delete;

private:
    unsigned long flags_;
};

} // namespace

void ifc_sim_power_on(unsigned int done_after)
{
    const Locked locked;
    window.powerOn({done_after, false});
    classifier = new (classifierPlace) engine::Classifier(window);
}

unsigned int ifc_sim_done_after(void)
{
    return window.settings().doneAfter;
}

unsigned int ifc_sim_read(unsigned int reg)
{
    const Locked locked;
    return window.read(reg);
}

void ifc_sim_write(unsigned int reg, unsigned int value)
{
    const Locked locked;
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
    const Locked locked;
    engine::SideData side;
    side.sourceInterface = source_interface;
    side.gemPort = gem_port;
    const engine::Result result = classifier->classify(frame, length, side, parsed);
    engine::reportHits(result.hits, *gpIfcPriv);
    *verdict = {result.entry, result.hits.lut0, {result.hits.lut1[0], result.hits.lut1[1]}};
}

void ifc_sim_forward(const unsigned char *frame, unsigned int length, int source_interface, int revision,
                     unsigned char *out, struct ifc_sim_outcome *outcome)
{
    const Locked locked;
    engine::SideData side;
    side.sourceInterface = source_interface;
    const engine::Result result = classifier->classify(frame, length, side, parsed);
    *outcome = {};
    outcome->entry = result.entry;
    engine::Action action{};
    if (result.entry != engine::kNoEntry)
        action = classifier->action(result.entry, revision);
    outcome->length = static_cast<unsigned int>(engine::applyAction(
        action, parsed, classifier->userTpid(), frame, length, out, length + engine::kMaxGrowth));
    outcome->cpu = action.cpu;
    outcome->forward = action.on >> IFC_ACT_FPORT_NBQ & 1;
    outcome->fport = action.fport;
    outcome->nbq = action.nbq;
    outcome->prioritise = action.on >> IFC_ACT_CHANNEL_QUEUE & 1;
    outcome->channel = action.channel;
    outcome->queue = action.queue;
    outcome->tagged = action.on >> IFC_ACT_SP_TAG & 1;
    outcome->sp_tag = action.spTag;
}
static_assert(IFC_SIM_GROWTH == engine::kMaxGrowth);

void ifc_sim_udf(unsigned int n, enum ifc_sim_base base, unsigned int offset)
{
    const Locked locked;
    static_assert(IFC_SIM_BASE_NETWORK == static_cast<int>(engine::UdfBase::Network));
    static_assert(IFC_SIM_BASE_TRANSPORT == static_cast<int>(engine::UdfBase::Transport));
    classifier->setUdf(n, {static_cast<engine::UdfBase>(base), static_cast<uint16_t>(offset)});
}
