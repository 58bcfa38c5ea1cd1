// SPDX-License-Identifier: MIT OR GPL-2.0
// The directed cases, which a kernel module runs as well, on this machine.
#include "layer_test.h"
#include "tests/directed/directed.h"

#include <algorithm>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

namespace
{

class DirectedTest;
DirectedTest *current = nullptr;

std::vector<directed::Case> allCases()
{
    std::vector<directed::Case> all;
    for (unsigned n = 0; n < directed::kGroupCount; ++n)
        all.insert(all.end(), directed::kGroups[n]->cases,
                   directed::kGroups[n]->cases + directed::kGroups[n]->count);
    return all;
}

class DirectedTest : public LayerTest, public testing::WithParamInterface<directed::Case>
{
public:
    DirectedTest() { current = this; }
    ~DirectedTest() override { current = nullptr; }

    void start(unsigned doneAfter, int revision)
    {
        powerOn(doneAfter);
        host::setRevision(revision);
        // In place of the accessors' list and of the lock's, one of both.
        chip.onAccess(
            [](void *self, const engine::Access &access) {
                static_cast<DirectedTest *>(self)->list.push_back(
                    {access.kind == engine::AccessKind::Read ? directed::Kind::Read : directed::Kind::Write,
                     access.reg, access.value});
            },
            this);
        host::setEventWatch([this](host::Event event) {
            using directed::Kind;
            const Kind kind = event == host::Event::Lock     ? Kind::Lock
                              : event == host::Event::Unlock ? Kind::Unlock
                              : event == host::Event::Delay  ? Kind::Wait
                                                             : Kind::Revision;
            list.push_back({kind, 0, kind == Kind::Wait ? 1u : 0u});
        });
    }
    void drop()
    {
        forget();
        list.clear();
    }
    const char *printed()
    {
        all_ = text();
        return all_.c_str();
    }

    std::vector<directed::Event> list;

private:
    std::string all_;
};

} // namespace

extern "C" {

void directed_power_on(unsigned done_after, int revision)
{
    current->start(done_after, revision);
}

void directed_forget(void)
{
    current->drop();
}

const char *directed_printed(void)
{
    return current->printed();
}

unsigned directed_events(void)
{
    return static_cast<unsigned>(current->list.size());
}

void directed_event(unsigned n, directed::Event *event)
{
    *event = current->list[n];
}

void directed_fail(const char *file, int line, const char *what, long long got, long long expected)
{
    ADD_FAILURE_AT(file, line) << what << ": got " << got << ", expected " << expected;
}
}

TEST_P(DirectedTest, Holds)
{
    directed::powerOn(1);
    GetParam().run();
}

INSTANTIATE_TEST_SUITE_P(Layer, DirectedTest, testing::ValuesIn(allCases()), [](const auto &about) {
    std::string name = about.param.name;
    name.erase(std::remove(name.begin(), name.end(), '.'), name.end());
    return name;
});

// No operation of the header is left out of the cases that the kernel runs.
TEST(DirectedCases, CallEveryOperation)
{
    const std::string root = IFC_SOURCE_DIR;
    const auto content = [](const std::string &path) {
        std::ifstream file(path);
        std::stringstream all;
        all << file.rdbuf();
        return all.str();
    };
    std::string sources;
    for (const char *subject :
         {"transfer", "lut0", "lut1", "placement", "action", "counters", "dump", "packet"})
        sources += content(root + "/tests/directed/directed_" + subject + ".cpp");
    const std::string header = content(root + "/ifc/ifc_util.h");
    const std::regex operation("(?:^|\n)(?:int|void|uint|unsigned int|int8_t|int32_t|uint16_t) (\\w+)\\(");
    unsigned found = 0;
    for (std::sregex_iterator it(header.begin(), header.end(), operation), end; it != end; ++it, ++found)
        EXPECT_NE(sources.find((*it)[1].str() + "("), std::string::npos) << (*it)[1];
    EXPECT_EQ(found, 46u);
}
