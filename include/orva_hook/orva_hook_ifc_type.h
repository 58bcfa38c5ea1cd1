/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * Types that the classifier shares with the rest of the driver: field ids, mode, table selectors and the
 * classification request. Usable from C11 and from C++.
 */
#ifndef ORVA_HOOK_IFC_TYPE_H
#define ORVA_HOOK_IFC_TYPE_H

#include "ifc_platform.h"

/*
 * The field catalogue: id, name, width in bits.
 *
 * Everything that knows fields is generated from this list: the enumeration below, the printable names, the
 * places of masks and keys in a LUT0 rule, the parsers and printers of the tools. The ids are tied to the
 * hardware formats and must not change.
 *
 *   id  1..2    48 bits, MAC addresses: the only fields that take a (high, low) pair of words
 *   id  3..13   32 bits (flow label: 20): comparison commands 0 and 1 only, like the MAC addresses
 *   id 14..31   up to 16 bits: commands 0 to 3
 *   id 32..47   user-defined 16-bit words of the frame: LUT1 only. Only the first and the last have an
 *               enumerator; the fourteen in between are referred to by number.
 *   id 48..67   results of the parser that no rule table can compare
 */
#define IFC_LUT0_FIELD_LIST(X)   \
    X(1, DMAC, 48)               \
    X(2, SMAC, 48)               \
    X(3, DIPv4, 32)              \
    X(4, SIPv4, 32)              \
    X(5, DIPv6_31_0, 32)         \
    X(6, DIPv6_63_32, 32)        \
    X(7, DIPv6_95_64, 32)        \
    X(8, DIPv6_127_96, 32)       \
    X(9, SIPv6_31_0, 32)         \
    X(10, SIPv6_63_32, 32)       \
    X(11, SIPv6_95_64, 32)       \
    X(12, SIPv6_127_96, 32)      \
    X(13, FLOW_LABEL, 20)        \
    X(14, SINF, 5)               \
    X(15, FRAME_TYPE, 3)         \
    X(16, VPM0, 2)               \
    X(17, VPM1, 2)               \
    X(18, VID0, 12)              \
    X(19, PBIT0, 4)              \
    X(20, VID1, 12)              \
    X(21, PBIT1, 4)              \
    X(22, ETYPE, 16)             \
    X(23, GEMPORT, 16)           \
    X(24, IPv4_PROTOCOL, 8)      \
    X(25, IPv6_NEXT_HEADER, 8)   \
    X(26, IPv4_DSCP, 8)          \
    X(27, IPv6_TRAFFIC_CLASS, 8) \
    X(28, DPORT, 16)             \
    X(29, SPORT, 16)             \
    X(30, PPPOE_SESSION, 16)     \
    X(31, DMAC_TYPE, 2)

#define IFC_UDF_BITS 16

typedef enum {
#define IFC_FIELD_ENUMERATOR(id, name, width) name = id,
    IFC_LUT0_FIELD_LIST(IFC_FIELD_ENUMERATOR)
#undef IFC_FIELD_ENUMERATOR
        UDF0 = 32,
    UDF15 = 47,
    TCP_FLAGS = 48,
    L4_PROTOCOL_VLD = 49,
    L4_PROTOCOL = 50,
    L4_PORT_VLD = 51,
    OUTTER_IPv4 = 52, /* the double T is the interface's own */
    OUTTER_IPv6 = 53,
    IPv4_VLD = 54,
    IPv6_VLD = 55,
    LLC_OTHER = 56,
    IS_PPPOE = 57,
    VLAN0_VLD = 58,
    VLAN1_VLD = 59,
    LUT1_HIT = 60,
    SIP_EQ_DIP = 61,
    SPORT_EQ_DPORT = 62,
    DIP_EQ_ATK = 63,
    SIP_EQ_ATK = 64,
    RTSP_CTRL = 65,
    SIP6_EQ_DIP6 = 66,
    SA_ID = 67,
    FIELD_IDX_MAX
} IFC_FIELDS;

/*
 * Mode of a programming operation. Any non-zero value counts as enable and the whole word is looked at, so
 * C++ must not assume that only the two enumerators occur: there the type is fixed to the word that C uses.
 */
#ifdef __cplusplus
typedef enum : unsigned int { IFC_DISABLE = 0, IFC_ENABLE = 1 } IFC_Mode_t;
#else
typedef enum { IFC_DISABLE = 0, IFC_ENABLE = 1 } IFC_Mode_t;
#endif

/* Selects a rule table. */
enum { IFC_LUT0 = 0, IFC_LUT1 = 1 };

#define IFC_PARAM_CONDITIONS 48

/*
 * A classification request: conditions that must all hold, in six parallel arrays of words. Entry i of every
 * array describes condition i; the list ends at the first fieldIdx that is 0. The caller owns the record, the
 * rule layer only reads it.
 */
struct orva_ifc_param {
    uint32_t fieldIdx[IFC_PARAM_CONDITIONS];  /* IFC_FIELDS, 1 to 47 */
    uint32_t command[IFC_PARAM_CONDITIONS];   /* 0 to 1 for the fields 1 to 13, else 0 to 3 */
    uint32_t mask_low[IFC_PARAM_CONDITIONS];  /* the mask; bits 31..0 of a MAC mask */
    uint32_t mask_high[IFC_PARAM_CONDITIONS]; /* bits 47..32 of a MAC mask, else not looked at */
    uint32_t key_low[IFC_PARAM_CONDITIONS];   /* the key; bits 31..0 of a MAC key */
    uint32_t key_high[IFC_PARAM_CONDITIONS];  /* bits 47..32 of a MAC key, else not looked at */
};

#endif
