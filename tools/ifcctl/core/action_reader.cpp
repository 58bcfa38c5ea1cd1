// SPDX-License-Identifier: MIT OR GPL-2.0
// Reads actions as operators write them. The entry equals the result of ifc_set_action() for each sub-action.
#include "action_words.h"
#include "errors.h"
#include "rule_words.h"
#include "values.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <vector>

namespace ifcctl
{

namespace
{

bool sameField(const ActionWord &one, const ActionWord &other)
{
    return one.field().lsb == other.field().lsb;
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
        const ActionWord *entry = findActionWord(word);
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
            !words_.atEnd() && findActionWord(words_.peek()) == nullptr && !words_.nextIs(kEnableWord);
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
        return std::any_of(given_.begin(), given_.end(), [&](const Given &given) {
            return given.entry == findActionWord(word) && !given.off;
        });
    }

    void switchEnable(unsigned actIdx, bool on)
    {
        const unsigned mask = ifc::enableMask(actIdx, revision_);
        const unsigned others = ifc::getActionField(entry_.word, ifc::kEnable) & ~mask;
        ifc::setActionField(entry_.word, ifc::kEnable, others | (on ? mask : 0));
    }

    unsigned subActionOf(const ActionWord &word) const
    {
        return &word == findActionWord("nbq") && nbqOfCpu_ ? unsigned{IFC_ACT_CPU_NBQ} : word.actIdx;
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

} // namespace

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

} // namespace ifcctl
