// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/classifier.h"

#include "engine/plain_match.h"

namespace engine
{

constexpr uint64_t kCounterPackets = 0x00FFFFFFFFFFFFFF;

Classifier::Classifier(RegisterWindow &window) : window_(window)
{
    defaultUdfs(settings_);
    for (unsigned n = 0; n < IFC_COUNTERS; ++n)
        counter_[n] = window.tables().counter[n];
    counter_[IFC_COUNTERS] = noCounter_;
}

// Takes over what changed behind the registers since the last frame.
void Classifier::refresh()
{
    if (!compiled_ || revision_ != window_.revision()) [[unlikely]]
        takeOver();
}

void Classifier::takeOver()
{
    settings_.userTpid = static_cast<uint16_t>(window_.tpidConfig() >> FE_TPID_CFG_USER_LSB);
    on_ = (window_.globalConfig() & IFC_GLB_CFG_ENABLE) != 0;
    fast_.compile(window_.tables());
    settings_.udfs = fast_.udfs();
    prepareUdfs(settings_);
    revision_ = window_.revision();
    compiled_ = true;
}

void Classifier::parse(const uint8_t *data, size_t length, const SideData &side, ParsedFrame &parsed)
{
    refresh();
    ParserSettings all = settings_;
    all.udfs = 0xFFFF;
    all.udfsInOrder = false;
    parseFrame(data, length, side, all, parsed);
}

HitBits Classifier::match(const FieldImage &fields)
{
    refresh();
    return matchNow(fields);
}

HitBits Classifier::matchNow(const FieldImage &fields) const
{
    if (!on_)
        return 0;
    return method_ == Method::Fast ? fast_.match(fields) : matchPlainly(fields);
}

HitBits Classifier::matchPlainly(const FieldImage &fields) const
{
    Hits hits;
    plainMatch(window_.tables(), fields, hits);
    return hitBitsOf(hits);
}

HitBits Classifier::run(const uint8_t *data, size_t length, const SideData &side, ParsedFrame &parsed)
{
    refresh();
    parseFrame(data, length, side, settings_, parsed);
    const HitBits bits = matchNow(parsed.fields);
    // Frames without a hit count too, where nobody looks: a branch on it cannot be foreseen.
    addToCounter(counter_[lowestBit(bits | HitBits{1} << IFC_COUNTERS)], length);
    return bits;
}

Action Classifier::action(int entry, int revision) const
{
    return decodeAction(window_.tables().action[entry], revision);
}

void addToCounter(uint32_t *counter, uint64_t bytes)
{
    using Pair = uint64_t __attribute__((vector_size(16)));
    Pair words; // little-endian, as the records are
    __builtin_memcpy(&words, counter, sizeof words);
    words = (words + Pair{bytes, 1}) & Pair{UINT64_MAX, kCounterPackets};
    __builtin_memcpy(counter, &words, sizeof words);
}

} // namespace engine
