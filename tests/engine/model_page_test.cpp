// SPDX-License-Identifier: MIT OR GPL-2.0
// Each row of docs/hardware-model.md names its tests. They must exist.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace
{

std::string textOf(const std::filesystem::path &path)
{
    std::ifstream file(path);
    EXPECT_TRUE(file) << path;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

struct Row {
    unsigned line;
    std::string subject;
    std::vector<std::string> tests;
};

std::string trimmed(const std::string &text)
{
    const size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::vector<std::string> split(const std::string &text, char at)
{
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, at);)
        parts.push_back(trimmed(part));
    return parts;
}

// The rows of the tables, without the heads and the lines of dashes.
std::vector<Row> rowsOfThePage()
{
    std::vector<Row> rows;
    std::istringstream page(textOf(std::filesystem::path(IFC_SOURCE_DIR) / "docs/hardware-model.md"));
    unsigned number = 0;
    std::string line;
    while (std::getline(page, line)) {
        ++number;
        if (line.empty() || line[0] != '|' || line.rfind("|---", 0) == 0)
            continue;
        const std::vector<std::string> cells = split(line.substr(1), '|');
        EXPECT_EQ(cells.size(), 3u) << "line " << number;
        if (cells.size() == 3 && cells[2] != "test")
            rows.push_back({number, cells[0], split(cells[2], ',')});
    }
    return rows;
}

// "Suite.Name" of every test that the sources here define.
std::set<std::string> testsInSources()
{
    std::set<std::string> tests;
    const std::regex definition(R"(\n(TEST|TEST_F|TEST_P)\(\s*(\w+),\s*(\w+)\))");
    for (const auto &entry :
         std::filesystem::directory_iterator(std::filesystem::path(IFC_SOURCE_DIR) / "tests/engine")) {
        if (entry.path().extension() != ".cpp")
            continue;
        const std::string text = textOf(entry.path());
        for (std::sregex_iterator found(text.begin(), text.end(), definition), end; found != end; ++found)
            tests.insert((*found)[2].str() + '.' + (*found)[3].str());
    }
    return tests;
}

// The same of the tests that this program runs: without instantiation and parameter.
std::set<std::string> testsInProgram()
{
    std::set<std::string> tests;
    const testing::UnitTest &all = *testing::UnitTest::GetInstance();
    for (int s = 0; s < all.total_test_suite_count(); ++s) {
        const testing::TestSuite &suite = *all.GetTestSuite(s);
        const std::string suiteName = suite.name();
        for (int t = 0; t < suite.total_test_count(); ++t) {
            const std::string name = suite.GetTestInfo(t)->name();
            tests.insert(suiteName.substr(suiteName.find('/') + 1) + '.' + name.substr(0, name.find('/')));
        }
    }
    return tests;
}

} // namespace

TEST(ModelPage, EachRowNamesTestsThatExist)
{
    const std::vector<Row> rows = rowsOfThePage();
    const std::set<std::string> written = testsInSources();
    const std::set<std::string> run = testsInProgram();
    EXPECT_GT(rows.size(), 40u);
    EXPECT_GT(written.size(), 40u);
    for (const Row &row : rows) {
        EXPECT_FALSE(row.tests.empty()) << "line " << row.line << ", " << row.subject;
        for (const std::string &test : row.tests) {
            EXPECT_EQ(written.count(test), 1u) << "line " << row.line << ", " << row.subject << ": " << test;
            EXPECT_EQ(run.count(test), 1u) << "line " << row.line << ", " << row.subject << ": " << test;
        }
    }
}
