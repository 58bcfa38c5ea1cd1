// SPDX-License-Identifier: MIT OR GPL-2.0
#include "images.h"

namespace model
{

namespace
{

bool bitOf(const uint32_t *rule, unsigned n)
{
    return (rule[40 - n / 32] >> n % 32 & 1) != 0;
}

uint64_t bitsOf(const uint32_t *rule, unsigned lsb, unsigned width)
{
    uint64_t value = 0;
    for (unsigned n = 0; n < width; ++n)
        value |= static_cast<uint64_t>(bitOf(rule, lsb + n)) << n;
    return value;
}

} // namespace

WideRule decodeWide(const uint32_t *rule)
{
    static const unsigned lsb[33] = {0,   0,   48,  96,  128, 160, 192, 224, 256, 288, 320,
                                     352, 384, 416, 436, 441, 444, 446, 448, 460, 464, 476,
                                     480, 496, 512, 520, 528, 536, 544, 560, 576, 592, 594};
    WideRule decoded;
    bool empty = true;
    for (unsigned n = 0; n < 41; ++n)
        empty = empty && rule[n] == 0;
    if (empty)
        return decoded;
    decoded.valid = bitOf(rule, 1311);
    for (unsigned f = 1; f < 32; ++f) {
        const unsigned width = lsb[f + 1] - lsb[f];
        decoded.fields[f].enabled = bitOf(rule, 1279 + f);
        decoded.fields[f].command = static_cast<unsigned>(bitsOf(rule, 1216 + 2 * (f - 1), 2));
        decoded.fields[f].mask = bitsOf(rule, 608 + lsb[f], width);
        decoded.fields[f].key = bitsOf(rule, lsb[f], width);
    }
    return decoded;
}

NarrowEntry decodeNarrow(const uint32_t *w)
{
    NarrowEntry e;
    e.field = w[0] & 0x3F;
    e.isWord = w[0] >> 13 & 1;
    e.end = w[0] >> 14 & 1;
    e.valid = w[0] >> 15 & 1;
    if (e.isWord) {
        e.command = w[0] >> 6 & 1;
        e.fromBottom = w[0] >> 7 & 1;
        e.length = (w[0] >> 8 & 31) == 0 ? 32 : w[0] >> 8 & 31;
        e.key = w[1];
    } else {
        e.command = w[0] >> 6 & 3;
        e.sel = w[0] >> 8 & 3;
        e.key = w[1] & 0xFFFF;
        e.mask = w[1] >> 16;
    }
    return e;
}

ActionFields decodeAction(const uint32_t *w)
{
    struct Place {
        unsigned field, word, lsb, width;
    };
    static const Place places[] = {
        {kVo0, 0, 0, 2},     {kVo1, 0, 2, 2},     {kVpm0, 0, 4, 2},    {kFqos, 0, 6, 1},   {kFast, 0, 7, 1},
        {kMc, 0, 8, 1},      {kKeepPcp, 0, 9, 1}, {kDpi, 0, 10, 1},    {kOwf, 0, 11, 1},   {kCpu, 0, 26, 1},
        {kNbq, 0, 27, 5},    {kVid0, 1, 0, 12},   {kVp0, 1, 12, 4},    {kVid1, 1, 16, 12}, {kVp1, 1, 28, 4},
        {kCnt1, 2, 2, 5},    {kMtrG, 2, 8, 8},    {kDscp, 2, 16, 8},   {kTc, 2, 24, 8},    {kQueue, 3, 0, 3},
        {kChannel, 3, 3, 5}, {kFport, 3, 8, 4},   {kSpTag, 3, 12, 16},
    };
    ActionFields a{};
    if ((w[0] | w[1] | w[2] | w[3]) == 0)
        return a;
    for (const Place &p : places)
        a[p.field] = w[p.word] >> p.lsb & ((1u << p.width) - 1);
    for (unsigned n = 0; n < 14; ++n)
        a[kEnable0 + n] = w[0] >> (12 + n) & 1;
    a[kCnt0] = (w[2] & 3) << 4 | w[3] >> 28;
    return a;
}

} // namespace model
