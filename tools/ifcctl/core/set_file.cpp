// SPDX-License-Identifier: MIT OR GPL-2.0
#include "set_file.h"

#include "errors.h"
#include "rule_words.h"
#include "word_reader.h"

#include "engine/frame_parser.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <utility>

namespace ifcctl
{

namespace
{

const std::string kAcceptedLines = "rule add MATCH... [action ...], ppe on|off, classifier enable|disable, "
                                   "udf N network OFFSET, # comment";

// A switch of the file, and how many rules stand before its lines.
struct SwitchLine {
    std::optional<size_t> first;
    std::optional<size_t> second;
};

struct Reader {
    SetFile set;
    SwitchLine ppe;
    SwitchLine classifier;
};

void readSwitch(const SetFile &set, WordReader &words, const char *name, const Words &choices,
                SwitchLine &line, std::optional<bool> &value)
{
    const bool on = words.takeChoice(name, choices) == 0;
    words.expectEnd(name);
    if (line.second || (line.first && *line.first == set.rules.size()))
        throw usage(name, choices[on ? 0 : 1],
                    std::string("one line of ") + name + ", or one before the rules and one after them");
    (line.first ? line.second : line.first) = set.rules.size();
    value = on;
}

void checkUdf(WordReader &words)
{
    engine::ParserSettings settings;
    engine::defaultUdfs(settings);
    const unsigned udf = words.takeNumber("udf", UDF15 - UDF0);
    (void)words.takeChoice("udf", {"network"});
    const unsigned offset = words.takeNumber("udf offset", UINT16_MAX);
    words.expectEnd("udf");
    const unsigned place = settings.udf[udf].offset;
    if (offset != place)
        throw usage("udf offset", std::to_string(offset),
                    std::to_string(place) + ", where udf" + std::to_string(udf) +
                        " is taken from; no register of the chip sets this");
}

void readLine(Reader &reader, unsigned number, const Words &line, int revision)
{
    if (line.empty())
        return;
    SetFile &set = reader.set;
    WordReader words(line);
    const std::string &object = words.takeKey();
    if (object == "ppe") {
        readSwitch(set, words, "ppe", {"on", "off"}, reader.ppe, set.ppe);
    } else if (object == "classifier") {
        readSwitch(set, words, "classifier", {"enable", "disable"}, reader.classifier, set.classifier);
    } else if (object == "udf") {
        checkUdf(words);
    } else if (object == "rule") {
        (void)words.takeChoice("rule", {"add"});
        if (words.nextIs("auto"))
            throw usage("rule add", "auto", "MATCH...; a set is placed as a whole");
        for (const SwitchLine *sw : {&reader.ppe, &reader.classifier})
            if (sw->second)
                throw usage("rule", "add",
                            std::string("rules before the second line of ") +
                                (sw == &reader.ppe ? "ppe" : "classifier"));
        set.rules.push_back(readRule(words, revision));
        set.lines.push_back(number);
        if (set.rules.size() > IFC_RULESET_RULES)
            throw refused(Reason::NoSpace, "rule", "add",
                          "there is space for " + std::to_string(IFC_RULESET_RULES) + " rules");
    } else {
        throw usage("set", object, kAcceptedLines);
    }
}

} // namespace

SetFile readSet(std::istream &file, const std::string &name, int revision)
{
    Reader reader;
    reader.set.name = name;
    const SetFile &set = reader.set;
    unsigned number = 0; // of the line that an error is about
    unsigned read = 0;
    try {
        for (std::string line; std::getline(file, line);) {
            number = ++read;
            if (number == 1)
                dropByteOrderMark(line);
            while (goesOn(line)) {
                std::string more;
                if (!std::getline(file, more))
                    throw noNextLine();
                ++read;
                joinLines(line, more);
            }
            readLine(reader, number, splitLine(line), revision);
        }
        for (unsigned n = 0; n < set.rules.size() && !set.ppe; ++n) {
            number = set.lines[n];
            refuseWithoutPpe(set.rules[n].action);
        }
    } catch (const Error &error) {
        throw Error(error.reason(), set.name + ':' + std::to_string(number) + ": " + error.text());
    }
    return std::move(reader.set);
}

SetFile readSetFile(const std::string &path, int revision)
{
    SetFile set;
    std::ifstream file;
    if (path != "-")
        file.open(path);
    std::istream &in = path == "-" ? std::cin : file;
    errno = 0;
    if (in)
        set = readSet(in, path == "-" ? "standard input" : path, revision);
    else
        errno = errno != 0 ? errno : ENOENT;
    if (!in.eof() || in.bad())
        throw usage("set", path, std::string("a file that can be read (") + std::strerror(errno) + ')');
    return set;
}

SwitchLines switchLines(const std::vector<ifc_rule> &rules, bool ppe, bool classifier)
{
    const bool needed =
        std::any_of(rules.begin(), rules.end(), [](const ifc_rule &rule) { return needsPpe(rule.action); });
    const std::string off = "ppe off\n";
    return {(ppe || needed ? "ppe on\n" : off) +
                (classifier ? "classifier enable\n" : "classifier disable\n"),
            !ppe && needed ? off : ""};
}

std::string setFileText(const std::vector<ifc_rule> &rules, bool ppe, bool classifier, int revision)
{
    std::string text = "# A set of rules for 'ifcctl set load': the first that matches a frame decides.\n";
    const SwitchLines switches = switchLines(rules, ppe, classifier);
    text += switches.before;
    for (const ifc_rule &rule : rules)
        text += "rule add " + ruleText(rule, revision) + '\n';
    text += switches.after;
    return text;
}

} // namespace ifcctl
