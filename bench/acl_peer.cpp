// SPDX-License-Identifier: MIT OR GPL-2.0
#include "acl_peer.h"

#include <cstddef>

#include <rte_acl.h>
#include <rte_byteorder.h>
#include <rte_eal.h>
#include <rte_ip.h>

namespace
{

// The layout that rte_acl requires: a first field of one byte, then groups of four bytes, in network order.
struct Key {
    uint8_t protocol;
    uint8_t padding[3];
    uint32_t source;
    uint32_t destination;
    uint16_t sourcePort;
    uint16_t destinationPort;
};

constexpr unsigned kFields = 5;
constexpr unsigned kBatch = 32;

RTE_ACL_RULE_DEF(Rule, kFields);

rte_acl_ctx *context;
std::vector<Key> keys;
std::vector<const uint8_t *> pointers;

rte_acl_field_def field(unsigned n, uint8_t type, uint8_t size, uint8_t input, size_t offset)
{
    rte_acl_field_def definition{};
    definition.type = type;
    definition.size = size;
    definition.field_index = static_cast<uint8_t>(n);
    definition.input_index = input;
    definition.offset = static_cast<uint32_t>(offset);
    return definition;
}

} // namespace

bool aclPrepare(const std::vector<FiveTupleRule> &rules, const std::vector<FiveTuple> &tuples)
{
    char name[] = "bench", noHuge[] = "--no-huge", noPci[] = "--no-pci";
    char alone[] = "--no-shconf";
    char quiet[] = "--log-level=lib.*:error", memory[] = "-m", megabytes[] = "128", lcores[] = "-l",
         one[] = "0";
    char *arguments[] = {name, noHuge, noPci, alone, quiet, memory, megabytes, lcores, one};
    if (rte_eal_init(static_cast<int>(std::size(arguments)), arguments) < 0)
        return false;

    rte_acl_param parameters{};
    parameters.name = "rules";
    parameters.socket_id = SOCKET_ID_ANY;
    parameters.rule_size = RTE_ACL_RULE_SZ(kFields);
    parameters.max_rule_num = static_cast<uint32_t>(rules.size());
    context = rte_acl_create(&parameters);
    if (context == nullptr)
        return false;

    std::vector<Rule> list(rules.size());
    for (size_t n = 0; n < rules.size(); ++n) {
        const FiveTupleRule &from = rules[n];
        Rule &to = list[n];
        to = {};
        to.data.category_mask = 1;
        to.data.priority = static_cast<int32_t>(rules.size() - n);
        to.data.userdata = static_cast<uint32_t>(n + 1);
        to.field[0].value.u8 = from.key.protocol;
        to.field[0].mask_range.u8 = 0xFF;
        to.field[1].value.u32 = from.key.source & ~0u << (32 - from.sourceBits);
        to.field[1].mask_range.u32 = from.sourceBits;
        to.field[2].value.u32 = from.key.destination & ~0u << (32 - from.destinationBits);
        to.field[2].mask_range.u32 = from.destinationBits;
        to.field[3].value.u16 = from.anySourcePort ? uint16_t{0} : from.key.sourcePort;
        to.field[3].mask_range.u16 = from.anySourcePort ? uint16_t{0xFFFF} : from.key.sourcePort;
        to.field[4].value.u16 = from.anyDestinationPort ? uint16_t{0} : from.key.destinationPort;
        to.field[4].mask_range.u16 = from.anyDestinationPort ? uint16_t{0xFFFF} : from.key.destinationPort;
    }
    rte_acl_config config{};
    config.num_categories = 1;
    config.num_fields = kFields;
    config.defs[0] = field(0, RTE_ACL_FIELD_TYPE_BITMASK, 1, 0, offsetof(Key, protocol));
    config.defs[1] = field(1, RTE_ACL_FIELD_TYPE_MASK, 4, 1, offsetof(Key, source));
    config.defs[2] = field(2, RTE_ACL_FIELD_TYPE_MASK, 4, 2, offsetof(Key, destination));
    config.defs[3] = field(3, RTE_ACL_FIELD_TYPE_RANGE, 2, 3, offsetof(Key, sourcePort));
    config.defs[4] = field(4, RTE_ACL_FIELD_TYPE_RANGE, 2, 3, offsetof(Key, destinationPort));
    if (rte_acl_add_rules(context, reinterpret_cast<rte_acl_rule *>(list.data()),
                          static_cast<uint32_t>(list.size())) != 0 ||
        rte_acl_build(context, &config) != 0 || rte_acl_set_ctx_classify(context, RTE_ACL_CLASSIFY_AVX2) != 0)
        return false;

    keys.resize(tuples.size());
    pointers.resize(tuples.size());
    for (size_t n = 0; n < tuples.size(); ++n) {
        const FiveTuple &t = tuples[n];
        keys[n] = {t.protocol,
                   {},
                   rte_cpu_to_be_32(t.source),
                   rte_cpu_to_be_32(t.destination),
                   rte_cpu_to_be_16(t.sourcePort),
                   rte_cpu_to_be_16(t.destinationPort)};
        pointers[n] = reinterpret_cast<const uint8_t *>(&keys[n]);
    }
    return true;
}

void aclClassify(std::vector<uint32_t> &results)
{
    for (size_t n = 0; n + kBatch <= pointers.size(); n += kBatch)
        rte_acl_classify(context, &pointers[n], &results[n], kBatch, 1);
}
