// SPDX-License-Identifier: MIT OR GPL-2.0
#include "frame_selection.h"

#include "rule_commands.h"
#include "wrap.h"

#include "tools/ifcctl/core/values.h"

namespace ifcctl
{

namespace
{

// A word for a shell. A word that only has harmless characters stays as it is.
std::string shellWord(const std::string &word)
{
    constexpr const char *kHarmless =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._/:-+,@%=";
    if (word.find_first_not_of(kHarmless) == std::string::npos)
        return word;
    std::string quoted = "'";
    for (const char c : word)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + '\'';
}

} // namespace

std::string explainCommand(const std::string &path, uint64_t number, const std::string &sideWords)
{
    // Standard input cannot be read twice.
    return "rule explain " + shellWord((path == "-" ? "FILE" : path) + ':' + std::to_string(number)) +
           sideWords;
}

std::string framesText(uint64_t frames)
{
    return std::to_string(frames) + (frames == 1 ? " frame" : " frames");
}

void readSelection(Session &session, WordReader &words, Selection &selection, const std::string &word)
{
    using Which = Selection::Which;
    if (selection.which != Which::All)
        throw usage("frame replay", word, "only one of --only-hits, --misses and --rule N");
    if (word == "--rule") {
        const RuleSet set(session);
        selection.rule = static_cast<int>(set.number(takeRuleNumber(set, words, "--rule")));
    }
    selection.which = word == "--only-hits" ? Which::Hits : word == "--misses" ? Which::Misses : Which::Rule;
}

void addShapes(std::string &text, nlohmann::ordered_json &json, const std::vector<Replayed> &captures,
               const Selection &selection, const std::string &sideWords)
{
    constexpr size_t kMost = 20; // lines
    constexpr unsigned kIndent = 24;
    const std::vector<ShapeGroup> groups = selection.shapes.groups();
    uint64_t frames = 0;
    for (const ShapeGroup &group : groups)
        frames += group.frames;
    const std::string title = selection.which == Selection::Which::Misses
                                  ? "without a rule"
                                  : "decided by rule " + std::to_string(selection.rule);
    text += framesText(frames) + ' ' + title + (groups.empty() ? "\n" : ", by shape:\n");
    if (!groups.empty())
        text += "    frames       bytes  shape and the command that explains its first frame\n";
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    uint64_t left = 0;
    for (size_t n = 0; n < groups.size(); ++n) {
        const ShapeGroup &group = groups[n];
        const std::string &path = captures[group.capture].path;
        const std::string command = explainCommand(path, group.firstNumber, sideWords);
        list.push_back({{"shape", group.shape},
                        {"frames", group.frames},
                        {"bytes", group.bytes},
                        {"capture", captures[group.capture].name},
                        {"first", group.firstNumber},
                        {"explain", command}});
        if (n >= kMost) {
            left += group.frames;
            continue;
        }
        char line[80];
        (void)std::snprintf(line, sizeof line, "  %8llu  %10llu  ",
                            static_cast<unsigned long long>(group.frames),
                            static_cast<unsigned long long>(group.bytes));
        text += wrapped(line + group.shape, outputWidth(), kIndent) + std::string(kIndent, ' ') +
                printable(command) + '\n';
    }
    if (left != 0)
        text +=
            "  and " + framesText(left) + " of " + std::to_string(groups.size() - kMost) + " other shapes\n";
    json["selected"] = {{"which", selection.which == Selection::Which::Misses ? "misses" : "rule"},
                        {"frames", frames},
                        {"shapes", list}};
    if (selection.which == Selection::Which::Rule)
        json["selected"]["rule"] = selection.rule;
}

} // namespace ifcctl
