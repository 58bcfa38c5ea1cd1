// SPDX-License-Identifier: MIT OR GPL-2.0
#include "churn.h"

#include <arpa/inet.h>
#include <errno.h>
#include <linux/pkt_cls.h>
#include <linux/pkt_sched.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>

static int netlink_socket;
char reason[256];

void open_netlink(void)
{
    int yes = 1;
    netlink_socket = socket(AF_NETLINK, SOCK_RAW, NETLINK_ROUTE);
    setsockopt(netlink_socket, SOL_NETLINK, NETLINK_EXT_ACK, &yes, sizeof yes);
}

static struct {
    struct nlmsghdr header;
    struct tcmsg tc;
    char attributes[4096];
} message;

void *put(int type, const void *data, size_t length)
{
    struct rtattr *attribute = (struct rtattr *)((char *)&message + NLMSG_ALIGN(message.header.nlmsg_len));
    attribute->rta_type = type;
    attribute->rta_len = RTA_LENGTH(length);
    if (length != 0)
        memcpy(RTA_DATA(attribute), data, length);
    message.header.nlmsg_len = NLMSG_ALIGN(message.header.nlmsg_len) + RTA_ALIGN(attribute->rta_len);
    return attribute;
}

void put8(int type, uint8_t value)
{
    put(type, &value, sizeof value);
}
void put16(int type, uint16_t value)
{
    value = htons(value);
    put(type, &value, sizeof value);
}
void put16h(int type, uint16_t value)
{
    put(type, &value, sizeof value);
}
void put32(int type, uint32_t value)
{
    value = htonl(value);
    put(type, &value, sizeof value);
}
void put32h(int type, uint32_t value)
{
    put(type, &value, sizeof value);
}
void *nest(int type)
{
    return put(type | NLA_F_NESTED, NULL, 0);
}
void end(void *nested)
{
    ((struct rtattr *)nested)->rta_len =
        (unsigned short)((char *)&message + NLMSG_ALIGN(message.header.nlmsg_len) - (char *)nested);
}

void begin(int type, int flags, int device, uint32_t handle, uint32_t priority, uint16_t protocol)
{
    memset(&message, 0, sizeof message.header + sizeof message.tc);
    message.header.nlmsg_len = NLMSG_LENGTH(sizeof message.tc);
    message.header.nlmsg_type = type;
    message.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK | flags;
    message.tc.tcm_family = AF_UNSPEC;
    message.tc.tcm_ifindex = device;
    message.tc.tcm_handle = handle;
    message.tc.tcm_parent = TC_H_MAKE(TC_H_CLSACT, TC_H_MIN_INGRESS);
    message.tc.tcm_info = TC_H_MAKE(priority << 16, htons(protocol));
}

int transact(void)
{
    static char reply[16384];
    if (send(netlink_socket, &message, message.header.nlmsg_len, 0) < 0)
        return -errno;
    for (;;) {
        ssize_t got = recv(netlink_socket, reply, sizeof reply, 0);
        if (got < 0)
            return -errno;
        const struct nlmsghdr *header = (struct nlmsghdr *)reply;
        if (header->nlmsg_type != NLMSG_ERROR)
            continue;
        const struct nlmsgerr *error = NLMSG_DATA(header);
        reason[0] = '\0';
        if (error->error != 0 && (header->nlmsg_flags & NLM_F_ACK_TLVS) != 0) {
            // The request comes before the attributes unless it was left out.
            size_t skip = NLMSG_ALIGN(sizeof *error) +
                          (header->nlmsg_flags & NLM_F_CAPPED ? 0 : error->msg.nlmsg_len - sizeof error->msg);
            const struct rtattr *attribute = (const struct rtattr *)((const char *)error + NLMSG_ALIGN(skip));
            int left = header->nlmsg_len - NLMSG_HDRLEN - NLMSG_ALIGN(skip);
            for (; RTA_OK(attribute, left); attribute = RTA_NEXT(attribute, left))
                if (attribute->rta_type == NLMSGERR_ATTR_MSG)
                    snprintf(reason, sizeof reason, "%s", (const char *)RTA_DATA(attribute));
        }
        return error->error;
    }
}
