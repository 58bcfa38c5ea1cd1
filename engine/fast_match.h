// SPDX-License-Identifier: MIT OR GPL-2.0
// Matching with vectors of eight 32-bit lanes (vector extensions of gcc and clang: without vector registers
// the compiler writes the same out in scalar code, with the same results).
//
// A rule, wide or a chain, hits when all of its checks hold. A check looks at one word of the field image:
// (word & mask) - low, a number without sign, is at most span. That is every command:
//
//   equal             low = key       span = 0
//   not equal         low = key + 1   span = all values but one
//   greater or equal  low = key       span = mask - key
//   less or equal     low = 0         span = key
//
// Checks of the same eight-word stretch of the image stand side by side in the lanes of a group, each with
// the rules that need it, so one shuffle fetches the words of eight checks. The first four lanes speak for
// one half of the tables (LUT0 rules 0 to 3, LUT1 sub-table 0), the last four for the other, so that the bits
// of a lane name all rules of its half.
//
// Most rules need fields that most frames do not have. So there is a program of groups for each kind of
// frame that the parser makes, without the rules that cannot hit it and without asking what is there. Any
// other image takes a program that asks.
#pragma once

#include "engine/condition.h"
#include "engine/hits.h"
#include "engine/register_window.h"

namespace engine
{

class FastMatch
{
public:
    void compile(const Tables &tables);
    HitBits match(const FieldImage &fields) const;

    // The steps of compile(), for rules that come from elsewhere. A rule is named by its bit in HitBits.
    void begin();
    void addRule(unsigned rule);
    void require(unsigned rule, const Condition &condition);
    void finish();

    // Bit n: some rule looks at UDFn.
    uint16_t udfs() const { return static_cast<uint16_t>(fieldsOfAll_ >> UDF0); }

private:
    using Vector = uint32_t __attribute__((vector_size(32)));
    using Word = uint32_t __attribute__((may_alias)); // of a field image; the present bitmap is two more
    using SignedVector = int32_t __attribute__((vector_size(32)));
    static constexpr unsigned kLanes = 8;
    static constexpr unsigned kRules = IFC_LUT0_RULES + IFC_LUT1_RULES;
    // A MAC makes two checks, and so does half of one across two words.
    static constexpr unsigned kChecks =
        IFC_LUT0_RULES * (IFC_LUT0_FIELDS + IFC_LAST_MAC_FIELD) + IFC_LUT1_RULES * 2;
    static constexpr unsigned kGroups = 256;
    static constexpr unsigned kStep = 2; // groups go by two, so that loops are alike
    static constexpr unsigned kKinds = 128;

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
        // With the top bit inverted, since vectors compare numbers with sign.
        Vector low;
        SignedVector span;
        Vector rules;
    };
    struct Program {
        HitBits rules;
        uint16_t first;
        uint16_t end;
    };
    struct Kind {
        uint64_t present; // of the fields that make the kinds
        Program program;
    };
    // What a check cannot say: "not equal" across two words.
    struct Residual {
        uint8_t rule;
        Condition condition;
    };

    static void wordsAt(const Word *stretch, const Vector &index, Vector &words);
    [[gnu::noinline]] HitBits failedResiduals(const FieldImage &fields) const;
    void addCheck(unsigned rule, unsigned word, uint32_t mask, uint32_t low, uint32_t span);
    bool place(const Check &check, unsigned first);
    bool addGroup(unsigned stretch);
    bool emit(Program &program, uint64_t known, uint64_t present);

    Group group_[kGroups];
    uint8_t stretch_[kGroups]; // eight words of the image: where they begin, in words
    Kind kind_[kKinds];
    Program any_;
    unsigned groups_ = 0;
    HitBits residualRules_ = 0;
    unsigned residuals_ = 0;
    Residual residual_[IFC_LUT0_RULES * IFC_LAST_MAC_FIELD + IFC_LUT1_RULES];

    // Between begin() and finish().
    HitBits rules_ = 0; // that can hit at all
    uint64_t fieldsOfAll_ = 0;
    uint64_t fields_[kRules];  // that a rule looks at,
    uint64_t present_[kRules]; // and that it would take for there by their value
    unsigned checks_ = 0;
    Check check_[kChecks];
};

} // namespace engine
