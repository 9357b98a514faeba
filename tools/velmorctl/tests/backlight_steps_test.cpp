// SPDX-License-Identifier: MIT
#include "backlight_steps.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <vector>

using VelmorCtl::BacklightSteps;

namespace {

std::vector<int> maxima() {
    std::vector<int> all(1200);
    std::iota(all.begin(), all.end(), 1);
    all.insert(all.end(), {4095, 65535});
    return all;
}

/** The step, in percent, that is nearest to a percentage; the brighter one of two. */
int nearest(int percent, int max) {
    const int raw = (percent * max + 50) / 100;
    return (200 * raw + max) / (2 * max);
}

TEST(BacklightSteps, PercentThatIsSetReadsBackIfTheDriverHasAHundredSteps) {
    for (const int max : maxima()) {
        const BacklightSteps steps(max);
        for (int percent = 0; percent <= 100; ++percent) {
            const int expected = max >= 100 ? percent : nearest(percent, max);
            ASSERT_EQ(steps.percent_of(steps.level_of_percent(percent)), expected) << max << ", " << percent << " %";
        }
    }
}

TEST(BacklightSteps, EachNumberOfASmallRangeHasALevelOfItsOwn) {
    for (int max = 1; max <= 255; ++max) {
        const BacklightSteps steps(max);
        for (int raw = 0; raw <= max; ++raw) ASSERT_EQ(steps.raw_of(steps.level_of(raw)), raw) << max;
    }
}

TEST(BacklightSteps, LevelOfANumberIsTheNearest) {
    for (const int max : {256, 300, 1200, 4095, 65535}) {
        const BacklightSteps steps(max);
        for (int raw = 0; raw <= max; ++raw) {
            const auto level = steps.level_of(raw);
            const int error = std::abs(steps.raw_of(level) - raw);
            if (level > 0) {
                ASSERT_LE(error, std::abs(steps.raw_of(level - 1) - raw)) << max << ", " << raw;
            }
            if (level < 255) {
                ASSERT_LE(error, std::abs(steps.raw_of(level + 1) - raw)) << max << ", " << raw;
            }
        }
    }
}

TEST(BacklightSteps, EndsAreOffAndFull) {
    for (const int max : maxima()) {
        const BacklightSteps steps(max);
        EXPECT_EQ(steps.level_of_percent(0), 0U);
        EXPECT_EQ(steps.level_of_percent(100), 255U);
        EXPECT_EQ(steps.percent_of(0), 0);
        EXPECT_EQ(steps.percent_of(255), 100);
        EXPECT_EQ(steps.raw_of(1), 1);
    }
}

// The example of the header.
TEST(BacklightSteps, HalvesRoundAwayFromZero) {
    EXPECT_EQ(BacklightSteps(7).raw_of(128), 4);
    EXPECT_EQ(BacklightSteps(7).raw_of(100), 3);
    EXPECT_EQ(BacklightSteps(100).raw_of(128), 51);
    EXPECT_EQ(BacklightSteps(7).percent_of(128), 57);
}

TEST(BacklightSteps, MaximumThatMakesNoSenseCountsAsOne) {
    EXPECT_EQ(BacklightSteps(0).max_brightness(), 1);
    EXPECT_EQ(BacklightSteps(-5).level_of(1), 255U);
}

}  // namespace
