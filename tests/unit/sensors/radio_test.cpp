// SPDX-License-Identifier: MIT
#include "sensors/radio.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "core/board.h"
#include "support/thrown.h"

using testing_support::thrown;
using Velmor::Bluetooth;
using Velmor::Board;
using Velmor::Wifi;

namespace {

template <typename Kind, typename Info>
struct Family {
    using Radio = Kind;

    static Info info_of(const std::string& name, std::uint32_t value) {
        Info info;
        std::memset(&info, 0xA5, sizeof info);
        Kind(name, value).info_get(info);
        return info;
    }
};

struct WifiFamily : Family<Wifi, wifi_info_t> {
    static bool present() { return Board().wifi_present(); }
    static void board_info_get() {
        wifi_info_t info = {};
        Board().wifi_info_get(&info);
    }
    static void board_antenna_set() { Board().wifi_antenna_set(1); }
    static int info_get_null() { return wifi_info_get(nullptr); }
    static int present_null() { return wifi_present(nullptr); }
};

struct BluetoothFamily : Family<Bluetooth, bluetooth_info_t> {
    static bool present() { return Board().bluetooth_present(); }
    static void board_info_get() {
        bluetooth_info_t info = {};
        Board().bluetooth_info_get(&info);
    }
    static void board_antenna_set() { Board().bluetooth_antenna_set(1); }
    static int info_get_null() { return bluetooth_info_get(nullptr); }
    static int present_null() { return bluetooth_present(nullptr); }
};

template <typename Family>
class Radio : public testing::Test {};

using Families = testing::Types<WifiFamily, BluetoothFamily>;
TYPED_TEST_SUITE(Radio, Families);

TYPED_TEST(Radio, NameAndNumberArePassedThrough) {
    for (const std::uint32_t value : {0U, 3U, 4294967295U}) {
        const auto info = TypeParam::info_of("wlan0", value);
        EXPECT_EQ(std::string(info.name, sizeof info.name), std::string("wlan0").append(11, '\0'));
        EXPECT_EQ(info.value, value);
    }
}

TYPED_TEST(Radio, NameOfFifteenCharactersFits) {
    EXPECT_STREQ(TypeParam::info_of("123456789012345", 3).name, "123456789012345");
}

TYPED_TEST(Radio, LongerNameIsRefused) {
    using Kind = typename TypeParam::Radio;
    for (const std::size_t length : {16U, 17U, 1000U})
        EXPECT_EQ(thrown([length] { Kind(std::string(length, 'w'), 3); }), "invalid_argument device name is too long");
}

TYPED_TEST(Radio, UnregisteredIsAbsentWithoutAnError) {
    EXPECT_FALSE(TypeParam::present());
}

TYPED_TEST(Radio, UnregisteredHasNoInformationAndNoAntenna) {
    EXPECT_EQ(thrown(TypeParam::board_info_get), "system_error 95 Operation not supported");
    EXPECT_EQ(thrown(TypeParam::board_antenna_set), "system_error 95 Operation not supported");
}

TYPED_TEST(Radio, NullPointerIsInvalid) {
    for (const auto& call : {TypeParam::info_get_null, TypeParam::present_null}) {
        errno = 0;
        EXPECT_EQ(call(), -22);
        EXPECT_EQ(errno, 22);
    }
}

}  // namespace
