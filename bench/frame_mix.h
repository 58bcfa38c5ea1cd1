// SPDX-License-Identifier: MIT OR GPL-2.0
// The frames that the engine's benches take through the engine.
#pragma once

#include <algorithm>
#include <vector>

#include "tests/engine/frames.h"
#include "tests/engine/random.h"

// Eight kinds of headers, 64 to 594 bytes.
inline std::vector<frames::Bytes> makeFrameMix()
{
    using namespace frames;
    Random random(5);
    std::vector<frames::Bytes> mix;
    for (unsigned n = 0; n < 2048; ++n) {
        const unsigned kind = random.below(8);
        const Ipv4 v4 = {.tos = random.below(4) << 4,
                         .protocol = kind % 2 == 0 ? 6u : 17u,
                         .source = 0xC0A80100 + random.below(64),
                         .destination = 0xCB007100 + random.below(64)};
        const Bytes payload = ports(1024 + random.below(64), 5000 + random.below(64), 16);
        Bytes frame = macs(random.oneIn(4) ? "01:00:5e:00:00:05" : "02:11:22:33:44:55",
                           random.oneIn(4) ? "0a:66:77:88:99:bb" : "0a:66:77:88:99:aa");
        size_t length = 64;
        switch (kind) {
        case 0: // TCP
            frame = frame + word16(0x0800) + ipv4(v4, payload);
            break;
        case 1: // UDP
            frame = frame + word16(0x0800) + ipv4(v4, payload);
            length = 128;
            break;
        case 2: // one tag
            frame = frame + tag(0x8100, random.below(4) << 13 | random.below(8)) + word16(0x0800) +
                    ipv4(v4, payload);
            length = 594;
            break;
        case 3: // two tags
            frame =
                frame + tag(0x88A8, 7) + tag(0x8100, random.below(8)) + word16(0x0800) + ipv4(v4, payload);
            length = 256;
            break;
        case 4: // PPPoE
            frame = frame + tag(0x8100, 7) + word16(0x8864) +
                    pppoe(0, 0x1C2A + random.below(2), word16(0x0021) + ipv4(v4, payload));
            length = 300;
            break;
        case 5: // IPv6
            frame = frame + word16(0x86DD) + ipv6({}, payload);
            length = 90;
            break;
        case 6: // IPv6 with an extension header
            frame = frame + word16(0x86DD) + ipv6({.next = 0}, Bytes{17, 0} + fill(6) + payload);
            length = 400;
            break;
        default: // ARP
            frame = frame + word16(0x0806) + fill(46);
            break;
        }
        if (kind == 5 || kind == 6)
            frame[14 + 23] = static_cast<uint8_t>(random.below(4)); // last byte of the source address
        frame.resize(std::max(length, frame.size()), 0);
        mix.push_back(frame);
    }
    return mix;
}

// The same 2048 frames each time.
inline const std::vector<frames::Bytes> &frameMix()
{
    static const std::vector<frames::Bytes> all = makeFrameMix();
    return all;
}
