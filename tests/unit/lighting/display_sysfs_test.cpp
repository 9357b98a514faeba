// SPDX-License-Identifier: MIT
#include "lighting/display_sysfs.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <utility>

#include "support/files_test.h"

using Velmor::DisplaySysFS;
using namespace testing_support;

namespace {

class DisplaySysFSTest : public OneFileTest {
protected:
    DisplaySysFS display_ = DisplaySysFS(path_);
};

using DisplaySysFSActs = Recorded<DisplaySysFSTest>;

TEST_F(DisplaySysFSTest, ConstructionTouchesNoFile) {
    EXPECT_FALSE(exists(path_));
    EXPECT_NO_THROW(DisplaySysFS(directory_ / "absent/blank"));
}

TEST_F(DisplaySysFSTest, FlagIsWrittenWithItsLowestBitInverted) {
    const std::pair<std::uint32_t, const char*> rows[] = {{1, "0"},
                                                          {0, "1"},
                                                          {2, "3"},
                                                          {3, "2"},
                                                          {256, "257"},
                                                          {0x7FFFFFFF, "2147483646"},
                                                          {0x80000000, "-2147483647"},
                                                          {0xFFFFFFFF, "-2"}};
    for (const auto& [flag, text] : rows) {
        display_.set(flag);
        EXPECT_EQ(content(path_), text) << flag;
        EXPECT_EQ(display_.get(), flag != 0) << flag;
    }
}

TEST_F(DisplaySysFSTest, IsOffOnlyIfTheAttributeIsOne) {
    put(path_, "1\n");
    EXPECT_FALSE(display_.get());
    for (const char* text : {"0\n", "4\n", "2\n", "-1\n", "11\n", "2147483647\n"}) {
        put(path_, text);
        EXPECT_TRUE(display_.get()) << text;
    }
}

TEST_F(DisplaySysFSTest, AttributeThatIsMissingOrNoNumberOrRefusesTheFlagIsAStreamFailure) {
    EXPECT_THROW(display_.get(), std::ios_base::failure);
    for (const char* text : {"", "\n", "blank\n", "2147483648\n"}) {
        put(path_, text);
        EXPECT_THROW(display_.get(), std::ios_base::failure) << text;
    }
    EXPECT_THROW(DisplaySysFS(directory_ / "absent/blank").set(1), std::ios_base::failure);
    EXPECT_THROW(DisplaySysFS("/dev/full").set(1), std::ios_base::failure);
}

TEST_F(DisplaySysFSActs, AccessIsOneReadOrOneWrite) {
    put(path_, "0\n");
    expect_acts([&] { return display_.get(); }, read_acts(path_), "1");
    expect_acts([&] { display_.set(0); }, write_acts(path_, "1"));
}

}  // namespace
