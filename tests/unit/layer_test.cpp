// SPDX-License-Identifier: MIT OR GPL-2.0
#include "layer_test.h"

#include <algorithm>
#include <cstring>
#include <regex>

using engine::AccessKind;

std::string describe(const engine::Access &access)
{
    char text[40];
    (void)std::snprintf(text, sizeof text, "%c %08x %08x", access.kind == AccessKind::Read ? 'R' : 'W',
                        access.reg, access.value);
    return text;
}

Traffic &Traffic::write(uint32_t reg, uint32_t value)
{
    lines_.push_back(describe({AccessKind::Write, reg, value}));
    return *this;
}

Traffic &Traffic::read(uint32_t reg, uint32_t value)
{
    lines_.push_back(describe({AccessKind::Read, reg, value}));
    return *this;
}

Traffic &Traffic::transfer(uint32_t word, unsigned reads, bool done)
{
    write(0xBFB50204, word);
    for (unsigned n = 1; n <= reads; ++n)
        read(0xBFB50204, done && n == reads ? word | 0x80000000u : word);
    return *this;
}

Traffic &Traffic::zeros(uint32_t index, uint32_t sel, unsigned reads, bool done)
{
    for (const uint32_t reg : {0xBFB5021C, 0xBFB50218, 0xBFB50214, 0xBFB50210})
        write(reg, 0);
    return transfer(command(index, 0, sel, 1), reads, done);
}

LayerTest::LayerTest()
{
    host::reset();
    *gpIfcPriv = IFC_Private_T{};
    std::memset(IFC_LUT0_Rule, 0, sizeof IFC_LUT0_Rule);
    std::memset(IFC_LUT1_Rule, 0, sizeof IFC_LUT1_Rule);
    ifcSendToPpe = 0;
    powerOn();
    host::attach(&chip);
    host::setLogSink([this](std::string_view piece) {
        said.emplace_back(piece);
        saidBehind.push_back(events.size());
    });
    host::setEventWatch([this](host::Event event) { events.push_back(event); });
    host::setMisuseHandler([](std::string_view what) { ADD_FAILURE() << "spin lock " << what; });
}

LayerTest::~LayerTest()
{
    EXPECT_FALSE(host::lockHeld());
    EXPECT_EQ(chip.errors(), 0u) << "an access that the hardware does not know";
    host::reset();
}

void LayerTest::powerOn(unsigned doneAfter)
{
    chip.powerOn({doneAfter, true});
    chip.onAccess(
        [](void *self, const engine::Access &access) {
            static_cast<LayerTest *>(self)->seen.push_back({access, host::lockHeld()});
        },
        this);
    forget();
}

void LayerTest::forget()
{
    seen.clear();
    said.clear();
    saidBehind.clear();
    events.clear();
}

std::vector<std::string> LayerTest::traffic() const
{
    std::vector<std::string> lines;
    for (const Seen &s : seen)
        lines.push_back(describe(s.access));
    return lines;
}

unsigned LayerTest::count(AccessKind kind) const
{
    return static_cast<unsigned>(
        std::count_if(seen.begin(), seen.end(), [kind](const Seen &s) { return s.access.kind == kind; }));
}

unsigned LayerTest::lockedAccesses() const
{
    return static_cast<unsigned>(
        std::count_if(seen.begin(), seen.end(), [](const Seen &s) { return s.locked; }));
}

std::vector<std::string> LayerTest::pieces() const
{
    static const std::regex prefix("^[a-z0-9_]+\\.cpp \\[[1-9][0-9]*\\]: ");
    std::vector<std::string> result;
    for (const std::string &piece : said)
        result.push_back(std::regex_replace(piece, prefix, "@"));
    return result;
}

std::string LayerTest::text() const
{
    std::string all;
    for (const std::string &piece : said)
        all += piece;
    return all;
}

LayerTest::Image LayerTest::image() const
{
    Image image;
    const auto add = [&image](const void *from, size_t bytes) {
        const size_t at = image.words.size();
        image.words.resize(at + bytes / 4);
        std::memcpy(image.words.data() + at, from, bytes);
    };
    add(IFC_LUT0_Rule, sizeof IFC_LUT0_Rule);
    add(IFC_LUT1_Rule, sizeof IFC_LUT1_Rule);
    add(&chip.tables(), sizeof chip.tables());
    return image;
}

orva_ifc_param requestOf(const std::vector<Cond> &conditions)
{
    orva_ifc_param request{};
    for (size_t i = 0; i < conditions.size(); ++i) {
        const Cond &c = conditions[i];
        request.fieldIdx[i] = c.field;
        request.command[i] = c.command;
        request.mask_low[i] = static_cast<uint32_t>(c.mask);
        request.mask_high[i] = static_cast<uint32_t>(c.mask >> 32);
        request.key_low[i] = static_cast<uint32_t>(c.key);
        request.key_high[i] = static_cast<uint32_t>(c.key >> 32);
    }
    return request;
}

uint32_t command(uint32_t index, uint32_t offset, uint32_t sel, uint32_t type)
{
    return 1u | type << 1 | sel << 4 | offset << 8 | index << 16;
}

// What a full rewrite of the present shadow tables must look like.
Traffic rewriteTraffic(unsigned reads)
{
    Traffic t;
    for (uint32_t rule = 0; rule < 8; ++rule) {
        const uint32_t *words = IFC_LUT0_Rule[rule].word;
        t.write(0xBFB50210, 0).transfer(command(rule, 10, 0, 1), reads);
        for (uint32_t row = 0; row < 10; ++row) {
            for (uint32_t n = 0; n < 4; ++n)
                t.write(0xBFB50210 + 4 * n, words[40 - 4 * row - n]);
            t.transfer(command(rule, row, 0, 1), reads);
        }
        t.write(0xBFB50210, words[0]).transfer(command(rule, 10, 0, 1), reads);
    }
    for (uint32_t entry = 0; entry < 32; ++entry) {
        t.write(0xBFB50210, IFC_LUT1_Rule[entry].word[1]);
        t.write(0xBFB50214, IFC_LUT1_Rule[entry].word[0]);
        t.transfer(command(entry, 0, 1, 1), reads);
    }
    return t;
}
