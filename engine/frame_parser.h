// SPDX-License-Identifier: MIT OR GPL-2.0
// Takes the fields out of a frame. Where the hardware does not say which bytes make a field, the model
// chooses: docs/hardware-model.md. Freestanding, no heap.
#pragma once

#include <stddef.h>

#include "engine/field_image.h"

namespace engine
{

// Model: the codes of FRAME_TYPE.
enum class FrameType : uint8_t {
    EthernetII = 0,
    Llc = 1,  // IEEE 802.3 with another LLC header than SNAP
    Snap = 2, // IEEE 802.3, LLC/SNAP with the OUI 00-00-00 (RFC 1042): ETYPE is its protocol id
    PppoeDiscovery = 3,
    PppoeSession = 4,
    Undefined = 5, // a length/type word between 0x05DD and 0x05FF
};

// Model: the codes of DMAC_TYPE.
enum class DmacType : uint8_t { Unicast = 0, Multicast = 1, Broadcast = 2 };

// What comes with a frame, but not in it. Negative: not known, so the field is not present.
struct SideData {
    int32_t sourceInterface = -1; // SINF, 0 to 31
    int32_t gemPort = -1;         // GEMPORT, 0 to 65535
};

enum class UdfBase : uint8_t {
    Frame,     // the first byte of the frame
    Network,   // the byte after the last type or protocol word: ParsedFrame::network
    Transport, // the byte after the IPv4 header or the IPv6 header chain; not in later fragments
};

struct UdfPlace {
    UdfBase base;
    uint16_t offset;
};

struct ParserSettings {
    uint16_t userTpid = 0;    // the user-defined VLAN TPID, host byte order, 0 = none
    uint16_t udfs = 0xFFFF;   // bit n: UDFn is taken out
    UdfPlace udf[16] = {};    // see defaultUdfs()
    bool udfsInOrder = false; // all places are the default ones; set by prepareUdfs()
    uint16_t udfKeep[16] = {};
};

// Model: UDFn is the n-th 16-bit word of the network header unless placed otherwise.
void defaultUdfs(ParserSettings &settings);

// Prepares the fast path for default places. Call it after each change of `udfs` or `udf`.
void prepareUdfs(ParserSettings &settings);

struct ParsedFrame {
    FieldImage fields;
    // Offset of what follows the last EtherType, SNAP or PPP protocol word, or the length of an LLC frame. 0:
    // none.
    uint32_t network;
    // Offset of the transport header of an unfragmented packet or a first fragment. 0: none.
    uint32_t transport;
    uint8_t tags;      // complete VLAN tags found at the front, 0 to 2, from byte 12 on
    uint8_t ipVersion; // 4 or 6 when a valid IP header of that version is at `network`, else 0
};

// Reads no byte but the `length` bytes from `data` on. They do not include the frame check sequence.
void parseFrame(const uint8_t *data, size_t length, const SideData &side, const ParserSettings &settings,
                ParsedFrame &parsed);

} // namespace engine
