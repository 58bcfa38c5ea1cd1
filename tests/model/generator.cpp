// SPDX-License-Identifier: MIT OR GPL-2.0
#include "generator.h"

namespace model
{

Step Generator::next()
{
    Step s{};
    const unsigned dice = below(112);
    if (dice < 14) {
        s.kind = kSetLut0;
        s.a[0] = below(20) == 0 ? 8 : below(8);
        s.a[1] = below(6) == 0 ? 0 : below(8) == 0 ? 0x100 : 1;
        s.a[2] = below(20) == 0 ? below(2) * 32 : 1 + below(31);
        s.a[3] = below(12) == 0 ? below(300) : below(3);
        s.mask = mask();
        s.key = key();
    } else if (dice < 30) {
        s.kind = kSetLut1;
        s.a[0] = below(30) == 0 ? 32 : below(32);
        s.a[1] = below(6) == 0 ? 0 : 1;
        s.a[2] = below(4);
        s.a[3] = below(20) == 0 ? below(2) * 48 : field();
        s.a[4] = below(12) == 0 ? below(8) : below(2);
        s.mask = s.a[3] <= 13 ? below(2) << 31 | below(64) : mask() & 0xFFFFFFFF;
        s.key = key();
    } else if (dice < 48) {
        s.kind = kPlace;
        s.request = request();
        remember(s.request);
    } else if (dice < 62) {
        s.kind = kRemove;
        s.request = recall();
    } else if (dice < 67) {
        s.kind = kFind;
        const Request known = recall();
        s.request = {known.empty() ? condition(field()) : known[below(static_cast<unsigned>(known.size()))]};
    } else if (dice < 70) {
        s.kind = kFreeRun;
        s.a[0] = below(18);
    } else if (dice < 84) {
        s.kind = kSetAction;
        s.a[0] = below(30) == 0 ? 40 : below(40);
        s.a[1] = below(30) == 0 ? 17 : below(17);
        s.a[2] = below(4) == 0 ? 0 : 1;
        for (unsigned n = 3; n < 7; ++n)
            s.a[n] = below(3) == 0 ? static_cast<unsigned>(any()) : below(64);
    } else if (dice < 86) {
        s.kind = kClearAction;
        s.a[0] = below(41);
    } else if (dice < 89) {
        s.kind = kBind;
        s.a[0] = below(41);
        s.a[1] = below(18);
    } else if (dice < 91) {
        s.kind = kDeleteLut0;
        s.a[0] = below(8);
    } else if (dice < 94) {
        s.kind = kDeleteLut1;
        s.a[0] = below(32);
    } else if (dice < 96) {
        s.kind = kRewrite;
    } else if (dice < 97) {
        s.kind = below(3) == 0 ? kInvalidate : kRevision;
        static const unsigned revisions[] = {0, 0, 12, 14, 15};
        s.a[0] = s.kind == kInvalidate ? below(11) : revisions[below(5)];
    } else if (dice < 98) {
        s.kind = below(3) == 0 ? kReduce : kPpe;
        s.a[0] = s.kind == kPpe ? below(4) != 0 : below(2) == 0 ? 32 : 48;
        s.mask = mask();
    } else if (dice == 98) {
        s.kind = below(3) == 0 ? kClearActions : kClearRules;
    } else {
        look(s);
    }
    return s;
}

void Generator::look(Step &s)
{
    s.kind = static_cast<Kind>(kSwitch + below(kKinds - kSwitch));
    const auto word = [this] { return static_cast<unsigned>(any()); };
    switch (s.kind) {
    case kSwitch:
    case kDump:
        s.a[0] = below(3);
        break;
    case kGetCounter:
        s.a[0] = below(41);
        break;
    case kDumpAction:
        s.a[0] = below(40);
        break;
    case kReadBack:
    case kShowShadow:
        s.a[0] = below(11); // the argument, from -1
        break;
    case kShowRecord:
    case kGetSlots:
        s.a[0] = s.kind == kGetSlots ? below(2) : below(8);
        s.a[1] = s.kind == kGetSlots ? below(8) : word();
        break;
    case kMatchWide:
        s.request = recall();
        s.a[0] = below(8);
        break;
    case kMatchNarrow:
        s.request = recall();
        s.a[0] = below(32);
        s.a[1] = below(33 - s.a[0]);
        break;
    case kCheckResult:
        for (unsigned n = 0; n < 3; ++n)
            s.a[n] = below(3) == 0 ? 1u << below(32) : below(8) == 0 ? word() : 0;
        s.a[3] = below(3);
        s.a[4] = below(3) == 0 ? word() : below(70) - 1;
        break;
    case kSetSlot:
        s.a[0] = below(8);
        s.a[1] = below(32);
        s.mask = any();
        s.key = any();
        break;
    case kTpid:
        s.a[0] = below(2) == 0 ? 0x81000000 : word();
        break;
    case kVpm:
    case kFindTpid:
        s.a[0] = below(3) == 0 ? word() & 0xFFFF : below(2) == 0 ? 0x0081 : 0xA888;
        s.a[1] = below(2);
        if (s.kind == kFindTpid && s.a[1] == 1)
            s.a[0] = below(5);
        break;
    case kLowestBit:
        s.a[0] = below(3) == 0 ? 0 : word() << below(32);
        s.a[1] = below(2);
        break;
    case kTransfer: {
        static const unsigned entries[] = {8, 32, 40, 40};
        s.a[2] = below(4);
        s.a[0] = below(entries[s.a[2]]);
        s.a[1] = s.a[2] == 0 ? below(11) : 0;
        break;
    }
    case kPoll:
        s.a[0] = below(4);
        break;
    case kSum: {
        for (unsigned n = 20 + below(50); n > 0; --n)
            s.frame.push_back(static_cast<unsigned char>(below(256)));
        const auto size = static_cast<unsigned>(s.frame.size());
        s.a[0] = below(5);
        s.a[1] = s.a[0] == 0   ? below(size + 1)
                 : s.a[0] == 1 ? below(size - 19)
                 : s.a[0] == 3 ? below(size - 9)
                               : below(size);
        s.a[2] = below(0x10000);
        s.a[3] = below(0x100);
        if (s.a[0] == 3 && below(2) == 0)
            s.frame[s.a[1]] = 0x11;
        break;
    }
    default:
        break;
    }
}

unsigned Generator::field()
{
    static const unsigned fields[] = {1, 2, 1, 2, 3, 4, 5, 13, 14, 18, 22, 24, 28, 29, 31, 32, 40, 47};
    return below(4) == 0 ? 1 + below(47) : fields[below(18)];
}

uint64_t Generator::mask()
{
    const unsigned count = below(49);
    const uint64_t all = 0xFFFFFFFFFFFF;
    switch (below(5)) {
    case 0:
        return all;
    case 1:
        return (uint64_t{1} << count) - 1;
    case 2:
        return all & ~((uint64_t{1} << count) - 1);
    case 3:
        return (0xFFFFFFFFu << below(32)) & 0xFFFFFFFFu;
    default:
        return any() & all;
    }
}

uint64_t Generator::key()
{
    return below(3) == 0 ? any() & 0xFFFFFFFFFFFF : uint64_t{below(4)} << 32 | below(4);
}

FieldCondition Generator::condition(unsigned f)
{
    return {f, below(8) == 0 ? below(4) : below(2), mask(), key()};
}
Request Generator::request()
{
    const unsigned size = below(3) == 0 ? 7 + below(9) : 1 + below(4);
    Request r;
    for (unsigned n = 0; n < size; ++n) {
        FieldCondition c = condition(field());
        if (below(3) != 0) { // mostly masks that the field holds and LUT1 can express
            c.mask = c.field <= 2 ? mask() : c.field <= 4 ? 0xFFFFFF00 : 1;
            c.key &= c.mask;
        }
        r.push_back(c);
    }
    return r;
}

void Generator::remember(const Request &r)
{
    known_.push_back(r);
    if (known_.size() > 12)
        known_.pop_front();
}

Request Generator::recall()
{
    if (known_.empty() || below(8) == 0)
        return below(30) == 0 ? Request{} : request();
    Request r = known_[below(static_cast<unsigned>(known_.size()))];
    if (below(6) == 0) // nearly the same
        r[below(static_cast<unsigned>(r.size()))].key ^= below(2) == 0 ? 1 : uint64_t{1} << 32;
    return r;
}

} // namespace model
