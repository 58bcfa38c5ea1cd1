// SPDX-License-Identifier: MIT OR GPL-2.0
// The fields of an action entry and what the operations print of each sub-action.
#pragma once

#include "ifc/ifc_glb.h"

namespace ifc
{
namespace // nothing of it is exported
{

// A field by its place in the 128-bit entry, in which every field is contiguous. Width 0: no field.
struct ActionField {
    uint8_t lsb;
    uint8_t width;
};

constexpr ActionField kQueue = {0, 3};
constexpr ActionField kChannel = {3, 5};
constexpr ActionField kFport = {8, 4};
constexpr ActionField kSpTag = {12, 16};
constexpr ActionField kCnt0 = {28, 6}; // two words share it
constexpr ActionField kCnt1 = {34, 5};
constexpr ActionField kMtrG = {40, 8};
constexpr ActionField kIpv4Dscp = {48, 8};
constexpr ActionField kIpv6TrafficClass = {56, 8};
constexpr ActionField kVid0 = {64, 16};
constexpr ActionField kVid0Low = {64, 12};
constexpr ActionField kVid0High = {76, 4};
constexpr ActionField kVid1 = {80, 16};
constexpr ActionField kVid1Low = {80, 12};
constexpr ActionField kVid1High = {92, 4};
constexpr ActionField kVo0 = {96, 2};
constexpr ActionField kVo1 = {98, 2};
constexpr ActionField kVpm0 = {100, 2};
constexpr ActionField kFqos = {102, 1};
constexpr ActionField kFast = {103, 1};
constexpr ActionField kMc = {104, 1};
constexpr ActionField kKeepPcp = {105, 1};
constexpr ActionField kDpi = {106, 1};
constexpr ActionField kOwf = {107, 1};
constexpr ActionField kEnable = {108, 14};
constexpr ActionField kCpu = {122, 1};
constexpr ActionField kNbq = {123, 5};

constexpr uint64_t actionFieldOnes(ActionField field)
{
    return (uint64_t{1} << field.width) - 1;
}

// The two words from the field's own upwards; above word 0 there is nothing.
inline uint getActionField(const IFC_Action_Format &action, ActionField field)
{
    const uint word = 3 - field.lsb / 32;
    const uint64_t above = word == 0 ? 0 : action.word[word - 1];
    const uint64_t pair = above << 32 | action.word[word];
    return static_cast<uint>(pair >> field.lsb % 32 & actionFieldOnes(field));
}

inline void setActionField(IFC_Action_Format &action, ActionField field, uint value)
{
    const uint word = 3 - field.lsb / 32;
    const uint64_t place = actionFieldOnes(field) << field.lsb % 32;
    const uint64_t bits = uint64_t{value} << field.lsb % 32 & place;
    action.word[word] = (action.word[word] & ~static_cast<uint32_t>(place)) | static_cast<uint32_t>(bits);
    if (word != 0) {
        uint32_t &above = action.word[word - 1];
        above = (above & ~static_cast<uint32_t>(place >> 32)) | static_cast<uint32_t>(bits >> 32);
    }
}

// What sub-action n shows, in the order in which its values are printed.
constexpr uint kShown = 3;
constexpr ActionField kShownFields[IFC_ACT_COUNT][kShown] = {
    {kChannel, kQueue},
    {kFport, kNbq},
    {kSpTag},
    {kCnt0},
    {kCnt1},
    {kMtrG},
    {kIpv4Dscp},
    {kIpv6TrafficClass},
    {kVpm0, kVo0, kVid0},
    {kVo1, kVid1},
    {kFqos},
    {kFast},
    {kMc},
    {kKeepPcp},
    {kCpu, kNbq},
    {kOwf},
    {kDpi},
};

} // namespace
} // namespace ifc
