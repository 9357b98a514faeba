// SPDX-License-Identifier: MIT
#include "sensors/bluetooth.h"

#include <gmock/gmock.h>

#include <cstring>
#include <string>

#include "core/board.h"
#include "support/thrown.h"

using testing_support::thrown;
using Velmor::Bluetooth;
using Velmor::Board;

namespace {

bluetooth_info_t info_of(const std::string& name, std::uint32_t value) {
    bluetooth_info_t info;
    std::memset(&info, 0xA5, sizeof info);
    Bluetooth(name, value).info_get(info);
    return info;
}

/** All 16 bytes of the name. */
std::string name_of(const std::string& name) {
    const bluetooth_info_t info = info_of(name, 0);
    return {info.name, sizeof info.name};
}

TEST(Bluetooth, NameAndNumberArePassedThrough) {
    EXPECT_STREQ(info_of("hci0", 3).name, "hci0");
    EXPECT_EQ(info_of("hci0", 3).value, 3U);
    EXPECT_EQ(info_of("hci0", 0).value, 0U);
    EXPECT_EQ(info_of("hci0", 4294967295U).value, 4294967295U);
}

TEST(Bluetooth, NameIsFilledUpWithNul) {
    EXPECT_EQ(name_of("hci0"), std::string("hci0").append(12, '\0'));
    EXPECT_EQ(name_of(""), std::string(16, '\0'));
}

TEST(Bluetooth, NameOfFifteenCharactersFits) {
    EXPECT_EQ(name_of("123456789012345"), std::string("123456789012345\0", 16));
}

TEST(Bluetooth, LongerNameIsRefused) {
    for (const std::size_t length : {16U, 17U, 1000U}) {
        EXPECT_EQ(thrown([length] { Bluetooth(std::string(length, 'w'), 3); }),
                  "invalid_argument device name is too long");
    }
}

TEST(Bluetooth, UnregisteredIsAbsentWithoutAnError) {
    EXPECT_FALSE(Board().bluetooth_present());
}

TEST(Bluetooth, UnregisteredHasNoInformationAndNoAntenna) {
    bluetooth_info_t info = {};
    EXPECT_EQ(thrown([&] { Board().bluetooth_info_get(&info); }), "system_error 95 Operation not supported");
    EXPECT_EQ(thrown([] { Board().bluetooth_antenna_set(1); }), "system_error 95 Operation not supported");
}

TEST(Bluetooth, NullPointerIsInvalid) {
    errno = 0;
    EXPECT_EQ(bluetooth_info_get(nullptr), -22);
    EXPECT_EQ(errno, 22);
    errno = 0;
    EXPECT_EQ(bluetooth_present(nullptr), -22);
    EXPECT_EQ(errno, 22);
}

}  // namespace
