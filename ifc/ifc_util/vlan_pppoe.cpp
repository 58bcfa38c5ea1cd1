// SPDX-License-Identifier: MIT OR GPL-2.0
// Helpers of the packet path: VLAN tag protocol identifiers, PPPoE headers, bit search.
#include "ifc/ifc_util.h"

#include "ifc/ifc_regs.h"
#include "ifc/records/chip.h"

#include "report.h"

namespace
{

constexpr uint16_t swapBytes(uint16_t value)
{
    return static_cast<uint16_t>(value << 8 | value >> 8);
}

uint fromNetwork(const unsigned char *bytes)
{
    return static_cast<uint>(bytes[0] << 8 | bytes[1]);
}

// Two bytes as they lie in the frame.
uint16_t asItLies(const unsigned char *bytes)
{
    return static_cast<uint16_t>(bytes[1] << 8 | bytes[0]);
}

uint16_t userTpid()
{
    return static_cast<uint16_t>(get_frame_engine_data(FE_TPID_CFG) >> FE_TPID_CFG_USER_LSB);
}

} // namespace

uint _getLowestBit(uint value)
{
    for (uint position = 1; value != 0; ++position, value >>= 1)
        if (value & 1)
            return position;
    return 0;
}

uint getLowestBit(uint value)
{
    const uint position = _getLowestBit(value);
    return position != 0 ? position : 1;
}

int32_t transTPIDtoVPM(uint16_t eth_type)
{
    const uint vpm = ifc::vpmOf(swapBytes(eth_type), userTpid());
    return vpm != ifc::kVpmNone ? static_cast<int32_t>(vpm) : -1;
}

int8_t isTPID(uint16_t eth_type)
{
    return transTPIDtoVPM(eth_type) > 0 ? 1 : 0;
}

// Known: the result is in host byte order, while the translations above take network byte order.
uint16_t transVPMtoTPID(uint16_t vpm)
{
    return static_cast<uint16_t>(ifc::tpidOf(vpm, userTpid()));
}

int32_t getPppoeSid(struct sk_buff *skb, uint32_t pre_len, uint16_t *sid, uint16_t *ppp_tag)
{
    const unsigned char *header = skb->data + pre_len;
    const uint version = header[0] >> 4;
    const uint type = header[0] & 0xF;
    if (ifc::traces(DBG_MSG)) {
        (void)printk("\n==============\n");
        (void)printk(" Ver=%d\n", version);
        (void)printk(" Type=%d\n", type);
        (void)printk(" Code=%d\n", header[1]);
        (void)printk(" sid=%x\n", fromNetwork(header + 2));
        (void)printk(" Len=%d\n", fromNetwork(header + 4));
        (void)printk(" tag_type=%x\n", fromNetwork(header + 6));
        (void)printk(" tag_len=%d\n", fromNetwork(header + 8));
        (void)printk("=================\n");
    }
    *ppp_tag = asItLies(header + 6); // Known: stored before the header is checked
    if (version != 1 || type != 1)
        return -1;
    *sid = asItLies(header + 2);
    return 0;
}
