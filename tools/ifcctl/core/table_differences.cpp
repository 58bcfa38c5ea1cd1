// SPDX-License-Identifier: MIT OR GPL-2.0
#include "table_differences.h"

#include "ifc/records/chip.h"
#include "ifc/records/narrow_runs.h"
#include "ifc/records/wide_record.h"

namespace ifcctl
{

namespace
{

class Comparison
{
public:
    Comparison(std::optional<unsigned> rule, std::string entry, std::vector<TableDifference> &differences)
        : rule_(rule), entry_(std::move(entry)), differences_(differences)
    {
    }
    void part(const std::string &name, uint64_t hardware, uint64_t shadow)
    {
        if (hardware != shadow)
            differences_.push_back({rule_, entry_, name, hardware, shadow});
    }

private:
    std::optional<unsigned> rule_;
    std::string entry_;
    std::vector<TableDifference> &differences_;
};

std::string wordName(unsigned n)
{
    return "word " + std::to_string(n);
}

// The chain that an entry of the shadow belongs to, by its action.
std::optional<unsigned> ruleOfEntry(unsigned entry)
{
    ifc::Chain chain{};
    for (unsigned from = 0; ifc::nextChain(IFC_LUT1_Rule, from, chain); from = chain.end + 1)
        if (entry >= chain.first && entry <= chain.end)
            return ifc::actionOfEntry(chain.end);
    return std::nullopt;
}

} // namespace

void compareWide(unsigned n, const IFC_LUT0_Format &hardware, const IFC_LUT0_Format &shadow,
                 std::vector<TableDifference> &differences)
{
    const uint32_t *hard = hardware.word;
    const uint32_t *soft = shadow.word;
    Comparison compare(ifc::wideValid(soft) ? std::optional<unsigned>(n) : std::nullopt,
                       "LUT0-" + std::to_string(n), differences);
    compare.part("valid", ifc::wideValid(hard), ifc::wideValid(soft));
    // All bits with a meaning are made equal here. Bits that still differ have none.
    IFC_LUT0_Format rest = shadow;
    rest.word[0] = hard[0];
    for (unsigned field = 1; field <= IFC_LUT0_FIELDS; ++field) {
        const std::string name = ifc::fieldName(field);
        compare.part(name + " compared", ifc::wideEnables(hard, field), ifc::wideEnables(soft, field));
        compare.part(name + " command", ifc::wideCommand(hard, field), ifc::wideCommand(soft, field));
        compare.part(name + " mask", ifc::wideMask(hard, field), ifc::wideMask(soft, field));
        compare.part(name + " key", ifc::wideKey(hard, field), ifc::wideKey(soft, field));
        ifc::setWideCommand(rest.word, field, ifc::wideCommand(hard, field));
        ifc::setWideMask(rest.word, field, ifc::wideMask(hard, field));
        ifc::setWideKey(rest.word, field, ifc::wideKey(hard, field));
    }
    for (unsigned word = 0; word < IFC_LUT0_WORDS; ++word)
        compare.part(wordName(word) + ", reserved bits", hard[word] & (hard[word] ^ rest.word[word]),
                     soft[word] & (hard[word] ^ rest.word[word]));
}

void compareNarrow(unsigned n, const IFC_LUT1_Format &hardware, const IFC_LUT1_Format &shadow,
                   std::vector<TableDifference> &differences)
{
    const uint32_t *hard = hardware.word;
    const uint32_t *soft = shadow.word;
    Comparison compare(ruleOfEntry(n), "LUT1-" + std::to_string(n), differences);
    compare.part("valid", ifc::narrowValid(hard), ifc::narrowValid(soft));
    compare.part("end", ifc::narrowEnd(hard), ifc::narrowEnd(soft));
    const uint32_t flags = ifc::kNarrowValid | ifc::kNarrowEnd;
    const uint32_t unused = ifc::kNarrowUnused | (ifc::isWordEntry(soft) ? 0 : ifc::kNarrowUnusedType0);
    if (ifc::isWordEntry(hard) !=
        ifc::isWordEntry(soft)) { // read in two ways: only the words can be compared
        compare.part("type and the rest of word 0", hard[0] & ~flags, soft[0] & ~flags);
        compare.part(wordName(1), hard[1], soft[1]);
        return;
    }
    compare.part("field", ifc::narrowField(hard), ifc::narrowField(soft));
    const unsigned field = ifc::narrowField(soft);
    const std::string name =
        ifc::isNarrowField(field) ? ifc::fieldName(field) : "field " + std::to_string(field);
    compare.part(name + " command", ifc::narrowCommand(hard), ifc::narrowCommand(soft));
    compare.part(name + " part", ifc::narrowPart(hard), ifc::narrowPart(soft));
    compare.part(name + " mask", ifc::narrowMask(hard), ifc::narrowMask(soft));
    compare.part(name + " key", ifc::narrowKey(hard), ifc::narrowKey(soft));
    compare.part(wordName(0) + ", unused bits", hard[0] & unused, soft[0] & unused);
}

} // namespace ifcctl
