// SPDX-License-Identifier: MIT OR GPL-2.0
// Random command lines in one process: each ends in an answer or in one clear line, and a refused one changes
// no rule and no action. IFC_COMMAND_LINES in the environment sets their number (default 1,000),
// IFC_COMMAND_SEED the random seed.
#include "tests/engine/random.h"
#include "tests/tool/foretell_support.h"
#include "tools/ifcctl/commands/commands.h"
#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/values.h"
#include "tools/ifcctl/device/session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace ifcctl;

namespace
{

constexpr unsigned kLinesOfSession = 50;
constexpr unsigned kMostSeconds = 30; // of one line, also with sanitizers on a busy machine

// What the watchdog reports.
char currentLine[4096];

void reportHang(int)
{
    (void)!write(STDERR_FILENO, "hangs: ", 7);
    (void)!write(STDERR_FILENO, currentLine, std::char_traits<char>::length(currentLine));
    (void)!write(STDERR_FILENO, "\n", 1);
    std::abort();
}

class Generator
{
public:
    explicit Generator(uint64_t seed) : random_(seed)
    {
        std::istringstream help(ruleWordsHelp());
        for (std::string word; help >> word;)
            words_.push_back(word);
        for (const Command &command : allCommands())
            for (const std::string &word : {std::string(command.object), std::string(command.verb)})
                words_.push_back(word);
    }

    Random &random() { return random_; }

    std::string line()
    {
        if (random_.oneIn(100))
            return noise();
        std::vector<std::string> words = random_.oneIn(8) ? anyWords() : commandWords();
        while (random_.oneIn(3))
            damage(words);
        std::string text = joined(words);
        if (const Words watch = readAsWatch(text); !watch.empty())
            text = joined(watch) + " -n 1"; // else it would not end
        return text;
    }

private:
    template <typename List>
    const auto &oneOf(const List &list)
    {
        return list[random_.below(static_cast<unsigned>(std::size(list)))];
    }

    std::string joined(const std::vector<std::string> &words)
    {
        std::string text;
        for (const std::string &word : words)
            text += (text.empty() ? "" : random_.oneIn(30) ? "\t " : " ") + word;
        return text;
    }

    // The words of the line without its comment if it is a `counter watch`, else none.
    static Words readAsWatch(const std::string &text)
    {
        try {
            size_t used = 0;
            Words read = splitLine(text);
            return !read.empty() && std::string(findCommand(read, used).verb) == "watch" ? read : Words();
        } catch (const Error &) {
            return {};
        }
    }

    std::string noise()
    {
        std::string text;
        for (unsigned n = random_.below(random_.oneIn(20) ? 5000 : 12); n > 0; --n)
            text += static_cast<char>(random_.oneIn(2) ? ' ' + random_.below(95) : random_.below(256));
        std::replace(text.begin(), text.end(), '/', ':'); // no file outside of the folder
        return text;
    }

    std::string number()
    {
        switch (random_.below(5)) {
        case 0:
            return std::to_string(random_.below(3));
        case 1:
            return std::to_string(random_.below(45));
        case 2:
            return std::to_string(random_.wide());
        case 3: {
            char text[24];
            (void)std::snprintf(text, sizeof text, "0x%x", random_.word() >> random_.below(32));
            return text;
        }
        default:
            return (random_.oneIn(4) ? "-" : "") + std::to_string(random_.word() >> random_.below(32));
        }
    }

