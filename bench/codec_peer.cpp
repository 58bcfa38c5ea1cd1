// SPDX-License-Identifier: MIT OR GPL-2.0
// The codec of a wide rule as straight-line code, field by field through the record's bit-field view.
#include "ifc/ifc_glb.h"

namespace
{

void unpack(const IFC_LUT0_Area &area, unsigned *array)
{
    array[0] = area.dmac_31_0;
    array[1] = static_cast<unsigned>(area.smac_15_0) << 16 | area.dmac_47_32;
    array[2] = area.smac_47_16;
    array[DIPv4] = area.dipv4;
    array[SIPv4] = area.sipv4;
    array[DIPv6_31_0] = area.dipv6_31_0;
    array[DIPv6_63_32] = area.dipv6_63_32;
    array[DIPv6_95_64] = area.dipv6_95_64;
    array[DIPv6_127_96] = area.dipv6_127_96;
    array[SIPv6_31_0] = area.sipv6_31_0;
    array[SIPv6_63_32] = area.sipv6_63_32;
    array[SIPv6_95_64] = area.sipv6_95_64;
    array[SIPv6_127_96] = area.sipv6_127_96;
    array[FLOW_LABEL] = area.flow_label;
    array[SINF] = area.sinf;
    array[FRAME_TYPE] = area.frame_type;
    array[VPM0] = area.vpm0;
    array[VPM1] = area.vpm1;
    array[VID0] = area.vid0;
    array[PBIT0] = area.pbit0;
    array[VID1] = area.vid1;
    array[PBIT1] = area.pbit1;
    array[ETYPE] = area.etype;
    array[GEMPORT] = area.gemport;
    array[IPv4_PROTOCOL] = area.ipv4_protocol;
    array[IPv6_NEXT_HEADER] = area.ipv6_next_header;
    array[IPv4_DSCP] = area.ipv4_dscp;
    array[IPv6_TRAFFIC_CLASS] = area.ipv6_traffic_class;
    array[DPORT] = area.dport;
    array[SPORT] = area.sport;
    array[PPPOE_SESSION] = area.pppoe_session;
    array[DMAC_TYPE] = area.dmac_type;
}

void pack(IFC_LUT0_Area &area, const unsigned *array)
{
    area.dmac_31_0 = array[0];
    area.dmac_47_32 = array[1] & 0xFFFF;
    area.smac_15_0 = static_cast<uint16_t>(array[1] >> 16);
    area.smac_47_16 = array[2];
    area.dipv4 = array[DIPv4];
    area.sipv4 = array[SIPv4];
    area.dipv6_31_0 = array[DIPv6_31_0];
    area.dipv6_63_32 = array[DIPv6_63_32];
    area.dipv6_95_64 = array[DIPv6_95_64];
    area.dipv6_127_96 = array[DIPv6_127_96];
    area.sipv6_31_0 = array[SIPv6_31_0];
    area.sipv6_63_32 = array[SIPv6_63_32];
    area.sipv6_95_64 = array[SIPv6_95_64];
    area.sipv6_127_96 = array[SIPv6_127_96];
    area.flow_label = array[FLOW_LABEL] & 0xFFFFF;
    area.sinf = array[SINF] & 0x1F;
    area.frame_type = array[FRAME_TYPE] & 7;
    area.vpm0 = array[VPM0] & 3;
    area.vpm1 = array[VPM1] & 3;
    area.vid0 = array[VID0] & 0xFFF;
    area.pbit0 = array[PBIT0] & 0xF;
    area.vid1 = array[VID1] & 0xFFF;
    area.pbit1 = array[PBIT1] & 0xF;
    area.etype = array[ETYPE] & 0xFFFF;
    area.gemport = array[GEMPORT] & 0xFFFF;
    area.ipv4_protocol = array[IPv4_PROTOCOL] & 0xFF;
    area.ipv6_next_header = array[IPv6_NEXT_HEADER] & 0xFF;
    area.ipv4_dscp = array[IPv4_DSCP] & 0xFF;
    area.ipv6_traffic_class = array[IPv6_TRAFFIC_CLASS] & 0xFF;
    area.dport = array[DPORT] & 0xFFFF;
    area.sport = array[SPORT] & 0xFFFF;
    area.pppoe_session = array[PPPOE_SESSION] & 0xFFFF;
    area.dmac_type = array[DMAC_TYPE] & 3;
}

} // namespace

void straightUnpack(const IFC_LUT0_Format &rule, unsigned *masks, unsigned *keys)
{
    unpack(rule.bits.mask, masks);
    unpack(rule.bits.key, keys);
}

void straightPack(IFC_LUT0_Format &rule, const unsigned *masks, const unsigned *keys)
{
    pack(rule.bits.mask, masks);
    pack(rule.bits.key, keys);
}
