// SPDX-License-Identifier: MIT OR GPL-2.0
// The whole state of a simulated chip and its driver, as a value and as bytes.
//
// The format. Numbers are little-endian:
//
//   offset  size  content
//        0     8  "IFCSTATE"
//        8     4  format version, 1
//       12     4  length of the whole file in bytes, 4484
//       16     4  chip revision
//       20     4  non-zero: frames that hit may go to the packet engine
//       24    12  hit bitmaps: LUT0 rules, LUT1 entries 0 to 31, entries 32 to 63
//       36     4  FE_TPID_CFG
//       40     4  IFC_GLB_CFG
//       44    20  IFC_ACNT_CFG, five registers
//       64  1312  LUT0 of the hardware, 8 records of 41 words, word 0 first
//     1376   256  LUT1 of the hardware, 32 records of 2 words
//     1632   640  actions, 40 records of 4 words
//     2272   640  counters, 40 rows of 4 words in the order of IFC_DATA0 to IFC_DATA3
//     2912  1312  LUT0 of the driver's shadow
//     4224   256  LUT1 of the driver's shadow
//     4480     4  CRC-32 of everything before it (IEEE 802.3 clause 3.2.9)
#pragma once

#include "engine/register_window.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace state
{

struct ChipState {
    uint32_t revision = 0;
    uint32_t sendToPpe = 0;
    uint32_t hitMaps[3] = {};
    uint32_t tpidConfig = 0;
    uint32_t globalConfig = 0;
    uint32_t counterBinding[IFC_ACNT_CFG_COUNT] = {};
    engine::Tables tables{};
    IFC_LUT0_Format shadowLut0[IFC_LUT0_RULES] = {};
    IFC_LUT1_Format shadowLut1[IFC_LUT1_RULES] = {};
};

// Why these bytes cannot be used as a state.
enum class Damage {
    None,
    Foreign,   // does not begin like a state file
    Newer,     // a newer format version
    Truncated, // shorter than a header, or than the header says
    Longer,    // longer than the header says
    Checksum,
};

// CRC-32 of IEEE 802.3. That of "123456789" is 0xCBF43926.
uint32_t crc32(std::string_view bytes);

std::string encode(const ChipState &chip);
// Fills `chip` only if it returns Damage::None.
Damage decode(std::string_view bytes, ChipState &chip);

// A clause for messages: "is no ifcctl state file".
const char *describe(Damage damage);

// Reads the state of the chip and of this process's driver, between two commands.
ChipState capture(engine::RegisterWindow &window, int revision);
// Writes registers and tables of a chip that was just powered on, and the driver's shadow.
void restore(const ChipState &chip, engine::RegisterWindow &window);

} // namespace state
