/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * Types shared by the driver's units: the diagnostic levels.
 *
 * dbgLevel of the driver context is compared with these levels. A message that belongs to a level is printed
 * when dbgLevel has reached that level; errors and dumps print always.
 */
#ifndef ORVA_HOOK_QDMA_TYPE_H
#define ORVA_HOOK_QDMA_TYPE_H

enum {
    DBG_ERR = 0,      /* errors only */
    DBG_ST = 1,       /* and states: the rule printer names the fields that are switched off */
    DBG_WARN = 2,     /* and one line a step of the checksums */
    DBG_MSG = 3,      /* and every transfer command word and every word of a checksum */
    DBG_LEVEL_MAX = 4 /* number of levels; a higher dbgLevel counts as DBG_MSG */
};

#endif
