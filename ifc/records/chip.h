// SPDX-License-Identifier: MIT OR GPL-2.0
// Facts about the chip: revisions, VLAN tag codes, entry numbers, the bounds of the placement. Table sizes
// are in ifc/ifc_glb.h, registers and rows in ifc/ifc_regs.h.
#pragma once

#include "ifc/ifc_glb.h"

namespace ifc
{
namespace
{

// Chip revisions, as GET_HIR() returns them.
constexpr int kRevisionSharedCounterEnable = 12;  // one enable bit for both counters of an action
constexpr int kRevisionsWithoutLut0[] = {14, 15}; // their LUT0 must not be written

constexpr bool hasWritableLut0(int revision)
{
    for (const int without : kRevisionsWithoutLut0)
        if (revision == without)
            return false;
    return true;
}

// VLAN tag protocol identifiers in host byte order, and the VPM codes that stand for them in fields and
// actions.
constexpr uint16_t kTpid8021Q = 0x8100;
constexpr uint16_t kTpid8021ad = 0x88A8;
constexpr uint kVpmNone = 0;
constexpr uint kVpm8021Q = 1;
constexpr uint kVpm8021ad = 2;
constexpr uint kVpmUser = 3; // the TPID of FE_TPID_CFG

// The VPM code of a type word; kVpmNone when it is no TPID. `userTpid` 0: none is set.
constexpr uint vpmOf(uint type, uint userTpid)
{
    if (type == kTpid8021Q)
        return kVpm8021Q;
    if (type == kTpid8021ad)
        return kVpm8021ad;
    return userTpid != 0 && type == userTpid ? kVpmUser : kVpmNone;
}

// The TPID of a VPM code; 0 for kVpmNone, for a code above 3 and for kVpmUser while none is set.
constexpr uint tpidOf(uint vpm, uint userTpid)
{
    switch (vpm) {
    case kVpm8021Q:
        return kTpid8021Q;
    case kVpm8021ad:
        return kTpid8021ad;
    case kVpmUser:
        return userTpid;
    default:
        return 0;
    }
}

// Rules, actions and counters share one number space: 0 to 7 the LUT0 rules, 8 + k LUT1 entry k.
constexpr bool isWideAction(uint action)
{
    return action < IFC_LUT0_RULES;
}

constexpr uint actionOfEntry(uint entry)
{
    return IFC_LUT0_RULES + entry;
}

constexpr uint entryOfAction(uint action) // 8 to 39
{
    return action - IFC_LUT0_RULES;
}
static_assert(actionOfEntry(IFC_LUT1_RULES - 1) == IFC_ACTIONS - 1 && IFC_COUNTERS == IFC_ACTIONS);
static_assert(IFC_LUT1_RULES % IFC_LUT1_SUB_TABLE == 0);

// How many conditions of a request the automatic placement and deletion read. Known: the LUT1 loop of the
// placement reads up to 48.
constexpr uint kCountedConditions = 31;
// A request of this many counted entries or more goes to LUT0, or to LUT1 when LUT0 is full.
constexpr uint kWideFromCount = 9;

// A counter entry in the order of IFC_DATA0 to IFC_DATA3: 64 bits of bytes, then 56 bits of packets.
constexpr uint32_t kCounterTopWord = 0x00FFFFFFu; // what the last word stores

} // namespace
} // namespace ifc
