// SPDX-License-Identifier: MIT OR GPL-2.0
// Compares flower filters at two ports: at one the classifier decides (skip_sw), at its twin, a veth
// pair, software does (skip_hw). The same frames are sent to both. Frames that a filter redirects arrive
// at `sink`; what the host receives arrives there too, with mark and priority as a trailer
// (ifc_host_test.ko). Each frame must arrive at both, byte for byte the same, or at none.
// Usage: churn SEED CHANGES EVERY FRAMES [CAPTURE...]
//   CHANGES  random filters are added and deleted at both ports. Mostly they push a tag with their own
//            number. After every EVERY changes FRAMES random frames are sent, some from the captures.
//   0        the filters that are there: each frame of the captures as it is, then FRAMES random frames
// Prints a summary; exits with 1 if a result differs. The filters stay.
#define _GNU_SOURCE // sched_setaffinity
#include "churn.h"

#include <arpa/inet.h>
#include <errno.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <linux/pkt_cls.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

enum { FILTERS = 40, PENDING = 64, LAST_TAG = 4000, TRAILER = 16 };

uint64_t state;
uint32_t draw(uint32_t below)
{
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    return (uint32_t)(state >> 33) % below;
}

struct way {
    const char *name;
    const char *wire, *port, *other, *sink; // frames redirected to `other` arrive at `sink`
    int send, receive;
    struct {
        size_t length;
        uint8_t bytes[FRAME];
    } seen[PENDING];
};
static struct way ways[2] = {
    {.name = "chip", .wire = "ifc0w", .port = "ifc0", .other = "ifc1", .sink = "ifc1w"},
    {.name = "twin", .wire = "tw0w", .port = "tw0", .other = "tw1", .sink = "tw1w"}};

static struct {
    unsigned added, deleted, refused, full, twice, differ, chip_only, redirected, host, sent;
    double changes, sending[2]; // seconds
} sums;

static int open_socket(const char *device)
{
    int fd = socket(AF_PACKET, SOCK_RAW, htons(ETH_P_ALL));
    struct sockaddr_ll address = {.sll_family = AF_PACKET, .sll_protocol = htons(ETH_P_ALL)};
    int one = 1;
    address.sll_ifindex = if_nametoindex(device);
    if (fd < 0 || !address.sll_ifindex || bind(fd, (struct sockaddr *)&address, sizeof address) < 0 ||
        setsockopt(fd, SOL_PACKET, PACKET_AUXDATA, &one, sizeof one) < 0) {
        perror(device);
        exit(2);
    }
    return fd;
}

// The frame with its outer tag restored, which the kernel delivers separately. 0: none, or an outgoing frame.
static size_t take(int fd, uint8_t *bytes)
{
    uint8_t raw[FRAME];
    char control[256];
    struct sockaddr_ll from;
    struct iovec part = {raw, sizeof raw};
    struct msghdr header = {.msg_name = &from,
                            .msg_namelen = sizeof from,
                            .msg_iov = &part,
                            .msg_iovlen = 1,
                            .msg_control = control,
                            .msg_controllen = sizeof control};
    ssize_t got = recvmsg(fd, &header, MSG_DONTWAIT);
    if (got < 14 || from.sll_pkttype == PACKET_OUTGOING)
        return 0;
    for (struct cmsghdr *c = CMSG_FIRSTHDR(&header); c != NULL; c = CMSG_NXTHDR(&header, c)) {
        struct tpacket_auxdata *aux = (struct tpacket_auxdata *)CMSG_DATA(c);
        if (c->cmsg_type != PACKET_AUXDATA || !(aux->tp_status & TP_STATUS_VLAN_VALID))
            continue;
        uint16_t tag[2] = {htons(aux->tp_vlan_tpid), htons(aux->tp_vlan_tci)};
        memcpy(bytes, raw, 12);
        memcpy(bytes + 12, tag, 4);
        memcpy(bytes + 16, raw + 12, got - 12);
        return got + 4;
    }
    memcpy(bytes, raw, got);
    return got;
}

