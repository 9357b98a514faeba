// SPDX-License-Identifier: MIT
#include "lighting/led_group_sysfs.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>

#include "support/files_test.h"

using testing::FieldsAre;
using Velmor::LedGroupSysFS;
using namespace testing_support;

namespace {

class LedGroupSysFSTest : public OneFileTest {
protected:
    std::string text_of(const led_color_t& color) {
        group_.set(color);
        return content(path_);
    }

    led_color_t color_of(const std::string& text) {
        put(path_, text);
        return get();
    }

    led_color_t get() {
        led_color_t color = {};
        group_.get(color);
        return color;
    }

    LedGroupSysFS group_ = LedGroupSysFS(path_);
};

using LedGroupSysFSActs = Recorded<LedGroupSysFSTest>;

TEST_F(LedGroupSysFSTest, ConstructionTouchesNoFile) {
    EXPECT_FALSE(exists(path_));
    EXPECT_NO_THROW(LedGroupSysFS(directory_ / "absent/color"));
}

TEST_F(LedGroupSysFSTest, ColorIsThreeDecimalsThatAreNotCheckedWhenRead) {
    EXPECT_EQ(text_of({255, 0, 16}), "255 0 16");
    EXPECT_EQ(text_of({0, 0, 0}), "0 0 0");
    EXPECT_EQ(text_of({255, 255, 255}), "255 255 255");
    EXPECT_THAT(color_of("255 0 16\n"), FieldsAre(255, 0, 16));
    EXPECT_THAT(color_of("-1 256 2147483647\n"), FieldsAre(-1, 256, INT_MAX));
    EXPECT_THAT(color_of("1\n2\n3\n4\n"), FieldsAre(1, 2, 3));
}

TEST_F(LedGroupSysFSActs, AccessIsOneReadOrOneWrite) {
    put(path_, "255 0 16\n");
    expect_acts([&] { return get().red; }, read_acts(path_), "255");
    expect_acts([&] { group_.set({255, 0, 16}); }, write_acts(path_, "255 0 16"));
}

TEST_F(LedGroupSysFSTest, ComponentOutOfRangeWritesNothing) {
    put(path_, "1 2 3\n");
    for (const int component : {256, -1, INT_MAX, INT_MIN}) {
        for (const led_color_t color :
             {led_color_t{component, 0, 0}, led_color_t{0, component, 0}, led_color_t{0, 0, component}}) {
            EXPECT_EQ(thrown([&] { group_.set(color); }), "range_error color out of range");
            EXPECT_EQ(content(path_), "1 2 3\n");
        }
    }
}

TEST_F(LedGroupSysFSTest, AttributeThatIsMissingOrMalformedOrRefusesTheColorIsAStreamFailure) {
    EXPECT_THROW(get(), std::ios_base::failure);
    EXPECT_THROW(LedGroupSysFS(directory_ / "absent/color").set({}), std::ios_base::failure);
    EXPECT_THROW(LedGroupSysFS("/dev/full").set({}), std::ios_base::failure);
    for (const char* text : {"", "1\n", "1 2\n", "1 2 x\n", "1 2 2147483648\n"}) {
        put(path_, text);
        led_color_t color = {7, 8, 9};  // keeps its values
        EXPECT_THROW(group_.get(color), std::ios_base::failure) << text;
        EXPECT_THAT(color, FieldsAre(7, 8, 9)) << text;
    }
}

}  // namespace
