// SPDX-License-Identifier: MIT OR GPL-2.0
#include "tools/state/state_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;
using state::FileError;
using state::StateFile;

class StateFileTest : public testing::Test
{
protected:
    StateFileTest()
    {
        char name[] = "/tmp/state_file_test.XXXXXX";
        folder = ::mkdtemp(name);
        path = folder / "chip.state";
    }
    ~StateFileTest() override { fs::remove_all(folder); }

    static std::string contentOf(const fs::path &file)
    {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    fs::path folder;
    fs::path path;
};

TEST_F(StateFileTest, a_missing_file_is_no_content_and_its_folder_is_made_on_request)
{
    const fs::path below = folder / "a" / "b" / "chip.state";
    EXPECT_THROW(StateFile(below, 0), FileError);
    EXPECT_FALSE(fs::exists(folder / "a")) << "made only on request";
    const StateFile file(below, 0, true);
    EXPECT_FALSE(file.load().has_value());
    file.save("hello");
    EXPECT_EQ(file.load(), "hello");
    EXPECT_FALSE(fs::exists(file.path() + ".new"));
}

TEST_F(StateFileTest, a_save_replaces_all_and_keeps_the_mode)
{
    {
        const StateFile file(path, 0);
        file.save(std::string(10000, 'x'));
        ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
        file.save(std::string("a\0b", 3));
    }
    EXPECT_EQ(contentOf(path), std::string("a\0b", 3));
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(StateFileTest, a_second_writer_is_refused_and_waits_if_asked_to)
{
    auto first = std::make_unique<StateFile>(path, 0);
    try {
        const StateFile second(path, 20);
        FAIL() << "two writers at once";
    } catch (const FileError &error) {
        EXPECT_EQ(error.reason(), FileError::Reason::Busy);
        EXPECT_NE(std::string(error.what()).find("another program"), std::string::npos);
    }
    std::thread leaver([&first] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        first.reset();
    });
    const StateFile third(path, 60000);
    leaver.join();
    third.save("third");
    EXPECT_EQ(third.load(), "third");
}

TEST_F(StateFileTest, a_symbolic_link_stays_one)
{
    const fs::path target = folder / "real.state";
    fs::create_symlink("real.state", path);
    {
        const StateFile file(path, 0);
        file.save("through the link");
    }
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_EQ(contentOf(target), "through the link");
    const fs::path loop = folder / "loop";
    fs::create_symlink("loop", loop);
    EXPECT_THROW(StateFile(loop, 0), FileError);
}

TEST_F(StateFileTest, folders_and_devices_are_no_state)
{
    fs::create_directory(path);
    EXPECT_THROW(StateFile(path, 0), FileError);
    EXPECT_THROW(StateFile("/dev/null", 0), FileError);
    EXPECT_THROW(StateFile("/proc/no/such/folder/state", 0), FileError);
}

TEST_F(StateFileTest, a_full_disk_leaves_the_old_content)
{
    const StateFile file(path, 0);
    file.save("old");
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // A file size limit simulates a full disk.
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{1000, 1000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        try {
            file.save(std::string(5000, 'n'));
        } catch (const FileError &) {
            ::_exit(fs::exists(file.path() + ".new") ? 2 : 0);
        }
        ::_exit(1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(file.load(), "old");
}

TEST_F(StateFileTest, a_kill_at_any_moment_leaves_the_old_or_the_new)
{
    const std::string contents[2] = {std::string(4484, 'A'), std::string(4484, 'B')};
    using Clock = std::chrono::steady_clock;
    auto saveTime = Clock::duration::zero(); // of the slowest save so far, on this disk
    {
        const StateFile file(path, 0);
        for (int n = 0; n < 5; ++n) {
            const auto start = Clock::now();
            file.save(contents[0]);
            saveTime = std::max(saveTime, Clock::now() - start);
        }
    }
    std::mt19937 random(3);
    int seen[2] = {};
    for (int n = 0; n < 300; ++n) {
        int saved[2]; // gets a byte after each save
        ASSERT_EQ(::pipe(saved), 0);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            const StateFile file(path, 60000);
            for (unsigned k = 0;; ++k) {
                file.save(contents[k & 1]);
                if (::write(saved[1], "", 1) != 1)
                    ::_exit(1);
            }
        }
        char byte;
        for (auto wait = random() % 3; wait != 0; --wait)
            ASSERT_EQ(::read(saved[0], &byte, 1), 1);
        std::this_thread::sleep_for(saveTime * (random() % 1000) / 1000);
        ::kill(child, SIGKILL);
        ::close(saved[0]);
        ::close(saved[1]);
        ::waitpid(child, nullptr, 0);
        const StateFile file(path, 60000); // a killed process holds no lock
        const std::string found = file.load().value_or("");
        ASSERT_TRUE(found == contents[0] || found == contents[1]) << found.size();
        ++seen[found == contents[1]];
    }
    EXPECT_GT(seen[0], 0);
    EXPECT_GT(seen[1], 0); // else every kill came too early to test anything
}

TEST(DefaultPath, follows_the_environment)
{
    ::setenv("XDG_STATE_HOME", "/some/state", 1);
    EXPECT_EQ(state::defaultPath(), "/some/state/ifcctl/chip.state");
    ::setenv("XDG_STATE_HOME", "relative", 1);
    ::setenv("HOME", "/home/op", 1);
    EXPECT_EQ(state::defaultPath(), "/home/op/.local/state/ifcctl/chip.state");
    ::unsetenv("XDG_STATE_HOME");
    ::unsetenv("HOME");
    EXPECT_EQ(state::defaultPath(), "");
}

} // namespace
