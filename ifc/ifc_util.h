/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * The rule layer of the packet classifier: one C header, usable from C11 and from C++.
 *
 * Conventions, stated once:
 *
 *   Results   0 = done; -1 = a refused argument or a failed search, after a message; -62 (-ETIME) = the
 *             hardware did not report completion; otherwise a place (index). "Always 0" means that transfer
 *             failures are reported by message only.
 *   Index     actions and counter entries are numbered like the rules: 0..7 is LUT0 rule 0..7, 8 + k is LUT1
 *             entry k. Checks differ between operations; each description states its own.
 *   MAC       a 48-bit mask or key travels as (high, low): low = bits 31..0, high = bits 47..32. Keep the
 *             upper half of the high word 0: the setters of one condition ignore it, but mask reduction and
 *             all searches take the whole word. All other fields use the low word only.
 *   Reduced   a contiguous mask as LUT1 entries store it: bit 31 = direction (0: ones from the most
 *   mask      significant bit of the width, 1: ones from bit 0), bits 5..0 = number of ones (1 to 48);
 *             0xFFFFFFFF = cannot be expressed.
 *   Messages  go through printk. [at] marks the prefix "%s [%d]: " with base name and line of the reporting
 *             source. Errors and dumps print at every level. Where dbgLevel counts, the description says so.
 *   Locking   one spin lock, gpIfcPriv->lock, taken with interrupts disabled. An operation takes it where its
 *             description says so and nowhere else. The shadow tables never change while it is held. Callers
 *             serialise rule and register operations among themselves. Nothing sleeps: a transfer that does
 *             not complete costs three busy waits of 1 ms.
 *   Rollback  none. What an operation wrote before it failed stays.
 *   Traffic   register accesses are exact: no more, no fewer and in the order stated. In terms of
 *             ifc/ifc_regs.h, a transfer is one write of IFC_RULE_CFG and one to three reads of it.
 *
 * "Known:" marks behaviour that looks odd, is intended, and is relied on.
 */
#ifndef IFC_UTIL_H
#define IFC_UTIL_H

#include "ifc/ifc_glb.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------------------------------------
 * Register transfer and classifier switch
 * ------------------------------------------------------------------------------------------------------ */

/*
 * Moves one row between the data registers and a table: builds the command word, writes it to IFC_RULE_CFG
 * and polls for completion. For a write the caller has loaded the data registers, for a read it reads them
 * next.
 *
 * index 0..255, offset 0..63, sel 0..3 (IFC_SEL_*), type 0..3 (IFC_TYPE_*); each is cut to its field.
 * Returns 0 or -62. Takes no lock: callers hold it or are serialised otherwise.
 * Prints at DBG_MSG  [at]"ifcSetRuleConfig is 0x%08x.\n"
 *        on time-out [at]"Timeout for set IFC Rule configuration.\n"
 */
int ifcSetRuleConfig(uint8_t index, uint8_t offset, int sel, int type);

/*
 * Polls register reg until one of the bits doneBit is set: at most three reads, 1 ms busy wait after each
 * that does not show it. Returns 0 or -62. Takes no lock.
 * Known: the third wait takes place although no read follows it.
 */
int ifcChecConfigDone(uint32_t reg, uint32_t doneBit);

/*
 * Rewrites the hardware's LUT0 and LUT1 from the shadow tables. Always 0.
 *
 * Each LUT0 rule is invalidated (row 10 = 0), gets its body (rows 0..9) and becomes valid again with row 10,
 * written last; then the 32 LUT1 entries. 128 transfers, 528 register writes in all; with the done bit at the
 * first read, 128 reads. Holds the lock throughout: up to 384 ms when every transfer times out.
 * Known: revisions 14 and 15 get no LUT0 writes. The revision is queried inside the lock, afresh for each
 * rule and each comparison (one query a rule on revision 14, two on any other).
 */
int write_all_ifc_rule_to_hw(void);

/* Zeroes both shadow tables. Always 0. No register access, no lock: the hardware keeps its rules until the
 * next rewrite. */
int clear_all_ifc_rules(void);

/*
 * Invalidates LUT0 rule ruleId, or all eight for any other value than 0..7: clears word 0 (valid bit, enable
 * bitmap) in the shadow and in the hardware. Always 0. Takes no lock and does not ask for the revision.
 * Known: commands, masks and keys stay in both places. LUT1 is not touched.
 */
int clear_ifc_rules(int ruleId);

