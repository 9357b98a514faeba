// SPDX-License-Identifier: MIT
#include "access/text.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <locale>
#include <sstream>
#include <string>
#include <string_view>

using Velmor::number_or_zero;
using Velmor::take_number;
using Velmor::take_until;
using Velmor::take_word;

namespace {

/** The number at the front of a text, whether it is one, and what is left of the text: "42 fits, left: ab". */
template <typename Number>
std::string taken(std::string_view text, int base = 10) {
    Number number = 77;
    const bool fits = take_number(text, number, base);
    return std::to_string(number) + (fits ? " fits" : " fails") + ", left: " + std::string(text);
}

TEST(TakeNumber, DecimalEndsBeforeTheFirstOtherCharacter) {
    EXPECT_EQ(taken<int>("42"), "42 fits, left: ");
    EXPECT_EQ(taken<int>(" \t\n\v\f\r42\n"), "42 fits, left: \n");
    EXPECT_EQ(taken<int>("-7 8"), "-7 fits, left:  8");
    EXPECT_EQ(taken<int>("+7"), "7 fits, left: ");
    EXPECT_EQ(taken<int>("12ab"), "12 fits, left: ab");
    EXPECT_EQ(taken<int>("0x12"), "0 fits, left: x12");
    EXPECT_EQ(taken<int>("-00010"), "-10 fits, left: ");
    EXPECT_EQ(taken<int>("1.5"), "1 fits, left: .5");
}

TEST(TakeNumber, HexadecimalMayHaveAPrefix) {
    EXPECT_EQ(taken<int>("1a", 16), "26 fits, left: ");
    EXPECT_EQ(taken<int>("0x1Ag", 16), "26 fits, left: g");
    EXPECT_EQ(taken<int>("0XfF", 16), "255 fits, left: ");
    EXPECT_EQ(taken<int>("-0x10", 16), "-16 fits, left: ");
    EXPECT_EQ(taken<int>("00x1", 16), "0 fits, left: x1");
    EXPECT_EQ(taken<int>("x1", 16), "0 fails, left: x1");
    EXPECT_EQ(taken<int>("0x", 16), "0 fails, left: ");
    EXPECT_EQ(taken<int>("0xg", 16), "0 fails, left: g");
    EXPECT_EQ(taken<int>("0x-1", 16), "0 fails, left: -1");
}

TEST(TakeNumber, TextWithoutDigitsIsZeroAndFails) {
    EXPECT_EQ(taken<int>("word"), "0 fails, left: word");
    EXPECT_EQ(taken<int>("-"), "0 fails, left: ");
    EXPECT_EQ(taken<int>("+-5"), "0 fails, left: -5");
    EXPECT_EQ(taken<int>("- 5"), "0 fails, left:  5");
    EXPECT_EQ(taken<unsigned>("--5"), "0 fails, left: -5");
}

TEST(TakeNumber, EmptyTextFailsAndLeavesTheValue) {
    EXPECT_EQ(taken<int>(""), "77 fails, left: ");
    EXPECT_EQ(taken<int>(" \n"), "77 fails, left: ");
}

TEST(TakeNumber, NumberOutOfRangeIsTheNearestAndFails) {
    EXPECT_EQ(taken<int>("2147483647"), "2147483647 fits, left: ");
    EXPECT_EQ(taken<int>("2147483648 1"), "2147483647 fails, left:  1");
    EXPECT_EQ(taken<int>("-2147483648"), "-2147483648 fits, left: ");
    EXPECT_EQ(taken<int>("-2147483649"), "-2147483648 fails, left: ");
    EXPECT_EQ(taken<int>("99999999999999999999999x"), "2147483647 fails, left: x");
    EXPECT_EQ(taken<int>("-99999999999999999999999x"), "-2147483648 fails, left: x");
    EXPECT_EQ(taken<int>("7fffffff", 16), "2147483647 fits, left: ");
    EXPECT_EQ(taken<int>("80000000", 16), "2147483647 fails, left: ");
    EXPECT_EQ(taken<unsigned>("4294967295"), "4294967295 fits, left: ");
    EXPECT_EQ(taken<unsigned>("4294967296"), "4294967295 fails, left: ");
    EXPECT_EQ(taken<std::uint16_t>("65535"), "65535 fits, left: ");
    EXPECT_EQ(taken<std::uint16_t>("65536"), "65535 fails, left: ");
    EXPECT_EQ(taken<unsigned long>(std::to_string(ULONG_MAX)), std::to_string(ULONG_MAX) + " fits, left: ");
    EXPECT_EQ(taken<unsigned long>(std::to_string(ULONG_MAX) + "0"), std::to_string(ULONG_MAX) + " fails, left: ");
}

TEST(TakeNumber, UnsignedNumberWithAMinusSignWrapsAround) {
    EXPECT_EQ(taken<unsigned>("-1"), "4294967295 fits, left: ");
    EXPECT_EQ(taken<unsigned>("-4294967295"), "1 fits, left: ");
    EXPECT_EQ(taken<unsigned>("-4294967296"), "4294967295 fails, left: ");
    EXPECT_EQ(taken<std::uint16_t>("-1"), "65535 fits, left: ");
    EXPECT_EQ(taken<unsigned long>("-1"), std::to_string(ULONG_MAX) + " fits, left: ");
    EXPECT_EQ(taken<unsigned>("-0"), "0 fits, left: ");
}

TEST(TakeWord, EndsAtWhiteSpace) {
    for (const char space : {' ', '\t', '\n', '\v', '\f', '\r'}) {
        const std::string text = std::string(1, space) + "first" + space + "second";
        std::string_view rest = text;
        EXPECT_EQ(take_word(rest), "first");
        EXPECT_EQ(take_word(rest), "second");
        EXPECT_EQ(take_word(rest), "");
    }
    std::string_view other(
        "a\xA0"
        "b\x1F"
        "c\x85");
    EXPECT_EQ(take_word(other).size(), 6U) << "these are white space in other locales only";
}

TEST(TakeUntil, LeavesTheSeparator) {
    std::string_view rest = "1.2";
    EXPECT_EQ(take_until(rest, "."), "1");
    EXPECT_EQ(rest, ".2");
    EXPECT_EQ(take_until(rest, "/"), ".2");
    EXPECT_EQ(take_until(rest, "/"), "");
}

TEST(NumberOrZero, PieceWithoutANumberOfTheTypeIsZero) {
    EXPECT_EQ(number_or_zero<int>("2147483647"), INT_MAX);
    EXPECT_EQ(number_or_zero<int>("2147483648"), 0);
    EXPECT_EQ(number_or_zero<int>("80000000", 16), 0);
    EXPECT_EQ(number_or_zero<std::uint16_t>("65536"), 0);
    for (const char* piece : {"", " ", "x", "-", "word", "\n"}) {
        EXPECT_EQ(number_or_zero<int>(piece), 0) << piece;
        EXPECT_EQ(number_or_zero<int>(piece, 16), 0) << piece;
    }
    EXPECT_EQ(number_or_zero<int>("1g", 16), 1);
}

}  // namespace
