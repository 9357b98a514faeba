// SPDX-License-Identifier: MIT
#include "serial/serial_device.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "support/thrown.h"

using testing_support::thrown;
using Velmor::SerialDevice;

namespace {

serial_device_info_t info_of(const std::string& name, std::uint32_t baud_rate, std::uint32_t options) {
    serial_device_info_t info;
    std::memset(&info, 0xA5, sizeof info);
    SerialDevice(name, baud_rate, options).get_info(info);
    return info;
}

TEST(SerialDevice, NameAndNumbersAreReported) {
    const serial_device_info_t info = info_of("/dev/ttymxc4", 9600, 0);
    EXPECT_EQ(std::string(info.name, 16), std::string("/dev/ttymxc4\0\0\0\0", 16));
    EXPECT_EQ(info.baud_rate, 9600U);
    EXPECT_EQ(info.options, 0U);
    EXPECT_EQ(info_of("", 4294967295U, 4294967294U).baud_rate, 4294967295U);
    EXPECT_EQ(info_of("", 4294967295U, 4294967294U).options, 4294967294U);
}

TEST(SerialDevice, NameOfMoreThan15CharactersIsRefused) {
    EXPECT_EQ(std::string(info_of("/dev/tty2345678", 1, 2).name, 16), std::string("/dev/tty2345678\0", 16));
    for (const std::size_t length : {16U, 17U, 1000U})
        EXPECT_EQ(thrown([length] { SerialDevice(std::string(length, 't'), 9600, 0); }),
                  "invalid_argument device name is too long");
}

TEST(SerialDevice, NodeIsNotOpened) {
    EXPECT_STREQ(info_of("/no/such/node", 9600, 0).name, "/no/such/node");
}

}  // namespace
