// SPDX-License-Identifier: MIT
#include "access/sysfs_io.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>

#include "support/files_test.h"

using Velmor::SysFSIO;
using namespace testing_support;

namespace {

class SysFSIOTest : public OneFileTest {
protected:
    SysFSIO line_ = SysFSIO(path_);
};

using SysFSIOActs = Recorded<SysFSIOTest>;

TEST_F(SysFSIOTest, ConstructionTouchesNoFile) {
    EXPECT_FALSE(exists(path_));
    EXPECT_NO_THROW(SysFSIO(directory_ / "absent/enable"));
}

TEST_F(SysFSIOTest, AnyLevelIsWrittenAndReadUnchanged) {
    for (const io_value_t level : {0, 1, 5, -1, INT_MAX, INT_MIN}) {
        line_.set(level);
        EXPECT_EQ(content(path_), std::to_string(level));
        put(path_, std::to_string(level) + "\n");
        EXPECT_EQ(line_.get(), level);
    }
}

TEST_F(SysFSIOTest, AttributeThatIsMissingOrNoNumberOrRefusesTheLevelIsAStreamFailure) {
    SysFSIO missing(directory_ / "absent/enable");
    EXPECT_THROW(missing.set(1), std::ios_base::failure);
    EXPECT_THROW(missing.get(), std::ios_base::failure);
    for (const char* text : {"", "on\n"}) {
        put(path_, text);
        EXPECT_THROW(line_.get(), std::ios_base::failure) << text;
    }
    EXPECT_THROW(SysFSIO("/dev/full").set(1), std::ios_base::failure);
}

TEST_F(SysFSIOActs, AccessIsOneReadOrOneWrite) {
    put(path_, "1\n");
    expect_acts([&] { return line_.get(); }, read_acts(path_), "1");
    expect_acts([&] { line_.set(5); }, write_acts(path_, "5"));
}

}  // namespace
