// SPDX-License-Identifier: MIT OR GPL-2.0
// Random frames, with the values that the filters ask for, and the frames of captures.
#include "churn.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static uint8_t *p8(uint8_t *at, uint8_t value)
{
    *at = value;
    return at + 1;
}
static uint8_t *p16(uint8_t *at, uint16_t value)
{
    return p8(p8(at, value >> 8), value);
}
static uint8_t *p32(uint8_t *at, uint32_t value)
{
    return p16(p16(at, value >> 16), value);
}

static uint8_t *transport(uint8_t *at, uint8_t protocol)
{
    if (protocol == 1 || protocol == 58) {
        at = p8(at, draw(2) ? icmp_types[draw(3)] : draw(256));
        return p16(p32(p8(at, draw(2)), draw(1 << 30)), 0);
    }
    at = p16(at, draw(2) ? ports[draw(5)] : draw(65536));
    at = p16(at, draw(3) ? ports[draw(5)] : draw(65536));
    if (protocol == 6) {
        at = p32(p32(at, draw(1 << 30)), draw(1 << 30));
        at = p16(at, (draw(8) ? 0x5000 : draw(16) << 12) | (draw(2) ? 0x02 : draw(0x1000)));
        return p16(p32(at, draw(1 << 30)), 0);
    }
    return p32(p32(at, draw(1 << 30)), draw(1 << 30));
}

static uint8_t *ipv4(uint8_t *at, uint16_t payload)
{
    // Known: for MPLS in IPv4, 137, software uses the inner protocol as the EtherType (docs/linux.md).
    uint8_t protocol = draw(6) ? protocols[draw(4)] : draw(137);
    unsigned options = draw(8) ? 0 : 4 * draw(11);
    uint8_t *start = at;
    at = p8(p8(at, 0x45 + options / 4), draw(2) ? octets[draw(4)] : draw(256));
    at = p16(at, 0);
    at = p16(at, draw(65536));
    // Not fragmented, first, later, last.
    at = p16(at, draw(3)   ? (draw(2) ? 0x4000 : 0)
                 : draw(2) ? 0x2000
                           : (draw(2) ? 0x2000 : 0) | (1 + draw(0x1FFF)));
    at = p8(p8(at, draw(2) ? limits[draw(3)] : draw(256)), protocol);
    at = p16(at, 0);
    at = p32(p32(at, addresses[draw(4)]), addresses[draw(4)]);
    memset(at, 1, options);
    at = transport(at + options, protocol);
    p16(start + 2, at - start + payload);
    uint32_t sum = 0;
    for (unsigned n = 0; n < 20 + options; n += 2)
        sum += start[n] << 8 | start[n + 1];
    sum = (sum & 0xFFFF) + (sum >> 16);
    p16(start + 10, ~(sum + (sum >> 16)));
    return at;
}

static uint8_t *ipv6(uint8_t *at, uint16_t payload)
{
    uint8_t protocol = draw(6) ? protocols[draw(3)] : 58;
    uint8_t class = draw(2) ? octets[draw(4)] : draw(256);
    unsigned extension = draw(6);
    uint8_t *start = at;
    at = p32(at, 6u << 28 | class << 20 | draw(1 << 20));
    at = p16(at, 0);
    // A hop-by-hop header, a fragment header, or none.
    at = p8(at, extension == 0 ? 0 : extension == 1 ? 44 : protocol);
    at = p8(at, draw(2) ? limits[draw(3)] : draw(256));
    for (int n = 0; n < 2; n++)
        at = p32(p32(p32(p32(at, 0x20010db8), 0), draw(2)), addresses[draw(4)]);
    if (extension == 0)
        at = p32(p16(p8(p8(at, protocol), 0), 0x0104), 0);
    if (extension == 1)
        at = p32(p16(p8(p8(at, protocol), 0), draw(2) ? 1 : draw(0x2000) << 3 | draw(2)), draw(1 << 30));
    at = transport(at, protocol);
    p16(start + 4, at - start - 40 + payload);
    return at;
}

