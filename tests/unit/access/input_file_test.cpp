// SPDX-License-Identifier: MIT
#include "access/input_file.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>

#include "support/files.h"
#include "support/recorder.h"

using testing::ElementsAre;
using testing_support::put;
using testing_support::Recorder;
using testing_support::TemporaryDirectory;
using Velmor::InputFile;

namespace {

class InputFileTest : public testing::Test {
protected:
    TemporaryDirectory directory_;
    const std::string path_ = directory_ / "file";
};

TEST_F(InputFileTest, FileIsReadFromItsBeginning) {
    put(path_, "first second\nthird\n");
    InputFile file(path_);
    std::string line;
    std::getline(file, line);
    EXPECT_EQ(line, "first second");
    std::getline(file, line);
    EXPECT_EQ(line, "third");
    EXPECT_NO_THROW(file.close());
}

TEST_F(InputFileTest, MissingFileFailsAndIsNotCreated) {
    EXPECT_THROW(const InputFile file(path_), std::ios_base::failure);
    EXPECT_FALSE(testing_support::exists(path_));
}

TEST_F(InputFileTest, EndOfFileFails) {
    put(path_, "");
    InputFile file(path_);
    std::string line;
    EXPECT_THROW(std::getline(file, line), std::ios_base::failure);
}

TEST_F(InputFileTest, EndOfFileAfterTextIsNoFailure) {
    put(path_, "7");
    InputFile file(path_);
    int number = 0;
    EXPECT_NO_THROW(file >> number);
    EXPECT_EQ(number, 7);
    EXPECT_NO_THROW(file.close());
}

TEST_F(InputFileTest, ReadErrorFails) {
    InputFile directory(directory_.path());
    std::string line;
    EXPECT_THROW(std::getline(directory, line), std::ios_base::failure);
}

TEST_F(InputFileTest, SecondCloseFails) {
    put(path_, "");
    InputFile file(path_);
    file.close();
    EXPECT_THROW(file.close(), std::ios_base::failure);
}

TEST_F(InputFileTest, FailingCloseFails) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "");
    const auto outcome = Recorder().watch({directory_.path()}).fail("close " + path_, EIO).run([&] {
        InputFile file(path_);
        try {
            file.close();
        } catch (const std::ios_base::failure&) {
            return 1;
        }
        return 0;
    });
    EXPECT_EQ(outcome.result, 1);
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " r", "close " + path_ + " = EIO"));
}

TEST_F(InputFileTest, DestructionCloses) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "");
    const auto outcome = Recorder().watch({directory_.path()}).run([&] {
        const InputFile file(path_);
        return 0;
    });
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " r", "close " + path_));
}

}  // namespace
