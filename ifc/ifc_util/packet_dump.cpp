// SPDX-License-Identifier: MIT OR GPL-2.0
// Hex dump of a socket buffer.
#include "ifc/ifc_util.h"

namespace
{

constexpr uint kBytesPerLine = 16;

unsigned long addressOf(const void *p)
{
    return reinterpret_cast<unsigned long>(p);
}

} // namespace

void dump_skb(struct sk_buff *skb)
{
    (void)printk("skb=%lx skb->head=%lx skb->end=%lx \n data=%lx len=%d mark=%lx \n", addressOf(skb),
                 addressOf(skb->head), addressOf(skb->end), addressOf(skb->data), skb->len,
                 static_cast<unsigned long>(skb->mark));
    for (uint first = 0; first < skb->len; first += kBytesPerLine) {
        char line[80];
        uint used = 0;
        for (uint i = first; i < skb->len && i < first + kBytesPerLine; ++i, used += 3)
            (void)snprintf(line + used, sizeof line - used, "%02x ", skb->data[i]);
        (void)printk("%04x: %s\n", first, line);
    }
}
