// SPDX-License-Identifier: MIT
#include "access/parse.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <locale>
#include <sstream>
#include <string>

using Velmor::parse_or_zero;

namespace {

constexpr auto dec = std::ios_base::dec;
constexpr auto hex = std::ios_base::hex;

/** Groups by thousands with '.' and marks decimals with ','. */
class OtherNumbers : public std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

class ParseInOtherLocale : public testing::Test {
protected:
    ~ParseInOtherLocale() override { std::locale::global(before_); }

private:
    const std::locale before_ = std::locale::global(std::locale(std::locale::classic(), new OtherNumbers));
};

TEST(ParseOrZero, DecimalIsReadUpToWhatCannotBelongToIt) {
    EXPECT_EQ(parse_or_zero<int>("42", dec), 42);
    EXPECT_EQ(parse_or_zero<int>(" \t42\n", dec), 42);
    EXPECT_EQ(parse_or_zero<int>("-7 8", dec), -7);
    EXPECT_EQ(parse_or_zero<int>("12ab", dec), 12);
    EXPECT_EQ(parse_or_zero<int>("0x12", dec), 0);
    EXPECT_EQ(parse_or_zero<int>("010", dec), 10);
}

TEST(ParseOrZero, HexadecimalIsReadWithAndWithoutPrefix) {
    EXPECT_EQ(parse_or_zero<int>("1a", hex), 0x1a);
    EXPECT_EQ(parse_or_zero<int>("FF", hex), 0xff);
    EXPECT_EQ(parse_or_zero<int>("0x1a", hex), 0x1a);
    EXPECT_EQ(parse_or_zero<int>("10", hex), 0x10);
    EXPECT_EQ(parse_or_zero<int>("7fffffff", hex), INT_MAX);
    EXPECT_EQ(parse_or_zero<int>("1g", hex), 1);
}

TEST(ParseOrZero, PieceWithoutNumberIsZero) {
    for (const char* piece : {"", " ", "x", "-", "word", "\n"}) {
        EXPECT_EQ(parse_or_zero<int>(piece, dec), 0) << piece;
        EXPECT_EQ(parse_or_zero<int>(piece, hex), 0) << piece;
    }
}

TEST(ParseOrZero, NumberThatDoesNotFitIsZero) {
    EXPECT_EQ(parse_or_zero<int>("2147483647", dec), INT_MAX);
    EXPECT_EQ(parse_or_zero<int>("2147483648", dec), 0);
    EXPECT_EQ(parse_or_zero<int>("-2147483648", dec), INT_MIN);
    EXPECT_EQ(parse_or_zero<int>("-2147483649", dec), 0);
    EXPECT_EQ(parse_or_zero<int>("80000000", hex), 0);
    EXPECT_EQ(parse_or_zero<int>("99999999999999999999999", dec), 0);
    EXPECT_EQ(parse_or_zero<std::uint16_t>("65535", dec), 65535);
    EXPECT_EQ(parse_or_zero<std::uint16_t>("65536", dec), 0);
}

TEST_F(ParseInOtherLocale, NumbersAreTheSame) {
    int application = 0;
    std::istringstream("1.234") >> application;
    ASSERT_EQ(application, 1234);

    EXPECT_EQ(parse_or_zero<int>("1234567", dec), 1234567);
    EXPECT_EQ(parse_or_zero<int>("1.234", dec), 1);
    EXPECT_EQ(parse_or_zero<int>("12.34", dec), 12);
    EXPECT_EQ(parse_or_zero<int>("1.234", hex), 1);
    EXPECT_EQ(parse_or_zero<std::uint16_t>("2.016", dec), 2);
}

}  // namespace
