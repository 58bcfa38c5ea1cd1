// SPDX-License-Identifier: MIT OR GPL-2.0
// Checks of tests/support/check.h that do not hold, for the test of those checks.
#pragma once

void failEqual();
void failText();
void failTrue();
bool failAssert(); // whether the function went on after the check
bool holdAll();    // checks that hold, among them an if without an else; whether the function went on