/*
 * Switch the classifier on, off. Always 0. Read-modify-write of IFC_GLB_CFG bit 0 without lock.
 * Print "Exec. Success.\n".
 */
int ifc_enable(void);
int ifc_disable(void);

/*
 * Prints "IFC :%s .\n" with "Enable" or "Disable". Always 0. No lock.
 * Known: tests the whole register as a signed number greater than 0, not bit 0.
 */
int ifc_get_ifc_staus(void);

/* ------------------------------------------------------------------------------------------------------
 * LUT0 rule image
 * ------------------------------------------------------------------------------------------------------ */

/*
 * The field arrays: 32 words each for masks and keys. Words 0, 1, 2 hold DMAC and SMAC as one 96-bit number,
 * word 0 least significant (DMAC in bits 0..47, SMAC in bits 48..95); word f = 3..31 holds field f,
 * right-aligned. None of the three functions checks anything, prints, or takes a lock.
 */

/* Unpacks mask and key area of shadow rule index (0..7). Writes all 32 words of both arrays. */
void get_lut0_mask_key(int index, uint *Mask, uint *Key);

/*
 * Packs both arrays into shadow rule index (0..7). Bits above a field's width are dropped; valid bit, enable
 * bitmap, commands and the reserved bits of the areas stay as they are.
 */
void set_lut0_mask_key(int index, uint *Mask, uint *Key);

/* Unpacks the record given by pointer, exactly as get_lut0_mask_key() does. */
void set_lut0_mask_key_to_array(IFC_LUT0_Format *lut0Rule, uint *Mask, uint *Key);

/* ------------------------------------------------------------------------------------------------------
 * Rule read-back. No lock: no other transfer may run at the same time.
 * ------------------------------------------------------------------------------------------------------ */

/*
 * Reads LUT0 rule lut0Idx (0..7) back from the hardware (11 transfers, 41 data reads) and prints it with
 * ifc_parser_lut0_rule(). Returns 0, or -1 for an index out of range.
 * Prints "ERROR:Lut0Idx should be between 0 and %d.\n" with 8.   Known: 8 itself is refused.
 */
int ifc_get_rule_from_reg(int lut0Idx);

/*
 * Prints a record, field by field; ruleId is the number that is printed. Always 0.
 * Prints "LUT0-%2d : Disable.\n" and no more for a rule that is not valid; else for each enabled field, in
 * pieces, "LUT0-%2d field:%2d %s, Enable, " "CMD:%d, " "Mask:%x_%x, Key:%x_%x\n" (MAC) or "Mask:%x,
 * Key:%x\n", and from DBG_ST on for each other field [at]"LUT0-%2d field:%2d %s; Disable.\n".
 */
int ifc_parser_lut0_rule(IFC_LUT0_Format *p_LUT0_Rule, int ruleId);

/*
 * Prints shadow rule ruleId (0..7), or all eight for 8. Returns 0, or -1 out of range.
 * Known: despite its name it touches no register. Its refusal carries the function's name and no brackets:
 * "%s %d : lut0Id should be less than %d\n" with the name, the line and 8.
 */
int ifc_get_rule_from_hw(int ruleId);

/* ------------------------------------------------------------------------------------------------------
 * LUT0 programming
 * ------------------------------------------------------------------------------------------------------ */

/*
 * Sets the condition on field fieldIdx (1..31) of LUT0 rule ifcIndex (0..7), enables it, makes the rule valid
 * and rewrites the tables. Returns 0, or -1 when an argument was refused (then nothing has changed).
 *
 * command: 0..1 for fields 1 to 13, 0..3 for 14 to 31. mask, key: (high, low), low right-aligned.
 * Prints [at]"Error: Lut0 Index is %d, which should less than %d\n"
 *        [at]"Error: lut0 Field Index should between 1 and 31\n"
 *        [at]"Error: the command of %s should less than 2!\n"
 * Lock: inside the rewrite only.
 * Known: IFC_DISABLE switches the whole rule off and forgets which fields were enabled; it checks the command
 * all the same. A command above 3 spills into the commands of the fields above (never beyond field 31 or 16).
 */
int ifc_set_lut0_rules(uint ifcIndex, IFC_Mode_t enMode, uint fieldIdx, uint command, uint mask_high,
                       uint mask_low, uint key_high, uint key_low);

/* Zeroes shadow rule idx (0..7, not checked). No register access, no lock, no message. */
void ifc_delete_lut0(int idx);

/* ------------------------------------------------------------------------------------------------------
 * LUT1 programming
 * ------------------------------------------------------------------------------------------------------ */

