// SPDX-License-Identifier: MIT OR GPL-2.0
// The frame engine: takes the fields out of a frame, compares them with the tables of the register window,
// counts, and decodes the action. A Classifier is large (look-up tables) and takes no lock.
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
    int entry; // the deciding entry, which numbers its action and counter; kNoEntry: no hit
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

    // The fields of a frame, all user-defined fields included.
    void parse(const uint8_t *data, size_t length, const SideData &side, ParsedFrame &parsed);

    // Takes one frame through the whole engine. Model: counter entry e counts each frame that rule e decides,
    // and its bytes without the FCS. `parsed` serves the caller and applyAction(). Of the user-defined fields
    // it holds those that some rule compares.
    Result classify(const uint8_t *data, size_t length, const SideData &side, ParsedFrame &parsed)
    {
        const HitBits bits = run(data, length, side, parsed);
        return {hitsOf(bits), decidingEntry(bits)};
    }

    // The comparison alone. Model: nothing hits while bit 0 of IFC_GLB_CFG is 0.
    HitBits match(const FieldImage &fields);

    // The decoded action of an entry, 0 to 39, on a chip of this revision.
    Action action(int entry, int revision) const;
    // The user-defined TPID, host byte order, that the last frame was parsed with. 0: none.
    uint16_t userTpid() const { return settings_.userTpid; }

private:
    HitBits run(const uint8_t *data, size_t length, const SideData &side, ParsedFrame &parsed);
    HitBits matchNow(const FieldImage &fields) const;
    [[gnu::noinline]] HitBits matchPlainly(const FieldImage &fields) const;
    void refresh();
    [[gnu::noinline]] void recompile();

    RegisterWindow &window_;
    Method method_ = Method::Fast;
    ParserSettings settings_;
    bool on_ = false;
    bool compiled_ = false;
    uint32_t generation_ = 0; // of the window when it was compiled
    FastMatch fast_;
    uint32_t *counter_[IFC_COUNTERS + 1]; // of each entry; the last one counts the misses
    uint32_t noCounter_[4] = {};
};

// Adds one frame to a counter entry in the order of the data registers: 64 bits of bytes, 56 of packets.
void addToCounter(uint32_t *counter, uint64_t bytes);

} // namespace engine
