// SPDX-License-Identifier: MIT OR GPL-2.0
// Where rules go in LUT1: each of the 2^16 occupancies of each sub-table, for each size of rule. The
// definition: cut the sub-tables at the entries in use; of the pieces that are long enough take a shortest,
// and of these the first.
#include "machine.h"
#include "prove.h"

#include <cstring>
#include <string>
#include <vector>

namespace
{

struct Piece {
    int first;
    size_t length;
};

// The free pieces of an occupancy, 32 characters: '.' is free.
std::vector<Piece> piecesOf(const std::string &entries)
{
    std::vector<Piece> pieces;
    for (const size_t base : {0u, 16u}) {
        const std::string half = entries.substr(base, 16) + '#';
        for (size_t at = 0; at < half.size();) {
            const size_t end = half.find('#', at);
            if (end > at)
                pieces.push_back({static_cast<int>(base + at), end - at});
            at = end + 1;
        }
    }
    return pieces;
}

int placeFor(const std::vector<Piece> &pieces, size_t size)
{
    const Piece *best = nullptr;
    for (const Piece &piece : pieces)
        if (piece.length >= size && (best == nullptr || piece.length < best->length))
            best = &piece;
    return best != nullptr ? best->first : -1;
}

void occupy(const std::string &entries)
{
    for (unsigned n = 0; n < 32; ++n) {
        IFC_LUT1_Rule[n].word[0] = entries[n] == '#' ? 0x8000 | 0x40000000 | n : 0x7FFF7FFF; // all but valid
        IFC_LUT1_Rule[n].word[1] = 0xFFFFFFFF;
    }
}

std::string halfOf(unsigned occupancy)
{
    std::string half;
    for (unsigned n = 0; n < 16; ++n)
        half += (occupancy >> n & 1) != 0 ? '#' : '.';
    return half;
}

// The other sub-table counts only by its shortest piece that is long enough. So one piece of each length, at
// its start or at its end, stands for all its occupancies.
std::vector<std::string> others()
{
    std::vector<std::string> list;
    for (unsigned length = 0; length <= 16; ++length) {
        list.push_back(std::string(length, '.') + std::string(16 - length, '#'));
        if (length % 16 != 0)
            list.push_back(std::string(16 - length, '#') + std::string(length, '.'));
    }
    return list;
}

const std::vector<std::string> kOthers = others();

// A slice is 256 occupancies of one sub-table.
template <typename Each>
uint64_t forOccupancies(unsigned slice, unsigned step, const Each &each)
{
    uint64_t cases = 0;
    const bool second = slice >= 256;
    for (unsigned n = 0; n < 256; n += step) {
        const unsigned occupancy = slice % 256 * 256 + (n + slice * 7) % 256;
        const std::string half = halfOf(occupancy);
        cases += each(half, second);
    }
    return cases;
}

uint64_t allRuns(unsigned slice, bool sample)
{
    machine::reset();
    return forOccupancies(slice, sample ? 85 : 1, [](const std::string &half, bool second) {
        uint64_t cases = 0;
        for (const std::string &other : kOthers) {
            const std::string entries = second ? other + half : half + other;
            const std::vector<Piece> pieces = piecesOf(entries);
            occupy(entries);
            for (const unsigned size : {0u,  1u,  2u,  3u,  4u,  5u,  6u,  7u,  8u,  9u,
                                        10u, 11u, 12u, 13u, 14u, 15u, 16u, 17u, 31u, 0xFFFFFFFFu}) {
                const int got = lut1_has_free_rule(size);
                if (got != placeFor(pieces, size))
                    prove::fail("%s: a rule of %u entries goes to %d, expected %d", entries.c_str(), size,
                                got, placeFor(pieces, size));
                ++cases;
            }
        }
        return cases;
    });
}

// One condition on a field of 16 bits for each entry, all different.
orva_ifc_param requestOf(unsigned size)
{
    orva_ifc_param request = {};
    for (unsigned n = 0; n < size; ++n) {
        request.fieldIdx[n] = 14 + n;
        request.command[n] = n % 4;
        request.mask_low[n] = 0xFF00 + n;
        request.key_low[n] = 0x1200 + n;
    }
    return request;
}

// The whole automatic placement. LUT0 is full, so that long rules go to LUT1, too.
uint64_t allPlacements(unsigned slice, bool sample)
{
    machine::reset();
    for (auto &rule : IFC_LUT0_Rule)
        rule.word[0] = 0x80000000;
    machine::setRevision(14); // LUT0 is not written: a rewrite is four times as fast
    return forOccupancies(slice, sample ? 85 : 1, [sample](const std::string &half, bool second) {
        uint64_t cases = 0;
        for (unsigned size = 1; size <= 16; size += sample ? 5 : 1) {
            // A piece in the other sub-table: none, one that is too short, one that just fits.
            for (const unsigned length : {0u, size - 1, size}) {
                const std::string other = std::string(16 - length, '#') + std::string(length, '.');
                const std::string entries = second ? other + half : half + other;
                const int place = placeFor(piecesOf(entries), size);
                occupy(entries);
                IFC_LUT1_Format before[32];
                std::memcpy(before, IFC_LUT1_Rule, sizeof before);
                machine::forgetText();
                orva_ifc_param request = requestOf(size);
                const int got = ifc_set_lut_rules_auto(&request);
                const int expected = place < 0 ? -1 : place + static_cast<int>(size) - 1 + 8;
                if (got != expected)
                    prove::fail("%s: a rule of %u entries gets action %d, expected %d", entries.c_str(), size,
                                got, expected);
                for (int n = 0; n < 32; ++n) {
                    const IFC_LUT1_Format &entry = IFC_LUT1_Rule[n];
                    const bool mine = place >= 0 && n >= place && n < place + static_cast<int>(size);
                    const auto k = static_cast<unsigned>(n - place);
                    const bool good =
                        mine ? (entry.word[0] & 0xE0FF) ==
                                       (0x8000 | (k + 1 == size ? 0x4000 : 0) | k % 4 << 6 | (14 + k)) &&
                                   entry.word[1] == ((0xFF00 + k) << 16 | (0x1200 + k))
                             : std::memcmp(&entry, &before[n], sizeof entry) == 0;
                    if (!good)
                        prove::fail("%s: a rule of %u entries: entry %d is %08x %08x", entries.c_str(), size,
                                    n, entry.word[0], entry.word[1]);
                }
                ++cases;
            }
        }
        return cases;
    });
}

} // namespace

namespace prove
{

const Part kRuns = {"runs", "lut1_has_free_rule, each occupancy of both sub-tables, each size", 512, allRuns};
const Part kPlacement = {"placement", "automatic placement, each occupancy of both sub-tables, each size",
                         512, allPlacements};

} // namespace prove
