// SPDX-License-Identifier: MIT OR GPL-2.0
#include "tests/support/surroundings.h"
#include "layer_fixture.h"

#include <cstring>

namespace
{

engine::RegisterWindow *current = nullptr;

void record(void *, const engine::Access &access)
{
    support_heard(access.kind == engine::AccessKind::Read ? SUPPORT_READ : SUPPORT_WRITE, access.reg,
                  access.value);
}

unsigned long clockBefore;

void record(host::Event event)
{
    switch (event) {
    case host::Event::Lock:
        support_heard(SUPPORT_LOCK, 0, 0);
        break;
    case host::Event::Unlock:
        support_heard(SUPPORT_UNLOCK, 0, 0);
        break;
    case host::Event::Delay: {
        const unsigned long now = host::clockMilliseconds();
        support_heard(SUPPORT_WAIT, 0, static_cast<unsigned>(now - clockBefore));
        clockBefore = now;
        break;
    }
    case host::Event::RevisionQuery:
        support_heard(SUPPORT_REVISION, 0, 0);
        break;
    }
}

} // namespace

LayerTest::LayerTest()
{
    current = &chip;
    clockBefore = 0;
    host::reset();
    *gpIfcPriv = IFC_Private_T{};
    std::memset(IFC_LUT0_Rule, 0, sizeof IFC_LUT0_Rule);
    std::memset(IFC_LUT1_Rule, 0, sizeof IFC_LUT1_Rule);
    ifcSendToPpe = 0;
    host::attach(&chip);
    host::setLogSink(
        [](std::string_view piece) { support_printed(piece.data(), static_cast<unsigned>(piece.size())); });
    host::setEventWatch([](host::Event event) { record(event); });
    host::setMisuseHandler([](std::string_view what) { ADD_FAILURE() << "spin lock " << what; });
    support::setRevision(0);
    support::powerOn();
}

LayerTest::~LayerTest()
{
    EXPECT_FALSE(host::lockHeld());
    EXPECT_EQ(chip.errors(), 0u) << "an access that the hardware does not know";
    host::reset();
    current = nullptr;
}

extern "C" {

void surroundings_power_on(unsigned done_after)
{
    EXPECT_EQ(current->errors(), 0u) << "an access that the hardware does not know";
    current->powerOn({done_after, true});
    current->onAccess(record, nullptr);
}

void surroundings_set_revision(int revision)
{
    host::setRevision(revision);
}

void surroundings_time_out(unsigned after, unsigned count)
{
    current->injectFault(engine::TransferFault::NeverComplete, after, count);
}

void *surroundings_tables(void)
{
    return &current->tables();
}

unsigned surroundings_errors(void)
{
    return current->errors();
}

void surroundings_fail(const char *file, int line, const char *message)
{
    ADD_FAILURE_AT(file, line) << message;
}
}
