// SPDX-License-Identifier: MIT
#include "sensors/radio.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "support/thrown.h"

using testing_support::thrown;

namespace {

template <typename Info>
class Radio : public testing::Test {
protected:
    static Info info_of(const std::string& name, std::uint32_t value) {
        Info info;
        std::memset(&info, 0xA5, sizeof info);
        Velmor::Radio<Info>(name, value).info_get(info);
        return info;
    }
};

using WifiAndBluetooth = testing::Types<wifi_info_t, bluetooth_info_t>;
TYPED_TEST_SUITE(Radio, WifiAndBluetooth);

TYPED_TEST(Radio, NameAndNumberAreReported) {
    for (const std::uint32_t value : {0U, 3U, 4294967295U}) {
        const auto info = TestFixture::info_of("wlan0", value);
        EXPECT_EQ(std::string(info.name, sizeof info.name), std::string("wlan0").append(11, '\0'));
        EXPECT_EQ(info.value, value);
    }
}

TYPED_TEST(Radio, NameOfMoreThan15CharactersIsRefused) {
    EXPECT_STREQ(TestFixture::info_of("123456789012345", 3).name, "123456789012345");
    for (const std::size_t length : {16U, 17U, 1000U})
        EXPECT_EQ(thrown([length] { Velmor::Radio<TypeParam>(std::string(length, 'w'), 3); }),
                  "invalid_argument device name is too long");
}

}  // namespace
