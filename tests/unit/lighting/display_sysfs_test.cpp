// SPDX-License-Identifier: MIT
#include "lighting/display_sysfs.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <string>

#include "support/files.h"
#include "support/recorder.h"

using testing::ElementsAre;
using testing_support::content;
using testing_support::put;
using testing_support::Recorder;
using testing_support::TemporaryDirectory;
using Velmor::DisplaySysFS;

namespace {

class DisplaySysFSTest : public testing::Test {
protected:
    TemporaryDirectory directory_;
    const std::string path_ = directory_ / "blank";
    DisplaySysFS display_ = DisplaySysFS(path_);
};

TEST_F(DisplaySysFSTest, ConstructionTouchesNoFile) {
    EXPECT_FALSE(testing_support::exists(path_));
    EXPECT_NO_THROW(DisplaySysFS(directory_ / "absent/blank"));
}

TEST_F(DisplaySysFSTest, OnWritesZeroAndOffWritesOne) {
    display_.set(1);
    EXPECT_EQ(content(path_), "0");
    display_.set(0);
    EXPECT_EQ(content(path_), "1");
}

TEST_F(DisplaySysFSTest, OtherFlagsAreWrittenWithTheirLowestBitInverted) {
    const struct {
        std::uint32_t flag;
        const char* text;
    } rows[] = {{2, "3"},          {3, "2"}, {256, "257"}, {0x7FFFFFFF, "2147483646"}, {0x80000000, "-2147483647"},
                {0xFFFFFFFF, "-2"}};
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
    const auto outcome = Recorder().watch({directory_.path()}).run([&] {
        const bool on = display_.get();
        display_.set(0);
        return on ? 1 : 0;
    });
    EXPECT_EQ(outcome.result, 1);
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " r", "read " + path_, "close " + path_,
                                          "open " + path_ + " w", "write " + path_ + " 1", "close " + path_));
}

}  // namespace
