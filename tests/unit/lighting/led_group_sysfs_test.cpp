// SPDX-License-Identifier: MIT
#include "lighting/led_group_sysfs.h"

#include <gmock/gmock.h>

#include <climits>
#include <stdexcept>
#include <string>

#include "support/files.h"
#include "support/recorder.h"

using testing::ElementsAre;
using testing::FieldsAre;
using testing::StrEq;
using testing::ThrowsMessage;
using testing_support::content;
using testing_support::put;
using testing_support::Recorder;
using testing_support::TemporaryDirectory;
using Velmor::LedGroupSysFS;

namespace {

class LedGroupSysFSTest : public testing::Test {
protected:
    led_color_t color_of(const std::string& text) {
        put(path_, text);
        led_color_t color = {};
        group_.get(color);
        return color;
    }

    TemporaryDirectory directory_;
    const std::string path_ = directory_ / "color";
    LedGroupSysFS group_ = LedGroupSysFS(path_);
};

TEST_F(LedGroupSysFSTest, ConstructionTouchesNoFile) {
    EXPECT_FALSE(testing_support::exists(path_));
    EXPECT_NO_THROW(LedGroupSysFS(directory_ / "absent/color"));
}

TEST_F(LedGroupSysFSTest, ColorIsThreeDecimalsAndTwoBlanks) {
    group_.set({255, 0, 16});
    EXPECT_EQ(content(path_), "255 0 16");
    group_.set({0, 0, 0});
    EXPECT_EQ(content(path_), "0 0 0");
    group_.set({255, 255, 255});
    EXPECT_EQ(content(path_), "255 255 255");
}

TEST_F(LedGroupSysFSTest, ColorIsOneWrite) {
    VELMOR_NEEDS_RECORDER();
    const auto outcome = Recorder().watch({directory_.path()}).run([&] {
        group_.set({255, 0, 16});
        return 0;
    });
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " w", "write " + path_ + " 255 0 16", "close " + path_));
}

TEST_F(LedGroupSysFSTest, ColorIsOneRead) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "255 0 16\n");
    const auto outcome = Recorder().watch({directory_.path()}).run([&] {
        led_color_t color = {};
        group_.get(color);
        return color.red;
    });
    EXPECT_EQ(outcome.result, 255);
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " r", "read " + path_, "close " + path_));
}

TEST_F(LedGroupSysFSTest, ComponentOutOfRangeWritesNothing) {
    put(path_, "1 2 3\n");
    for (const int component : {256, -1, INT_MAX, INT_MIN}) {
        for (const led_color_t color :
             {led_color_t{component, 0, 0}, led_color_t{0, component, 0}, led_color_t{0, 0, component}}) {
            EXPECT_THAT([&] { group_.set(color); }, ThrowsMessage<std::range_error>(StrEq("color out of range")));
            EXPECT_EQ(content(path_), "1 2 3\n");
        }
    }
}

TEST_F(LedGroupSysFSTest, ComponentsAreReadUnchecked) {
    EXPECT_THAT(color_of("255 0 16\n"), FieldsAre(255, 0, 16));
    EXPECT_THAT(color_of("-1 256 2147483647\n"), FieldsAre(-1, 256, INT_MAX));
    EXPECT_THAT(color_of("1\n2\n3\n4\n"), FieldsAre(1, 2, 3));
}

TEST_F(LedGroupSysFSTest, FewerThanThreeNumbersLeaveTheCallersColor) {
    for (const char* text : {"", "1\n", "1 2\n", "1 2 x\n", "1 2 2147483648\n"}) {
        put(path_, text);
        led_color_t color = {7, 8, 9};
        EXPECT_THROW(group_.get(color), std::ios_base::failure) << text;
        EXPECT_THAT(color, FieldsAre(7, 8, 9)) << text;
    }
}

TEST_F(LedGroupSysFSTest, UnusableAttributeIsTheStreamFailure) {
    led_color_t color = {};
    EXPECT_THROW(group_.get(color), std::ios_base::failure);
    EXPECT_THROW(LedGroupSysFS(directory_ / "absent/color").set(color), std::ios_base::failure);
    EXPECT_THROW(LedGroupSysFS("/dev/full").set(color), std::ios_base::failure);
}

}  // namespace