// Whether the host received it: it has the trailer of ifc_host_test.ko.
static bool from_host(const uint8_t *bytes, size_t length)
{
    static const uint8_t magic[4] = {0x1F, 0xC7, 0xE5, 0x7B};
    return length > TRAILER && memcmp(bytes + length - TRAILER, magic, 4) == 0;
}

// Receives until the last frame of the batch, which always arrives. A batch of one frame needs no identifier.
static bool collect(struct way *way, uint32_t first, unsigned count)
{
    memset(way->seen, 0, sizeof way->seen);
    for (int waits = 0; waits < 50;) {
        uint8_t bytes[FRAME];
        size_t length = take(way->receive, bytes);
        if (length == 0) {
            struct pollfd waiting = {way->receive, POLLIN, 0};
            if (poll(&waiting, 1, 100) == 0)
                waits++;
            continue;
        }
        bool host = from_host(bytes, length);
        uint32_t n = number_of(bytes, length - (host ? TRAILER : 0)) - first;
        if (n == count)
            return true;
        if (count == 1)
            n = 0;
        if (n > count)
            continue;
        // Software has no receive queues.
        if (host)
            memset(bytes + length - 4, 0, 4);
        way->seen[n].length = length;
        memcpy(way->seen[n].bytes, bytes, length);
    }
    return false;
}

static void show(const char *name, const uint8_t *bytes, size_t length)
{
    printf("NOTE   %s: ", name);
    for (size_t n = 0; n < length; n++)
        printf("%02x", bytes[n]);
    printf("%s\n", length == 0 ? "discarded" : from_host(bytes, length) ? " (host)" : "");
}

// The seconds since the given time, which is then set to now.
static double lap(struct timespec *then)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    double seconds = now.tv_sec - then->tv_sec + (now.tv_nsec - then->tv_nsec) * 1e-9;
    *then = now;
    return seconds;
}

static uint8_t frames[PENDING][FRAME];
static size_t lengths[PENDING];

// Sends the first `count` frames both ways and compares what arrives. Their identifiers count from `first`.
static bool exchange(uint32_t first, unsigned count, const char *what, unsigned number)
{
    // The last frame of each batch: its own filter, before all others.
    uint8_t last[60] = {2, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 2, 0, 0, 0, 0, 9, 0x88, 0xB6};
    struct timespec from = {0};
    identify(last + sizeof last - IDENTIFIER, first + count);
    for (int w = 0; w < 2; w++) {
        lap(&from);
        for (unsigned k = 0; k < count; k++)
            if (send(ways[w].send, frames[k], lengths[k], 0) < 0)
                perror("send");
        sums.sending[w] += lap(&from);
        if (send(ways[w].send, last, sizeof last, 0) < 0)
            perror("send");
        if (!collect(&ways[w], first, count)) {
            printf("NOTE %s %u: the last frame of the batch did not arrive by way of the %s\n", what, number,
                   ways[w].name);
            return false;
        }
    }
    sums.sent += count;
    for (unsigned k = 0; k < count; k++) {
        const uint8_t *bytes = ways[0].seen[k].bytes;
        size_t length = ways[0].seen[k].length;
        if (from_host(bytes, length))
            sums.host++;
        else
            sums.redirected += length != 0;
        if (length == ways[1].seen[k].length && memcmp(bytes, ways[1].seen[k].bytes, length) == 0)
            continue;
        sums.chip_only += length == 0;
        if (++sums.differ <= 5) {
            printf("NOTE %s %u: fates differ\n", what, number);
            show("sent", frames[k], lengths[k]);
            show("chip", bytes, length);
            show("twin", ways[1].seen[k].bytes, ways[1].seen[k].length);
        }
    }
    return true;
}

static bool send_random(uint32_t *number, unsigned count, const char *what, unsigned which)
{
    uint32_t first = *number;
    for (unsigned k = 0; k < count; k++)
        lengths[k] = make_frame(frames[k], (*number)++);
    (*number)++;
    return exchange(first, count, what, which);
}

static struct filter filters[FILTERS];
static unsigned live;

static void delete_one(void)
{
    unsigned which = draw(live);
    for (int w = 0; w < 2; w++) {
        int result = delete (if_nametoindex(ways[w].port), &filters[which]);
        if (result != 0) {
            printf("NOTE deleting filter %u at the %s: %s\n", filters[which].handle, ways[w].name,
                   strerror(-result));
            sums.differ++;
        }
    }
    filters[which] = filters[--live];
    sums.deleted++;
}

