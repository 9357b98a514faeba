// SPDX-License-Identifier: MIT
#include "lighting/backlight_pwm.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdint>
#include <string>

#include "support/pwm_channel_test.h"

using Velmor::BacklightPWM;
using namespace testing_support;

namespace {

/** The duty of every level: level * 100 / 255, truncated to a tenth of a percent, rounded to the nearest percent. */
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

constexpr char bad_level[] = "range_error backlight brightness out of range";

class BacklightPWMTest : public PwmChannelTest {
protected:
    BacklightPWM backlight_{path_, 1000, 40};  // 400000 ns of 1000000
};

using BacklightPWMActs = Recorded<BacklightPWMTest>;

TEST_F(BacklightPWMTest, ConstructionProgramsTheChannelAndLeavesTheStatus) {
    expect_channel("1000000", "400000");
    const BacklightPWM other(path_, 200, 40);
    expect_channel("5000000", "2000000");
    put_channel("1000000", "300000", "1");
    const BacklightPWM with_the_same_duty(path_, 200, -1);
    expect_channel("5000000", "1500000", "1\n");
}

TEST_F(BacklightPWMTest, ConstructionThrowsWhatSettingTheFrequencyThrows) {
    EXPECT_EQ(thrown([&] { BacklightPWM(path_, 2000001, 40); }), bad_frequency);
    EXPECT_EQ(thrown([&] { BacklightPWM(path_, 200, 101); }), bad_duty);
    EXPECT_EQ(thrown([&] { BacklightPWM(directory_ / "absent", 200, 40); }), "stream failure");
}

TEST_F(BacklightPWMTest, EveryLevelIsItsPercentageOnARunningChannel) {
    for (std::uint32_t level = 1; level <= 255; ++level) {
        put(status_, "0\n");
        backlight_.set(level);
        SCOPED_TRACE(level);
        expect_channel("1000000", std::to_string(percents[level] * 10000), "1");
        EXPECT_EQ(backlight_.get(), percents[level] * 51 / 20);
    }
}

TEST_F(BacklightPWMTest, LevelZeroStopsTheChannelAndKeepsTheDuty) {
    put_channel("20000", "0");
    backlight_.set(128);
    expect_channel("20000\n", "10000", "1");
    backlight_.set(0);
    expect_channel("20000\n", "10000", "0");
    EXPECT_EQ(backlight_.get(), 0U);
}

TEST_F(BacklightPWMTest, LevelAboveRangeWritesNothing) {
    for (const std::uint32_t level : {256U, 257U, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(thrown([&] { backlight_.set(level); }), bad_level);
        expect_channel("1000000", "400000");
    }
}

TEST_F(BacklightPWMActs, StartingWritesTheDutyBeforeTheStatusAndStoppingTheStatusAlone) {
    put(period_, "1000000\n");
    expect_acts([&] { backlight_.set(128); },
                in_order({read_acts(period_), write_acts(duty_, "500000"), write_acts(status_, "1")}));
    expect_acts([&] { backlight_.set(0); }, write_acts(status_, "0"));
    expect_acts([&] { backlight_.set(256); }, {}, bad_level);
}

TEST_F(BacklightPWMActs, RefusedDutyDoesNotStartTheChannel) {
    put(period_, "1000000\n");
    const std::string write = "write " + duty_;
    expect_acts(
        recorder().fail(write, EINVAL), [&] { backlight_.set(128); },
        in_order({read_acts(period_), {"open " + duty_ + " w", write + " 500000 = EINVAL", "close " + duty_}}),
        "stream failure");
}

TEST_F(BacklightPWMTest, LevelIsReadFromTheDutyOfARunningChannel) {
    const struct {
        const char* period;
        const char* duty;
        const char* status;
        std::uint32_t level;
    } rows[] = {
        {.period = "1000000", .duty = "1000000", .status = "0", .level = 0},
        {.period = "none", .duty = "none", .status = "0", .level = 0},  // neither is read
        {.period = "1000000", .duty = "500000", .status = "1", .level = 127},
        {.period = "1000000", .duty = "500000", .status = "2", .level = 127},
        {.period = "1000000", .duty = "500000", .status = "-1", .level = 127},
        {.period = "0", .duty = "500", .status = "1", .level = 0},
        {.period = "1000", .duty = "2000", .status = "1", .level = 510},  // above 100 % is above 255
        // An absurd duty does not wrap into a level.
        {.period = "1", .duty = "42949672", .status = "1", .level = 0xFFFFFFFF},  // 4294967200 %
        {.period = "1", .duty = "168430", .status = "1", .level = 42949650},      // 16843000 %: only * 255 exceeds 2^32
    };
    for (const auto& row : rows) {
        put_channel(row.period, row.duty, row.status);
        EXPECT_EQ(backlight_.get(), row.level) << row.duty << " of " << row.period << ", status " << row.status;
    }
}

TEST_F(BacklightPWMTest, AttributeThatIsNoNumberOrIsMissingIsAStreamFailure) {
    put_channel("1000", "none", "1");
    EXPECT_THROW(backlight_.get(), std::ios_base::failure);
    put_channel("none", "0", "1");
    EXPECT_THROW(backlight_.get(), std::ios_base::failure);
    EXPECT_THROW(backlight_.set(128), std::ios_base::failure);
    put(status_, "\n");
    EXPECT_THROW(backlight_.get(), std::ios_base::failure);
    remove(path_);
    EXPECT_THROW(backlight_.set(0), std::ios_base::failure);
}

}  // namespace