    std::string value()
    {
        static const char *const kValues[] = {"10.0.0.1",
                                              "192.168.1.0/24",
                                              "10.0.0.0/255.0.255.0",
                                              "2001:db8::/48",
                                              "fe80::1",
                                              "01:00:5e:00:00:00/25",
                                              "02:00:00:00:00:01",
                                              "ipv4",
                                              "ipv6",
                                              "arp",
                                              "udp",
                                              "tcp",
                                              "53",
                                              "22/0xff",
                                              "1024-2047",
                                              "9-3",
                                              "ge 1024",
                                              "le 99",
                                              "ne 7",
                                              "! 5",
                                              "any",
                                              "off",
                                              "on",
                                              "ef",
                                              "eq",
                                              "0",
                                              "65535",
                                              "65536",
                                              "LUT0-3",
                                              "LUT1-31",
                                              "LUT1-32",
                                              "1/0x5555",
                                              "::",
                                              "256.1.1.1",
                                              "1.2.3",
                                              "/24"};
        return random_.oneIn(3) ? number() : random_.oneIn(40) ? noise() : oneOf(kValues);
    }

    void addMatch(std::vector<std::string> &words)
    {
        static const char *const kGood[] = {"dst_port 53",
                                            "src_port ge 1024",
                                            "dst_port 1000-1999",
                                            "vlan_id 7",
                                            "eth_type ipv4",
                                            "eth_type 0x8863",
                                            "ip_proto udp",
                                            "src_ip 192.168.1.0/24",
                                            "dst_ip 2001:db8:40::/48",
                                            "iface 3",
                                            "dst_mac 01:00:5e:00:00:00/25",
                                            "src_mac 02:00:00:00:00:01",
                                            "udf0 5",
                                            "vlan_prio 5",
                                            "any"};
        for (unsigned n = 1 + random_.below(4); n > 0; --n) {
            if (random_.oneIn(3)) {
                words.push_back(oneOf(words_));
                words.push_back(value());
            } else {
                words.emplace_back(oneOf(kGood));
            }
        }
    }

    void addAction(std::vector<std::string> &words)
    {
        static const char *const kGood[] = {"cpu",      "nbq 3",    "queue 2", "channel 1",
                                            "dscp ef",  "count 4",  "meter 9", "vpm0 1 vo0 1 vid0 7",
                                            "enable 0", "queue off"};
        for (unsigned n = 1 + random_.below(3); n > 0; --n) {
            if (random_.oneIn(4)) {
                words.push_back(oneOf(words_));
                words.push_back(value());
            } else {
                words.emplace_back(oneOf(kGood));
            }
        }
    }