// False: the twin did not take a filter that the chip took.
static bool add_one(unsigned change)
{
    struct filter filter = make_filter(change + 1);
    uint32_t tag = 1 + change % LAST_TAG;
    uint64_t before = state;
    int result =
        add(if_nametoindex(ways[0].port), if_nametoindex(ways[0].other), &filter, tag, TCA_CLS_FLAGS_SKIP_SW);
    if (result == 0) {
        state = before;
        result = add(if_nametoindex(ways[1].port), if_nametoindex(ways[1].other), &filter, tag,
                     TCA_CLS_FLAGS_SKIP_HW);
        if (result != 0) {
            printf("NOTE filter %u at the twin: %s %s\n", filter.handle, strerror(-result), reason);
            return false;
        }
        filters[live++] = filter;
        sums.added++;
    } else if (result == -ENOSPC) {
        sums.full++;
    } else if (result == -EEXIST) {
        sums.twice++;
    } else {
        static char known[16][sizeof reason]; // each reason is printed once
        unsigned n = 0;
        while (n < 16 && known[n][0] != '\0' && strcmp(known[n], reason) != 0)
            n++;
        if (n < 16 && known[n][0] == '\0') {
            strcpy(known[n], reason);
            printf("NOTE protocol %04x refused: %s %s\n", filter.protocol, strerror(-result), reason);
        }
        sums.refused++;
    }
    return true;
}

static bool run(unsigned changes, unsigned every, unsigned batch)
{
    uint32_t number = 0;
    struct timespec from = {0};
    if (changes == 0) {
        for (unsigned n = 0; n < example_count; n++) {
            lengths[0] = example(frames[0], n);
            if (!exchange(number, 1, "example", n + 1))
                return false;
            number += 2;
        }
        for (unsigned left = batch; left != 0;) {
            unsigned now = left < PENDING ? left : PENDING;
            if (!send_random(&number, now, "after frame", sums.sent))
                return false;
            left -= now;
        }
    }
    for (unsigned n = 0; n < changes; n++) {
        lap(&from);
        if (live == FILTERS || (live != 0 && draw(100) < 20 + live * 2))
            delete_one();
        else if (!add_one(n))
            return false;
        sums.changes += lap(&from);
        if (n % every == every - 1 && !send_random(&number, batch, "change", n))
            return false;
    }
    return true;
}

int main(int argc, char **argv)
{
    if (argc < 5) {
        fprintf(stderr, "usage: churn SEED CHANGES EVERY FRAMES [CAPTURE...]\n");
        return 2;
    }
    state = strtoull(argv[1], NULL, 0);
    unsigned changes = atoi(argv[2]), every = atoi(argv[3]), batch = atoi(argv[4]);
    if (changes != 0 && (batch >= PENDING || every == 0))
        return 2;
    for (int n = 5; n < argc; n++)
        load_examples(argv[n]);
    // One processor: frames arrive in the order in which they were sent.
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(0, &one);
    sched_setaffinity(0, sizeof one, &one);
    open_netlink();
    for (int w = 0; w < 2; w++) {
        ways[w].send = open_socket(ways[w].wire);
        ways[w].receive = open_socket(ways[w].sink);
    }
    bool complete = run(changes, every, batch);
    if (changes == 0)
        printf("%u frames, %u differ, %u discarded by the chip only\n", sums.sent, sums.differ,
               sums.chip_only);
    if (changes != 0) {
        printf("NOTE churn: %u added, %u deleted, %u there already, %u without room, %u refused; %u frames "
               "(%u examples known), %u redirected, %u to the host, %u differ\n",
               sums.added, sums.deleted, sums.twice, sums.full, sums.refused, sums.sent, example_count,
               sums.redirected, sums.host, sums.differ);
        printf("NOTE changes of both took %.1f s; sending to the chip %.1f s, to its twin %.1f s\n",
               sums.changes, sums.sending[0], sums.sending[1]);
    }
    return !complete || sums.differ != 0;
}
