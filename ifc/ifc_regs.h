/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * The frame engine's register window onto the classifier: addresses, the transfer command word, row layouts.
 *
 * The classifier's tables are not memory-mapped. A row of up to 128 bits goes through four data registers and
 * is moved by a command:
 *
 *   write: load IFC_DATA0..3, write the command word to IFC_RULE_CFG, poll bit 31
 *   read:  write the command word to IFC_RULE_CFG, poll bit 31, read IFC_DATA0..3
 *
 *   IFC_RULE_CFG, transfer command
 *    31   30....24  23.....16  15 14  13....8  7 6  5 4   3  2 1    0
 *   +----+---------+----------+------+--------+----+-----+---+------+-------+
 *   |done|    0    |  index   |  0   | offset | 0  | sel | 0 | type | start |
 *   +----+---------+----------+------+--------+----+-----+---+------+-------+
 *   index  entry of the table          sel   0 LUT0, 1 LUT1, 2 actions, 3 counters
 *   offset row of the entry            type  0 read, 1 write
 *   done   reads as 1 when the transfer has completed
 *
 *   LUT0, 8 entries of 11 rows; w0..w40 are the words of IFC_LUT0_Format
 *              IFC_DATA0   IFC_DATA1   IFC_DATA2   IFC_DATA3
 *   row 0         w40         w39         w38         w37        bits   127..0 of the rule image
 *   row r      w(40-4r)    w(39-4r)    w(38-4r)    w(37-4r)
 *   row 9         w4          w3          w2          w1         bits 1279..1152
 *   row 10        w0           -           -           -         bits 1311..1280: valid, enable bitmap
 *
 *   LUT1, 32 entries of one row; w0, w1 are the words of IFC_LUT1_Format
 *                 w1          w0           -           -
 *
 *   actions, 40 entries of one row; w0..w3 are the words of IFC_Action_Format
 *                 w3          w2          w1          w0
 *
 *   counters, 40 entries of one row
 *              bytes 31..0  bytes 63..32  packets 31..0  packets 55..32 in bits 23..0
 */
#ifndef IFC_REGS_H
#define IFC_REGS_H

#include "ifc_platform.h"

#define FE_BASE      0xBFB50000u /* where the frame engine's registers begin */
#define FE_TPID_CFG  0xBFB50000u /* bits 31..16: the user-defined VLAN TPID, host byte order, 0 = none */
#define IFC_GLB_CFG  0xBFB50200u /* bit 0: the classifier is on */
#define IFC_RULE_CFG 0xBFB50204u /* transfer command and status */
#define IFC_DATA0    0xBFB50210u
#define IFC_DATA1    0xBFB50214u
#define IFC_DATA2    0xBFB50218u
#define IFC_DATA3    0xBFB5021Cu
#define IFC_ACNT_CFG 0xBFB50240u /* five registers of eight 4-bit counter ids, entry 0 in bits 3..0 */

#define IFC_ACNT_CFG_COUNT    5u
#define IFC_GLB_CFG_ENABLE    0x00000001u
#define FE_TPID_CFG_USER_LSB  16u
#define IFC_ACNT_PER_REGISTER 8u
#define IFC_ACNT_ID_BITS      4u

#define IFC_RULE_CFG_START      0x00000001u
#define IFC_RULE_CFG_DONE       0x80000000u
#define IFC_RULE_CFG_TYPE_LSB   1u
#define IFC_RULE_CFG_SEL_LSB    4u
#define IFC_RULE_CFG_OFFSET_LSB 8u
#define IFC_RULE_CFG_INDEX_LSB  16u

#define IFC_RULE_CFG_TYPE_MASK   0x3u
#define IFC_RULE_CFG_SEL_MASK    0x3u
#define IFC_RULE_CFG_OFFSET_MASK 0x3Fu
#define IFC_RULE_CFG_INDEX_MASK  0xFFu

enum { IFC_TYPE_READ = 0, IFC_TYPE_WRITE = 1 };
enum { IFC_SEL_LUT0 = 0, IFC_SEL_LUT1 = 1, IFC_SEL_ACTION = 2, IFC_SEL_COUNTER = 3 };

#define IFC_ROW_WORDS      4  /* data registers, words of a full row */
#define IFC_LUT0_BODY_ROWS 10 /* rows 0 to 9 */
#define IFC_LUT0_HEAD_ROW  10 /* valid bit and enable bitmap */

/* The command word. Each argument is cut to its field. */
static inline uint32_t ifc_rule_cfg_word(uint32_t index, uint32_t offset, uint32_t sel, uint32_t type)
{
    return IFC_RULE_CFG_START | (type & IFC_RULE_CFG_TYPE_MASK) << IFC_RULE_CFG_TYPE_LSB |
           (sel & IFC_RULE_CFG_SEL_MASK) << IFC_RULE_CFG_SEL_LSB |
           (offset & IFC_RULE_CFG_OFFSET_MASK) << IFC_RULE_CFG_OFFSET_LSB |
           (index & IFC_RULE_CFG_INDEX_MASK) << IFC_RULE_CFG_INDEX_LSB;
}

/* The word of a LUT0 record that data register `data` (0 to 3) carries in row `row` (0 to 10). */
static inline int ifc_lut0_row_word(int row, int data)
{
    return 40 - 4 * row - data;
}

#endif
