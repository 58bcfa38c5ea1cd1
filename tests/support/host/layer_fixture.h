// SPDX-License-Identifier: MIT OR GPL-2.0
// The surroundings of a test in a host process: a fresh chip in strict mode, and a recorder of all its
// events. Tests that need the standard library derive from LayerTest and use GoogleTest's own macros.
#pragma once

#include "platform/host/host_platform.h"
#include "tests/support/layer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

class LayerTest : public testing::Test
{
protected:
    LayerTest();
    ~LayerTest() override;

    engine::RegisterWindow chip;
};
