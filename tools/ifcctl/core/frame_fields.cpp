// SPDX-License-Identifier: MIT OR GPL-2.0
#include "frame_fields.h"

#include "errors.h"
#include "values.h"

#include "ifc/records/chip.h"

#include <cctype>

namespace ifcctl
{

namespace
{

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    const int letter = std::tolower(static_cast<unsigned char>(c));
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

Ipv6 ipv6Of(const engine::FieldImage &fields, unsigned lowest)
{
    Ipv6 address{};
    for (unsigned n = 0; n < address.size(); ++n)
        address[n] = static_cast<uint32_t>(engine::fieldValue(fields, lowest + 3 - n));
    return address;
}

} // namespace

FrameBytes parseFrameHex(const std::string &field, const std::string &text)
{
    constexpr const char *kAccepted = "pairs of hex digits, optionally with ':' or '-' between the pairs";
    FrameBytes bytes;
    for (size_t n = 0; n < text.size(); n += 2) {
        if (n != 0 && (text[n] == ':' || text[n] == '-'))
            ++n;
        const int high = hexDigit(text[n]);
        const int low = n + 1 < text.size() ? hexDigit(text[n + 1]) : -1;
        if (high < 0 || low < 0)
            throw usage(field, text, kAccepted);
        bytes.push_back(static_cast<uint8_t>(high << 4 | low));
    }
    if (bytes.empty())
        throw usage(field, text, kAccepted);
    return bytes;
}

std::string formatFrameHex(const uint8_t *data, size_t length)
{
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * length);
    for (size_t n = 0; n < length; ++n) {
        text += kDigits[data[n] >> 4];
        text += kDigits[data[n] & 15];
    }
    return text;
}

bool parseSideData(WordReader &words, engine::SideData &side)
{
    const bool iface = words.nextIs("iface");
    if (!iface && !words.nextIs("gem_port"))
        return false;
    (void)words.takeKey();
    const auto number = static_cast<int32_t>(words.takeNumber(0, uint64_t{iface ? 31u : 65535u}));
    (iface ? side.sourceInterface : side.gemPort) = number;
    return true;
}

nlohmann::ordered_json fieldsToJson(const engine::FieldImage &fields)
{
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    for (unsigned field = 1; field < engine::kFieldEnd; ++field) {
        if (!engine::hasField(fields, field))
            continue;
        const uint64_t value = engine::fieldValue(fields, field);
        json[ifc::fieldName(field)] = fieldJson(field, value);
        if (field == DIPv6_127_96)
            json["DIPv6"] = formatIpv6(ipv6Of(fields, DIPv6_31_0));
        if (field == SIPv6_127_96)
            json["SIPv6"] = formatIpv6(ipv6Of(fields, SIPv6_31_0));
    }
    return json;
}

std::string entryName(int entry)
{
    if (entry == engine::kNoEntry)
        return "none";
    const auto index = static_cast<unsigned>(entry);
    return index < IFC_LUT0_RULES ? "LUT0-" + std::to_string(index)
                                  : "LUT1-" + std::to_string(index - IFC_LUT0_RULES);
}

namespace
{

template <typename Each>
void forEachHit(const engine::Hits &hits, const Each &each)
{
    for (unsigned n = 0; n < IFC_LUT0_RULES; ++n) {
        if ((hits.lut0 >> n & 1) != 0)
            each(n);
    }
    for (unsigned n = 0; n < IFC_LUT1_RULES; ++n) {
        if ((hits.lut1[0] >> n & 1) != 0)
            each(ifc::actionOfEntry(n));
    }
}

} // namespace

nlohmann::ordered_json hitsToJson(const engine::Hits &hits)
{
    nlohmann::ordered_json json = {{"lut0", nlohmann::ordered_json::array()},
                                   {"lut1", nlohmann::ordered_json::array()}};
    forEachHit(hits, [&](unsigned entry) {
        if (entry < IFC_LUT0_RULES)
            json["lut0"].push_back(entry);
        else
            json["lut1"].push_back(entry - IFC_LUT0_RULES);
    });
    return json;
}

std::string describeHits(const engine::Hits &hits)
{
    std::string text;
    forEachHit(hits, [&](unsigned entry) {
        if (!text.empty())
            text += ' ';
        text += entryName(static_cast<int>(entry));
    });
    return text.empty() ? "none" : text;
}

} // namespace ifcctl