    void addArgument(std::vector<std::string> &words, const std::string &form)
    {
        static const char *const kFiles[] = {"gateway.ifc", "stack.pcap",  "stack.pcap:65", "stack.pcap:999",
                                             "missing",     ".",           "out",           "out.pcap",
                                             "-",           "stack.pcap:0"};
        static const char *const kFrames[] = {"0200000000020200000000010800450000200000000040110000",
                                              "0200000000020200000000010806",
                                              "00",
                                              "0",
                                              "zz",
                                              "stack.pcap:1"};
        static const char *const kOperations[] = {"ifc_get_acnt 8",
                                                  "ifc_dump_all_rules",
                                                  "lut1_has_free_rule 3",
                                                  "clear counter 3",
                                                  "get row 1 0 0",
                                                  "ifc_set_lut_rules_auto 28:0:0xffff:80",
                                                  "clear_ifc_rules 8",
                                                  "ifc_enable",
                                                  "get dbgLevel",
                                                  "set dbgLevel 1",
                                                  "ifc_set_action 8 0 1 3 5 0 0",
                                                  "ifc_no_such",
                                                  "help"};
        static const char *const kTimes[] = {"0.1", "1", "0", "1e9", "x"};
        const auto holds = [&](const char *word) { return form.find(word) != std::string::npos; };
        if (holds("MATCH"))
            addMatch(words);
        else if (holds("WORD"))
            addAction(words);
        else if (holds("FILE") || holds("OUT"))
            words.emplace_back(oneOf(kFiles));
        else if (holds("HEX") || holds("FRAME"))
            words.emplace_back(oneOf(kFrames));
        else if (holds("OPERATION"))
            words.emplace_back(oneOf(kOperations));
        else if (holds("SECONDS"))
            words.emplace_back(oneOf(kTimes));
        else if (form.find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") != std::string::npos)
            words.push_back(random_.oneIn(4) ? value() : number());
        else
            words.push_back(form);
    }

    std::vector<std::string> commandWords()
    {
        // Half of the lines make rules, so that the others find some.
        const Command *command = &oneOf(allCommands());
        if (random_.oneIn(3))
            command = &allCommands()[random_.below(5)];
        std::vector<std::string> words = {command->object};
        if (*command->verb != '\0')
            words.emplace_back(command->verb);
        std::string forms = command->arguments;
        for (const char c : {'[', ']', '|'})
            std::replace(forms.begin(), forms.end(), c, ' ');
        std::istringstream parts(forms);
        for (std::string form; parts >> form;)
            if (!random_.oneIn(5))
                addArgument(words, form);
        return words;
    }

    std::vector<std::string> anyWords()
    {
        std::vector<std::string> words;
        for (unsigned n = 1 + random_.below(8); n > 0; --n)
            words.push_back(random_.oneIn(3) ? value() : oneOf(words_));
        return words;
    }

    void damage(std::vector<std::string> &words)
    {
        if (words.empty())
            return;
        const auto at = words.begin() + random_.below(static_cast<unsigned>(words.size()));
        switch (random_.below(7)) {
        case 0:
            words.erase(at);
            break;
        case 1:
            words.insert(at, std::string(*at));
            break;
        case 2:
            *at = at->substr(0, 1 + random_.below(static_cast<unsigned>(at->size() + 1)));
            break;
        case 3:
            words.insert(at, random_.oneIn(4) ? noise() : oneOf(words_));
            break;
        case 4:
            *at = value();
            break;
        case 5:
            std::swap(*at, words.front());
            break;
        default:
            *at += random_.oneIn(2) ? "#" : "\\";
            break;
        }
    }

    Random random_;
    std::vector<std::string> words_;
};

// While it exists, standard output goes to a file in memory, standard input is empty, and the folder is new.
class Surroundings
{
public:
    Surroundings() : output_(dup(STDOUT_FILENO)), input_(dup(STDIN_FILENO)), file_(memfd_create("output", 0))
    {
        std::fflush(stdout);
        dup2(file_, STDOUT_FILENO);
        const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
        dup2(nothing, STDIN_FILENO);
        close(nothing);
        before_ = std::filesystem::current_path();
        std::string name = std::filesystem::temp_directory_path() / "command_lines.XXXXXX";
        folder_ = mkdtemp(name.data());
        for (const char *example : {"gateway.ifc", "stack.pcap"})
            std::filesystem::copy(std::filesystem::path(IFC_SOURCE_DIR) / "examples" / example, folder_);
        std::filesystem::current_path(folder_);
        (void)std::signal(SIGALRM, reportHang);
    }
    ~Surroundings()
    {
        alarm(0);
        (void)std::signal(SIGALRM, SIG_DFL);
        std::fflush(stdout);
        dup2(output_, STDOUT_FILENO);
        dup2(input_, STDIN_FILENO);
        for (const int descriptor : {output_, input_, file_})
            close(descriptor);
        std::filesystem::current_path(before_);
        std::filesystem::remove_all(folder_);
    }
    Surroundings(const Surroundings &) = delete;
    Surroundings &operator=(const Surroundings &) = delete;

