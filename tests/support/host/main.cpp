// SPDX-License-Identifier: MIT OR GPL-2.0
// Runs the tests of tests/layer under GoogleTest, beside those that are GoogleTest's own.
#include "layer_fixture.h"
#include "tests/support/surroundings.h"

namespace
{

class PortableTest : public LayerTest
{
public:
    explicit PortableTest(unsigned number) : number_(number) {}
    void TestBody() override { support_test_run(number_); }

private:
    unsigned number_;
};

} // namespace

int main(int argc, char **argv)
{
    testing::InitGoogleMock(&argc, argv);
    for (unsigned n = 0; const support::Case *test = support::testNumber(n); ++n)
        testing::RegisterTest(test->subject, test->behaviour, nullptr, nullptr, test->file, test->line,
                              [n]() -> LayerTest * { return new PortableTest(n); });
    return RUN_ALL_TESTS();
}
