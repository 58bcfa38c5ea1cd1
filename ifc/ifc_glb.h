/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * Shared declarations of the classifier driver: table sizes, record unions, the driver context and the
 * externs of the tables that the driver's units share. Usable from C11 and from C++.
 *
 * Every record is a union of plain words (what moves through the data registers, ifc/ifc_regs.h) and a
 * bit-field view. Bit-fields are declared from the least significant bit on, as compilers for little-endian
 * targets lay them out.
 */
#ifndef IFC_GLB_H
#define IFC_GLB_H

#include "ifc_platform.h"
#include "orva_hook/orva_hook_ifc_type.h"
#include "orva_hook/orva_hook_qdma_type.h"

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "the record views are those of a little-endian processor"
#endif

#ifdef __cplusplus
extern "C" {
#endif

#define IFC_LUT0_RULES       8u  /* wide rules */
#define IFC_LUT1_RULES       32u /* narrow entries */
#define IFC_LUT1_SUB_TABLE   16u /* entries of a LUT1 sub-table; no rule crosses from one to the other */
#define IFC_ACTIONS          40u /* action 0..7: LUT0 rule 0..7; action 8 + k: LUT1 entry k */
#define IFC_COUNTERS         40u /* numbered like the actions */
#define IFC_LUT0_WORDS       41
#define IFC_LUT0_AREA_WORDS  19 /* words of a mask area or a key area */
#define IFC_LUT0_MASK_WORD   3  /* first, that is most significant, word of the mask area */
#define IFC_LUT0_KEY_WORD    22
#define IFC_LUT0_FIELDS      31u /* highest field id that a LUT0 rule holds */
#define IFC_LUT1_FIELDS      47u /* highest field id that a LUT1 entry holds */
#define IFC_LAST_MAC_FIELD   2u  /* fields 1 and 2 are 48 bits wide */
#define IFC_LAST_WORD_FIELD  13u /* 3 to 13 fill a 32-bit entry; 1 to 13 know commands 0 and 1 */
#define IFC_FIELD_NAME_BYTES 32

/*
 * One area (masks or keys) of a LUT0 rule: the 31 fields packed without gaps from bit 0 of the area, which is
 * bit 0 of its LAST word. The record counts words from the most significant end.
 */
typedef struct IFC_LUT0_Area {
    uint32_t pppoe_session : 16, dmac_type : 2, reserved : 14;
    uint32_t dport : 16, sport : 16;
    uint32_t ipv4_protocol : 8, ipv6_next_header : 8, ipv4_dscp : 8, ipv6_traffic_class : 8;
    uint32_t etype : 16, gemport : 16;
    uint32_t vid0 : 12, pbit0 : 4, vid1 : 12, pbit1 : 4;
    uint32_t flow_label : 20, sinf : 5, frame_type : 3, vpm0 : 2, vpm1 : 2;
    uint32_t sipv6_127_96, sipv6_95_64, sipv6_63_32, sipv6_31_0;
    uint32_t dipv6_127_96, dipv6_95_64, dipv6_63_32, dipv6_31_0;
    uint32_t sipv4;
    uint32_t dipv4;
    uint32_t smac_47_16;
    uint32_t dmac_47_32 : 16, smac_15_0 : 16;
    uint32_t dmac_31_0;
} IFC_LUT0_Area;

/*
 * One LUT0 rule, the image of the classifier's 1312-bit rule: word 0 holds bits 1311..1280, word 40 bits
 * 31..0.
 *
 *   word 0      31 valid          30..0 enable, field f at bit f-1
 *   word 1      31..30 reserved   29..0 commands of the fields 17 to 31, field f at bit 2(f-17)
 *   word 2      31..0 commands of the fields 1 to 16, field f at bit 2(f-1)
 *   words 3-21  mask area
 *   words 22-40 key area
 *
 * All zero: a free rule.
 */
typedef union IFC_LUT0_Format {
    uint32_t word[IFC_LUT0_WORDS];
    struct {
        uint32_t enable : 31, valid : 1;
        uint32_t command_17_31 : 30, reserved : 2;
        uint32_t command_1_16;
        IFC_LUT0_Area mask;
        IFC_LUT0_Area key;
    } bits;
} IFC_LUT0_Format;

/*
 * One LUT1 entry. Bit 13 of word 0 is the type of the entry.
 *
 *            31....16  15     14   13    12 11 10 9 8      7          6       5...0
 *           +--------+------+-----+----+----------+-----+----------------------+-------+
 *   type 0  | unused |valid | end | 0  | unused   | sel |       command        | field |   word 0
 *   type 1  | unused |valid | end | 1  |      length    | direction |  command | field |
 *           +--------+------+-----+----+----------+-----+----------------------+-------+
 *   type 0  |           mask            |                key                          |   word 1
 *   type 1  |                           key                                           |
 *           +-------------------------------------------------------------------------+
 *
 *   sel        0: a 16-bit field; 2: bits 47..32 of a MAC address
 *   length     number of mask bits, 0 means 32
 *   direction  0: the mask is the top bits, 1: the bottom bits
 *   end        last entry of a rule
 */
typedef union IFC_LUT1_Format {
    uint32_t word[2];
    struct {
        uint32_t field : 6, command : 2, sel : 2, unused1 : 3, type : 1, end : 1, valid : 1, unused2 : 16;
        uint32_t key : 16, mask : 16;
    } type0;
    struct {
        uint32_t field : 6, command : 1, direction : 1, length : 5, type : 1, end : 1, valid : 1, unused : 16;
        uint32_t key;
    } type1;
} IFC_LUT1_Format;

enum { IFC_LUT1_SEL_FIELD = 0, IFC_LUT1_SEL_MAC_HIGH = 2 };
enum { IFC_LUT1_FROM_TOP = 0, IFC_LUT1_FROM_BOTTOM = 1 };

/*
 * One action entry, 128 bits; word 0 holds bits 127..96. Each bit of `enable` switches a sub-action on.
 * The id of counter 0 is split: its upper two bits are in word 2, its lower four bits in word 3.
 */
typedef union IFC_Action_Format {
    uint32_t word[4];
    struct {
        uint32_t vo0 : 2, vo1 : 2, vpm0 : 2, fqos : 1, fast : 1, mc : 1, keep_pcp : 1, dpi : 1, owf : 1,
            enable : 14, cpu : 1, nbq : 5;
        uint32_t vid0_11_0 : 12, vid0_15_12 : 4, vid1_11_0 : 12, vid1_15_12 : 4;
        uint32_t cnt0_5_4 : 2, cnt1 : 5, reserved : 1, mtr_g : 8, ipv4_dscp : 8, ipv6_traffic_class : 8;
        uint32_t queue : 3, channel : 5, fport : 4, sp_tag : 16, cnt0_3_0 : 4;
    } bits;
} IFC_Action_Format;

/* Sub-actions of an action entry, in the numbering of ifc_set_action(). */
enum {
    IFC_ACT_CHANNEL_QUEUE = 0,
    IFC_ACT_FPORT_NBQ = 1,
    IFC_ACT_SP_TAG = 2,
    IFC_ACT_CNT0 = 3,
    IFC_ACT_CNT1 = 4,
    IFC_ACT_MTR_G = 5,
    IFC_ACT_IPV4_DSCP = 6,
    IFC_ACT_IPV6_TRAFFIC_CLASS = 7,
    IFC_ACT_VLAN0 = 8,
    IFC_ACT_VLAN1 = 9,
    IFC_ACT_FQOS = 10,
    IFC_ACT_FAST = 11,
    IFC_ACT_MC = 12,
    IFC_ACT_KEEP_PCP = 13,
    IFC_ACT_CPU_NBQ = 14,
    IFC_ACT_OWF = 15,
    IFC_ACT_DPI = 16,
    IFC_ACT_COUNT
};

/* One field condition, passed by value to ifc_match_lut1(). Nine words; the first three are not read. */
typedef struct ifc_field_param {
    uint32_t reserved[3];
    uint32_t fieldIdx;
    uint32_t command;
    uint32_t key;       /* 32-bit key, bits 31..0 of a MAC key, or a 16-bit key in the low half */
    uint32_t mask;      /* likewise */
    uint32_t key_high;  /* bits 47..32 of a MAC key */
    uint32_t mask_high; /* bits 47..32 of a MAC mask */
} ifc_field_param;

/*
 * The driver context. The rule layer uses dbgLevel, which comes first, the three hit bitmaps, which are
 * adjacent, and the lock, which follows them. The members between belong to other units of the driver:
 * ifc_platform.h names them in IFC_PRIVATE_MEMBERS, as declarations that end in semicolons. Where C and C++
 * share the context, both must know the types.
 */
#ifndef IFC_PRIVATE_MEMBERS
#define IFC_PRIVATE_MEMBERS
#endif
typedef struct IFC_Private_T {
    uint8 dbgLevel; /* DBG_ERR to DBG_MSG */
    IFC_PRIVATE_MEMBERS
    uint32_t lut0HitMap;  /* bit n: LUT0 rule n was hit */
    uint32_t lut1HitMap0; /* bit n: LUT1 entry n was hit */
    uint32_t lut1HitMap1; /* bit n: LUT1 entry 32 + n was hit */
    spinlock_t lock;      /* rule, action and counter transfers */
} IFC_Private_T;

/*
 * The driver's globals. Another unit (ifc/ifc_state.cpp in this tree) defines them, zero-initialised, before
 * any operation of the rule layer runs. The shadow tables are the authoritative copy of the rules.
 */
extern IFC_Private_T *gpIfcPriv;
extern IFC_LUT0_Format IFC_LUT0_Rule[IFC_LUT0_RULES];
extern IFC_LUT1_Format IFC_LUT1_Rule[IFC_LUT1_RULES];
extern uint8 ifc_field_name[32][IFC_FIELD_NAME_BYTES]; /* entry i names field i, NUL-terminated */
extern uint32_t ifcSendToPpe;                          /* non-zero: frames that hit may go to the PPE */

#ifdef __cplusplus
}
#endif

#endif
