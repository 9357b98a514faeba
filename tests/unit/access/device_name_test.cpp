// SPDX-License-Identifier: MIT
#include "access/device_name.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string>

using testing::StrEq;
using testing::ThrowsMessage;
using Velmor::copy_device_name;

namespace {

class DeviceName : public testing::Test {
protected:
    DeviceName() { std::fill(std::begin(record_), std::end(record_), '#'); }

    std::string bytes() const { return {std::begin(record_), std::end(record_)}; }

    char record_[Velmor::device_name_size];
};

TEST_F(DeviceName, RecordHasRoomForSixteenBytes) {
    EXPECT_EQ(sizeof record_, 16U);
}

TEST_F(DeviceName, ShortNameIsFilledUpWithNul) {
    copy_device_name(record_, "wlan0");
    EXPECT_EQ(bytes(), std::string("wlan0") + std::string(11, '\0'));
}

TEST_F(DeviceName, EmptyNameIsAllNul) {
    copy_device_name(record_, "");
    EXPECT_EQ(bytes(), std::string(16, '\0'));
}

TEST_F(DeviceName, FifteenCharactersFitWithTheirNul) {
    copy_device_name(record_, "123456789abcdef");
    EXPECT_EQ(bytes(), std::string("123456789abcdef\0", 16));
}

TEST_F(DeviceName, SixteenCharactersAndMoreAreRefused) {
    for (const std::size_t length : {16U, 17U, 1000U}) {
        EXPECT_THAT([&] { copy_device_name(record_, std::string(length, 'x')); },
                    ThrowsMessage<std::invalid_argument>(StrEq("device name is too long")));
        EXPECT_EQ(bytes(), std::string(16, '#'));
    }
}

}  // namespace
