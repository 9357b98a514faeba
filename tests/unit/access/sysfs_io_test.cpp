// SPDX-License-Identifier: MIT
#include "access/sysfs_io.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>

#include "support/files_test.h"

using Velmor::SysFSIO;
using namespace testing_support;

namespace {

class SysFSIOTest : public FilesTest {
protected:
    const std::string path_ = directory_ / "enable";
    SysFSIO line_ = SysFSIO(path_);
};

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

TEST_F(SysFSIOTest, MissingAttributeIsTheStreamFailure) {
    SysFSIO line(directory_ / "absent/enable");
    EXPECT_THROW(line.set(1), std::ios_base::failure);
    EXPECT_THROW(line.get(), std::ios_base::failure);
}

TEST_F(SysFSIOTest, TextWithoutNumberIsTheStreamFailure) {
    for (const char* text : {"", "on\n"}) {
        put(path_, text);
        EXPECT_THROW(line_.get(), std::ios_base::failure) << text;
    }
}

TEST_F(SysFSIOTest, RefusedLevelIsTheStreamFailure) {
    EXPECT_THROW(SysFSIO("/dev/full").set(1), std::ios_base::failure);
}

TEST_F(SysFSIOTest, AccessIsOneWriteOrOneRead) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "1\n");
    const ChildResult child = run_in_child(recorder(), [&] {
        const io_value_t level = line_.get();
        line_.set(5);
        return std::to_string(level);
    });
    EXPECT_EQ(child.output, "1");
    EXPECT_EQ(child.acts, in_order({read_acts(path_), write_acts(path_, "5")}));
}

}  // namespace
