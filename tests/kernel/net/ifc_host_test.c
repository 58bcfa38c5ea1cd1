// SPDX-License-Identifier: MIT OR GPL-2.0
// Shows what the host receives at some netdevs. Each frame that is left after the filters of `from` is
// received again at its `to`, with a trailer: a magic number, mark, priority, receive queue (~0: none), of
// four bytes each.
#include <linux/etherdevice.h>
#include <linux/module.h>
#include <linux/netdevice.h>
#include <linux/rtnetlink.h>

#define ENDS 2

static char *from[ENDS];
static unsigned int ends;
module_param_array(from, charp, &ends, 0);
MODULE_PARM_DESC(from, "netdevs, up to 2");
static char *to[ENDS];
module_param_array(to, charp, NULL, 0);
MODULE_PARM_DESC(to, "where their frames are shown, as many");

static struct net_device *source[ENDS];
static struct net_device *sink[ENDS];

static rx_handler_result_t show(struct sk_buff **pskb)
{
    struct sk_buff *skb = *pskb;
    struct net_device *out = rcu_dereference(skb->dev->rx_handler_data);
    struct sk_buff *copy;
    __be32 trailer[4];

    trailer[0] = htonl(0x1FC7E57B);
    trailer[1] = htonl(skb->mark);
    trailer[2] = htonl(skb->priority);
    trailer[3] = htonl(skb_rx_queue_recorded(skb) ? skb_get_rx_queue(skb) : ~0u);
    copy = skb_copy_expand(skb, (int)skb_headroom(skb), sizeof(trailer), GFP_ATOMIC);
    if (copy) {
        skb_put_data(copy, trailer, sizeof(trailer));
        skb_push(copy, (unsigned int)(copy->data - skb_mac_header(copy)));
        copy->dev = out;
        copy->protocol = eth_type_trans(copy, out);
        netif_receive_skb(copy);
    }
    consume_skb(skb);
    return RX_HANDLER_CONSUMED;
}

static void ifc_host_exit(void)
{
    unsigned int n;

    rtnl_lock();
    for (n = 0; n < ENDS; n++) {
        if (source[n])
            netdev_rx_handler_unregister(source[n]);
    }
    rtnl_unlock();
    for (n = 0; n < ENDS; n++) {
        if (source[n])
            dev_put(source[n]);
        if (sink[n])
            dev_put(sink[n]);
    }
}

static int __init ifc_host_init(void)
{
    int result = 0;
    unsigned int n;

    for (n = 0; n < ends && !result; n++) {
        sink[n] = to[n] ? dev_get_by_name(&init_net, to[n]) : NULL;
        source[n] = sink[n] ? dev_get_by_name(&init_net, from[n]) : NULL;
        if (!source[n]) {
            result = -ENODEV;
            break;
        }
        rtnl_lock();
        result = netdev_rx_handler_register(source[n], show, sink[n]);
        rtnl_unlock();
        if (result) {
            dev_put(source[n]);
            source[n] = NULL;
        }
    }
    if (result)
        ifc_host_exit();
    return result;
}

module_init(ifc_host_init);
module_exit(ifc_host_exit);
MODULE_LICENSE("Dual MIT/GPL");
MODULE_DESCRIPTION("Shows what the host receives, with mark, priority and queue");
