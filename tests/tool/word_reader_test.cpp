// SPDX-License-Identifier: MIT OR GPL-2.0
// The reader that walks the words of a line.
#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/word_reader.h"

#include <gtest/gtest.h>

using namespace ifcctl;

namespace
{

template <typename Read>
std::string messageOf(const Read &read)
{
    try {
        read();
    } catch (const Error &error) {
        EXPECT_EQ(exitCodeOf(error.reason()), kExitUsage);
        return error.text();
    }
    return "accepted";
}

TEST(WordReader, WalksKeysAndValues)
{
    WordReader words({"rule", "add", "queue", "0x7", "rest"}, 2);
    EXPECT_EQ(words.first(), "queue");
    EXPECT_EQ(words.peek(1), "0x7");
    EXPECT_EQ(words.peek(3), "");
    EXPECT_FALSE(words.holds("add")) << "it was read before";
    EXPECT_EQ(words.takeKey(), "queue");
    EXPECT_EQ(words.takeNumber(0, uint64_t{7}), 7u);
    EXPECT_FALSE(words.skip("other"));
    EXPECT_EQ(messageOf([&] { words.expectEnd("rule add"); }), "rule add 'rest': accepted: nothing more");
    EXPECT_TRUE(words.skip("rest"));
    EXPECT_TRUE(words.atEnd());
    EXPECT_NO_THROW(words.expectEnd("rule add"));
    EXPECT_EQ(words.first(), "queue") << "where it began";
}

TEST(WordReader, RefusalNamesKeyValueAndWhatIsAccepted)
{
    for (const char *value : {"8", "-1", "0x", "7x", "", "99999999999999999999"}) {
        WordReader words({"queue", value});
        (void)words.takeKey();
        EXPECT_EQ(messageOf([&] { (void)words.takeNumber(1, uint64_t{7}); }),
                  std::string("queue '") + value + "': accepted: a number from 1 to 7");
    }
    WordReader none({});
    EXPECT_EQ(none.first(), "");
    EXPECT_EQ(messageOf([&] { (void)none.takeNumber("rule read", 39); }),
              "rule read '': accepted: a number from 0 to 39");
    EXPECT_EQ(messageOf([&] {
                  (void)none.takeChoice("result check", {"lut0", "lut1"});
              }),
              "result check '': accepted: lut0 lut1");
    WordReader other({"lut1", "lut2"});
    EXPECT_EQ(other.takeChoice("result check", {"lut0", "lut1"}), 1u);
    EXPECT_EQ(messageOf([&] {
                  (void)other.takeChoice("result check", {"lut0", "lut1"});
              }),
              "result check 'lut2': accepted: lut0 lut1; did you mean lut0?");
}

TEST(Reason, HasAnExitCode)
{
    EXPECT_EQ(exitCodeOf(Reason::Usage), 2);
    EXPECT_EQ(exitCodeOf(Reason::NoSpace), 3);
    EXPECT_EQ(exitCodeOf(Reason::LayerRefused), 3);
    EXPECT_EQ(exitCodeOf(Reason::TimedOut), 4);
    EXPECT_EQ(exitCodeOf(Reason::DeviceFailed), 5);
    EXPECT_EQ(exitCodeOf(Reason::OutputFailed), 6);
}

} // namespace
