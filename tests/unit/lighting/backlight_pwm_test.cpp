// SPDX-License-Identifier: MIT
#include "lighting/backlight_pwm.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdint>
#include <string>

#include "support/files_test.h"

using Velmor::BacklightPWM;
using namespace testing_support;

namespace {

/** Duty of every level: hundred times the level by 255, cut to a tenth of a percent, rounded to the nearest percent. */
constexpr std::uint32_t percents[256] = {
    0,  0,  1,  1,  2,  2,  2,  3,  3,  4,  4,  4,  5,  5,  5,  6,  6,  7,  7,  7,  8,   8,   9,  9,  9,  10,
    10, 11, 11, 11, 12, 12, 13, 13, 13, 14, 14, 15, 15, 15, 16, 16, 16, 17, 17, 18, 18,  18,  19, 19, 20, 20,
    20, 21, 21, 22, 22, 22, 23, 23, 24, 24, 24, 25, 25, 25, 26, 26, 27, 27, 27, 28, 28,  29,  29, 29, 30, 30,
    31, 31, 31, 32, 32, 33, 33, 33, 34, 34, 35, 35, 35, 36, 36, 36, 37, 37, 38, 38, 38,  39,  39, 40, 40, 40,
    41, 41, 42, 42, 42, 43, 43, 44, 44, 44, 45, 45, 45, 46, 46, 47, 47, 47, 48, 48, 49,  49,  49, 50, 50, 51,
    51, 51, 52, 52, 53, 53, 53, 54, 54, 55, 55, 55, 56, 56, 56, 57, 57, 58, 58, 58, 59,  59,  60, 60, 60, 61,
    61, 62, 62, 62, 63, 63, 64, 64, 64, 65, 65, 65, 66, 66, 67, 67, 67, 68, 68, 69, 69,  69,  70, 70, 71, 71,
    71, 72, 72, 73, 73, 73, 74, 74, 75, 75, 75, 76, 76, 76, 77, 77, 78, 78, 78, 79, 79,  80,  80, 80, 81, 81,
    82, 82, 82, 83, 83, 84, 84, 84, 85, 85, 85, 86, 86, 87, 87, 87, 88, 88, 89, 89, 89,  90,  90, 91, 91, 91,
    92, 92, 93, 93, 93, 94, 94, 95, 95, 95, 96, 96, 96, 97, 97, 98, 98, 98, 99, 99, 100, 100,
};

class BacklightPWMTest : public FilesTest {
protected:
    BacklightPWMTest() { program("0", "0", "0"); }

    void program(const std::string& period, const std::string& duty, const std::string& status) const {
        put(period_, period + "\n");
        put(duty_, duty + "\n");
        put(status_, status + "\n");
    }

    /** Its period is 1000000 ns. */
    BacklightPWM at_1000_hz(int percent) const { return {directory_.path(), 1000, percent}; }

    void expect_channel(const std::string& period, const std::string& duty, const std::string& status) const {
        EXPECT_EQ(content(period_), period);
        EXPECT_EQ(content(duty_), duty);
        EXPECT_EQ(content(status_), status);
    }