    // What was printed since the last call.
    std::string printed() const
    {
        std::fflush(stdout);
        std::string text(static_cast<size_t>(lseek(file_, 0, SEEK_CUR)), '\0');
        if (pread(file_, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
            ADD_FAILURE() << "the output cannot be read";
        lseek(file_, 0, SEEK_SET);
        (void)!ftruncate(file_, 0);
        return text;
    }

private:
    int output_;
    int input_;
    int file_;
    std::filesystem::path before_;
    std::filesystem::path folder_;
};

Options randomOptions(Random &random)
{
    static const int kRevisions[] = {0, 12, 14, 15};
    Options options;
    options.json = random.oneIn(2);
    options.strict = random.oneIn(4);
    options.inexact = random.oneIn(4);
    options.keepOrder = random.oneIn(4);
    options.revision = kRevisions[random.below(4)];
    options.doneAfter = random.oneIn(10) ? 0 : 1;
    return options;
}

struct Tables {
    foretell::Shadow shadow;
    std::vector<uint32_t> actions;

    explicit Tables(Session &session)
    {
        for (const auto &action : session.device().window().tables().action)
            actions.insert(actions.end(), std::begin(action), std::end(action));
    }
    bool operator==(const Tables &other) const { return shadow == other.shadow && actions == other.actions; }
};

struct Counts {
    unsigned answered = 0;
    unsigned refused = 0;
};

// "" if the line ended well.
std::string complaintOf(Session &session, const Surroundings &surroundings, const std::string &line,
                        Counts &counts)
{
    const Tables before(session);
    const std::string shown = printable(line);
    (void)std::snprintf(currentLine, sizeof currentLine, "%s", shown.c_str());
    alarm(kMostSeconds);
    std::string error;
    bool refused = false;
    ExitCode code = kExitDone;
    try {
        runLine(session, line);
        ++counts.answered;
    } catch (const Error &failure) {
        refused = true;
        error = printable(failure.text());
        code = exitCodeOf(failure.reason());
        ++counts.refused;
    } catch (const std::exception &failure) {
        return std::string("not an Error: ") + failure.what();
    }
    alarm(0);
    const std::string output = surroundings.printed();
    if (refused) {
        if (error.empty() || error.find('\n') != std::string::npos || error.find(": ") == std::string::npos)
            return "not a clear line: '" + error + '\'';
        if ((code == kExitUsage || code == kExitRefused) && !(Tables(session) == before))
            return "refused, but the tables have changed: " + error;
        return "";
    }
    if (!output.empty() && output.back() != '\n')
        return "the output has no line end: " + output;
    const size_t first = line.find_first_not_of(" \t\r\n\v\f");
    const bool nothing = first == std::string::npos || line[first] == '#';
    if (!session.options().json || nothing)
        return nothing && !output.empty() ? "an empty line has output: " + output : "";
    std::istringstream documents(output);
    unsigned count = 0;
    for (std::string document; std::getline(documents, document); ++count)
        if (!nlohmann::json::accept(document))
            return "not JSON: " + document;
    return count == 0 ? "no answer" : "";
}

} // namespace

TEST(CommandLines, random_ones_end_in_an_answer_or_one_clear_line)
{
    const unsigned lines = foretell::caseCount("IFC_COMMAND_LINES", 1000);
    const unsigned seed = foretell::caseCount("IFC_COMMAND_SEED", 1);
    Counts counts;
    std::vector<std::string> complaints;
    {
        const Surroundings surroundings;
        Generator generator(seed);
        std::unique_ptr<Session> session;
        for (unsigned n = 0; n < lines && complaints.size() < 10; ++n) {
            if (n % kLinesOfSession == 0) {
                session.reset();
                session = std::make_unique<Session>(randomOptions(generator.random()));
            }
            const std::string line = generator.line();
            const std::string complaint = complaintOf(*session, surroundings, line, counts);
            if (!complaint.empty())
                complaints.push_back("line " + std::to_string(n) + ": " + printable(line) + "\n  " +
                                     complaint);
        }
    }
    for (const std::string &complaint : complaints)
        ADD_FAILURE() << "seed " << seed << ", " << complaint;
    // The lines are no mere noise.
    EXPECT_GT(counts.answered, lines / 10);
    EXPECT_GT(counts.refused, lines / 10);
    std::printf("%u answered, %u refused\n", counts.answered, counts.refused);
}
