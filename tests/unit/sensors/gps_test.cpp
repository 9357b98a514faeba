// SPDX-License-Identifier: MIT
#include "sensors/gps.h"

#include <gmock/gmock.h>

#include "core/board.h"
#include "support/thrown.h"

using testing_support::thrown;

namespace {

TEST(Gps, NumbersArePassedThroughInOrder) {
    gps_info_t info = {};
    Velmor::Gps(1, 4294967295U).info_get(info);
    EXPECT_EQ(info.value1, 1U);
    EXPECT_EQ(info.value2, 4294967295U);
}

TEST(Gps, UnregisteredIsNotSupported) {
    gps_info_t info = {};
    EXPECT_EQ(thrown([&] { Velmor::Board().gps_info_get(&info); }), "system_error 95 Operation not supported");
}

TEST(Gps, NullRecordIsInvalid) {
    errno = 0;
    EXPECT_EQ(gps_info_get(nullptr), -22);
    EXPECT_EQ(errno, 22);
}

TEST(Echosounder, UnregisteredIsAbsentWithoutAnError) {
    EXPECT_FALSE(Velmor::Board().es_present());
}

TEST(Echosounder, NullFlagIsInvalid) {
    errno = 0;
    EXPECT_EQ(es_present(nullptr), -22);
    EXPECT_EQ(errno, 22);
}

}  // namespace
