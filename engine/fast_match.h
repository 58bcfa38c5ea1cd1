// SPDX-License-Identifier: MIT OR GPL-2.0
// Matching with vectors of eight 32-bit lanes, by the vector extensions of gcc and clang. On a processor
// without vector registers the compiler emits scalar code with the same results.
//
// A rule, wide or a chain, hits when all of its checks hold. A check looks at one word of the field image:
// (word & mask) - low, as an unsigned number, is at most span. Every command has this form:
//
//   equal             low = key       span = 0
//   not equal         low = key + 1   span = all values but one
//   greater or equal  low = key       span = mask - key
//   less or equal     low = 0         span = key
//
// A group holds checks of one eight-word stretch of the image side by side in its lanes, each with the rules
// that need it, so that one shuffle fetches the words of eight checks. The first four lanes serve one half of
// the tables (LUT0 rules 0 to 3, LUT1 sub-table 0), the last four the other half. So the bits of a lane can
// name all rules of its half.
//
// Rows are another form of the same checks: a row holds checks of one word, and its lanes are the eight
// rules of an octet of the hit bits. Rules that compare the same few words need few rows, and a lane that
// fails is itself the answer.
//
// Bytes are the third form, of the checks for equality: byte_tables.h. The other checks are groups then. The
// compiler takes the cheapest form for each program.
//
// Most rules need fields that most frames do not have. So there is a program for each kind of frame
// that the parser makes. It leaves out the rules that cannot hit such a frame, and does not test which fields
// are present. Any other image takes the catch-all program, which tests that too.
#pragma once

#include "engine/byte_tables.h"
#include "engine/condition.h"
#include "engine/hits.h"
#include "engine/match_kinds.h"
#include "engine/register_window.h"

namespace engine
{

class FastMatch
{
public:
    void compile(const Tables &tables);
    inline HitBits match(const FieldImage &fields) const;

    // The steps of compile(), for rules from another source. A rule is named by its bit in HitBits (0 to 39),
    // a condition by a field id below 64. require() is false when there is no room for another condition; the
    // rule then never hits. The tables of one chip always fit.
    void begin();
    void addRule(unsigned rule);
    bool require(unsigned rule, const Condition &condition);
    void finish();

    // Bit n: some rule compares UDFn.
    uint16_t udfs() const { return static_cast<uint16_t>(fieldsOfAll_ >> UDF0); }

private:
    using Vector = uint32_t __attribute__((vector_size(32)));
    using Word = uint32_t __attribute__((may_alias)); // of a field image; the present bitmap is two more
    using SignedVector = int32_t __attribute__((vector_size(32)));
    static constexpr unsigned kLanes = 8;
    static constexpr unsigned kRules = IFC_LUT0_RULES + IFC_LUT1_RULES;
    // A condition on a MAC address makes two checks: its bits lie in two words of the image.
    static constexpr unsigned kChecks =
        IFC_LUT0_RULES * (IFC_LUT0_FIELDS + IFC_LAST_MAC_FIELD) + IFC_LUT1_RULES * 2;
    static constexpr unsigned kGroups = 256;
    static constexpr unsigned kStep = 2;      // the match loop takes two groups at a time
    static constexpr unsigned kAnyKind = 128; // the catch-all program, after those of the kinds
    static constexpr unsigned kRows = 256;
    static constexpr unsigned kOctets = 128;
    static constexpr unsigned kPresentWords = 2; // of the present bitmap, after the words of the image
    static constexpr unsigned kStretches = (kImageWords + 1 + kPresentWords + kLanes - 1) / kLanes;
    // The catch-all program always fits. It holds all checks, and those of the present bitmap. A stretch with
    // n checks for one half of the lanes and m for the other takes at most (n + 3) / 4 + (m + 3) / 4 groups.
    static_assert((kChecks + kRules * kPresentWords + 2 * 3 * kStretches) / (kLanes / 2) + kStep <= kGroups);
    static constexpr unsigned kResiduals = IFC_LUT0_RULES * IFC_LAST_MAC_FIELD + IFC_LUT1_RULES;

    struct Check {
        uint8_t rule;
        uint8_t word;
        uint32_t mask;
        uint32_t low;
        uint32_t span;
    };
    struct Group {
        Vector index; // of the word in its stretch
        Vector mask;
        // The top bit of both is inverted, since vectors compare signed numbers.
        Vector low;
        SignedVector span;
        Vector rules;
    };
    struct alignas(128) Row {
        Vector mask;
        Vector low; // of a row that compares for equality the key, else as in a group
        SignedVector span;
        size_t word; // of the image
    };
    // First the rows whose checks all compare for equality, then the others. Both numbers are multiples of
    // kStep.
    struct alignas(8) Octet {
        uint16_t first;
        uint16_t equal;
        uint16_t others;
        uint16_t shift; // of its rules in HitBits
    };
    struct Program {
        HitBits rules;
        Octet octet;         // the first one
        uint16_t octets;     // 0: groups
        uint16_t nextOctets; // those after it, in octet_
        uint16_t firstGroup;
        uint16_t endGroup;
        uint16_t firstByte;
        uint16_t endByte;
    };
    struct alignas(32) Kind {
        uint64_t present; // its fields among kKnownFields; all ones: frames of this kind take the catch-all
        Program program;
    };
    // A condition that checks of single words cannot express: any command but "equal" across two words.
    struct Residual {
        uint8_t rule;
        Condition condition;
    };

