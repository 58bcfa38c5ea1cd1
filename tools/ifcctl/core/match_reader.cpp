// SPDX-License-Identifier: MIT OR GPL-2.0
// Reads the conditions of a rule as operators write them.
#include "conditions.h"
#include "errors.h"
#include "match_words.h"
#include "nearest_word.h"
#include "rule_words.h"
#include "values.h"

#include "ifc/records/fields.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

namespace ifcctl
{

namespace
{

const std::string kForm = "KEY [eq|ne|!|ge|le] VALUE[/MASK], KEY FIRST-LAST or KEY any";
// The length of a prefix: decimal digits only.
std::optional<unsigned> prefixLength(const std::string &text, unsigned width)
{
    const auto length = parseNumber(text);
    if (!length || *length > width || text.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    return static_cast<unsigned>(*length);
}

std::optional<uint64_t> prefixMask(const std::string &text, unsigned width)
{
    const auto length = prefixLength(text, width);
    return length ? std::optional(highBits(width, *length)) : std::nullopt;
}

std::optional<Ipv6> ipv6Mask(const std::string &text)
{
    const auto length = prefixLength(text, 128);
    return length ? std::optional(ipv6PrefixMask(*length)) : parseIpv6(text);
}

// A condition, and how it was written.
struct Written {
    ifc_rule_condition condition;
    MatchWord word;
    std::string text; // both words
    bool meansIpv6;   // its value belongs to IPv6
    bool part() const { return !word.isWholeField(); }
};

class MatchReader
{
public:
    explicit MatchReader(WordReader &words) : words_(words) {}

    std::vector<Written> read()
    {
        while (!words_.atEnd() && !words_.nextIs(kActionWord))
            readCondition();
        chooseIpVersion();
        refuseContradictions();
        mergeParts();
        return std::move(read_);
    }

private:
    void readCondition()
    {
        const std::string &given = words_.peek();
        const auto word = findMatchWord(given);
        if (!word)
            throw usage("match", given, unknownWord(given));
        word_ = *word;
        words_.takeKey();
        const std::string compareWord = words_.peek();
        const auto compare = compareOf(compareWord);
        compare_ = compare.value_or(IFC_COMPARE_EQUAL);
        if (compare)
            (void)words_.skip(compareWord);
        if (words_.nextIs(kActionWord))
            words_.reject(kForm);
        value_ = words_.takeValue(kForm);
        if (!compare && value_.size() > 1 && value_[0] == '!') {
            compare_ = IFC_COMPARE_NOT_EQUAL;
            value_.erase(0, 1);
        }
        if (!compare && (value_[0] == '<' || value_[0] == '>'))
            words_.reject(std::string(ifc::isHalf(word_.field) ? "eq, ne, ge, le or range" : "eq or ne") +
                          " as a comparison");
        text_ = words_.key() + ' ' + (compare ? compareWord + ' ' : "") + words_.value();

        // Fields of up to 16 bits support all comparisons.
        if (!ifc::isHalf(word_.field) && compare_ > IFC_COMPARE_NOT_EQUAL)
            throw usage(words_.key(), compareWord, "eq or ne for addresses and the flow label");
        if (value_ == kAnyWord)
            readAny();
        else if (word_.kind == MatchWord::Kind::Address)
            readAddress();
        else if (ifc::isHalf(word_.field) && value_.find('-') != std::string::npos)
            readRange();
        else
            readPlain();
    }

    static std::string unknownWord(const std::string &given)
    {
        if (isActionWord(given))
            return "conditions before '" + kActionWord + "'; " + given + " is a word of actions";
        return "a word that 'rule add help' lists" + didYouMeanMatch(given);
    }

    // The value and the mask in the unit of the word.
    std::optional<uint64_t> valueOf(const std::string &text) const
    {
        std::optional<uint64_t> value;
        if (ifc::isMac(word_.field))
            return parseMac(text);
        if (ifc::isIpv4Address(word_.field))
            value = parseIpv4(text);
        else
            value = namedValue(word_, text);
        if (!value)
            value = parseNumber(text);
        return value && *value <= ifc::lowBits(word_.width) ? value : std::nullopt;
    }

    std::optional<uint64_t> maskOf(const std::string &text) const
    {
        std::optional<uint64_t> mask;
        if (ifc::isMac(word_.field) || ifc::isIpv4Address(word_.field))
            mask = prefixMask(text, word_.width);
        return mask ? mask : valueOf(text);
    }

    // Splits VALUE/MASK. Without a mask all bits count.
    std::optional<std::string> splitMask(std::string &value) const
    {
        const size_t slash = value.find('/');
        if (slash == std::string::npos)
            return std::nullopt;
        const std::string mask = value.substr(slash + 1);
        value.erase(slash);
        return mask;
    }

    void readAny()
    {
        if (compare_ == IFC_COMPARE_RANGE)
            words_.reject("FIRST-LAST");
        add(word_.field, 0, 0);
    }

    void readPlain()
    {
        if (compare_ == IFC_COMPARE_RANGE)
            words_.reject("FIRST-LAST");
        const std::string accepted = acceptedValues(word_);
        const auto maskText = splitMask(value_);
        const auto key = valueOf(value_);
        const auto mask = maskText ? maskOf(*maskText) : ifc::lowBits(word_.width);
        if (!key || !mask)
            words_.reject(accepted + didYouMean(value_, wordsOf(namesOfValues(word_))));
        // Under the field's own name a mask of 0 is `any`, as JSON has it.
        if (!(word_.asItStands && *key == 0))
            refuseEmptyMask(*mask, accepted);
        refuseOutside(*key, *mask, accepted);
        add(word_.field, *mask << word_.lsb, *key << word_.lsb);
        const bool icmpv6 = word_.field6 == IPv6_NEXT_HEADER && *key == kIcmpv6;
        read_.back().meansIpv6 = icmpv6 && !parseNumber(value_);
    }

    void readRange()
    {
        const size_t dash = value_.find('-');
        const auto first = valueOf(value_.substr(0, dash));
        const auto last = valueOf(value_.substr(dash + 1));
        if (!first || !last)
            words_.reject(acceptedValues(word_));
        if (*last < *first)
            words_.reject("FIRST-LAST with FIRST up to LAST, such as " + value_.substr(dash + 1) + '-' +
                          value_.substr(0, dash));
        if (compare_ != IFC_COMPARE_EQUAL && compare_ != IFC_COMPARE_RANGE)
            throw usage(words_.key(), compareName(compare_) + (' ' + value_),
                        compare_ == IFC_COMPARE_NOT_EQUAL
                            ? "one value after ne; what is outside a range takes two rules"
                            : std::string("one value after ") + compareName(compare_) + ", or " + value_ +
                                  " without it");
        const uint64_t below = ifc::lowBits(word_.lsb);
        if (word_.lsb + word_.width == ifc::fieldWidth(word_.field)) {
            add(makeRange(word_.field, *first << word_.lsb, *last << word_.lsb | below));
            return;
        }
        // Bits above the part are not compared.
        const uint64_t mask = ifc::lowBits(word_.width) << word_.lsb;
        add(makeCondition(word_.field, IFC_COMPARE_AT_LEAST, mask, *first << word_.lsb));
        add(makeCondition(word_.field, IFC_COMPARE_AT_MOST, mask, *last << word_.lsb));
    }

    void readAddress()
    {
        const auto maskText = splitMask(value_);
        if (const auto ipv4 = parseIpv4(value_)) {
            auto mask = maskText ? prefixMask(*maskText, 32) : ifc::lowBits(32);
            if (!mask)
                mask = parseIpv4(*maskText);
            if (!mask)
                words_.reject(acceptedValues(word_));
            refuseEmptyMask(*mask, acceptedValues(word_));
            refuseOutside(*ipv4, *mask, acceptedValues(word_));
            add(word_.field, *mask, *ipv4);
        } else if (const auto ipv6 = parseIpv6(value_)) {
            readIpv6(*ipv6, maskText ? ipv6Mask(*maskText) : ipv6PrefixMask(128));
        } else {
            words_.reject(acceptedValues(word_));
        }
    }

    // One condition for each word that has mask bits, most significant word first.
    void readIpv6(const Ipv6 &address, const std::optional<Ipv6> &mask)
    {
        if (!mask)
            words_.reject(acceptedValues(word_));
        const size_t from = read_.size();
        for (unsigned n = 0; n < mask->size(); ++n) {
            refuseOutside(address[n], (*mask)[n], acceptedValues(word_));
            if ((*mask)[n] != 0)
                add(word_.field6 + 3 - n, (*mask)[n], address[n]);
        }
        refuseEmptyMask(read_.size() - from, acceptedValues(word_));
        if (read_.size() - from > 1 && compare_ != IFC_COMPARE_EQUAL)
            throw usage(words_.key(), compareName(compare_) + (" " + words_.value()),
                        "eq only: an IPv6 address is compared word by word, and all words must hold");
    }

    void refuseEmptyMask(uint64_t mask, const std::string &accepted) const
    {
        if (mask == 0)
            words_.reject(accepted + "; a mask of 0 compares nothing, leave the field out");
    }

    void refuseOutside(uint64_t key, uint64_t mask, const std::string &accepted) const
    {
        if ((key & ~mask) != 0)
            words_.reject(accepted + "; this value has bits outside its mask");
    }

    void add(unsigned field, uint64_t mask, uint64_t key) { add(makeCondition(field, compare_, mask, key)); }

    void add(const ifc_rule_condition &condition) { read_.push_back({condition, word_, text_, false}); }

    // The IP version of the rule decides the field: of some words, and of `dst_ip any`.
    static bool isVersioned(const Written &w)
    {
        return w.word.kind == MatchWord::Kind::Versioned ||
               (w.word.kind == MatchWord::Kind::Address && w.condition.mask == 0);
    }

    void chooseIpVersion()
    {
        const bool ipv6 = std::any_of(read_.begin(), read_.end(), [](const Written &w) {
            return isVersioned(w) ? w.meansIpv6 : ipVersionOf(w.condition) == 6;
        });
        if (!ipv6)
            return;
        for (Written &w : read_)
            if (isVersioned(w)) // a frame has all words of an address or none
                w.condition.field = static_cast<uint8_t>(w.word.field6);
    }

    void refuseContradictions() const
    {
        for (size_t i = 0; i < read_.size(); ++i)
            for (size_t k = 0; k < i; ++k)
                if (!(read_[i].word.asItStands && read_[k].word.asItStands) &&
                    excludeEachOther(read_[k].condition, read_[i].condition))
                    throw Error(Reason::Contradiction, "match '" + read_[i].text + "': contradicts '" +
                                                           read_[k].text + "': no frame matches both");
    }

    // `vlan_prio 5 vlan_dei 1` is one condition of the field.
    void mergeParts()
    {
        const auto mergeable = [](const Written &w) {
            return w.part() && w.condition.compare == IFC_COMPARE_EQUAL;
        };
        std::vector<Written> merged;
        for (const Written &w : read_) {
            const auto into = std::find_if(merged.begin(), merged.end(), [&](const Written &other) {
                return mergeable(w) && mergeable(other) && other.condition.field == w.condition.field &&
                       (other.condition.mask & w.condition.mask) == 0;
            });
            if (into == merged.end()) {
                merged.push_back(w);
                continue;
            }
            into->condition.mask |= w.condition.mask;
            into->condition.key |= w.condition.key;
        }
        read_ = std::move(merged);
    }

    WordReader &words_;
    std::vector<Written> read_;
    // Of the condition that is being read:
    MatchWord word_{};
    unsigned compare_ = IFC_COMPARE_EQUAL;
    std::string value_;
    std::string text_;
};

} // namespace

std::optional<unsigned> compareOf(const std::string &word)
{
    if (word == "!" || word == "!=")
        return IFC_COMPARE_NOT_EQUAL;
    if (word == "=" || word == "==")
        return IFC_COMPARE_EQUAL;
    for (unsigned compare = IFC_COMPARE_EQUAL; compare <= IFC_COMPARE_RANGE; ++compare)
        if (word == compareName(compare))
            return compare;
    return std::nullopt;
}

void readMatch(WordReader &words, ifc_rule &rule)
{
    rule.count = 0;
    if (words.skip(kAnyWord)) {
        if (!words.atEnd() && !words.nextIs(kActionWord))
            throw usage("match", words.peek(), "'" + kActionWord + "' or nothing after '" + kAnyWord + "'");
        return;
    }
    const std::vector<Written> read = MatchReader(words).read();
    if (read.empty())
        throw usage("match", "",
                    "conditions, or '" + kAnyWord + "' for every frame; 'rule add help' lists the words");
    if (read.size() > IFC_RULE_CONDITIONS)
        throw usage("match", read[IFC_RULE_CONDITIONS].text,
                    "at most " + std::to_string(IFC_RULE_CONDITIONS) + " conditions");
    for (const Written &w : read)
        rule.condition[rule.count++] = w.condition;
}

} // namespace ifcctl
