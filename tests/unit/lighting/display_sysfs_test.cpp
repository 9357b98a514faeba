// SPDX-License-Identifier: MIT
#include "lighting/display_sysfs.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <string>

#include "support/files_test.h"

using Velmor::DisplaySysFS;
using namespace testing_support;

namespace {

class DisplaySysFSTest : public FilesTest {
protected:
    const std::string path_ = directory_ / "blank";
    DisplaySysFS display_ = DisplaySysFS(path_);
};

TEST_F(DisplaySysFSTest, ConstructionTouchesNoFile) {
    EXPECT_FALSE(exists(path_));
    EXPECT_NO_THROW(DisplaySysFS(directory_ / "absent/blank"));
}

TEST_F(DisplaySysFSTest, FlagIsWrittenWithItsLowestBitInverted) {
    const struct {
        std::uint32_t flag;
        const char* text;
    } rows[] = {{.flag = 1, .text = "0"},
                {.flag = 0, .text = "1"},
                {.flag = 2, .text = "3"},
                {.flag = 3, .text = "2"},
                {.flag = 256, .text = "257"},
                {.flag = 0x7FFFFFFF, .text = "2147483646"},
                {.flag = 0x80000000, .text = "-2147483647"},
                {.flag = 0xFFFFFFFF, .text = "-2"}};
    for (const auto& row : rows) {
        display_.set(row.flag);
        EXPECT_EQ(content(path_), row.text) << row.flag;
    }
}

TEST_F(DisplaySysFSTest, IsOffAtExactlyOne) {
    put(path_, "1\n");
    EXPECT_FALSE(display_.get());
    for (const char* text : {"0\n", "4\n", "2\n", "-1\n", "11\n", "2147483647\n"}) {
        put(path_, text);
        EXPECT_TRUE(display_.get()) << text;
    }
}

TEST_F(DisplaySysFSTest, ReadsBackWhatWasSet) {
    for (const bool on : {true, false}) {
        display_.set(on ? 1 : 0);
        EXPECT_EQ(display_.get(), on);
    }
}

TEST_F(DisplaySysFSTest, UnusableAttributeIsTheStreamFailure) {
    EXPECT_THROW(display_.get(), std::ios_base::failure);
    for (const char* text : {"", "\n", "blank\n", "2147483648\n"}) {
        put(path_, text);
        EXPECT_THROW(display_.get(), std::ios_base::failure) << text;
    }
    EXPECT_THROW(DisplaySysFS(directory_ / "absent/blank").set(1), std::ios_base::failure);
    EXPECT_THROW(DisplaySysFS("/dev/full").set(1), std::ios_base::failure);
}

TEST_F(DisplaySysFSTest, AccessIsOneReadOrOneWrite) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "0\n");
    const ChildResult child = run_in_child(recorder(), [&] {
        const bool on = display_.get();
        display_.set(0);
        return on ? "on" : "off";
    });
    EXPECT_EQ(child.output, "on");
    EXPECT_EQ(child.acts, in_order({read_acts(path_), write_acts(path_, "1")}));
}

}  // namespace
