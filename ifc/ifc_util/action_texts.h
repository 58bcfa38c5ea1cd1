// SPDX-License-Identifier: MIT OR GPL-2.0
// The texts that the operations print for sub-actions with an enable bit, in the order of their numbers. The
// printed values are those of ifc::kShownFields.
#pragma once

#define IFC_SUB_ACTION_TEXTS(X)     \
    X("channel:%d, queue:%d")       \
    X("fport:%d, nbq:%d")           \
    X("sp_tag/gemport:0x%x")        \
    X("CNT0:%d")                    \
    X("CNT1:%d")                    \
    X("MTR_G:%d")                   \
    X("IPv4 DSCP:%d")               \
    X("IPv6 Traffic Class:%d")      \
    X("vpm0:%d, vo0:%d, vid0:0x%x") \
    X("vo1:%d, vid1:0x%x")          \
    X("fqos:%d")                    \
    X("fast:%d")                    \
    X("mc:%d")                      \
    X("keep pcp:%d")
