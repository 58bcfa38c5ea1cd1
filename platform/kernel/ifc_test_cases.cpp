// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ifc_test.h"

#include "tests/directed/directed.h"

// struct ifc_glue_event of the C side is directed::Event.
static_assert(sizeof(directed::Event) == 12 && offsetof(directed::Event, value) == 8);

static const directed::Case *find(unsigned n)
{
    for (unsigned group = 0; group < directed::kGroupCount; ++group) {
        if (n < directed::kGroups[group]->count)
            return &directed::kGroups[group]->cases[n];
        n -= directed::kGroups[group]->count;
    }
    return nullptr;
}

const char *ifc_test_case(unsigned int n)
{
    const directed::Case *found = find(n);
    return found != nullptr ? found->name : nullptr;
}

void ifc_test_run(unsigned int n)
{
    find(n)->run();
}
