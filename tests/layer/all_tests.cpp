// SPDX-License-Identifier: MIT OR GPL-2.0
#include "tests/support/failure.h"

namespace support
{

extern const Group transferTests, rewriteTests, counterTests, actionTests, actionDumpTests, ruleDumpTests,
    readBackTests, vlanPppoeTests, checksumTests, packetDumpTests, wideRuleTests, narrowEntryTests,
    maskReductionTests, placementTests, deletionTests, matchTests, recordTests, wideCodecTests,
    untouchedTests, lockTests;
const Group *const kGroups[] = {&transferTests,      &rewriteTests,    &counterTests,   &actionTests,
                                &actionDumpTests,    &ruleDumpTests,   &readBackTests,  &vlanPppoeTests,
                                &checksumTests,      &packetDumpTests, &wideRuleTests,  &narrowEntryTests,
                                &maskReductionTests, &placementTests,  &deletionTests,  &matchTests,
                                &recordTests,        &wideCodecTests,  &untouchedTests, &lockTests};
const unsigned kGroupCount = sizeof kGroups / sizeof *kGroups;

} // namespace support
