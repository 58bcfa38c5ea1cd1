/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* The parts of churn, a test program: netlink messages, filters, frames. */
#ifndef CHURN_H
#define CHURN_H

#include <linux/rtnetlink.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

enum { FRAME = 1664 }; /* room for any frame */

/* Random numbers. The same state gives the same numbers again. */
extern uint64_t state;
uint32_t draw(uint32_t below);

/* Values of both filters and frames. */
static const uint8_t macs[3][6] = {{2, 0, 0, 0, 0, 1}, {2, 0, 0, 0, 1, 1}, {1, 0, 94, 0, 0, 1}};
static const uint32_t addresses[4] = {0xC0000201, 0xC0000202, 0xC0000301, 0x0A000001};
static const uint16_t ports[5] = {53, 80, 443, 5060, 0};
static const uint8_t protocols[4] = {6, 17, 132, 1};
static const uint8_t octets[4] = {0, 0xB8, 0x29, 0x03};
static const uint8_t icmp_types[3] = {8, 128, 0};
static const uint8_t limits[3] = {1, 63, 64};
static const uint16_t vids[3] = {1, 85, 4094};
static const uint32_t labels[3] = {0, 16, 0xFFFFF};
static const uint16_t sessions[2] = {1, 0x1234};

/* A netlink message about a filter: begin(), attributes, transact(). */
void open_netlink(void);
void begin(int type, int flags, int device, uint32_t handle, uint32_t priority, uint16_t protocol);
void *put(int type, const void *data, size_t length);
void put8(int type, uint8_t value);
void put16(int type, uint16_t value);  /* in network byte order, as put32 */
void put16h(int type, uint16_t value); /* in the machine's, as put32h */
void put32(int type, uint32_t value);
void put32h(int type, uint32_t value);
void *nest(int type);
void end(void *nested);
int transact(void); /* 0 or a negative error number, of which `reason` is the kernel's message */
extern char reason[256];

struct filter {
    uint32_t handle, priority;
    uint16_t protocol;
};
/* A number and a protocol for the next filter. */
struct filter make_filter(uint32_t handle);
/*
 * The same filter for either port if the generator starts from the same state. tag: the VLAN ID that shows
 * it.
 */
int add(int device, int to, const struct filter *filter, uint32_t tag, uint32_t flags);
int delete (int device, const struct filter *filter);

/* version: 4 or 6, if every matching frame has that IP version after at most one tag, or 0. */
void put_actions(int to, uint16_t tag, unsigned version);

/* Frames. Both return the length. With `number` the frame ends with an identifier of IDENTIFIER bytes. */
enum { IDENTIFIER = 8 };
void load_examples(const char *capture);
extern unsigned example_count;
size_t example(uint8_t *frame, unsigned which);
size_t make_frame(uint8_t *frame, uint32_t number); /* every fourth one is an example */
void identify(uint8_t *at, uint32_t number);
uint32_t number_of(const uint8_t *bytes, size_t length); /* ~0: has none */

#endif
