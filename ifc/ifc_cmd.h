/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * The driver's command handler. A line of text names an operation of ifc/ifc_util.h and its arguments. The
 * handler calls the operation and prints the result.
 *
 *   ifc_set_action 8 0 1 3 5 0 0                     -> "= 0"
 *   ifc_set_lut_rules_auto 28:0:0xffff:80 24:0:0xff:6 -> "= 9"
 *
 * Numbers are decimal or, with 0x, hexadecimal; negative where the argument is signed. A request is a list of
 * conditions FIELD:COMMAND:MASK:KEY; masks and keys of MAC fields are up to 48 bits wide. A frame is written
 * as hexadecimal digits, two a byte. `help` lists everything, `help NAME` one operation.
 * `get NAME` and `set NAME VALUE` reach dbgLevel and ifcSendToPpe. `get row SEL INDEX OFFSET` reads one row
 * of a table from the hardware and answers with IFC_DATA0 to IFC_DATA3 (or -62); SEL as in
 * ifcSetRuleConfig(). `clear counter INDEX` zeroes one counter entry, 0 to 39, and answers "= ok".
 *
 * The operation's own messages go through printk. Usable from C11 and C++, freestanding.
 */
#ifndef IFC_CMD_H
#define IFC_CMD_H

#ifdef __cplusplus
extern "C" {
#endif

/* Receives the handler's answer, piece by piece, without the driver's lock. Each line ends with a newline. */
typedef void (*ifc_cmd_print)(void *user, const char *text);

enum {
    IFC_CMD_DONE = 0,    /* the line was run; in the answer only a result begins with "= " */
    IFC_CMD_NOTHING = 1, /* an empty line or a comment ('#') */
    IFC_CMD_REFUSED = -1 /* nothing was called; the answer is one line that says what is accepted */
};

/*
 * Runs one line. Not reentrant: callers are serialised, like those of the operations themselves. Takes no
 * lock itself: an operation takes the driver's where ifc_util.h says so, `clear counter` does, `get row`
 * never. Uses less than 1 KiB of stack itself; the request and the frame are in static memory.
 */
int ifc_cmd_run(const char *line, ifc_cmd_print print, void *user);

/*
 * 1: running the line leaves tables, actions, counters and settings as they are. 0: it changes something, or
 * may do so, or names no operation. Runs nothing.
 */
int ifc_cmd_only_reads(const char *line);

#ifdef __cplusplus
}
#endif

#endif
