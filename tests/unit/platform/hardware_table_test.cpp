// SPDX-License-Identifier: MIT
#include "platform/hardware_table.h"

#include <gmock/gmock.h>

#include <climits>
#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

#include "support/thrown.h"

using testing::ElementsAreArray;
using testing_support::thrown;
using Velmor::hardware_table_bytes;
using Velmor::hardware_table_layout;

namespace {

using Bytes = std::vector<std::uint8_t>;

/** These bytes, and 0 up to the table's end. */
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

struct Text {
    const char* text;
    Bytes bytes;
};

class HardwareTableText : public testing::TestWithParam<Text> {};

TEST_P(HardwareTableText, IsReadAsFarAsItGoes) {
    EXPECT_THAT(hardware_table_bytes(GetParam().text), ElementsAreArray(padded(GetParam().bytes))) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(Short, HardwareTableText,
                         testing::Values(Text{"0x", {}}, Text{"0x1", {0x01}}, Text{"0x12", {0x12}},
                                         Text{"0x123", {0x12, 0x03}}));
INSTANTIATE_TEST_SUITE_P(WrongDigits, HardwareTableText,
                         testing::Values(Text{"0x3g11", {0x03, 0x11}}, Text{"0xg311", {0x00, 0x11}},
                                         Text{"0xzz11", {0x00, 0x11}}, Text{"0x0x11", {0x00, 0x11}},
                                         Text{"0x-1-f22", {0xFF, 0xF1, 0x22}}, Text{"0x+f22", {0x0F, 0x22}}));
// The first pair stands at twice the index of the "x".
INSTANTIATE_TEST_SUITE_P(MarkElsewhere, HardwareTableText,
                         testing::Values(Text{"x12345", {0x00, 0x23, 0x45}}, Text{"abx0123456", {0x12, 0x34, 0x56}},
                                         Text{"000x7777", {0x77}}, Text{"0000x123", {}}, Text{"000x", {}},
                                         Text{"0x12x4", {0x12, 0x00}}));

TEST(HardwareTable, TextWithoutMarkIsRefused) {
    for (const char* text : {"", "0", "2912342804022d", "0X2912"}) {
        EXPECT_EQ(thrown([text] { hardware_table_bytes(text); }),
                  "invalid_argument platform hardware table has no \"x\" before its digits")
            << text;
    }
}

TEST(HardwareTable, Versions1And3HaveFields1To27InOrder) {
    std::vector<std::uint32_t> all(27);
    std::iota(all.begin(), all.end(), 1U);
    EXPECT_THAT(ids(1), ElementsAreArray(all));
    EXPECT_THAT(ids(3), ElementsAreArray(all));
}

TEST(HardwareTable, Version2LacksFields11To15) {
    EXPECT_THAT(ids(2), ElementsAreArray({1U,  2U,  3U,  4U,  5U,  6U,  7U,  8U,  9U,  10U, 16U,
                                          17U, 18U, 19U, 20U, 21U, 22U, 23U, 24U, 25U, 26U, 27U}));
}

TEST(HardwareTable, NoFieldLiesBehindTheTable) {
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
