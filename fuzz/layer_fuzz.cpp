// SPDX-License-Identifier: MIT OR GPL-2.0
// Any sequence of the layer's operations, against the plain model of tests/model: answers, register
// accesses, shadow and tables. Input: the number of reads until the done bit shows (1 byte), then the
// choices of the generator.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/model/generator.h"
#include "tests/model/world.h"

namespace
{

constexpr unsigned kMostSteps = 60;

class Bytes
{
public:
    Bytes(const uint8_t *data, size_t size) : data_(data), end_(data + size) {}
    bool atEnd() const { return data_ == end_; }
    // After the end all bytes are 0.
    uint64_t operator()(uint64_t bound)
    {
        const unsigned count = bound == 0 ? 8 : bound <= 0x100 ? 1 : bound <= 0x10000 ? 2 : 4;
        uint64_t value = 0;
        for (unsigned n = 0; n < count && data_ != end_; ++n)
            value |= uint64_t{*data_++} << 8 * n;
        return bound == 0 ? value : value % bound;
    }

private:
    const uint8_t *data_;
    const uint8_t *end_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Bytes bytes(data, size);
    model::World world(1 + static_cast<unsigned>(bytes(3)));
    model::Generator generator([&bytes](uint64_t bound) { return bytes(bound); });
    std::vector<model::Step> steps;
    while (!bytes.atEnd() && steps.size() < kMostSteps) {
        steps.push_back(generator.next());
        const std::string failure = world.run(steps.back());
        if (failure.empty())
            continue;
        std::fprintf(stderr, "%s, after\n", failure.c_str());
        for (const model::Step &step : steps)
            std::fprintf(stderr, "op %s\n", model::lineOf(step).c_str());
        std::abort();
    }
    return 0;
}
