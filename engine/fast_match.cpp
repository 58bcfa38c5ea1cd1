// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/fast_match.h"

#include <stddef.h>

namespace engine
{

HitBits FastMatch::withoutResiduals(HitBits hits, const FieldImage &fields) const
{
    for (unsigned n = 0; n < residuals_; ++n) {
        const HitBits rule = ruleBit(residual_[n].rule);
        if ((hits & rule) != 0 && !holds(residual_[n].condition, fields))
            hits &= ~rule;
    }
    return hits;
}

// Fetches one word of a stretch into each lane.
[[gnu::always_inline]] inline void FastMatch::wordsAt(const Word *stretch, const Vector &index, Vector &words)
{
#if defined(__AVX2__)
    using Stretch = int32_t __attribute__((vector_size(32), aligned(4), may_alias));
    words = reinterpret_cast<Vector>(__builtin_ia32_permvarsi256(*reinterpret_cast<const Stretch *>(stretch),
                                                                 reinterpret_cast<SignedVector>(index)));
#elif __has_builtin(__builtin_shuffle)
    using Stretch = Word __attribute__((vector_size(32), aligned(4)));
    words = __builtin_shuffle(*reinterpret_cast<const Stretch *>(stretch), index);
#else
    for (unsigned lane = 0; lane < kLanes; ++lane)
        words[lane] = stretch[index[lane]];
#endif
}

[[gnu::always_inline]] inline HitBits FastMatch::failedInGroups(const Program &program,
                                                                const FieldImage &fields) const
{
    const auto *image = reinterpret_cast<const Word *>(&fields);
    Vector failed = {};
    for (size_t n = program.firstGroup; n < program.endGroup; n += kStep) {
        for (size_t m = n; m < n + kStep; ++m) {
            Vector words;
            wordsAt(image + stretch_[m], group_[m].index, words);
            const auto over = reinterpret_cast<SignedVector>((words & group_[m].mask) - group_[m].low);
            failed |= reinterpret_cast<Vector>(over > group_[m].span) & group_[m].rules;
        }
    }
#if __has_builtin(__builtin_shuffle)
    failed |= __builtin_shuffle(failed, Vector{2, 3, 0, 1, 6, 7, 4, 5});
    failed |= __builtin_shuffle(failed, Vector{1, 0, 3, 2, 5, 4, 7, 6});
#else
    for (unsigned lane = 1; lane < kLanes / 2; ++lane) {
        failed[0] |= failed[lane];
        failed[kLanes / 2] |= failed[kLanes / 2 + lane];
    }
#endif
    return hitBits(failed[0], failed[kLanes / 2]);
}

// Out of line, so that match() itself needs no room on the stack.
HitBits FastMatch::matchOther(const Program &program, const FieldImage &fields) const
{
    HitBits failed = 0;
    if (program.octets == 0) {
        if (program.firstByte != program.endByte)
            failed = bytes_.failed(program.firstByte, program.endByte, fields);
        if (program.firstGroup != program.endGroup)
            failed |= failedInGroups(program, fields);
    } else {
        failed = failedInOctet(program.octet, fields);
        for (unsigned n = 1; n < program.octets; ++n)
            failed |= failedInOctet(octet_[program.nextOctets + n - 1], fields);
    }
    const HitBits hits = program.rules & ~failed;
    return (hits & residualRules_) == 0 ? hits : withoutResiduals(hits, fields);
}

} // namespace engine
