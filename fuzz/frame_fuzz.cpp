// SPDX-License-Identifier: MIT OR GPL-2.0
// For any frame and any table images no access is out of bounds, and the fast engine agrees with the plain
// one. Input: a seed for the tables and the action (4 bytes), then the frame.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "engine/classifier.h"
#include "engine/plain_match.h"
#include "tests/engine/random.h"

using namespace engine;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static RegisterWindow window;
    static const auto classifier = std::make_unique<Classifier>(window);
    uint32_t seed = 0;
    if (size < sizeof seed)
        return 0;
    memcpy(&seed, data, sizeof seed);
    // An exact copy, so that the sanitizer sees a read one byte past the end.
    const std::vector<uint8_t> frame(data + sizeof seed, data + size);

    Random random(seed);
    randomTables(random, window.tables());
    for (auto &action : window.tables().action) {
        for (uint32_t &word : action)
            word = random.word();
    }
    window.write(FE_TPID_CFG, random.word());
    window.write(IFC_GLB_CFG, IFC_GLB_CFG_ENABLE);

    ParsedFrame parsed;
    const Result result = classifier->classify(frame.data(), frame.size(), {}, parsed);
    Hits plain;
    plainMatch(window.tables(), parsed.fields, plain);
    if (hitBitsOf(plain) != hitBitsOf(result.hits))
        abort();
    if (result.entry == kNoEntry)
        return 0;
    std::vector<uint8_t> out(frame.size() + kMaxGrowth);
    const size_t length = applyAction(classifier->action(result.entry, 0), parsed, classifier->userTpid(),
                                      frame.data(), frame.size(), out.data(), out.size());
    if (length > out.size())
        abort();
    return 0;
}
