// SPDX-License-Identifier: MIT OR GPL-2.0
// Kbuild must refuse this: a kernel would not run the initialiser.
extern int elsewhere();
int initialised = elsewhere();