/*
 * Writes the condition on field fieldIdx (1..47) into LUT1 entry ifcIndex (0..31), and into the one after it
 * for a MAC mask that covers bits of both halves, and rewrites the tables. Overwrites what was there.
 * Returns the index after the last entry written, or -1 when an argument was refused (nothing has changed).
 *
 * endFlag: bit 0 marks the last entry of a rule. command: 0..1 for fields 1 to 13, else 2 bits are kept.
 * mask: the reduced mask for fields 1 to 13, a plain 16-bit mask for 14 to 47.
 * Prints [at]"Error: Lut1 Index is %d, which should less than %d\n"
 *        [at]"Error: Field Index is %d, which should between 1 and 47\n"
 *        [at]"Error: the command of %s should less than 2!\n"
 *        [at]"Error: fieldIdx:%s, ifcIndex:%d, forbidden cross sub-table!\n" (a MAC at entry 15 or 31)
 * Lock: inside the rewrite only.
 * Known: IFC_DISABLE clears the valid bit of the one entry ifcIndex, also where a MAC took two entries. The
 * mask is not checked: 0xFFFFFFFF stands for the whole address.
 */
int ifc_set_lut1_rules(uint ifcIndex, IFC_Mode_t enMode, uint endFlag, uint fieldIdx, uint command, uint mask,
                       uint key_high, uint key_low);

/* Zeroes shadow entry idx (0..31, not checked). No register access, no lock, no message. */
void ifc_delete_lut1(int idx);

/*
 * Reduces a contiguous mask that touches one end of its width, mask_bit (32 or 48; with 32 mask_high is not
 * read, with 48 its whole word is). Returns the reduced mask, or 0xFFFFFFFF after
 * "mask should be left->right or right->left, but mask:%04x%8x\n" (48) or "...mask:%8x\n". No lock.
 * When the mask covers neither bit 31 nor bit 0 of the low word, "mask should not be 0!\n" comes first, but
 * not for a 48-bit mask whose low word is 0.
 * Known: ones in bits 0..32 to 0..46 of 48 all reduce to 0x8000002F, as if 47 bits were set.
 */
uint change_mask_from_48_to_32(uint mask_high, uint mask_low, int mask_bit);

/* ------------------------------------------------------------------------------------------------------
 * Automatic placement and deletion
 * ------------------------------------------------------------------------------------------------------ */

/*
 * Places a whole request and rewrites the tables (once a condition, and once at the end). Returns the action
 * index of the rule: 0..7 for LUT0, 8 + its last entry for LUT1; -1 on failure.
 *
 * A MAC counts as two entries. Nine entries or more go to the lowest free LUT0 rule if there is one; all else
 * goes to the shortest run of free LUT1 entries that is long enough (at most 16).
 * Prints [at]"action index is %d\n", or
 *        [at]"Parameters should not be NULL!\n" (an empty list), [at]"lut1 has no space yet, set rule
 *        fail!\n" (nothing has changed), [at]"lut0 configure fail!\n", [at]"mask error, configure fail!\n",
 *        [at]"lut1 configure fail!\n" (the conditions before the failing one stay in place, live).
 * Lock: inside the rewrites only; search and writes are not atomic.
 * Known: conditions after the 31st are neither counted nor placed.
 */
int ifc_set_lut_rules_auto(struct orva_ifc_param *ifc_param_ptr);

/*
 * First entry of the best-fitting run of at least field_num free LUT1 entries inside a sub-table: the
 * shortest, then the lowest; -1 if there is none. field_num 0 finds the shortest run. Reads the shadow only,
 * no lock.
 */
int lut1_has_free_rule(uint field_num);

