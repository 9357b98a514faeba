// SPDX-License-Identifier: MIT
#include "mrfi/mrfi_enum_ctx.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "mrfi/mrfi.h"
#include "support/files.h"
#include "support/recorder.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::put;
using testing_support::Recorder;

namespace {

class MrfiContext : public testing::Test {
protected:
    std::vector<std::string> lines_of(const std::string& text) {
        put(file_, text);
        return lines();
    }

    std::vector<std::string> lines() {
        mrfi_enum_ctx context(file_, &owner_);
        std::vector<std::string> result;
        for (std::string line; context.next(line);) result.push_back(line);
        return result;
    }

    testing_support::TemporaryDirectory directory_;
    std::string file_ = directory_ / "devices";
    Velmor::MRFI owner_{directory_.path()};
};

TEST_F(MrfiContext, HandsOutTheLinesWithoutTheirNewlines) {
    EXPECT_THAT(lines_of("one\ntwo 2\n three \n"), ElementsAre("one", "two 2", " three "));
}

TEST_F(MrfiContext, LastLineNeedsNoNewline) {
    EXPECT_THAT(lines_of("one\ntwo"), ElementsAre("one", "two"));
    EXPECT_THAT(lines_of("one"), ElementsAre("one"));
}

TEST_F(MrfiContext, EmptyLineEndsTheList) {
    EXPECT_THAT(lines_of("one\n\nthree\n"), ElementsAre("one"));
    EXPECT_THAT(lines_of("\none\n"), IsEmpty());
    EXPECT_THAT(lines_of("one\n\n"), ElementsAre("one"));
    EXPECT_THAT(lines_of(""), IsEmpty());
}

TEST_F(MrfiContext, BlankLineIsALine) {
    EXPECT_THAT(lines_of("one\n \nthree\n"), ElementsAre("one", " ", "three"));
}

TEST_F(MrfiContext, FileThatCannotBeReadIsAnEmptyList) {
    EXPECT_THAT(lines(), IsEmpty());
    put(file_ + "/not/a/file", "");
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(MrfiContext, FailedReadEndsTheList) {
    VELMOR_NEEDS_RECORDER();
    put(file_, "one\n");
    const auto outcome = Recorder().watch({file_}).fail("read " + file_, EIO, 0).run([this] {
        return static_cast<int>(lines().size());
    });
    EXPECT_EQ(outcome.result, 0);
    EXPECT_THAT(outcome.acts, testing::Contains("read " + file_ + " = EIO"));
}

TEST_F(MrfiContext, IsASnapshot) {
    put(file_, "one\ntwo\n");
    mrfi_enum_ctx context(file_, &owner_);
    put(file_, "three\n");
    std::string line;
    EXPECT_TRUE(context.next(line));
    EXPECT_EQ(line, "one");
    testing_support::remove(file_);
    EXPECT_TRUE(context.next(line));
    EXPECT_EQ(line, "two");
}

TEST_F(MrfiContext, EndIsForEverAndLeavesTheArgument) {
    put(file_, "one\n");
    mrfi_enum_ctx context(file_, &owner_);
    std::string line;
    EXPECT_TRUE(context.next(line));
    for (int i = 0; i < 3; ++i) {
        line = "untouched";
        EXPECT_FALSE(context.next(line));
        EXPECT_EQ(line, "untouched");
    }
}

TEST_F(MrfiContext, ContextsAreIndependent) {
    put(file_, "one\ntwo\n");
    mrfi_enum_ctx first(file_, &owner_);
    mrfi_enum_ctx second(file_, &owner_);
    std::string line;
    first.next(line);
    second.next(line);
    EXPECT_EQ(line, "one");
    first.next(line);
    EXPECT_EQ(line, "two");
}

TEST_F(MrfiContext, KnowsItsOwner) {
    EXPECT_EQ(mrfi_enum_ctx(file_, &owner_).owner(), &owner_);
    EXPECT_EQ(mrfi_enum_ctx(file_, nullptr).owner(), nullptr);
}

TEST_F(MrfiContext, LongListIsReadCompletely) {
    std::string text;
    for (int i = 0; i < 100000; ++i) text += std::to_string(i) + "\n";
    const std::vector<std::string> result = lines_of(text);
    ASSERT_EQ(result.size(), 100000U);
    EXPECT_EQ(result.front(), "0");
    EXPECT_EQ(result[54321], "54321");
    EXPECT_EQ(result.back(), "99999");
}

}  // namespace
