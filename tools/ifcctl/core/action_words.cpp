// SPDX-License-Identifier: MIT OR GPL-2.0
// Actions as operators write them. The entry equals the result of ifc_set_action() for each sub-action.
#include "errors.h"
#include "match_words.h"
#include "nearest_word.h"
#include "rule_words.h"
#include "values.h"

#include "ifc/records/action_record.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <optional>
#include <vector>

namespace ifcctl
{

namespace
{

struct ActionWord {
    const char *word;
    unsigned actIdx;
    unsigned position; // of its value among value0 to value3
    unsigned lsb;      // of the value in that field

    constexpr ifc::ActionField field() const { return ifc::kSetFields[actIdx][position]; }
    constexpr unsigned most() const { return ifc::actionFieldMost(field()) >> lsb; }
};

constexpr ActionWord kActionWords[] = {
    {"channel", IFC_ACT_CHANNEL_QUEUE, 0, 0},
    {"queue", IFC_ACT_CHANNEL_QUEUE, 1, 0},
    {"fport", IFC_ACT_FPORT_NBQ, 0, 0},
    {"nbq", IFC_ACT_FPORT_NBQ, 1, 0},
    {"sp_tag", IFC_ACT_SP_TAG, 0, 0},
    {"gem", IFC_ACT_SP_TAG, 0, 0},
    {"count", IFC_ACT_CNT0, 0, 0},
    {"count1", IFC_ACT_CNT1, 0, 0},
    {"meter", IFC_ACT_MTR_G, 0, 0},
    {"dscp", IFC_ACT_IPV4_DSCP, 0, kCodePointLsb},
    {"ds_octet", IFC_ACT_IPV4_DSCP, 0, 0},
    {"traffic_class", IFC_ACT_IPV6_TRAFFIC_CLASS, 0, 0},
    {"vpm0", IFC_ACT_VLAN0, 0, 0},
    {"vo0", IFC_ACT_VLAN0, 1, 0},
    {"vprio0", IFC_ACT_VLAN0, 2, 0},
    {"vid0", IFC_ACT_VLAN0, 3, 0},
    {"vo1", IFC_ACT_VLAN1, 0, 0},
    {"vprio1", IFC_ACT_VLAN1, 1, 0},
    {"vid1", IFC_ACT_VLAN1, 2, 0},
    {"fqos", IFC_ACT_FQOS, 0, 0},
    {"fast", IFC_ACT_FAST, 0, 0},
    {"mc", IFC_ACT_MC, 0, 0},
    {"keep_pcp", IFC_ACT_KEEP_PCP, 0, 0},
    {"cpu", IFC_ACT_CPU_NBQ, 0, 0},
    {"owf", IFC_ACT_OWF, 0, 0},
    {"dpi", IFC_ACT_DPI, 0, 0},
};

// The raw enable bits: the other words then set only their fields.
const std::string kEnableWord = "enable";
const std::string kOffWord = "off";

const ActionWord *findWord(const std::string &word)
{
    const auto *found = std::find_if(std::begin(kActionWords), std::end(kActionWords),
                                     [&](const ActionWord &entry) { return word == entry.word; });
    return found == std::end(kActionWords) ? nullptr : found;
}

std::vector<std::string> knownWords()
{
    std::vector<std::string> words;
    for (const ActionWord &entry : kActionWords)
        words.emplace_back(entry.word);
    words.push_back(kEnableWord);
    return words;
}

std::string lowerCase(std::string word)
{
    std::transform(word.begin(), word.end(), word.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return word;
}

// The end of a message about an unknown word.
std::string didYouMeanAction(const std::string &given)
{
    static const std::pair<const char *, const char *> ofOtherTools[] = {
        {"mark", "sp_tag"}, {"tag", "sp_tag"},   {"gem_port", "gem"},  {"port", "fport"},
        {"vlan", "vid0"},   {"vid", "vid0"},     {"vlan_id", "vid0"},  {"vlan_prio", "vprio0"},
        {"prio", "queue"},  {"tos", "ds_octet"}, {"counter", "count"}, {"controller", "cpu"},
    };
    const std::string word = lowerCase(given);
    if (findWord(word) != nullptr)
        return "; did you mean " + word + "?";
    for (const auto &[other, own] : ofOtherTools)
        if (word == other)
            return std::string("; did you mean ") + own + "?";
    return didYouMean(word, knownWords());
}

bool sameField(const ActionWord &one, const ActionWord &other)
{
    return one.field().lsb == other.field().lsb;
}

// Of two words for one field, the one that is printed for this value.
bool isWordFor(const ActionWord &entry, const uint32_t *words)
{
    const unsigned value = ifc::getActionField(words, entry.field());
    if (entry.actIdx == IFC_ACT_IPV4_DSCP)
        return ((value & ifc::lowBits(kCodePointLsb)) == 0) == (entry.lsb != 0);
    return &entry != findWord("gem");
}

// A word of the line.
struct Given {
    const ActionWord *entry;
    unsigned value;
    bool off;
};

class ActionReader
{
public:
    ActionReader(IFC_Action_Format &entry, WordReader &words, int revision)
        : entry_(entry), words_(words), revision_(revision)
    {
    }

    void read()
    {
        if (words_.atEnd())
            throw usage("action", "", kAcceptedWord);
        while (!words_.atEnd())
            readWord();
        const bool toPort = isNamed("fport");
        const bool toCpu = isNamed("cpu");
        if (toPort && toCpu && !enable_)
            throw usage("action", "cpu fport", "cpu or fport: fport clears the cpu flag");
        // Two sub-actions share the field nbq. It belongs to the one that is named or on.
        nbqOfCpu_ = toCpu || (!toPort && ifc::getActionField(entry_.word, ifc::kCpu) != 0);
        for (const Given &given : given_)
            refuseSilentOff(given);
        for (const Given &given : given_)
            apply(given);
        if (enable_)
            ifc::setActionField(entry_.word, ifc::kEnable, *enable_);
    }

    // Of the words that were read onto a zeroed entry, in their order.
    std::vector<SubAction> subActions() const
    {
        std::vector<SubAction> all;
        for (const Given &given : given_) {
            if (given.off)
                throw usage("action", kOffWord, "a value; 'action clear' switches an entry off");
            const unsigned actIdx = subActionOf(*given.entry);
            if (std::any_of(all.begin(), all.end(),
                            [&](const SubAction &sub) { return sub.actIdx == actIdx; }))
                continue;
            SubAction &sub = all.emplace_back(SubAction{actIdx, {}});
            for (unsigned n = 0; n < std::size(sub.values); ++n)
                sub.values[n] = ifc::getActionField(entry_.word, ifc::kSetFields[actIdx][n]);
        }
        if (enable_)
            throw usage("action", kEnableWord, "words other than enable; 'rule change' takes it");
        return all;
    }

private:
    static inline const std::string kAcceptedWord = "a word of actions that 'rule add help' lists";

    void readWord()
    {
        const std::string word = words_.peek();
        const ActionWord *entry = findWord(word);
        if (entry == nullptr && word != kEnableWord)
            throw usage("action", word, kAcceptedWord + didYouMeanAction(word));
        (void)words_.takeKey();
        if (entry == nullptr) {
            refuseTwice(enable_.has_value(), word, word);
            enable_ =
                static_cast<unsigned>(words_.takeNumber(0, uint64_t{ifc::actionFieldMost(ifc::kEnable)}));
            return;
        }
        for (const Given &given : given_)
            refuseTwice(sameField(*given.entry, *entry), word, given.entry->word);
        const bool hasValue =
            !words_.atEnd() && findWord(words_.peek()) == nullptr && !words_.nextIs(kEnableWord);
        if (!hasValue && entry->most() == 1)
            given_.push_back({entry, 1, false});
        else if (words_.skip(kOffWord))
            given_.push_back({entry, 0, true});
        else
            given_.push_back({entry, readValue(*entry), false});
    }

    static void refuseTwice(bool twice, const std::string &word, const std::string &before)
    {
        if (twice)
            throw usage("action", word,
                        word == before ? "each word once" : "one of " + before + " and " + word);
    }

    unsigned readValue(const ActionWord &entry)
    {
        if (entry.actIdx == IFC_ACT_IPV4_DSCP && entry.lsb != 0)
            if (const auto codePoint = codePointOf(words_.peek())) {
                (void)words_.takeValue("");
                return static_cast<unsigned>(*codePoint);
            }
        const std::string accepted = "a number from 0 to " + std::to_string(entry.most());
        const bool codePoint = entry.lsb != 0;
        const auto number = parseNumber(words_.takeValue(accepted));
        if (!number || *number > entry.most())
            words_.reject(codePoint ? accepted + ", or one of " + namesOfCodePoints() : accepted);
        return static_cast<unsigned>(*number);
    }

    bool isNamed(const char *word) const
    {
        return std::any_of(given_.begin(), given_.end(),
                           [&](const Given &given) { return given.entry == findWord(word) && !given.off; });
    }

    void switchEnable(unsigned actIdx, bool on)
    {
        const unsigned mask = ifc::enableMask(actIdx, revision_);
        const unsigned others = ifc::getActionField(entry_.word, ifc::kEnable) & ~mask;
        ifc::setActionField(entry_.word, ifc::kEnable, others | (on ? mask : 0));
    }

    unsigned subActionOf(const ActionWord &word) const
    {
        return &word == findWord("nbq") && nbqOfCpu_ ? unsigned{IFC_ACT_CPU_NBQ} : word.actIdx;
    }

    // `off` switches a whole sub-action off. Its other values are dropped only if they are named as well.
    void refuseSilentOff(const Given &given) const
    {
        if (!given.off)
            return;
        std::string others;
        for (const ActionWord &word : kActionWords) {
            const bool named = std::any_of(given_.begin(), given_.end(),
                                           [&](const Given &other) { return sameField(*other.entry, word); });
            if (!named && subActionOf(word) == subActionOf(*given.entry) && isWordFor(word, entry_.word) &&
                ifc::getActionField(entry_.word, word.field()) != 0)
                others += " '" + std::string(word.word) + " off'";
        }
        if (!others.empty())
            throw usage(given.entry->word, kOffWord, "together with" + others + ": they are one sub-action");
    }

    // Another sub-action that uses the same enable bit has values.
    bool isBitShared(unsigned actIdx) const
    {
        const unsigned mask = ifc::enableMask(actIdx, revision_);
        return std::any_of(std::begin(kActionWords), std::end(kActionWords), [&](const ActionWord &word) {
            return word.actIdx != actIdx && ifc::enableMask(word.actIdx, revision_) == mask &&
                   ifc::getActionField(entry_.word, word.field()) != 0;
        });
    }

    void apply(const Given &given)
    {
        const unsigned actIdx = subActionOf(*given.entry);
        switchEnable(actIdx, !given.off || isBitShared(actIdx));
        if (actIdx == IFC_ACT_FPORT_NBQ && !enable_)
            ifc::setActionField(entry_.word, ifc::kCpu, 0);
        if (given.off) {
            for (const ifc::ActionField field : ifc::kSetFields[actIdx])
                ifc::setActionField(entry_.word, field, 0);
            return;
        }
        const ifc::ActionField field = given.entry->field();
        ifc::setActionField(entry_.word, field, given.value << given.entry->lsb);
    }

    IFC_Action_Format &entry_;
    WordReader &words_;
    const int revision_;
    std::vector<Given> given_;
    std::optional<unsigned> enable_;
    bool nbqOfCpu_ = false;
};

std::string wordAndValue(const ActionWord &entry, const uint32_t *words)
{
    const unsigned value = ifc::getActionField(words, entry.field()) >> entry.lsb;
    if (entry.most() == 1 && value == 1)
        return entry.word;
    std::string text = entry.lsb != 0 ? nameOfCodePoint(value) : "";
    if (text.empty())
        text = entry.most() > 0xFFF || std::string(entry.word) == "ds_octet" ? formatHex(value)
                                                                             : std::to_string(value);
    return std::string(entry.word) + ' ' + text;
}

bool ownsNbq(unsigned actIdx, const uint32_t *words)
{
    return (actIdx == IFC_ACT_CPU_NBQ) == (ifc::getActionField(words, ifc::kCpu) != 0);
}

// The words whose values are not 0. For each enable bit without such a word, one word with the value 0.
std::string naturalText(const IFC_Action_Format &entry, int revision)
{
    std::string text;
    unsigned left = ifc::getActionField(entry.word, ifc::kEnable);
    std::vector<const ActionWord *> shown;
    for (const ActionWord &word : kActionWords)
        if (isWordFor(word, entry.word) && ifc::getActionField(entry.word, word.field()) != 0) {
            shown.push_back(&word);
            const bool nbqOfCpu = &word == findWord("nbq") && ownsNbq(IFC_ACT_CPU_NBQ, entry.word);
            left &= ~(nbqOfCpu ? 0 : ifc::enableMask(word.actIdx, revision));
        }
    for (const ActionWord &word : kActionWords) {
        const unsigned mask = ifc::enableMask(word.actIdx, revision);
        const bool isShown = std::find(shown.begin(), shown.end(), &word) != shown.end();
        if (!isShown && (left & mask) == 0)
            continue;
        if (!isShown && !isWordFor(word, entry.word))
            continue;
        left &= ~mask;
        text += (text.empty() ? "" : " ") + wordAndValue(word, entry.word);
    }
    return text;
}

bool readsBack(const std::string &text, const IFC_Action_Format &entry, int revision)
{
    IFC_Action_Format read{};
    WordReader words(wordsOf(text));
    try {
        mergeAction(read, words, revision);
    } catch (const Error &) {
        return text.empty() && std::equal(std::begin(read.word), std::end(read.word), entry.word);
    }
    return std::equal(std::begin(read.word), std::end(read.word), entry.word);
}

} // namespace

bool isActionWord(const std::string &word)
{
    return findWord(word) != nullptr || word == kEnableWord;
}

const std::vector<WordForm> &actionWordForms()
{
    static const std::vector<WordForm> forms = [] {
        std::vector<WordForm> all;
        for (const ActionWord &entry : kActionWords) {
            std::string values = entry.most() == 1 ? "flag" : "0 to " + std::to_string(entry.most());
            std::string names = kOffWord;
            if (entry.lsb != 0) {
                values += ", " + namesOfCodePoints() + " (the code point of IPv4)";
                names += ' ' + namesOfCodePoints();
            } else if (entry.actIdx == IFC_ACT_IPV4_DSCP) {
                values += " (the whole octet of IPv4)";
            }
            all.push_back({entry.word, values, names});
        }
        all.push_back({kEnableWord,
                       "0 to " + std::to_string(ifc::actionFieldMost(ifc::kEnable)) +
                           " (the raw enable bits, for entries that no other words can express)",
                       ""});
        return all;
    }();
    return forms;
}

void mergeAction(IFC_Action_Format &entry, WordReader &words, int revision)
{
    ActionReader(entry, words, revision).read();
}

IFC_Action_Format readAction(WordReader &words, int revision)
{
    IFC_Action_Format entry{};
    mergeAction(entry, words, revision);
    return entry;
}

std::vector<SubAction> readSubActions(WordReader &words, IFC_Action_Format &entry)
{
    constexpr int kAnyRevision = 0; // the enable bits are the rule layer's
    entry = {};
    ActionReader reader(entry, words, kAnyRevision);
    reader.read();
    return reader.subActions();
}

std::string actionText(const IFC_Action_Format &entry, int revision)
{
    std::string natural = naturalText(entry, revision);
    if (readsBack(natural, entry, revision))
        return natural;
    std::string text;
    for (const ActionWord &word : kActionWords)
        if (isWordFor(word, entry.word) && ifc::getActionField(entry.word, word.field()) != 0)
            text += wordAndValue(word, entry.word) + ' ';
    return text + kEnableWord + ' ' + formatHex(ifc::getActionField(entry.word, ifc::kEnable));
}

std::string actionLine(const IFC_Action_Format &entry, int revision)
{
    const std::string action = actionText(entry, revision);
    return action.empty() ? "no action" : kActionWord + ' ' + action;
}

nlohmann::ordered_json actionJson(const IFC_Action_Format &entry, int revision)
{
    const uint32_t *words = entry.word;
    nlohmann::ordered_json json;
    json[kEnableWord] = ifc::getActionField(words, ifc::kEnable);
    for (const ActionWord &word : kActionWords) {
        if (!isWordFor(word, words))
            continue;
        const unsigned value = ifc::getActionField(words, word.field());
        const bool flagAlone = ifc::enableMask(word.actIdx, revision) == 0; // cpu, owf
        if (flagAlone || value != 0 || ifc::isSubActionOn(words, word.actIdx, revision) ||
            (&word == findWord("nbq") && ownsNbq(IFC_ACT_CPU_NBQ, words)))
            json[word.word] = value >> word.lsb;
    }
    return json;
}

namespace
{

// The first part of the entry that needs the PPE, in words; "" if it needs none.
std::string partForPpe(const IFC_Action_Format &entry)
{
    const bool toCpu = ifc::getActionField(entry.word, ifc::kCpu) != 0;
    for (const ActionWord &word : kActionWords) {
        const bool free = &word == findWord("cpu") || (&word == findWord("nbq") && toCpu);
        if (!free && isWordFor(word, entry.word) && ifc::getActionField(entry.word, word.field()) != 0)
            return wordAndValue(word, entry.word);
    }
    const unsigned enable = ifc::getActionField(entry.word, ifc::kEnable);
    if (enable == 0)
        return "";
    for (const ActionWord &word : kActionWords)
        if (isWordFor(word, entry.word) && (ifc::enableMask(word.actIdx, 0) & enable) != 0)
            return wordAndValue(word, entry.word);
    return kEnableWord + ' ' + formatHex(enable);
}

} // namespace

bool needsPpe(const IFC_Action_Format &entry)
{
    return !partForPpe(entry).empty();
}

void refuseWithoutPpe(const IFC_Action_Format &entry)
{
    if (ifcSendToPpe == 0 && needsPpe(entry))
        throw refused(Reason::PpeOff, "action", partForPpe(entry),
                      "while the PPE is off only 'cpu' (with nbq) is accepted, and the rule layer would "
                      "delete the rule; say 'ppe on' first");
}

} // namespace ifcctl
