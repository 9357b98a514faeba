// SPDX-License-Identifier: MIT
#include "mrfi/mrfi_enum_ctx.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "mrfi/mrfi.h"
#include "support/files_test.h"

using testing::ElementsAre;
using testing::IsEmpty;
using namespace testing_support;

namespace {

class MrfiContext : public FilesTest {
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

    std::string file_ = directory_ / "devices";
    Velmor::MRFI owner_{directory_.path()};
};

TEST_F(MrfiContext, HandsOutTheLinesWithoutTheirNewlines) {
    EXPECT_THAT(lines_of("one\ntwo 2\n three \n"), ElementsAre("one", "two 2", " three "));
    EXPECT_THAT(lines_of("one\n \nthree\n"), ElementsAre("one", " ", "three"));  // a blank line is a line
    EXPECT_THAT(lines_of("one\ntwo"), ElementsAre("one", "two"));
    EXPECT_THAT(lines_of("one"), ElementsAre("one"));
}

TEST_F(MrfiContext, EmptyLineEndsTheList) {
    EXPECT_THAT(lines_of("one\n\nthree\n"), ElementsAre("one"));
    EXPECT_THAT(lines_of("\none\n"), IsEmpty());
    EXPECT_THAT(lines_of("one\n\n"), ElementsAre("one"));
    EXPECT_THAT(lines_of(""), IsEmpty());
}

TEST_F(MrfiContext, FileThatCannotBeReadIsAnEmptyList) {
    EXPECT_THAT(lines(), IsEmpty());
    put(file_ + "/not/a/file", "");
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(MrfiContext, FailedReadEndsTheList) {
    VELMOR_NEEDS_RECORDER();
    put(file_, "one\n");
    const ChildResult child = run_in_child(recorder().fail("read " + file_, EIO, 0),
                                           [this] { return std::to_string(lines().size()) + " lines"; });
    EXPECT_EQ(child.output, "0 lines");
    EXPECT_THAT(child.acts, testing::Contains("read " + file_ + " = EIO"));
}

TEST_F(MrfiContext, IsASnapshot) {
    put(file_, "one\ntwo\n");
    mrfi_enum_ctx context(file_, &owner_);
    put(file_, "three\n");
    std::string line;
    EXPECT_TRUE(context.next(line));
    EXPECT_EQ(line, "one");
    remove(file_);
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

}  // namespace
