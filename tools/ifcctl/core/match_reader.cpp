// SPDX-License-Identifier: MIT OR GPL-2.0
// Reads the conditions of a rule as operators write them.
#include "errors.h"
#include "match.h"
#include "match_words.h"
#include "values.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace ifcctl
{

namespace
{

constexpr unsigned kEthertypeIpv6 = 0x86DD;

std::string acceptedValue(unsigned field)
{
    if (ifc::isMac(field))
        return "a MAC address such as 01:00:5e:00:00:00, alone, with /PREFIX (1 to 48) or with /MASK";
    const std::string most = formatHex(ifc::fieldOnes(field));
    std::string text = "a number from 0 to " + most + ", alone or with /MASK (1 to " + most + ")";
    const std::string names = namesOfValues(field);
    return names.empty() ? text : text + ", or one of " + names;
}

const std::string kAcceptedAddress =
    "an IPv4 or IPv6 address, alone, with /PREFIX or with /MASK of the same family";

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
    if (!length)
        return parseIpv6(text);
    Ipv6 mask{};
    for (unsigned n = 0; n < mask.size(); ++n) {
        const unsigned before = 32 * n;
        const unsigned ones = *length <= before ? 0 : std::min(*length - before, 32u);
        mask[n] = static_cast<uint32_t>(highBits(32, ones));
    }
    return mask;
}

std::optional<unsigned> commandOf(const std::string &word)
{
    for (unsigned command = 0; command < 4; ++command)
        if (word == commandName(command))
            return command;
    return std::nullopt;
}

class MatchReader
{
public:
    MatchReader(WordReader &words, const std::string &until) : words_(words), until_(until) {}

    Match read()
    {
        while (!words_.atEnd() && !words_.nextIs(until_))
            readCondition();
        chooseIpVersion();
        refuseDuplicates();
        return std::move(match_);
    }

private:
    void readCondition()
    {
        const auto word = findMatchWord(words_.peek());
        if (!word)
            throw usage("match", words_.peek(), knownMatchWords());
        words_.takeKey();
        command_ = commandOf(words_.peek()).value_or(0);
        if (commandOf(words_.peek()))
            (void)words_.skip(words_.peek());
        constexpr const char *kForm = "KEY [eq|ne|ge|le] VALUE[/MASK]";
        if (words_.nextIs(until_))
            words_.reject(kForm);
        const std::string &text = words_.takeValue(kForm);
        const size_t slash = text.find('/');
        value_ = text.substr(0, slash);
        mask_ = slash == std::string::npos ? std::nullopt : std::optional(text.substr(slash + 1));

        const size_t from = match_.size();
        if (word->kind == MatchWord::Kind::Address) {
            readAddress(*word);
        } else {
            if (word->kind == MatchWord::Kind::Versioned)
                versioned_.emplace_back(from, word->field6);
            readPlain(word->field);
        }
        for (size_t n = from; n < match_.size(); ++n)
            if (ifc::isCommandRefused(match_[n].field, command_))
                throw usage(words_.key(), commandName(command_), "eq or ne for addresses and the flow label");
    }

    void readPlain(unsigned field)
    {
        const bool mac = ifc::isMac(field);
        const uint64_t most = ifc::fieldOnes(field);
        const std::string accepted = acceptedValue(field);
        auto key = mac ? parseMac(value_) : namedValue(field, value_);
        if (!key && !mac)
            key = parseNumber(value_);
        if (!key || *key > most)
            words_.reject(accepted);
        std::optional<uint64_t> mask = most;
        if (mask_) {
            mask = mac ? prefixMask(*mask_, ifc::fieldWidth(field)) : parseNumber(*mask_);
            if (!mask && mac)
                mask = parseMac(*mask_);
            if (!mask || *mask > most)
                words_.reject(accepted);
        }
        refuseEmptyMask(*mask, accepted);
        add(field, *mask, *key, accepted);
    }

    void readAddress(const MatchWord &word)
    {
        if (const auto ipv4 = parseIpv4(value_)) {
            std::optional<uint64_t> mask = mask_ ? prefixMask(*mask_, 32) : ifc::lowBits(32);
            if (!mask)
                mask = parseIpv4(*mask_);
            if (!mask)
                words_.reject(kAcceptedAddress);
            refuseEmptyMask(*mask, kAcceptedAddress);
            add(word.field, *mask, *ipv4, kAcceptedAddress);
        } else if (const auto ipv6 = parseIpv6(value_)) {
            readIpv6(word.field6, *ipv6);
        } else {
            words_.reject(kAcceptedAddress);
        }
    }

    // One condition for each word that has mask bits, most significant word first.
    void readIpv6(unsigned lowestField, const Ipv6 &address)
    {
        const auto mask = mask_ ? ipv6Mask(*mask_) : Ipv6{0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF};
        if (!mask)
            words_.reject(kAcceptedAddress);
        const size_t from = match_.size();
        for (unsigned n = 0; n < mask->size(); ++n)
            if ((*mask)[n] != 0 || address[n] != 0)
                add(lowestField + 3 - n, (*mask)[n], address[n], kAcceptedAddress);
        refuseEmptyMask(match_.size() - from, kAcceptedAddress);
        if (match_.size() - from > 1 && command_ != 0)
            throw usage(words_.key(), commandName(command_) + (" " + words_.value()),
                        "eq only: an IPv6 address is compared word by word, and all words must hold");
    }

    void refuseEmptyMask(uint64_t mask, const std::string &accepted) const
    {
        if (mask == 0)
            words_.reject(accepted + "; a mask of 0 compares nothing, leave the field out");
    }

    void add(unsigned field, uint64_t mask, uint64_t key, const std::string &accepted)
    {
        if ((key & ~mask) != 0)
            words_.reject(accepted + "; this value has bits outside its mask");
        match_.push_back({field, command_, mask, key, words_.key(), words_.value()});
    }

    void chooseIpVersion()
    {
        const bool ipv6 = std::any_of(match_.begin(), match_.end(), [](const Condition &c) {
            const bool ipv6Word = ifc::isWord(c.field) && !ifc::isIpv4Address(c.field); // or the flow label
            return ipv6Word || (c.field == ETYPE && c.key == kEthertypeIpv6);
        });
        if (!ipv6)
            return;
        for (const auto &[place, field] : versioned_)
            match_[place].field = field;
    }

    void refuseDuplicates() const
    {
        for (size_t i = 0; i < match_.size(); ++i)
            for (size_t k = 0; k < i; ++k)
                if (match_[k].field == match_[i].field)
                    throw usage(match_[i].word, match_[i].value,
                                "each field once: a rule has one condition a field");
    }

    WordReader &words_;
    const std::string until_;
    Match match_;
    std::vector<std::pair<size_t, unsigned>> versioned_; // place in the match, field of IP version 6
    // Of the condition that is being read:
    unsigned command_ = 0;
    std::string value_;
    std::optional<std::string> mask_;
};

} // namespace

Match parseMatch(WordReader &words, const std::string &until)
{
    return MatchReader(words, until).read();
}

} // namespace ifcctl
