// SPDX-License-Identifier: MIT OR GPL-2.0
// Kbuild must refuse this: on a 32-bit processor it becomes a call of __ctzdi2.
int lowest(unsigned long long bits)
{
    return __builtin_ctzll(bits);
}
