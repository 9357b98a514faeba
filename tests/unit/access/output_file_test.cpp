// SPDX-License-Identifier: MIT
#include "access/output_file.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>

#include "support/files.h"
#include "support/recorder.h"

using testing::ElementsAre;
using testing_support::content;
using testing_support::put;
using testing_support::Recorder;
using testing_support::TemporaryDirectory;
using Velmor::OutputFile;

namespace {

class OutputFileTest : public testing::Test {
protected:
    TemporaryDirectory directory_;
    const std::string path_ = directory_ / "file";
};

TEST_F(OutputFileTest, OpeningTruncates) {
    put(path_, "old text");
    const OutputFile file(path_);
    EXPECT_EQ(content(path_), "");
}

TEST_F(OutputFileTest, TextArrivesWhenClosed) {
    OutputFile file(path_);
    file << "some " << 7 << " text";
    EXPECT_EQ(content(path_), "");
    file.close();
    EXPECT_EQ(content(path_), "some 7 text");
}

TEST_F(OutputFileTest, PiecesArriveInOneWrite) {
    VELMOR_NEEDS_RECORDER();
    const auto outcome = Recorder().watch({directory_.path()}).run([&] {
        OutputFile file(path_);
        file << "some " << 7 << " text";
        file.close();
        return 0;
    });
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " w", "write " + path_ + " some 7 text", "close " + path_));
}

TEST_F(OutputFileTest, AbsentFolderFailsToOpen) {
    EXPECT_THROW(const OutputFile file(directory_ / "absent/file"), std::ios_base::failure);
    EXPECT_FALSE(testing_support::exists(directory_ / "absent"));
}

TEST_F(OutputFileTest, DirectoryFailsToOpen) {
    EXPECT_THROW(const OutputFile file(directory_.path()), std::ios_base::failure);
}

TEST_F(OutputFileTest, RefusedTextFailsAtClose) {
    OutputFile file("/dev/full");
    EXPECT_NO_THROW(file << "text");
    EXPECT_THROW(file.close(), std::ios_base::failure);
    EXPECT_THROW(file.close(), std::ios_base::failure) << "it is closed all the same";
}

TEST_F(OutputFileTest, FailingCloseFails) {
    VELMOR_NEEDS_RECORDER();
    const auto outcome = Recorder().watch({directory_.path()}).fail("close " + path_, EIO).run([&] {
        OutputFile file(path_);
        try {
            file.close();
        } catch (const std::ios_base::failure&) {
            return 1;
        }
        return 0;
    });
    EXPECT_EQ(outcome.result, 1);
}

}  // namespace
