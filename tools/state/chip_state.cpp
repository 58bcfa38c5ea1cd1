// SPDX-License-Identifier: MIT OR GPL-2.0
#include "chip_state.h"

#include "ifc/ifc_glb.h"

#include <cstring>

namespace state
{

namespace
{

constexpr std::string_view kMagic = "IFCSTATE";
constexpr uint32_t kVersion = 1;
constexpr size_t kHeaderBytes = 16; // magic, version, length
constexpr size_t kFileBytes = 4484;

class Writer
{
public:
    void word(uint32_t value)
    {
        for (int shift = 0; shift < 32; shift += 8)
            bytes_ += static_cast<char>(value >> shift);
    }
    void text(std::string_view value) { bytes_ += value; }
    const std::string &bytes() const { return bytes_; }

private:
    std::string bytes_;
};

class Reader
{
public:
    explicit Reader(std::string_view bytes) : bytes_(bytes) {}
    void word(uint32_t &value)
    {
        value = 0;
        for (int shift = 0; shift < 32; shift += 8)
            value |= uint32_t{static_cast<unsigned char>(bytes_[at_++])} << shift;
    }

private:
    std::string_view bytes_;
    size_t at_ = 0;
};

// The order of the words, for reading and writing.
template <typename Stream, typename Chip>
void eachWord(Stream &stream, Chip &chip)
{
    stream.word(chip.revision);
    stream.word(chip.sendToPpe);
    for (auto &word : chip.hitMaps)
        stream.word(word);
    stream.word(chip.tpidConfig);
    stream.word(chip.globalConfig);
    for (auto &word : chip.counterBinding)
        stream.word(word);
    for (auto &record : chip.tables.lut0)
        for (auto &word : record)
            stream.word(word);
    for (auto &record : chip.tables.lut1)
        for (auto &word : record)
            stream.word(word);
    for (auto &record : chip.tables.action)
        for (auto &word : record)
            stream.word(word);
    for (auto &row : chip.tables.counter)
        for (auto &word : row)
            stream.word(word);
    for (auto &record : chip.shadowLut0)
        for (auto &word : record.word)
            stream.word(word);
    for (auto &record : chip.shadowLut1)
        for (auto &word : record.word)
            stream.word(word);
}

uint32_t wordAt(std::string_view bytes, size_t offset)
{
    uint32_t value = 0;
    Reader(bytes.substr(offset)).word(value);
    return value;
}

} // namespace

uint32_t crc32(std::string_view bytes)
{
    constexpr uint32_t kPolynomial = 0xEDB88320; // of IEEE 802.3, bit 0 first
    uint32_t rest = 0xFFFFFFFF;
    for (const char byte : bytes) {
        rest ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit)
            rest = rest >> 1 ^ ((rest & 1) != 0 ? kPolynomial : 0);
    }
    return ~rest;
}

std::string encode(const ChipState &chip)
{
    Writer writer;
    writer.text(kMagic);
    writer.word(kVersion);
    writer.word(kFileBytes);
    eachWord(writer, chip);
    writer.word(crc32(writer.bytes()));
    return writer.bytes();
}

Damage decode(std::string_view bytes, ChipState &chip)
{
    const size_t compared = bytes.size() < kMagic.size() ? bytes.size() : kMagic.size();
    if (bytes.empty())
        return Damage::Truncated;
    if (bytes.substr(0, compared) != kMagic.substr(0, compared))
        return Damage::Foreign;
    if (bytes.size() < kHeaderBytes)
        return Damage::Truncated;
    if (wordAt(bytes, kMagic.size()) > kVersion)
        return Damage::Newer;
    if (bytes.size() < kFileBytes)
        return Damage::Truncated;
    if (bytes.size() > kFileBytes)
        return Damage::Longer;
    const size_t covered = kFileBytes - 4;
    if (wordAt(bytes, covered) != crc32(bytes.substr(0, covered)) ||
        wordAt(bytes, kMagic.size()) != kVersion || wordAt(bytes, kMagic.size() + 4) != kFileBytes)
        return Damage::Checksum;
    Reader reader(bytes.substr(kHeaderBytes));
    eachWord(reader, chip);
    return Damage::None;
}

const char *describe(Damage damage)
{
    switch (damage) {
    case Damage::None:
        return "is a state file";
    case Damage::Foreign:
        return "is no ifcctl state file";
    case Damage::Newer:
        return "was written by a newer ifcctl";
    case Damage::Truncated:
        return "is cut short";
    case Damage::Longer:
        return "has bytes after its end";
    case Damage::Checksum:
        break;
    }
    return "is damaged: its checksum does not match";
}

ChipState capture(engine::RegisterWindow &window, int revision)
{
    ChipState chip;
    chip.revision = static_cast<uint32_t>(revision);
    chip.sendToPpe = ifcSendToPpe;
    chip.hitMaps[0] = gpIfcPriv->lut0HitMap;
    chip.hitMaps[1] = gpIfcPriv->lut1HitMap0;
    chip.hitMaps[2] = gpIfcPriv->lut1HitMap1;
    chip.tpidConfig = window.tpidConfig();
    chip.globalConfig = window.globalConfig();
    for (unsigned n = 0; n < IFC_ACNT_CFG_COUNT; ++n)
        chip.counterBinding[n] = window.counterBinding(n);
    chip.tables = window.tables();
    std::memcpy(chip.shadowLut0, IFC_LUT0_Rule, sizeof chip.shadowLut0);
    std::memcpy(chip.shadowLut1, IFC_LUT1_Rule, sizeof chip.shadowLut1);
    return chip;
}

void restore(const ChipState &chip, engine::RegisterWindow &window)
{
    window.write(FE_TPID_CFG, chip.tpidConfig);
    window.write(IFC_GLB_CFG, chip.globalConfig);
    for (unsigned n = 0; n < IFC_ACNT_CFG_COUNT; ++n)
        window.write(IFC_ACNT_CFG + 4 * n, chip.counterBinding[n]);
    window.tables() = chip.tables;
    window.touch();
    ifcSendToPpe = chip.sendToPpe;
    gpIfcPriv->lut0HitMap = chip.hitMaps[0];
    gpIfcPriv->lut1HitMap0 = chip.hitMaps[1];
    gpIfcPriv->lut1HitMap1 = chip.hitMaps[2];
    std::memcpy(IFC_LUT0_Rule, chip.shadowLut0, sizeof chip.shadowLut0);
    std::memcpy(IFC_LUT1_Rule, chip.shadowLut1, sizeof chip.shadowLut1);
}

} // namespace state
