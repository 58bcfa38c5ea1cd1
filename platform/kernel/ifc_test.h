/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* The directed cases as the test module sees them. */
#ifndef IFC_TEST_H
#define IFC_TEST_H

#ifdef __cplusplus
extern "C" {
#else
struct ifc_glue_event;
/* What the cases ask of the module: tests/directed/directed.h. */
void directed_power_on(unsigned int done_after, int revision);
void directed_forget(void);
const char *directed_printed(void);
unsigned int directed_events(void);
void directed_event(unsigned int n, struct ifc_glue_event *event);
void directed_fail(const char *file, int line, const char *what, long long got, long long expected);
#endif

const char *ifc_test_case(unsigned int n); /* its name, NULL behind the last */
void ifc_test_run(unsigned int n);

#ifdef __cplusplus
}
#endif

#endif
