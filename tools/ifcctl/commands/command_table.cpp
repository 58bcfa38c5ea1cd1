// SPDX-License-Identifier: MIT OR GPL-2.0
#include "command_table.h"

#include "flow_actions.h"
#include "flow_pattern.h"

#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/nearest_word.h"

#include <algorithm>
#include <utility>

namespace ifcctl
{

namespace
{

bool begins(const std::string &word, const std::string &with)
{
    return !with.empty() && word.compare(0, with.size(), with) == 0;
}

std::string joined(const Words &words)
{
    std::string text;
    for (const std::string &word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

Words verbsOf(const std::string &object)
{
    Words verbs;
    for (const Command &command : allCommands())
        if (object == command.object)
            verbs.emplace_back(command.verb);
    return verbs;
}

bool has(const Words &words, const std::string &word)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

// "; did you mean del?": the verb of this object for a word that other tools have, else the nearest one.
std::string didYouMeanVerb(const std::string &word, const Words &verbs)
{
    static constexpr std::pair<const char *, const char *> ofOtherTools[] = {
        {"remove", "del"},   {"rm", "del"},         {"destroy", "del"},   {"create", "add"},
        {"append", "add"},   {"new", "add"},        {"get", "show"},      {"print", "show"},
        {"dump", "show"},    {"display", "show"},   {"show", "status"},   {"show", "list"},
        {"dump", "list"},    {"replace", "change"}, {"modify", "change"}, {"edit", "change"},
        {"enable", "on"},    {"disable", "off"},    {"on", "enable"},     {"off", "disable"},
        {"clear", "reset"},  {"zero", "reset"},     {"monitor", "watch"}, {"test", "validate"},
        {"restore", "load"}, {"compare", "diff"},   {"why", "explain"},   {"draw", "map"},
    };
    for (const auto &[other, verb] : ofOtherTools)
        if (lowerCase(word) == other && has(verbs, verb))
            return std::string("; did you mean ") + verb + '?';
    return didYouMean(word, verbs);
}

// The verb of the object that the word names, by itself, as another word or as an abbreviation.
std::string findVerb(const std::string &object, const std::string &word)
{
    const Words verbs = verbsOf(object);
    if (has(verbs, word))
        return word;
    Words fitting;
    const auto add = [&](const std::string &verb) {
        if (has(verbs, verb) && !has(fitting, verb))
            fitting.push_back(verb);
    };
    for (const NamedHelp &alias : verbAliases())
        if (alias.name == word && has(verbs, alias.help))
            return alias.help;
    for (const std::string &verb : verbs)
        if (begins(verb, word))
            add(verb);
    for (const NamedHelp &alias : verbAliases())
        if (begins(alias.name, word))
            add(alias.help);
    if (fitting.size() == 1)
        return fitting.front();
    if (!fitting.empty())
        throw usage(object, word, "one of " + joined(fitting) + " in full");
    throw usage(object, word,
                joined(verbs) +
                    (word[0] == '-' ? "; options stand before the command" : didYouMeanVerb(word, verbs)));
}

} // namespace

const std::vector<Command> &allCommands()
{
    static const std::vector<Command> table = [] {
        std::vector<Command> all;
        for (const auto &part :
             {ruleCommands(), switchCommands(), actionCommands(), counterCommands(), operationCommands(),
              setCommands(), tableCommands(), frameCommands(), reportCommands(), flowCommands()})
            all.insert(all.end(), part.begin(), part.end());
        return all;
    }();
    return table;
}

const std::vector<NamedHelp> &objectTable()
{
    static const std::vector<NamedHelp> known = {
        {"rule", "the ordered rules"},
        {"ppe", "whether frames that hit may go to the packet engine"},
        {"classifier", "the switch of the classifier"},
        {"action", "one action entry"},
        {"counter", "the counters"},
        {"result", "what the last frame hit"},
        {"op", "the rule layer's operations by name"},
        {"set", "all rules as a file"},
        {"table", "the tables of the hardware and their shadow"},
        {"resource", "free space of the tables"},
        {"frame", "frames through the engine"},
        {"flow", "rules in the words of testpmd"},
        {"report", "one page about all of it, for a browser"},
    };
    static const std::vector<NamedHelp> table = [] {
        std::vector<NamedHelp> objects;
        for (const Command &command : allCommands()) {
            if (!objects.empty() && objects.back().name == command.object)
                continue;
            const auto found = std::find_if(known.begin(), known.end(),
                                            [&](const NamedHelp &row) { return row.name == command.object; });
            objects.push_back({command.object, found == known.end() ? command.help : found->help});
        }
        return objects;
    }();
    return table;
}

const std::vector<NamedHelp> &placeholders()
{
    static const std::vector<NamedHelp> table = {
        {"N", "a rule's number, or LUT0-3, LUT1-7; of 'action' and 'counter': an entry, 0 to 39"},
        {"M", "another rule, written like N"},
        {"MATCH", "KEY [eq|ne|!|ge|le] VALUE[/MASK], KEY FIRST-LAST, KEY any, or any alone"},
        {"WORD", "a word of an action with its value; WORD off switches its sub-action off"},
        {"VALUE", "the value of a word"},
        {"ID", "a counter's number, 0 to 15"},
        {"SECONDS", "a number from 0.1 to 86400; 1 if it is left out"},
        {"COUNT", "1 to 1000000"},
        {"FILE", "a file; - for standard input"},
        {"OUT", "a file that is written"},
        {"TEXT", "any text, one word in a batch"},
        {"WHEN", "auto, always or never"},
        {"HEX", "a frame in hex digits, without FCS"},
        {"NUMBER", "the number of a frame in a capture, from 1"},
        {"OPERATION", "an operation that 'op help' lists"},
        {"PORT", "0; there is one chip"},
        {"ITEM", "ITEM [/ ITEM]...: one of " + flowItems() +
                     ", with FIELD is VALUE; or FIELD spec, and FIELD mask, prefix or last"},
        {"ACTION", "ACTION [/ ACTION]...: one of " + flowActions()},
        {"ARGUMENT", "an argument of the operation"},
    };
    return table;
}

const std::vector<NamedHelp> &verbAliases()
{
    static const std::vector<NamedHelp> table = {{"list", "show"}, {"ls", "show"}, {"delete", "del"}};
    return table;
}

std::string findObject(const std::string &word)
{
    Words objects;
    for (const NamedHelp &object : objectTable())
        objects.push_back(object.name);
    if (has(objects, word))
        return word;
    for (const std::string &object : objects)
        if (begins(object, word))
            return object;
    throw usage("command", word, joined(objects) + didYouMean(word, objects));
}

const Command &findCommand(const Words &words, size_t &used)
{
    const std::string object = findObject(words.at(0));
    const Words verbs = verbsOf(object);
    const bool alone = verbs.front().empty();
    if (!alone && words.size() < 2)
        throw usage(object, "", joined(verbs));
    const std::string verb = alone ? "" : findVerb(object, words[1]);
    used = alone ? 1 : 2;
    return *std::find_if(allCommands().begin(), allCommands().end(),
                         [&](const Command &c) { return object == c.object && verb == c.verb; });
}

} // namespace ifcctl
