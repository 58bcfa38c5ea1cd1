/* SPDX-License-Identifier: MIT OR GPL-2.0 */
#ifndef C_USER_H
#define C_USER_H

#include "ruleset/ruleset.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The number of the rule, or the result of the call that failed. */
int c_user_put_first(struct ifc_ruleset *set, struct ifc_ruleset *before, uint64_t source, uint32_t queue);

#ifdef __cplusplus
}
#endif

#endif
