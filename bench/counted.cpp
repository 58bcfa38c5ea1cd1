// SPDX-License-Identifier: MIT OR GPL-2.0
// One hot operation, repeated, for a count of its instructions (scripts/bench-counts.sh).
// Usage: counted OPERATION TIMES; counted alone lists the operations.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "engine/classifier.h"
#include "frame_mix.h"
#include "gateway_rules.h"
#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"

using namespace engine;

namespace
{

RegisterWindow window;
std::unique_ptr<Classifier> classifier;
unsigned char bytes[9216];
volatile uint64_t sink;

void placeGateway()
{
    for (const gateway::Rule &rule : gateway::rules()) {
        orva_ifc_param request = gateway::requestOf(rule);
        if (ifc_set_lut_rules_auto(&request) < 0)
            std::exit(1);
    }
}

void checksum(int length)
{
    sk_buff skb{};
    skb.data = bytes;
    skb.len = static_cast<unsigned>(length);
    sink = skb_chksum(&skb, length);
}

void header()
{
    sk_buff skb{};
    skb.data = bytes;
    skb.len = sizeof bytes;
    sink = ipv4_checksum(&skb, 14);
}

void codec()
{
    unsigned masks[32];
    unsigned keys[32];
    get_lut0_mask_key(3, masks, keys);
    set_lut0_mask_key(3, masks, keys);
}

void classify()
{
    ParsedFrame parsed;
    for (const frames::Bytes &frame : frameMix())
        sink = static_cast<uint64_t>(classifier->classify(frame.data(), frame.size(), {}, parsed).entry);
}

void compile()
{
    window.touch();
    sink = classifier->match(FieldImage{});
}

struct Operation {
    const char *name;
    void (*run)();
} const operations[] = {
    {"ipv4_checksum", header},
    {"skb_chksum_20", [] { checksum(20); }},
    {"skb_chksum_64", [] { checksum(64); }},
    {"skb_chksum_1500", [] { checksum(1500); }},
    {"codec_of_a_rule", codec},
    {"full_rewrite", [] { (void)write_all_ifc_rule_to_hw(); }},
    {"classify_2048_frames", classify},
    {"compile_tables", compile},
};

} // namespace

int main(int argc, char **argv)
{
    for (unsigned n = 0; n < sizeof bytes; ++n)
        bytes[n] = static_cast<unsigned char>(n * 7 + 3);
    host::reset();
    window.powerOn({});
    host::attach(&window);
    host::muteLog(true);
    for (const Operation &operation : operations) {
        if (argc < 3) {
            std::printf("%s\n", operation.name);
        } else if (std::strcmp(argv[1], operation.name) == 0) {
            placeGateway();
            window.write(IFC_GLB_CFG, IFC_GLB_CFG_ENABLE);
            classifier = std::make_unique<Classifier>(window);
            classify(); // compiles the tables
            for (int n = std::atoi(argv[2]); n > 0; --n)
                operation.run();
            return 0;
        }
    }
    return argc < 3 ? 0 : 2;
}
