// SPDX-License-Identifier: MIT
#include "sensors/gps.h"

#include <gmock/gmock.h>

namespace {

TEST(Gps, NumbersArePassedThroughInOrder) {
    gps_info_t info = {};
    Velmor::Gps(1, 4294967295U).info_get(info);
    EXPECT_THAT(info, testing::FieldsAre(1U, 4294967295U));
}

}  // namespace
