// SPDX-License-Identifier: MIT
#include "access/named_info.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "support/thrown.h"
#include "velmor.h"

using testing_support::thrown;
using Velmor::named_info;

namespace {

/** The whole field, 16 bytes. */
std::string name_of(const std::string& name) {
    const auto info = named_info<wifi_info_t>(name, 3U);
    return {info.name, sizeof info.name};
}

TEST(NamedInfo, NameOfUpTo15CharactersIsPaddedWithNul) {
    EXPECT_EQ(name_of("wlan0"), std::string("wlan0").append(11, '\0'));
    EXPECT_EQ(name_of(""), std::string(16, '\0'));
    EXPECT_EQ(name_of("123456789abcdef"), std::string("123456789abcdef\0", 16));
}

TEST(NamedInfo, NameOf16CharactersOrMoreIsRefused) {
    for (const std::size_t length : {16U, 17U, 1000U})
        EXPECT_EQ(thrown([length] { name_of(std::string(length, 'x')); }), "invalid_argument device name is too long");
}

TEST(NamedInfo, NumbersFollowTheNameInOrder) {
    const auto info = named_info<serial_device_info_t>("/dev/ttymxc4", 4294967295U, 4294967294U);
    EXPECT_EQ(info.baud_rate, 4294967295U);
    EXPECT_EQ(info.options, 4294967294U);
}

}  // namespace
