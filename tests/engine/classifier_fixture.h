// SPDX-License-Identifier: MIT OR GPL-2.0
// The rule layer on a fresh simulated chip, and the chip's classifier.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "engine/classifier.h"
#include "frames.h"
#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"
#include "random.h"

class ClassifierTest : public testing::Test
{
protected:
    void SetUp() override
    {
        host::reset();
        window.powerOn({});
        host::attach(&window);
        host::muteLog(true);
        clear_all_ifc_rules();
        ifcSendToPpe = 1;
        ifc_enable();
    }
    void TearDown() override { host::reset(); }

    engine::Result classify(const frames::Bytes &frame, const engine::SideData &side = {})
    {
        engine::ParsedFrame parsed;
        const engine::Result result = classifier->classify(frame.data(), frame.size(), side, parsed);
        engine::reportHits(result.hits, *gpIfcPriv);
        return result;
    }
    static void add(orva_ifc_param &request, unsigned field, unsigned command, uint64_t mask, uint64_t key)
    {
        unsigned n = 0;
        while (request.fieldIdx[n] != 0)
            ++n;
        request.fieldIdx[n] = field;
        request.command[n] = command;
        request.mask_low[n] = static_cast<uint32_t>(mask);
        request.mask_high[n] = static_cast<uint32_t>(mask >> 32);
        request.key_low[n] = static_cast<uint32_t>(key);
        request.key_high[n] = static_cast<uint32_t>(key >> 32);
    }

    engine::RegisterWindow window;
    std::unique_ptr<engine::Classifier> classifier = std::make_unique<engine::Classifier>(window);
};

// What a rule asks of one field.
struct Term {
    unsigned field;
    unsigned command;
    uint64_t mask;
    uint64_t key;
};

// A mask that a narrow entry can hold.
inline uint64_t contiguousMask(Random &random, unsigned field)
{
    if (field > IFC_LAST_WORD_FIELD)
        return (random.oneIn(3) ? engine::fieldOnes(field) : (random.wide() & engine::fieldOnes(field))) | 1;
    const unsigned width = field <= IFC_LAST_MAC_FIELD ? 48 : 32;
    const uint64_t ones = width == 48 ? 0xFFFFFFFFFFFF : 0xFFFFFFFF;
    if (field == FLOW_LABEL)
        return (uint64_t{1} << (1 + random.below(20))) - 1;
    if (random.oneIn(2))
        return ones & ones << random.below(width);
    // No MAC mask from bit 0 on is longer than 32 bits: LUT1 stores each longer one as 47 bits.
    return (uint64_t{1} << (1 + random.below(32))) - 1;
}
