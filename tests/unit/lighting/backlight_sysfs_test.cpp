// SPDX-License-Identifier: MIT
#include "lighting/backlight_sysfs.h"

#include <gmock/gmock.h>

#include <climits>
#include <cstdint>
#include <string>
#include <utility>

#include "support/files_test.h"

using testing::AllOf;
using testing::Ge;
using testing::Le;
using Velmor::BacklightSysFS;
using namespace testing_support;

namespace {

class BacklightSysFSTest : public FilesTest {
protected:
    BacklightSysFS backlight(const std::string& max_brightness) const {
        put(max_brightness_, max_brightness + "\n");
        return BacklightSysFS(directory_.path());
    }

    std::string written(BacklightSysFS& backlight, std::uint32_t level) const {
        put(brightness_, "an old text\n");
        backlight.set(level);
        return content(brightness_);
    }

    std::uint32_t level_at(BacklightSysFS& backlight, int raw) const {
        put(brightness_, std::to_string(raw) + "\n");
        return backlight.get();
    }

    const std::string brightness_ = directory_ / "brightness";
    const std::string max_brightness_ = directory_ / "max_brightness";
};

TEST_F(BacklightSysFSTest, OnlyConstructionReadsTheMaximum) {
    VELMOR_NEEDS_RECORDER();
    put(max_brightness_, "255\n");
    put(brightness_, "0\n");
    const auto construction_and_use = [&] {
        BacklightSysFS backlight(directory_.path());
        backlight.set(200);
        backlight.get();
    };
    expect_acts(construction_and_use,
                in_order({read_acts(max_brightness_), write_acts(brightness_, "200"), read_to_end_acts(brightness_)}));
}

TEST_F(BacklightSysFSTest, Maximum7) {
    BacklightSysFS backlight = this->backlight("7");
    put(max_brightness_, "255\n");  // a later change is ignored
    const std::pair<std::uint32_t, const char*> writes[] = {{0, "0"},   {1, "1"},   {22, "1"},  {23, "2"},  {64, "2"},
                                                            {65, "3"},  {107, "4"}, {106, "3"}, {128, "4"}, {149, "4"},
                                                            {150, "5"}, {192, "6"}, {234, "7"}, {233, "6"}, {255, "7"}};
    for (const auto& [level, raw] : writes) EXPECT_EQ(written(backlight, level), raw) << level;
    const std::uint32_t levels[] = {0, 1, 43, 86, 128, 170, 213, 255};
    for (int raw = 0; raw <= 7; ++raw) EXPECT_EQ(level_at(backlight, raw), levels[raw]) << raw;
}

TEST_F(BacklightSysFSTest, MaximumOfOneOrLessIsOnOrOff) {
    for (const char* maximum : {"1", "0", "-5", "-2147483648"}) {
        BacklightSysFS backlight = this->backlight(maximum);
        EXPECT_EQ(written(backlight, 0), "0") << maximum;
        for (const std::uint32_t level : {1U, 2U, 127U, 128U, 254U, 255U})
            EXPECT_EQ(written(backlight, level), "1") << maximum;
        for (const int raw : {1, 2, 255, INT_MAX}) EXPECT_EQ(level_at(backlight, raw), 255U) << maximum;
    }
}

TEST_F(BacklightSysFSTest, RawValueOfZeroOrLessIsOff) {
    for (const char* maximum : {"-2147483648", "-5", "0", "1", "2", "7", "255", "2147483647"}) {
        BacklightSysFS backlight = this->backlight(maximum);
        for (const int raw : {0, -1, -255, INT_MIN}) EXPECT_EQ(level_at(backlight, raw), 0U) << raw;
    }
}

TEST_F(BacklightSysFSTest, RawValueAboveTheMaximumIsALevelAbove255) {
    BacklightSysFS same = backlight("255");
    EXPECT_EQ(level_at(same, 256), 256U);
    EXPECT_EQ(level_at(same, 1000000), 1000000U);
    EXPECT_EQ(level_at(same, INT_MAX), 2147483647U);
    BacklightSysFS coarse = backlight("7");
    EXPECT_EQ(level_at(coarse, 8), 297U);
    EXPECT_EQ(level_at(coarse, 50000000), 2116666625U);
    for (const char* maximum : {"2", "7", "254"}) {
        BacklightSysFS limited = backlight(maximum);
        EXPECT_EQ(level_at(limited, INT_MAX), 2147483647U) << maximum;
    }
}

TEST_F(BacklightSysFSTest, LevelsAreComputedInDoublePrecision) {
    // Exactly halfway on paper, slightly less in doubles: floats and wider registers give another level.
    BacklightSysFS maximum_69 = backlight("69");
    EXPECT_EQ(level_at(maximum_69, 18), 64U);
    EXPECT_EQ(level_at(maximum_69, 86), 318U);
    BacklightSysFS maximum_101 = backlight("101");
    EXPECT_EQ(level_at(maximum_101, 76), 191U);
    // Halfway in doubles too: rounded away from zero.
    BacklightSysFS maximum_2 = backlight("2");
    EXPECT_EQ(written(maximum_2, 127), "1");
    EXPECT_EQ(written(maximum_2, 128), "2");
}

TEST_F(BacklightSysFSTest, EveryLevelIsTheNearestRawValueAndIsReadBackIfTheScaleIsFineEnough) {
    for (const std::int64_t maximum :
         {1, 2, 3, 7, 16, 127, 128, 254, 255, 256, 257, 1023, 65535, INT_MAX - 1, INT_MAX}) {
        SCOPED_TRACE(maximum);
        BacklightSysFS backlight = this->backlight(std::to_string(maximum));
        std::uint32_t previous = 0;
        for (std::uint32_t level = 0; level <= 255; ++level) {
            backlight.set(level);
            const std::int64_t nearest =
                level == 0 ? 0 : 1 + (2 * (std::int64_t{level} - 1) * (maximum - 1) + 254) / 508;
            ASSERT_EQ(content(brightness_), std::to_string(nearest)) << level;
            const std::uint32_t back = backlight.get();
            ASSERT_TRUE(back == level || maximum < 255) << level << " became " << back;
            ASSERT_THAT(back, AllOf(Ge(previous), Le(255U))) << level;
            ASSERT_EQ(back == 0, level == 0) << level;
            previous = back;
        }
        EXPECT_EQ(previous, 255U);
    }
}

TEST_F(BacklightSysFSTest, LevelAboveRangeIsRefusedAndWritesNothing) {
    BacklightSysFS backlight = this->backlight("255");
    put(brightness_, "100\n");
    for (const std::uint32_t level : {256U, 257U, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(thrown([&] { backlight.set(level); }), "range_error backlight brightness out of range");
        EXPECT_EQ(content(brightness_), "100\n");
    }
}

TEST_F(BacklightSysFSTest, AttributeThatIsMissingOrNoNumberIsAStreamFailure) {
    EXPECT_THROW(BacklightSysFS(directory_ / "absent"), std::ios_base::failure);
    for (const char* text : {"", "bright", "2147483648"}) EXPECT_THROW(backlight(text), std::ios_base::failure) << text;
    BacklightSysFS backlight = this->backlight("255");
    EXPECT_THROW(backlight.get(), std::ios_base::failure);
    put(brightness_, "bright\n");
    EXPECT_THROW(backlight.get(), std::ios_base::failure);
    remove(directory_.path());
    EXPECT_THROW(backlight.set(1), std::ios_base::failure);
}

}  // namespace
