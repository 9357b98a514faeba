// SPDX-License-Identifier: MIT
#include "sensors/wifi.h"

#include <gmock/gmock.h>

#include <cstring>
#include <string>

#include "core/board.h"
#include "support/thrown.h"

using testing_support::thrown;
using Velmor::Board;
using Velmor::Wifi;

namespace {

wifi_info_t info_of(const std::string& name, std::uint32_t value) {
    wifi_info_t info;
    std::memset(&info, 0xA5, sizeof info);
    Wifi(name, value).info_get(info);
    return info;
}

/** All 16 bytes of the name. */
std::string name_of(const std::string& name) {
    const wifi_info_t info = info_of(name, 0);
    return {info.name, sizeof info.name};
}

TEST(Wifi, NameAndNumberArePassedThrough) {
    EXPECT_STREQ(info_of("wlan0", 3).name, "wlan0");
    EXPECT_EQ(info_of("wlan0", 3).value, 3U);
    EXPECT_EQ(info_of("wlan0", 0).value, 0U);
    EXPECT_EQ(info_of("wlan0", 4294967295U).value, 4294967295U);
}

TEST(Wifi, NameIsFilledUpWithNul) {
    EXPECT_EQ(name_of("wlan0"), std::string("wlan0").append(11, '\0'));
    EXPECT_EQ(name_of(""), std::string(16, '\0'));
}

TEST(Wifi, NameOfFifteenCharactersFits) {
    EXPECT_EQ(name_of("123456789012345"), std::string("123456789012345\0", 16));
}

TEST(Wifi, LongerNameIsRefused) {
    for (const std::size_t length : {16U, 17U, 1000U}) {
        EXPECT_EQ(thrown([length] { Wifi(std::string(length, 'w'), 3); }), "invalid_argument device name is too long");
    }
}

TEST(Wifi, UnregisteredIsAbsentWithoutAnError) {
    EXPECT_FALSE(Board().wifi_present());
}

TEST(Wifi, UnregisteredHasNoInformationAndNoAntenna) {
    wifi_info_t info = {};
    EXPECT_EQ(thrown([&] { Board().wifi_info_get(&info); }), "system_error 95 Operation not supported");
    EXPECT_EQ(thrown([] { Board().wifi_antenna_set(1); }), "system_error 95 Operation not supported");
}

TEST(Wifi, NullPointerIsInvalid) {
    errno = 0;
    EXPECT_EQ(wifi_info_get(nullptr), -22);
    EXPECT_EQ(errno, 22);
    errno = 0;
    EXPECT_EQ(wifi_present(nullptr), -22);
    EXPECT_EQ(errno, 22);
}

}  // namespace
