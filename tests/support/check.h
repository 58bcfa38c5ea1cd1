// SPDX-License-Identifier: MIT OR GPL-2.0
// A small subset of a test framework, freestanding: the same tests run on a host under GoogleTest and inside
// a kernel under KTAP. TEST, EXPECT_* and ASSERT_* mean what they mean in GoogleTest; a note may follow a
// check with <<.
//
// There are no constructors to register tests with, so each source ends with END_OF_TESTS(itsName), and
// tests/layer/all_tests.cpp lists the names.
#pragma once

#include "failure.h"

namespace support
{

// What END_OF_TESTS collects: TEST number n of this source.
namespace
{
template <unsigned N>
constexpr Case kCase{};

template <unsigned N>
constexpr void collect(Case *cases)
{
    if constexpr (N > 0) {
        collect<N - 1>(cases);
        cases[N - 1] = kCase<N - 1>;
    }
}

template <unsigned Count>
struct Cases {
    Case list[Count];
    constexpr Cases() : list{} { collect<Count>(list); }
};

constexpr unsigned kCounterStart = __COUNTER__;
} // namespace

} // namespace support

#define TEST(subject, behaviour)                                                                       \
    static void subject##_##behaviour();                                                               \
    namespace support                                                                                  \
    {                                                                                                  \
    namespace                                                                                          \
    {                                                                                                  \
    template <>                                                                                        \
    constexpr Case kCase<__COUNTER__ - kCounterStart - 1>{#subject, #behaviour, subject##_##behaviour, \
                                                          __FILE__, __LINE__};                         \
    }                                                                                                  \
    }                                                                                                  \
    static void subject##_##behaviour()

#define END_OF_TESTS(name)                                                                 \
    namespace support                                                                      \
    {                                                                                      \
    static constinit const Cases<__COUNTER__ - kCounterStart - 1> name##List;              \
    extern const Group name;                                                               \
    constinit const Group name = {name##List.list, sizeof name##List.list / sizeof(Case)}; \
    }

// One statement with its own else, so that a check after an if does not take the else of that if. Evaluates
// the values once.
#define SUPPORT_CHECK(how, what, condition) \
    switch (0)                              \
    case 0:                                 \
    default:                                \
        if (condition)                      \
            ;                               \
        else                                \
            how support::Failure(__FILE__, __LINE__, what)
#define SUPPORT_COMPARE(how, left, op, right)                                                              \
    switch (0)                                                                                             \
    case 0:                                                                                                \
    default:                                                                                               \
        if (const support::Compared compared{static_cast<long long>(left), static_cast<long long>(right)}; \
            compared.got op compared.expected)                                                             \
            ;                                                                                              \
        else                                                                                               \
            how support::Failure(__FILE__, __LINE__, #left " " #op " " #right, compared.got,               \
                                 compared.expected)
#define SUPPORT_COMPARE_TEXT(how, left, right)                  \
    switch (0)                                                  \
    case 0:                                                     \
    default:                                                    \
        if (const support::ComparedText compared{left, right};  \
            support::sameText(compared.got, compared.expected)) \
            ;                                                   \
        else                                                    \
            how support::Failure(__FILE__, __LINE__, #left, compared.got, compared.expected)

#define EXPECT_TRUE(condition)      SUPPORT_CHECK(, #condition, condition)
#define EXPECT_FALSE(condition)     SUPPORT_CHECK(, "not " #condition, !(condition))
#define EXPECT_EQ(got, expected)    SUPPORT_COMPARE(, got, ==, expected)
#define EXPECT_NE(got, expected)    SUPPORT_COMPARE(, got, !=, expected)
#define EXPECT_GT(got, expected)    SUPPORT_COMPARE(, got, >, expected)
#define EXPECT_STREQ(got, expected) SUPPORT_COMPARE_TEXT(, got, expected)
// These end the test, or the function that makes the check.
#define ASSERT_TRUE(condition)   SUPPORT_CHECK(return support::Return() =, #condition, condition)
#define ASSERT_EQ(got, expected) SUPPORT_COMPARE(return support::Return() =, got, ==, expected)
#define ASSERT_GT(got, expected) SUPPORT_COMPARE(return support::Return() =, got, >, expected)
