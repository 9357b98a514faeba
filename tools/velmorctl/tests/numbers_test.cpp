// SPDX-License-Identifier: MIT
#include "numbers.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>

using namespace VelmorCtl;

namespace {

TEST(Numbers, AreParsedWhole) {
    EXPECT_EQ(number_in("0", 0, 255), 0);
    EXPECT_EQ(number_in("255", 0, 255), 255);
    for (const char* wrong : {"", " ", "5abc", "5 ", " 5", "+5", "0x5", "5.0", "256", "-1", "99999999999"})
        EXPECT_EQ(number_in(wrong, 0, 255), std::nullopt) << wrong;
}

TEST(Numbers, MessageSaysWhatIsRight) {
    try {
        number("level", "5abc", 0, 255);
        FAIL();
    } catch (const WrongUse& error) {
        EXPECT_STREQ(error.what(), "level: \"5abc\" is not valid; use a whole number from 0 to 255");
    }
}

TEST(Numbers, Seconds) {
    EXPECT_EQ(seconds("--interval", "0.5"), 0.5);
    EXPECT_EQ(seconds("--interval", "10"), 10);
    for (const char* wrong : {"", "0", "-1", "1s", "1e3", "nan", "inf", "86401"})
        EXPECT_THROW(seconds("--interval", wrong), WrongUse) << wrong;
}

TEST(Numbers, Colors) {
    const led_color_t amber = color("#ffBF00");
    EXPECT_EQ(amber.red, 255);
    EXPECT_EQ(amber.green, 191);
    EXPECT_EQ(amber.blue, 0);
    EXPECT_EQ(text_of(amber), "#ffbf00");
    EXPECT_EQ(text_of(led_color_t{-1, 256, 7}), "-1 256 7");
    for (const char* wrong : {"", "#", "ffbf00", "#ffbf0", "#ffbf000", "#ffbf0g", "#-fbf00"})
        EXPECT_THROW(color(wrong), WrongUse) << wrong;
}

TEST(Numbers, Addresses) {
    EXPECT_EQ(text_of(address("0x12340001")), "0x12340001");
    EXPECT_EQ(text_of(address("1a2B")), "0x00001a2b");
    EXPECT_EQ(address("0x12340001").byte[0], 1);
    EXPECT_EQ(address("0x12340001").byte[3], 0x12);
    for (const char* wrong : {"", "0x", "0x123456789", "12g", "-1", "0x0x1"})
        EXPECT_THROW(address(wrong), WrongUse) << wrong;
}

TEST(Numbers, Choices) {
    EXPECT_EQ(choice("display", "on", {"off", "on"}), 1);
    EXPECT_THROW(choice("display", "ON", {"off", "on"}), WrongUse);
}

}  // namespace
