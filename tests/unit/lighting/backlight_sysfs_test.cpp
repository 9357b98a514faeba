// SPDX-License-Identifier: MIT
#include "lighting/backlight_sysfs.h"

#include <gmock/gmock.h>

#include <climits>
#include <cstdint>
#include <string>

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

TEST_F(BacklightSysFSTest, ConstructionReadsTheMaximumOnceAndNothingElse) {
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

TEST_F(BacklightSysFSTest, LaterMaximumIsNotFollowed) {
    BacklightSysFS backlight = this->backlight("7");
    put(max_brightness_, "255\n");
    EXPECT_EQ(written(backlight, 255), "7");
}

TEST_F(BacklightSysFSTest, UnreadableMaximumFailsTheConstruction) {
    EXPECT_THROW(BacklightSysFS(directory_ / "absent"), std::ios_base::failure);
    for (const char* text : {"", "bright", "2147483648"}) EXPECT_THROW(backlight(text), std::ios_base::failure) << text;
}

TEST_F(BacklightSysFSTest, Maximum7) {
    BacklightSysFS backlight = this->backlight("7");
    const struct {
        std::uint32_t level;
        const char* raw;
    } writes[] = {{0, "0"},   {1, "1"},   {22, "1"},  {23, "2"},  {64, "2"},  {65, "3"},  {107, "4"}, {106, "3"},
                  {128, "4"}, {149, "4"}, {150, "5"}, {192, "6"}, {234, "7"}, {233, "6"}, {255, "7"}};
    for (const auto& row : writes) EXPECT_EQ(written(backlight, row.level), row.raw) << row.level;
    const struct {
        int raw;
        std::uint32_t level;
    } reads[] = {{0, 0}, {1, 1}, {2, 43}, {3, 86}, {4, 128}, {5, 170}, {6, 213}, {7, 255}};
    for (const auto& row : reads) EXPECT_EQ(level_at(backlight, row.raw), row.level) << row.raw;
}

TEST_F(BacklightSysFSTest, MaximumOfOneAndBelowIsOnOrOff) {
    for (const char* maximum : {"1", "0", "-5", "-2147483648"}) {
        BacklightSysFS backlight = this->backlight(maximum);
        EXPECT_EQ(written(backlight, 0), "0") << maximum;
        for (const std::uint32_t level : {1U, 2U, 127U, 128U, 254U, 255U})
            EXPECT_EQ(written(backlight, level), "1") << maximum;
        for (const int raw : {1, 2, 255, INT_MAX}) EXPECT_EQ(level_at(backlight, raw), 255U) << maximum;
        for (const int raw : {0, -1, INT_MIN}) EXPECT_EQ(level_at(backlight, raw), 0U) << maximum;
    }
}

TEST_F(BacklightSysFSTest, RawZeroAndBelowIsOff) {
    for (const char* maximum : {"2", "7", "255", "2147483647"}) {
        BacklightSysFS backlight = this->backlight(maximum);
        for (const int raw : {0, -1, -255, INT_MIN}) EXPECT_EQ(level_at(backlight, raw), 0U) << raw;
    }
}

TEST_F(BacklightSysFSTest, RawAboveTheMaximumIsALevelAbove255) {
    BacklightSysFS same = backlight("255");
    EXPECT_EQ(level_at(same, 256), 256U);
    EXPECT_EQ(level_at(same, 1000000), 1000000U);
    EXPECT_EQ(level_at(same, INT_MAX), 2147483647U);
    BacklightSysFS coarse = backlight("7");
    EXPECT_EQ(level_at(coarse, 8), 297U);
    EXPECT_EQ(level_at(coarse, 50000000), 2116666625U);
}

TEST_F(BacklightSysFSTest, RawTooHighForAnyLevelIsTheHighestNumber) {
    for (const char* maximum : {"2", "7", "254"}) {
        BacklightSysFS backlight = this->backlight(maximum);
        EXPECT_EQ(level_at(backlight, INT_MAX), 2147483647U) << maximum;
    }
}

TEST_F(BacklightSysFSTest, LevelsAreThoseOfDoublePrecision) {
    // Exactly half way on paper, a little below it in doubles: these tell them from floats and from wider registers.
    BacklightSysFS maximum_69 = backlight("69");
    EXPECT_EQ(level_at(maximum_69, 18), 64U);
    EXPECT_EQ(level_at(maximum_69, 86), 318U);
    BacklightSysFS maximum_101 = backlight("101");
    EXPECT_EQ(level_at(maximum_101, 76), 191U);
    // Half way in doubles too: away from zero.
    BacklightSysFS maximum_2 = backlight("2");
    EXPECT_EQ(written(maximum_2, 127), "1");
    EXPECT_EQ(written(maximum_2, 128), "2");
}

class BacklightScale : public BacklightSysFSTest, public testing::WithParamInterface<int> {};

TEST_P(BacklightScale, EveryLevelIsTheNearestRawValueAndIsGivenBackWhereTheScaleIsFine) {
    const std::int64_t maximum = GetParam();
    BacklightSysFS backlight = this->backlight(std::to_string(maximum));
    std::uint32_t previous = 0;
    for (std::uint32_t level = 0; level <= 255; ++level) {
        backlight.set(level);
        const std::int64_t nearest = level == 0 ? 0 : 1 + (2 * (std::int64_t{level} - 1) * (maximum - 1) + 254) / 508;
        ASSERT_EQ(content(brightness_), std::to_string(nearest)) << level;
        const std::uint32_t back = backlight.get();
        ASSERT_TRUE(back == level || maximum < 255) << level << " became " << back;
        ASSERT_THAT(back, AllOf(Ge(previous), Le(255U))) << level;
        ASSERT_EQ(back == 0, level == 0) << level;
        previous = back;
    }
    EXPECT_EQ(previous, 255U);
}

INSTANTIATE_TEST_SUITE_P(Maximum, BacklightScale,
                         testing::Values(1, 2, 3, 7, 16, 127, 128, 254, 255, 256, 257, 1023, 65535, INT_MAX - 1,
                                         INT_MAX));

TEST_F(BacklightSysFSTest, LevelAboveRangeWritesNothing) {
    BacklightSysFS backlight = this->backlight("255");
    put(brightness_, "100\n");
    for (const std::uint32_t level : {256U, 257U, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(thrown([&] { backlight.set(level); }), "range_error backlight brightness out of range");
        EXPECT_EQ(content(brightness_), "100\n");
    }
}

TEST_F(BacklightSysFSTest, UnusableBrightnessIsTheStreamFailure) {
    BacklightSysFS backlight = this->backlight("255");
    EXPECT_THROW(backlight.get(), std::ios_base::failure);
    put(brightness_, "bright\n");
    EXPECT_THROW(backlight.get(), std::ios_base::failure);
    remove(directory_.path());
    EXPECT_THROW(backlight.set(1), std::ios_base::failure);
}

}  // namespace
