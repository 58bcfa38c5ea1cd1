// SPDX-License-Identifier: MIT OR GPL-2.0
// Kbuild must refuse this: nobody would run the initialiser.
extern int elsewhere();
int initialised = elsewhere();
