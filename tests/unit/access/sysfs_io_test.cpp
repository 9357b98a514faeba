// SPDX-License-Identifier: MIT
#include "access/sysfs_io.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <string>

#include "support/files.h"
#include "support/recorder.h"

using testing::ElementsAre;
using testing_support::content;
using testing_support::put;
using testing_support::Recorder;
using testing_support::TemporaryDirectory;
using Velmor::SysFSIO;

namespace {

class SysFSIOTest : public testing::Test {
protected:
    TemporaryDirectory directory_;
    const std::string path_ = directory_ / "enable";
    SysFSIO line_ = SysFSIO(path_);
};

TEST_F(SysFSIOTest, ConstructionTouchesNoFile) {
    EXPECT_FALSE(testing_support::exists(path_));
    EXPECT_NO_THROW(SysFSIO(directory_ / "absent/enable"));
}

TEST_F(SysFSIOTest, SetWritesAnyLevelUnchanged) {
    for (const io_value_t level : {0, 1, 5, -1, INT_MAX, INT_MIN}) {
        line_.set(level);
        EXPECT_EQ(content(path_), std::to_string(level));
    }
}

TEST_F(SysFSIOTest, GetReadsAnyLevelUnchanged) {
    for (const io_value_t level : {0, 1, 5, -1, INT_MAX, INT_MIN}) {
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
    const auto outcome = Recorder().watch({directory_.path()}).run([&] {
        const io_value_t level = line_.get();
        line_.set(5);
        return level;
    });
    EXPECT_EQ(outcome.result, 1);
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " r", "read " + path_, "close " + path_,
                                          "open " + path_ + " w", "write " + path_ + " 5", "close " + path_));
}

}  // namespace
