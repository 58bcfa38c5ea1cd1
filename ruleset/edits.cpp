// SPDX-License-Identifier: MIT OR GPL-2.0
// Runs a list of edits of a set.
#include "ruleset/edits.h"

namespace
{

// The process and the kernel must have the same layout.
static_assert(sizeof(ifc_ruleset_edit) == 16 + 16 + 24 * IFC_RULE_CONDITIONS + sizeof(IFC_Action_Format));
static_assert(sizeof(ifc_ruleset_batch) == 24);

int runOne(ifc_ruleset *set, const ifc_ruleset_edit &edit, ifc_ruleset_report *report)
{
    switch (edit.kind) {
    case IFC_RULESET_INSERT:
        return ifc_ruleset_insert(set, edit.position, &edit.rule, report);
    case IFC_RULESET_REMOVE:
        return ifc_ruleset_remove(set, edit.position);
    case IFC_RULESET_REPLACE:
        return ifc_ruleset_replace(set, edit.position, &edit.rule, edit.argument, report);
    case IFC_RULESET_MOVE:
        return ifc_ruleset_move(set, edit.position, edit.argument);
    case IFC_RULESET_CLEAR:
        ifc_ruleset_clear(set);
        return IFC_RULESET_OK;
    case IFC_RULESET_CLAIM:
        ifc_ruleset_claim(set);
        return IFC_RULESET_OK;
    default:
        return IFC_RULESET_BAD_POSITION;
    }
}

uint32_t addWords(uint32_t hash, const uint32_t *words, unsigned count)
{
    constexpr uint32_t kPrime = 16777619;
    for (unsigned n = 0; n < count; ++n)
        for (unsigned shift = 0; shift < 32; shift += 8)
            hash = (hash ^ (words[n] >> shift & 0xFF)) * kPrime;
    return hash;
}

} // namespace

int ifc_ruleset_run(struct ifc_ruleset *set, const struct ifc_ruleset_edit *edits, uint32_t count,
                    uint32_t flags, struct ifc_ruleset_report *report, uint32_t *failed)
{
    uint32_t unused = 0;
    uint32_t &culprit = failed != nullptr ? *failed : unused;
    if (report != nullptr)
        *report = {};
    for (culprit = 0; culprit < count; ++culprit) {
        const int result = runOne(set, edits[culprit], report);
        if (result == IFC_RULESET_OK)
            continue;
        if (report != nullptr)
            report->result = result;
        return result;
    }
    culprit = IFC_RULESET_NO_EDIT;
    if ((flags & IFC_RULESET_PLAN_ONLY) != 0)
        return ifc_ruleset_plan(set, report);
    return ifc_ruleset_apply(set, flags, report);
}

uint32_t ifc_ruleset_checksum(const IFC_LUT0_Format lut0[IFC_LUT0_RULES],
                              const IFC_LUT1_Format lut1[IFC_LUT1_RULES])
{
    uint32_t hash = 2166136261;
    for (unsigned n = 0; n < IFC_LUT0_RULES; ++n)
        hash = addWords(hash, lut0[n].word, IFC_LUT0_WORDS);
    for (unsigned n = 0; n < IFC_LUT1_RULES; ++n)
        hash = addWords(hash, lut1[n].word, 2);
    return hash;
}
