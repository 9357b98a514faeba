// SPDX-License-Identifier: MIT
#include "platform/hardware_table.h"

#include <gmock/gmock.h>

#include <climits>
#include <cstdint>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "support/thrown.h"

using testing::ElementsAreArray;
using testing_support::thrown;
using Velmor::hardware_table_bytes;
using Velmor::hardware_table_layout;

namespace {

using Bytes = std::vector<std::uint8_t>;

/** Padded with 0 to the size of the table. */
Bytes padded(Bytes bytes) {
    bytes.resize(64);
    return bytes;
}

std::vector<std::uint32_t> ids(int version) {
    std::vector<std::uint32_t> result;
    for (const auto& field : hardware_table_layout(version)) result.push_back(field.id);
    return result;
}

TEST(HardwareTable, TextOf128DigitsIsSixtyFourBytes) {
    std::string text = "0x";
    Bytes expected;
    for (unsigned i = 0; i < 64; ++i) {
        const unsigned byte = 255 - 3 * i;
        text += "0123456789abcdef"[byte >> 4U];
        text += "0123456789ABCDEF"[byte & 0xFU];
        expected.push_back(static_cast<std::uint8_t>(byte));
    }
    EXPECT_THAT(hardware_table_bytes(text), ElementsAreArray(expected));
    EXPECT_THAT(hardware_table_bytes(text + "7777"), ElementsAreArray(expected));
}

TEST(HardwareTable, ShortOrMalformedTextIsReadAsFarAsPossible) {
    const std::pair<const char*, Bytes> rows[] = {
        {"0x", {}},
        {"0x1", {0x01}},
        {"0x12", {0x12}},
        {"0x123", {0x12, 0x03}},
        // Not hexadecimal digits.
        {"0x3g11", {0x03, 0x11}},
        {"0xg311", {0x00, 0x11}},
        {"0xzz11", {0x00, 0x11}},
        {"0x0x11", {0x00, 0x11}},
        {"0x-1-f22", {0xFF, 0xF1, 0x22}},
        {"0x+f22", {0x0F, 0x22}},
        // The first pair is at twice the index of the "x".
        {"x12345", {0x00, 0x23, 0x45}},
        {"abx0123456", {0x12, 0x34, 0x56}},
        {"000x7777", {0x77}},
        {"0000x123", {}},
        {"000x", {}},
        {"0x12x4", {0x12, 0x00}},
    };
    for (const auto& [text, bytes] : rows)
        EXPECT_THAT(hardware_table_bytes(text), ElementsAreArray(padded(bytes))) << text;
}

TEST(HardwareTable, TextWithoutAnXIsRefused) {
    for (const char* text : {"", "0", "2912342804022d", "0X2912"}) {
        EXPECT_EQ(thrown([text] { hardware_table_bytes(text); }),
                  "invalid_argument platform hardware table has no \"x\" before its digits")
            << text;
    }
}

TEST(HardwareTable, Versions1And3HaveFields1To27AndVersion2LacksFields11To15) {
    std::vector<std::uint32_t> fields(27);
    std::iota(fields.begin(), fields.end(), 1U);
    EXPECT_THAT(ids(1), ElementsAreArray(fields));
    EXPECT_THAT(ids(3), ElementsAreArray(fields));
    fields.erase(fields.begin() + 10, fields.begin() + 15);
    EXPECT_THAT(ids(2), ElementsAreArray(fields));
}

TEST(HardwareTable, NoFieldIsBeyondTheEndOfTheTable) {
    for (const int version : {1, 2, 3}) {
        for (const auto& field : hardware_table_layout(version)) {
            EXPECT_LT(field.byte_index, 64) << version << ", field " << field.id;
            EXPECT_LT(field.shift, 8) << version << ", field " << field.id;
        }
    }
}

TEST(HardwareTable, UnknownVersionIsNoDevice) {
    for (const int version : {4, 0, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(thrown([version] { hardware_table_layout(version); }),
                  "system_error 19 Invalid PHT table version " + std::to_string(version) + ": No such device");
    }
}

TEST(HardwareTable, GlobalLocaleChangesNothing) {
    const testing_support::GroupingLocale grouping;
    EXPECT_EQ(thrown([] { hardware_table_layout(1234567); }),
              "system_error 19 Invalid PHT table version 1234567: No such device");
    EXPECT_THAT(hardware_table_bytes("0x1,22"), ElementsAreArray(padded({0x01, 0x22})));
}

}  // namespace
