/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* Between the tests and the machine they run on: a host process, or a kernel module, which is in C. */
#ifndef SURROUNDINGS_H
#define SURROUNDINGS_H

#ifdef __cplusplus
extern "C" {
#endif

/* What the machine provides. */
void surroundings_power_on(unsigned int done_after); /* all zero; the done bit shows at this read, 0: never */
void surroundings_set_revision(int revision);
void surroundings_time_out(unsigned int after,
                           unsigned int count); /* these transfers from now on never complete */
void *surroundings_tables(void);                /* struct engine::Tables of the hardware */
unsigned int surroundings_errors(void);         /* bad register accesses since power-on */
void surroundings_fail(const char *file, int line, const char *message);

/* What the machine tells. The numbers are those of support::Kind. */
enum support_kind {
    SUPPORT_READ,
    SUPPORT_WRITE,
    SUPPORT_LOCK,
    SUPPORT_UNLOCK,
    SUPPORT_WAIT,
    SUPPORT_REVISION
};
void support_heard(unsigned int kind, unsigned int reg, unsigned int value);
void support_printed(const char *piece, unsigned int length);

/* The tests as the machine sees them. */
const char *support_test_subject(unsigned int n); /* NULL after the last test */
const char *support_test_behaviour(unsigned int n);
void support_test_run(
    unsigned int n); /* from a machine that was just powered on, with all checks around it */

#ifdef __cplusplus
}
#endif

#endif
