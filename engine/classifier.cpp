// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/classifier.h"

#include "engine/plain_match.h"

namespace engine
{

Classifier::Classifier(RegisterWindow &window) : window_(window)
{
    defaultUdfs(settings_);
}

// Takes over what changed behind the registers since the last frame.
void Classifier::refresh()
{
    if (compiled_ && revision_ == window_.revision())
        return;
    settings_.userTpid = static_cast<uint16_t>(window_.tpidConfig() >> FE_TPID_CFG_USER_LSB);
    on_ = (window_.globalConfig() & IFC_GLB_CFG_ENABLE) != 0;
    fast_.compile(window_.tables());
    settings_.udfs = fast_.udfs();
    revision_ = window_.revision();
    compiled_ = true;
}

void Classifier::parse(const uint8_t *data, size_t length, const SideData &side, ParsedFrame &parsed)
{
    refresh();
    ParserSettings all = settings_;
    all.udfs = 0xFFFF;
    parseFrame(data, length, side, all, parsed);
}

HitBits Classifier::match(const FieldImage &fields)
{
    refresh();
    if (!on_)
        return 0;
    if (method_ == Method::Fast)
        return fast_.match(fields);
    Hits hits;
    plainMatch(window_.tables(), fields, hits);
    return hitBitsOf(hits);
}

HitBits Classifier::run(const uint8_t *data, size_t length, const SideData &side, ParsedFrame &parsed)
{
    refresh();
    parseFrame(data, length, side, settings_, parsed);
    const HitBits bits = match(parsed.fields);
    const int entry = decidingEntry(bits);
    if (entry != kNoEntry)
        count(entry, length);
    return bits;
}

void Classifier::count(int entry, size_t bytes)
{
    addToCounter(window_.tables().counter[entry], bytes);
}

Action Classifier::action(int entry, int revision) const
{
    return decodeAction(window_.tables().action[entry], revision);
}

void addToCounter(uint32_t *counter, uint64_t bytes)
{
    const uint64_t total = (uint64_t{counter[1]} << 32 | counter[0]) + bytes;
    counter[0] = static_cast<uint32_t>(total);
    counter[1] = static_cast<uint32_t>(total >> 32);
    const uint64_t packets = (uint64_t{counter[3]} << 32 | counter[2]) + 1;
    counter[2] = static_cast<uint32_t>(packets);
    counter[3] = static_cast<uint32_t>(packets >> 32) & 0x00FFFFFF;
}

} // namespace engine