/*
 * Deletes every LUT0 rule and every LUT1 chain that holds exactly the request's conditions, with their
 * actions, and rewrites the tables. Conditions after the 31st are not counted. Returns 0 when at least one
 * was deleted, else -1.
 *
 * Prints [at]"del fieldIdx %d not support\n" (fields 5 to 13; nothing has changed),
 *        [at]"del ifc lut0 rule not find\n", [at]"del ifc lut1 rule not find\n" (each also when the other
 *        table had one), [at]"del ifc rule index %d\n" for each LUT1 entry, with its action index.
 * Lock: inside ifc_clear_action() and the rewrite only.
 * Known: some requests are not found in LUT1 as they were placed: those with a condition after a MAC, with
 * two MACs, or with a MAC that was written as one entry. Neither is a chain after a stray valid entry without
 * end flag. Valid entries are counted up to the end flag, but the range of as many entries that ends there is
 * compared and deleted. So a chain with a MAC's high part alone is found when exactly one stray entry
 * precedes it, and both are deleted. When a gap lies within the range, its all-zero entry stands for the
 * conditions after a MAC, which are not compared; entries that the gap moves out of the range stay. A MAC
 * whose low part differs is still found by its high part, so a chain with another MAC of the same upper 16
 * bits is deleted as well. A chain of all 32 entries with a MAC is compared with the 32nd condition, too. An
 * empty request deletes the valid LUT0 rules that have no field enabled.
 * Commands and MAC addresses are compared in all bits of the request, in LUT0 all masks and keys are. So a
 * request whose values were cut to their fields when it was placed is not found. Nor is a rule of LUT0 whose
 * request names a field twice.
 */
int ifc_del_lut_rules_auto(struct orva_ifc_param *ifc_param_ptr);

/*
 * 1 when LUT0 rule ifc_idx (0..7) is valid, has exactly field_num fields enabled and holds at least field_num
 * of the request's first 31 conditions (a MAC counts once) up to the first that it does not hold; else 0. No
 * lock.
 */
int ifc_match_rule_lut0(struct orva_ifc_param *ifc_param_ptr, uint field_num, uint ifc_idx);

/*
 * 1 when the request's conditions are found among the field_num LUT1 entries from ifc_idx_start on (a MAC
 * counts twice); else 0. field_num 0 gives 1. Valid bits and end flags are not read. No lock.
 * A mask that cannot be reduced prints its message at each entry that is compared with an IPv4 address, and
 * at each type 1 entry that is compared with a MAC.
 * Known: the mask length of a MAC's low part is compared in 4 bits; a matched MAC high part steps over the
 * next condition; a low part that matches at the end of the range reads the entry after it (an all-zero
 * one after entry 31): a matching high part there fails the whole request, any other entry counts as found.
 */
int ifc_match_rule_lut1(struct orva_ifc_param *ifc_param_ptr, uint field_num, uint ifc_idx_start);

/*
 * Lowest LUT1 entry that holds the condition, or -1. A MAC is found at either of its halves. No lock.
 * Known: MAC and IPv4 addresses are found in entries that are not valid, all other fields are not.
 */
int ifc_match_lut1(ifc_field_param param);

/* ------------------------------------------------------------------------------------------------------
 * Actions. They live in the hardware only: there is no shadow.
 * ------------------------------------------------------------------------------------------------------ */

/* clang-format off */
/*
 * Edits sub-action actIdx (0..16) of entry ifcIndex (0..39): read, change, print, write back.
 * Returns 0, or -1 when refused. Values are cut to their fields' widths (the number after a name);
 * "bit" is the place of the enable bit.
 *
 *   actIdx  bit   value0       value1        value2        value3        printed
 *   0       0     channel 5    queue 3                                   "channel:%d, queue:%d\n"
 *   1       1     fport 4      nbq 5                                     "fport:%d, nbq:%d\n"
 *   2       2     sp_tag 16                                              "sp_tag/gemport:0x%x\n"
 *   3       3     CNT0 6                                                 "CNT0:%d\n"
 *   4       4     CNT1 5                                                 "CNT1:%d\n"
 *   5       5     MTR_G 8                                                "MTR_G:%d\n"
 *   6       6     IPv4 DSCP 8                                            "IPv4 DSCP:%d\n"
 *   7       7     IPv6 TC 8                                              "IPv6 Traffic Class:%d\n"
 *   8       8     vpm0 2       vo0 2         vid0[15:12] 4 vid0[11:0] 12 "vpm0:%d, vo0:%d, vid0:0x%x\n"
 *   9       9     vo1 2        vid1[15:12] 4 vid1[11:0] 12               "vo1:%d, vid1:0x%x\n"
 *   10      10    fqos 1                                                 "fqos:%d\n"
 *   11      11    fast 1                                                 "fast:%d\n"
 *   12      12    mc 1                                                   "mc:%d\n"
 *   13      13    keep pcp 1                                             "keep pcp:%d\n"
 *   14      none  cpu 1        nbq 5                                     "ifc_set_action: cpu:%d, nbq:%d\n"
 *   15      none  owf 1                                                  "owf:%d\n"
 *   16      13    dpi 1                                                  "dpi:%d\n"
 *
 * IFC_DISABLE clears the enable bit and writes the fields as zero. One revision query for 0..14, outside the
 * lock; on revision 12 the enable bits of 4 to 13 stand one lower.
 * Prints [at]"Error: Action Index is %d, which should less than %d\n"
 *        [at]"Error: Field Index is %d, which should between 1 and 47\n" (Known: that is actIdx above 16)
 *        [at]"WARNING: ifcIndex is %d Action index is %d, packets matched ifc rules and send to ppe will
 *        cause error\n" in one line
 * Lock: around the read and, separately, around the write-back; two edits at once can lose one.
 * Known: while ifcSendToPpe is 0 only sub-action 14 is accepted; the refusal of any other is destructive, it
 * zeroes the entry in the hardware and the owning rule in the shadow. Sub-action 1 clears cpu in either mode;
 * 1 and 14 share nbq, and 1 prints it uncut. Disabling 15 or 16 still writes bit 0 of value0. 13 and 16 share
 * an enable bit (on revision 12, 3 and 4 share one).
 */
