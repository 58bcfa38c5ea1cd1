// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/fast_match.h"

#include <stddef.h>

#include "engine/match_kinds.h"

namespace engine
{

HitBits FastMatch::failedResiduals(const FieldImage &fields) const
{
    HitBits failed = 0;
    for (unsigned n = 0; n < residuals_; ++n) {
        if (!holds(residual_[n].condition, fields))
            failed |= ruleBit(residual_[n].rule);
    }
    return failed;
}

// Fetches one word of a stretch into each lane.
void FastMatch::wordsAt(const Word *stretch, const Vector &index, Vector &words)
{
#if __has_builtin(__builtin_shuffle)
    using Stretch = Word __attribute__((vector_size(32), aligned(4)));
    words = __builtin_shuffle(*reinterpret_cast<const Stretch *>(stretch), index);
#else
    for (unsigned lane = 0; lane < kLanes; ++lane)
        words[lane] = stretch[index[lane]];
#endif
}

HitBits FastMatch::match(const FieldImage &fields) const
{
    const auto *image = reinterpret_cast<const Word *>(&fields);
    const Kind &kind = kind_[kindOf(fields.present)];
    const Program &program = (fields.present & kKnownFields) == kind.present ? kind.program : any_;
    Vector failed = {};
    for (size_t n = program.first; n < program.end; n += kStep) {
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
    HitBits hits = program.rules & ~hitBits(failed[0], failed[kLanes / 2]);
    if ((hits & residualRules_) != 0) [[unlikely]]
        hits &= ~failedResiduals(fields);
    return hits;
}

} // namespace engine