    const std::string period_ = directory_ / "period";
    const std::string duty_ = directory_ / "duty";
    const std::string status_ = directory_ / "status";
};

TEST_F(BacklightPWMTest, ConstructionProgramsTheChannelAndLeavesTheStatus) {
    const BacklightPWM backlight(directory_.path(), 200, 40);
    expect_channel("5000000", "2000000", "0\n");
}

TEST_F(BacklightPWMTest, ConstructionKeepsTheDutyForMinusOne) {
    program("1000000", "300000", "1");
    const BacklightPWM backlight(directory_.path(), 200, -1);
    expect_channel("5000000", "1500000", "1\n");
}

TEST_F(BacklightPWMTest, ConstructionThrowsWhatProgrammingThrows) {
    EXPECT_EQ(thrown([&] { BacklightPWM(directory_.path(), 2000001, 40); }), "range_error PWM frequency out of range");
    EXPECT_EQ(thrown([&] { BacklightPWM(directory_.path(), 200, 101); }), "range_error PWM duty out of range");
    EXPECT_EQ(thrown([&] { BacklightPWM(directory_ / "absent", 200, 40); }), "stream failure");
}

TEST_F(BacklightPWMTest, EveryLevelIsItsPercentageOnARunningChannel) {
    BacklightPWM backlight = at_1000_hz(0);
    for (std::uint32_t level = 1; level <= 255; ++level) {
        put(status_, "0\n");
        backlight.set(level);
        SCOPED_TRACE(level);
        expect_channel("1000000", std::to_string(percents[level] * 10000), "1");
        EXPECT_EQ(backlight.get(), percents[level] * 51 / 20);
    }
}

TEST_F(BacklightPWMTest, LevelZeroStopsTheChannelAndKeepsTheDuty) {
    BacklightPWM backlight = at_1000_hz(40);
    put(status_, "1\n");
    backlight.set(0);
    expect_channel("1000000", "400000", "0");
    EXPECT_EQ(backlight.get(), 0U);
}

TEST_F(BacklightPWMTest, DutyIsOfThePresentPeriod) {
    BacklightPWM backlight = at_1000_hz(0);
    put(period_, "20000\n");
    backlight.set(128);
    EXPECT_EQ(content(duty_), "10000");
}

TEST_F(BacklightPWMTest, DutyIsWrittenBeforeTheChannelStarts) {
    VELMOR_NEEDS_RECORDER();
    BacklightPWM backlight = at_1000_hz(0);
    put(period_, "1000000\n");
    expect_acts([&] { backlight.set(128); },
                in_order({read_acts(period_), write_acts(duty_, "500000"), write_acts(status_, "1")}));
}

TEST_F(BacklightPWMTest, LevelZeroWritesTheStatusOnly) {
    VELMOR_NEEDS_RECORDER();
    BacklightPWM backlight = at_1000_hz(40);
    expect_acts([&] { backlight.set(0); }, write_acts(status_, "0"));
}

TEST_F(BacklightPWMTest, RefusedDutyDoesNotStartTheChannel) {
    VELMOR_NEEDS_RECORDER();
    BacklightPWM backlight = at_1000_hz(0);
    put(period_, "1000000\n");
    const std::string write = "write " + duty_;
    expect_acts(
        recorder().fail(write, EINVAL), [&] { backlight.set(128); },
        in_order({read_acts(period_), {"open " + duty_ + " w", write + " 500000 = EINVAL", "close " + duty_}}),
        "stream failure");
}

TEST_F(BacklightPWMTest, LevelAboveRangeWritesNothing) {
    BacklightPWM backlight = at_1000_hz(40);
    for (const std::uint32_t level : {256U, 257U, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(thrown([&] { backlight.set(level); }), "range_error backlight brightness out of range");
        expect_channel("1000000", "400000", "0\n");
    }
}

TEST_F(BacklightPWMTest, LevelAboveRangeTouchesNoFile) {
    VELMOR_NEEDS_RECORDER();
    BacklightPWM backlight = at_1000_hz(40);
    expect_acts([&] { backlight.set(256); }, {}, "range_error backlight brightness out of range");
}

TEST_F(BacklightPWMTest, StoppedChannelIsOffWhateverItsDuty) {
    BacklightPWM backlight = at_1000_hz(100);
    EXPECT_EQ(content(duty_), "1000000");
    EXPECT_EQ(backlight.get(), 0U);
}

TEST_F(BacklightPWMTest, StoppedChannelIsNotAskedForItsDuty) {
    BacklightPWM backlight = at_1000_hz(100);
    put(duty_, "none\n");
    put(period_, "none\n");
    EXPECT_EQ(backlight.get(), 0U);
}

TEST_F(BacklightPWMTest, AnyOtherStatusReportsTheDuty) {
    BacklightPWM backlight = at_1000_hz(50);
    for (const char* status : {"1\n", "2\n", "-1\n"}) {
        put(status_, status);
        EXPECT_EQ(backlight.get(), 127U) << status;
    }
}

TEST_F(BacklightPWMTest, DutyAboveHundredPercentIsALevelAbove255) {
    BacklightPWM backlight = at_1000_hz(0);
    program("1000", "2000", "1");
    EXPECT_EQ(backlight.get(), 510U);
}

TEST_F(BacklightPWMTest, AbsurdDutyDoesNotWrapIntoALevel) {
    BacklightPWM backlight = at_1000_hz(0);
    program("1", "42949672", "1");  // 4294967200 %
    EXPECT_EQ(backlight.get(), 0xFFFFFFFFU);
    program("1", "168430", "1");  // 16843000 %: 2^32 is passed by the product only
    EXPECT_EQ(backlight.get(), 42949650U);
}

TEST_F(BacklightPWMTest, PeriodOfZeroIsOff) {
    BacklightPWM backlight = at_1000_hz(0);
    program("0", "500", "1");
    EXPECT_EQ(backlight.get(), 0U);
}

TEST_F(BacklightPWMTest, UnusableAttributesAreTheStreamFailure) {
    BacklightPWM backlight = at_1000_hz(0);
    program("1000", "none", "1");
    EXPECT_THROW(backlight.get(), std::ios_base::failure);
    program("none", "0", "1");
    EXPECT_THROW(backlight.get(), std::ios_base::failure);
    EXPECT_THROW(backlight.set(128), std::ios_base::failure);
    put(status_, "\n");
    EXPECT_THROW(backlight.get(), std::ios_base::failure);
    remove(directory_.path());
    EXPECT_THROW(backlight.set(0), std::ios_base::failure);
}

}  // namespace
