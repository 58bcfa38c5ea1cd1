// SPDX-License-Identifier: MIT OR GPL-2.0
#include "frame_shapes.h"

#include "conditions.h"
#include "rule_words.h"

#include "ifc/records/chip.h"

#include <algorithm>
#include <tuple>

namespace ifcctl
{

namespace
{

constexpr uint64_t kTcp = 6;
constexpr uint64_t kUdp = 17;

// The parts of a shape, each in bits of its own.
struct Shape {
    unsigned tags; // 0 to 2
    bool hasType;
    bool hasPorts;
    unsigned ip; // 4, 6, or 0
    uint64_t type;
    uint64_t protocol;

    uint64_t key() const
    {
        return protocol | type << 8 | uint64_t{ip} << 24 | uint64_t{hasPorts} << 27 |
               uint64_t{hasType} << 28 | uint64_t{tags} << 29;
    }
};

Shape shapeOf(const engine::FieldImage &fields)
{
    using engine::fieldValue;
    using engine::hasField;
    Shape shape{};
    shape.tags = (fieldValue(fields, VPM0) != ifc::kVpmNone ? 1u : 0u) +
                 (fieldValue(fields, VPM1) != ifc::kVpmNone ? 1u : 0u);
    shape.hasType = hasField(fields, ETYPE);
    shape.type = fieldValue(fields, ETYPE);
    shape.hasPorts = hasField(fields, DPORT);
    if (hasField(fields, IPv4_PROTOCOL)) {
        shape.ip = 4;
        shape.protocol = fieldValue(fields, IPv4_PROTOCOL);
    } else if (hasField(fields, IPv6_NEXT_HEADER)) {
        shape.ip = 6;
        shape.protocol = fieldValue(fields, IPv6_NEXT_HEADER);
    }
    return shape;
}

std::string textOf(const Shape &shape)
{
    std::string text = shape.tags == 0 ? "untagged" : shape.tags == 1 ? "1 tag" : "2 tags";
    ifc_rule rule{};
    if (shape.hasType)
        rule.condition[rule.count++] = makeCondition(ETYPE, IFC_COMPARE_EQUAL, 0xFFFF, shape.type);
    if (shape.ip != 0)
        rule.condition[rule.count++] = makeCondition(shape.ip == 4 ? IPv4_PROTOCOL : IPv6_NEXT_HEADER,
                                                     IFC_COMPARE_EQUAL, 0xFF, shape.protocol);
    text += ", " + (rule.count == 0 ? std::string("no eth_type") : matchText(rule));
    if (shape.ip != 0 && (shape.protocol == kTcp || shape.protocol == kUdp) && !shape.hasPorts)
        text += ", no ports";
    return text;
}

} // namespace

void FrameShapes::count(const engine::FieldImage &fields, uint32_t length, size_t capture, uint64_t number)
{
    const Shape shape = shapeOf(fields);
    const auto [at, isNew] = groups_.try_emplace(shape.key());
    ShapeGroup &group = at->second;
    if (isNew)
        group = {textOf(shape), 0, 0, capture, number};
    ++group.frames;
    group.bytes += length;
}

std::vector<ShapeGroup> FrameShapes::groups() const
{
    std::vector<ShapeGroup> list;
    for (const auto &[key, group] : groups_)
        list.push_back(group);
    std::sort(list.begin(), list.end(), [](const ShapeGroup &a, const ShapeGroup &b) {
        return std::make_tuple(~a.frames, a.capture, a.firstNumber) <
               std::make_tuple(~b.frames, b.capture, b.firstNumber);
    });
    return list;
}

} // namespace ifcctl