/* clang-format on */
int ifc_set_action(uint ifcIndex, uint actIdx, IFC_Mode_t enMode, uint value0, uint value1, uint value2,
                   uint value3);

/*
 * Zeroes action entry ifcIndex (0..39) in the hardware. Returns 0, or -1 out of range.
 * Prints [at]"del ifc action index  %d\n" after releasing the lock, or
 *        [at]"Error: Action Index is %d, which should less than %d\n".
 * Lock: around the transfer.
 */
int ifc_clear_action(uint ifcIndex);

/* Zeroes all 40 action entries in the hardware. Always 0. Prints nothing. Holds the lock throughout. */
int clear_all_ifc_actions(void);

/*
 * Prints action entry ifcIndex (0..39, not checked; low 8 bits count) as read from the hardware: one line in
 * pieces, "  Action: enable:%x, OWF:%x", then one piece for each enable bit, "\n". Always 0. Takes no lock.
 * Known: cpu and dpi are never shown; bit 13 always shows as keep pcp; the revision 12 shift is not applied.
 */
int ifc_dump_action(int ifcIndex);

/* ------------------------------------------------------------------------------------------------------
 * Counters and result check
 * ------------------------------------------------------------------------------------------------------ */

/*
 * Binds action entry ifcIndex (0..39) to counter id acntIdx in the binding registers. Returns 0 or -1.
 * Prints [at]"Error: Action Index is %d, which should less than %d\n"
 *        [at]"Error: IFC counter ID is %d, which should between 0 and 15\n"
 * Read-modify-write without lock.
 * Known: 16 is admitted; it leaves the entry's own slot 0 and sets bit 0 of the next slot of the register.
 */
int ifc_set_acnt(uint ifcIndex, uint acntIdx);

/*
 * Reads counter entry ifcIndex (0..39): bytes (64 bits) and packets (56 bits). Returns 0, or -1 out of range,
 * after [at]"Error: Action Index is %d, which should less than %d\n"; then nothing is stored. Takes no lock.
 * Known: the low words are widened as signed numbers, so the upper half reads as all ones when bit 31 is set.
 */
int ifc_get_acnt(uint ifcIndex, unsigned long long *byte_cnt, unsigned long long *pktcnt);

/* Zeroes counter entries 0..39. Holds the lock throughout. The bindings stay. */
void clear_all_ifc_acnt(void);

/*
 * 0 when the hit bitmaps of the driver context show exactly rule index of table ifc_type (IFC_LUT0, IFC_LUT1)
 * and nothing else, or for a negative index nothing at all; else -1. LUT1 takes index 0..63. No lock.
 * Known: for LUT0 an index of 32 to 255 expects nothing to be hit; above 255 the low byte counts.
 */
int checkIFCResult(int ifc_type, int index);

/* ------------------------------------------------------------------------------------------------------
 * Dumps of the shadow tables, for an operator. Always 0. No lock.
 * ------------------------------------------------------------------------------------------------------ */

/*
 * "\nLUT0-%d: valid:0\n", or "\nLUT0-%d: valid:1, enable:%x\n", a line for each enabled field
 * ">>>>Field-%d:%s, Command:%d, Mask:%x_%x, Key:%x_%x\n" (MAC) or ">>>>Field-%d:%s, Command:%d, Mask:%x,
 * Key:%x\n", and the action's line.
 */
int ifc_dump_lut0_rules(void);

