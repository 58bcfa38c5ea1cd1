// SPDX-License-Identifier: MIT OR GPL-2.0
// The frame engine's way of a frame: take out the fields, compare them with the tables behind the register
// window, count, tell what the action says. Large (look-up tables); not locked.
#pragma once

#include "engine/fast_match.h"
#include "engine/frame_action.h"
#include "engine/frame_parser.h"
#include "engine/hits.h"
#include "engine/register_window.h"

namespace engine
{

struct Result {
    Hits hits;
    int entry; // that decides: number of its action and counter; kNoEntry
};

class Classifier
{
public:
    enum class Method { Fast, Plain };

    explicit Classifier(RegisterWindow &window);

    void setMethod(Method method) { method_ = method; }
    void setUdf(unsigned n, UdfPlace place)
    {
        settings_.udf[n] = place;
        prepareUdfs(settings_);
    }

    // Fields as the classifier sees them now, all user-defined fields included.
    void parse(const uint8_t *data, size_t length, const SideData &side, ParsedFrame &parsed);

    // One frame through the whole engine. Model: counter entry e counts each frame that rule e decides, and
    // its bytes without the FCS. `parsed` is left for whoever wants the fields or applyAction(); it
    // holds the user-defined fields that some rule looks at.
    Result classify(const uint8_t *data, size_t length, const SideData &side, ParsedFrame &parsed)
    {
        const HitBits bits = run(data, length, side, parsed);
        return {hitsOf(bits), decidingEntry(bits)};
    }

    // Comparison alone. Model: while bit 0 of IFC_GLB_CFG is 0 nothing hits.
    HitBits match(const FieldImage &fields);

    Action action(int entry, int revision) const;
    uint16_t userTpid() const { return settings_.userTpid; }

private:
    HitBits run(const uint8_t *data, size_t length, const SideData &side, ParsedFrame &parsed);
    HitBits matchNow(const FieldImage &fields) const;
    [[gnu::noinline]] HitBits matchPlainly(const FieldImage &fields) const;
    void refresh();
    [[gnu::noinline]] void takeOver();

    RegisterWindow &window_;
    Method method_ = Method::Fast;
    ParserSettings settings_;
    bool on_ = false;
    bool compiled_ = false;
    uint32_t revision_ = 0;
    FastMatch fast_;
    uint32_t *counter_[IFC_COUNTERS + 1]; // of each entry, and of the frames that no rule decides
    uint32_t noCounter_[4] = {};
};

// Adds one frame to a counter entry in the order of the data registers: 64 bits of bytes, 56 of packets.
void addToCounter(uint32_t *counter, uint64_t bytes);

} // namespace engine
