// SPDX-License-Identifier: MIT OR GPL-2.0
// The tests of tests/layer as a whole, and the headers as C sees them.
#include "tests/support/host/layer_fixture.h"

#include <cctype>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

extern "C" int c_consumer(void);

using namespace support;

namespace
{

std::string content(const std::filesystem::path &path)
{
    std::ifstream file(path);
    std::stringstream all;
    all << file.rdbuf();
    return all.str();
}

// Whether the source calls this function, and not only one whose name ends like it.
bool calls(const std::string &source, const std::string &name)
{
    for (size_t at = source.find(name + "("); at != std::string::npos; at = source.find(name + "(", at + 1))
        if (at == 0 ||
            (std::isalnum(static_cast<unsigned char>(source[at - 1])) == 0 && source[at - 1] != '_'))
            return true;
    return false;
}

const std::filesystem::path kRoot = IFC_SOURCE_DIR;

} // namespace

class HeaderTest : public LayerTest
{
};

TEST_F(HeaderTest, WorksFromC)
{
    EXPECT_EQ(c_consumer(), 0);
}

// A test is registered only by END_OF_TESTS in its source and by the list in all_tests.cpp.
TEST(PortableTests, AreAllInTheList)
{
    EXPECT_EQ(kGroupCount, unsigned{IFC_PORTABLE_SOURCES});
    std::set<std::string> names;
    unsigned listed = 0;
    for (; const Case *test = testNumber(listed); ++listed)
        EXPECT_TRUE(names.insert(std::string(test->subject) + "." + test->behaviour).second)
            << test->subject << "." << test->behaviour << " twice";
    unsigned written = 0;
    const std::regex test("(?:^|\n)TEST\\(");
    for (const auto &entry : std::filesystem::directory_iterator(kRoot / "tests/layer")) {
        if (entry.path().extension() != ".cpp")
            continue;
        const std::string source = content(entry.path());
        written += static_cast<unsigned>(
            std::distance(std::sregex_iterator(source.begin(), source.end(), test), std::sregex_iterator()));
    }
    EXPECT_EQ(listed, written);
    EXPECT_GT(written, 100u);
}

// The tests that the kernel runs call every operation of the header.
TEST(PortableTests, CallEveryOperation)
{
    std::string sources = content(kRoot / "tests/support/rules.h");
    for (const auto &entry : std::filesystem::directory_iterator(kRoot / "tests/layer"))
        if (entry.path().extension() == ".cpp")
            sources += content(entry.path());
    const std::string header = content(kRoot / "ifc/ifc_util.h");
    const std::regex operation("(?:^|\n)(?:int|void|uint|unsigned int|int8_t|int32_t|uint16_t) (\\w+)\\(");
    unsigned found = 0;
    for (std::sregex_iterator it(header.begin(), header.end(), operation), end; it != end; ++it, ++found)
        EXPECT_TRUE(calls(sources, (*it)[1])) << (*it)[1];
    EXPECT_EQ(found, 46u);
}