static uint8_t *packet(uint8_t *at)
{
    switch (draw(10)) {
    case 0:
    case 1:
    case 2:
    case 3:
        return ipv4(p16(at, ETH_P_IP), 8);
    case 4:
    case 5:
        return ipv6(p16(at, ETH_P_IPV6), 8);
    case 6: {
        at = p16(p16(p16(p16(at, ETH_P_ARP), 1), ETH_P_IP), 0x0604);
        at = p16(at, draw(8) ? 1 + draw(2) : draw(5));
        memcpy(at, macs[draw(3)], 6);
        at = p32(at + 6, addresses[draw(4)]);
        memcpy(at, macs[draw(3)], 6);
        return p32(at + 6, addresses[draw(4)]);
    }
    case 7:
        at = p16(at, ETH_P_MPLS_UC);
        return p32(p32(at, labels[draw(3)] << 12 | draw(16) << 8 | (draw(2) ? 64 : 63)), draw(1 << 30));
    case 8: {
        uint8_t *length;
        at = p16(p16(p16(at, ETH_P_PPP_SES), 0x1100), sessions[draw(2)]);
        length = at;
        at = p16(at, 0);
        if (draw(3))
            at = ipv4(p16(at, 0x0021), 8);
        else
            at = p32(p16(at, 0xC021), draw(1 << 30));
        p16(length, at - length - 2 + 8);
        return at;
    }
    default:
        return p32(p16(at, draw(2) ? 0x88B5 : 0x0600 + draw(0xF000)), draw(1 << 30));
    }
}

enum { EXAMPLES = 512 };
static struct {
    size_t length;
    uint8_t bytes[FRAME];
} examples[EXAMPLES];
unsigned example_count;

// Ethernet frames of a capture in this machine's byte order.
void load_examples(const char *name)
{
    FILE *file = fopen(name, "rb");
    uint32_t header[6], record[4];
    static uint8_t bytes[1 << 18];
    if (file == NULL || fread(header, sizeof header, 1, file) != 1 || header[5] != 1 ||
        (header[0] != 0xA1B2C3D4 && header[0] != 0xA1B23C4D)) {
        fprintf(stderr, "churn: %s: accepted: Ethernet captures of this byte order\n", name);
        exit(2);
    }
    while (fread(record, sizeof record, 1, file) == 1) {
        // Its room includes an identifier, two tags and the trailer of ifc_host_test.
        if (record[2] > FRAME - 64 || example_count == EXAMPLES ||
            fread(bytes, 1, record[2], file) != record[2]) {
            fprintf(stderr, "churn: %s: accepted: %d frames of up to %d bytes\n", name, EXAMPLES, FRAME - 64);
            exit(2);
        }
        // A netdev does not send less than an Ethernet header.
        if (record[2] < 14)
            continue;
        examples[example_count].length = record[2];
        memcpy(examples[example_count++].bytes, bytes, record[2]);
    }
    fclose(file);
}

size_t example(uint8_t *frame, unsigned which)
{
    memcpy(frame, examples[which].bytes, examples[which].length);
    return examples[which].length;
}

static const uint32_t identifier = 0x1FC7E57A;

void identify(uint8_t *at, uint32_t number)
{
    p32(p32(at, identifier), number);
}

uint32_t number_of(const uint8_t *bytes, size_t length)
{
    uint32_t words[2];
    if (length < IDENTIFIER)
        return ~0u;
    memcpy(words, bytes + length - IDENTIFIER, IDENTIFIER);
    return words[0] == htonl(identifier) ? ntohl(words[1]) : ~0u;
}

size_t make_frame(uint8_t *frame, uint32_t number)
{
    uint8_t *at = frame;
    if (example_count != 0 && draw(4) == 0) {
        at += example(frame, draw(example_count));
    } else {
        memcpy(at, macs[draw(3)], 6);
        memcpy(at + 6, macs[draw(2)], 6);
        at += 12;
        for (unsigned tags = draw(3) ? 0 : 1 + draw(2); tags > 0; tags--)
            at = p16(p16(at, draw(6) ? ETH_P_8021Q : ETH_P_8021AD), draw(16) << 12 | vids[draw(3)]);
        at = packet(at);
    }
    identify(at, number);
    return at + IDENTIFIER - frame;
}
