// SPDX-License-Identifier: MIT OR GPL-2.0
// Failing checks of tests/support/check.h, for the test of that header.
#pragma once

void failEqual();
void failText();
void failTrue();
bool failAssert(); // whether the function went on after the check
bool holdAll();    // checks that hold, among them an if without an else; whether the function went on