/*
 * "\nLUT1-%d: valid:0\n", or "\nLUT1-%d: valid:1, end:%d, Type:0, Sel:%d, Command:%d, Field:%s, Mask:%04x,
 * Key:%04x\n" or "..., Type:1, Direction:%d, Command:%d, Field:%s, Mask:%08x, Key:%08x\n", and the line of
 * the action with the entry's own number. The name of a field from 32 on is "UDF_%d" with the id less 32.
 */
int ifc_dump_lut1_rules(void);

/* The LUT0 dump, then the LUT1 dump. */
int ifc_dump_all_rules(void);

/* ------------------------------------------------------------------------------------------------------
 * VLAN tags and PPPoE. Stateless, no lock.
 *
 * VPM code: 1 = TPID 0x8100 (IEEE 802.1Q), 2 = 0x88A8 (IEEE 802.1ad), 3 = the user-defined TPID of
 * FE_TPID_CFG unless that is zero. The register is read on every call.
 * ------------------------------------------------------------------------------------------------------ */

/* Position of the lowest set bit, counted from 1; 0 when value is 0. */
uint _getLowestBit(uint value);

/* The same, but 1 when value is 0. */
uint getLowestBit(uint value);

/* 1 when eth_type, as it lies in the frame (network byte order), is one of the three TPIDs, else 0. */
int8_t isTPID(uint16_t eth_type);

/* VPM code of eth_type, as it lies in the frame; -1 when it is none. The standard TPIDs come first. */
int32_t transTPIDtoVPM(uint16_t eth_type);

/*
 * TPID of a VPM code, or 0.
 * Known: the result is in host byte order. The two functions above take network byte order.
 */
uint16_t transVPMtoTPID(uint16_t vpm);

/*
 * Reads the PPPoE header (RFC 2516) pre_len bytes after the start of the frame data: 8 bytes, 10 at DBG_MSG;
 * the length of the buffer is not tested. Returns 0 and stores the session id when version and type are 1,
 * else -1 and *sid stays. Both outputs lie as in the frame (network byte order).
 * Known: *ppp_tag, the two bytes after the header, is stored also when the result is -1.
 * At DBG_MSG prints the header between two rules of 14 and 17 equals signs.
 */
int32_t getPppoeSid(struct sk_buff *skb, uint32_t pre_len, uint16_t *sid, uint16_t *ppp_tag);

/* ------------------------------------------------------------------------------------------------------
 * Checksums (RFC 1071) and packet dump. Stateless, no lock. Ranges count from skb->data and must lie inside
 * it.
 *
 * Big-endian 16-bit words, an odd last byte as the high byte of a word, are added into a 32-bit accumulator,
 * which is folded twice; the result is the complement, in host byte order. At DBG_MSG each whole word prints
 * "data: %x\n" with the accumulator, from DBG_WARN on the steps named below print. At lower levels the sum is
 * computed in wide steps, with the same result.
 * ------------------------------------------------------------------------------------------------------ */

/*
 * Checksum of the first lens bytes. A lens of 0 or less sums nothing and returns 0xFFFF.
 * At DBG_WARN prints [at]"data: %x\n".
 */
unsigned int skb_chksum(const struct sk_buff *skb, int lens);

/*
 * Checksum of the 20 bytes from offset on: an IPv4 header (RFC 791) without its options.
 * Known: an offset of -20 to -1 sums nothing and returns 0xFFFF.
 * At DBG_WARN prints [at]"ipv4_checksum: offset:%d\n" and [at]"data: %x\n".
 */
unsigned int ipv4_checksum(const struct sk_buff *skb, int offset);

/*
 * Checksum of the bytes from offset to the end of the frame data, plus length and protocol as plain numbers.
 * From the source address of an IPv4 header without options on, that is the TCP or UDP checksum (RFC 9293,
 * RFC 768).
 * An empty buffer adds length and protocol only.
 * At DBG_WARN prints [at]"tcp_udp_checksum: offset:%d\n" and [at]"checksum1: %x\n", at DBG_MSG also
 * "data: %x\n" with the sum before length and protocol are added.
 */
unsigned int tcp_udp_checksum(const struct sk_buff *skb, int offset, uint16_t tcp_udp_length,
                              uint8_t tcp_udp_protocol);

/*
 * Prints "skb=%lx skb->head=%lx skb->end=%lx \n data=%lx len=%d mark=%lx \n" and the frame data, 16 bytes a
 * line, "%04x: %s\n" with "%02x " for each byte. At every level.
 */
void dump_skb(struct sk_buff *skb);

#ifdef __cplusplus
}
#endif

#endif