    static void wordsAt(const Word *stretch, const Vector &index, Vector &words);
    static uint32_t laneBits(const Vector &lanes);
    HitBits failedInOctet(const Octet &octet, const FieldImage &fields) const;
    [[gnu::noinline]] HitBits matchOther(const Program &program, const FieldImage &fields) const;
    HitBits failedInGroups(const Program &program, const FieldImage &fields) const;
    [[gnu::noinline]] HitBits withoutResiduals(HitBits hits, const FieldImage &fields) const;
    bool addCheck(unsigned rule, unsigned word, uint32_t mask, uint32_t low, uint32_t span);
    template <typename Use>
    bool forEachCheck(const Program &program, uint64_t known, Use use) const;
    bool placeInGroup(const Check &check, unsigned first);
    bool placeInRow(const Check &check, unsigned first);
    bool addRow(unsigned word);
    bool addGroup(unsigned stretch);
    bool emitGroups(Program &program, uint64_t known, bool withEquals);
    bool emitRows(Program &program, uint64_t known);
    bool emitBytes(Program &program, uint64_t known, unsigned limit);
    void addTable(unsigned byte);
    bool emit(Program &program, uint64_t known, uint64_t present);

    Group group_[kGroups];
    uint8_t stretch_[kGroups]; // first word of the stretch that the group reads
    Row row_[kRows];
    Octet octet_[kOctets];
    ByteTables bytes_;
    Kind kind_[kAnyKind + 1];
    unsigned groups_ = 0;
    unsigned rows_ = 0;
    unsigned octets_ = 0;
    HitBits residualRules_ = 0;
    unsigned residuals_ = 0;
    Residual residual_[kResiduals];

    // Between begin() and finish().
    HitBits rules_ = 0; // the rules that can hit at all
    uint64_t fieldsOfAll_ = 0;
    uint64_t fields_[kRules];  // the fields that a rule compares
    uint64_t present_[kRules]; // those for which an absent field, which is 0, would pass the check
    unsigned checks_ = 0;
    Check check_[kChecks];
};

// Bit n: lane n is not 0.
inline uint32_t FastMatch::laneBits(const Vector &lanes)
{
    const auto set = lanes != 0;
#ifdef __AVX__
    using Floats = float __attribute__((vector_size(32)));
    return static_cast<uint32_t>(__builtin_ia32_movmskps256(reinterpret_cast<Floats>(set)));
#else
    using Pairs = uint64_t __attribute__((vector_size(32)));
    const auto pairs = reinterpret_cast<Pairs>(set & SignedVector{1, 2, 4, 8, 16, 32, 64, 128});
    const uint64_t both = (pairs[0] | pairs[1]) | (pairs[2] | pairs[3]);
    return static_cast<uint32_t>(both | both >> 32);
#endif
}

// The bits of the rules that fail in an octet.
[[gnu::always_inline]] inline HitBits FastMatch::failedInOctet(const Octet &octet,
                                                               const FieldImage &fields) const
{
    const auto *image = reinterpret_cast<const Word *>(&fields);
    const Row *row = row_ + octet.first;
    Vector lanes = {};
    for (const Row *const last = row + octet.equal; row != last; row += kStep) {
        for (unsigned n = 0; n < kStep; ++n)
            lanes |= ((Vector{} + image[row[n].word]) & row[n].mask) ^ row[n].low;
    }
    for (const Row *const last = row + octet.others; row != last; row += kStep) {
        for (unsigned n = 0; n < kStep; ++n) {
            const Vector over = ((Vector{} + image[row[n].word]) & row[n].mask) - row[n].low;
            lanes |= reinterpret_cast<Vector>(reinterpret_cast<SignedVector>(over) > row[n].span);
        }
    }
    return HitBits{laneBits(lanes)} << octet.shift;
}

inline HitBits FastMatch::match(const FieldImage &fields) const
{
    const Kind *kind = &kind_[kindOf(fields.present)];
    if ((fields.present & kKnownFields) != kind->present)
        kind = &kind_[kAnyKind];
    const Program &program = kind->program;
    if (program.octets != 1)
        return matchOther(program, fields);
    const HitBits failed = failedInOctet(program.octet, fields);
    const HitBits hits = program.rules & ~failed;
    if ((hits & residualRules_) == 0) [[likely]]
        return hits;
    return withoutResiduals(hits, fields);
}

} // namespace engine
