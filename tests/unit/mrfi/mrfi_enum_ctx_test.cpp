// SPDX-License-Identifier: MIT
#include "mrfi/mrfi_enum_ctx.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>
#include <vector>

#include "mrfi/mrfi.h"
#include "support/files_test.h"

using testing::ElementsAre;
using testing::IsEmpty;
using namespace testing_support;

namespace {

class MrfiContext : public OneFileTest {
protected:
    std::vector<std::string> lines_of(const std::string& text) {
        put(path_, text);
        return lines();
    }

    std::vector<std::string> lines() {
        mrfi_enum_ctx context(path_, &owner_);
        std::vector<std::string> result;
        for (std::string line; context.next(line);) result.push_back(line);
        return result;
    }

    Velmor::MRFI owner_{directory_.path()};
};

TEST_F(MrfiContext, ReturnsTheLinesBeforeAnEmptyLineWithoutTheirNewlines) {
    EXPECT_THAT(lines_of("one\ntwo 2\n three \n"), ElementsAre("one", "two 2", " three "));
    EXPECT_THAT(lines_of("one\n \nthree\n"), ElementsAre("one", " ", "three"));  // a blank line is a line
    EXPECT_THAT(lines_of("one\ntwo"), ElementsAre("one", "two"));
    EXPECT_THAT(lines_of("one"), ElementsAre("one"));
    EXPECT_THAT(lines_of("one\n\nthree\n"), ElementsAre("one"));
    EXPECT_THAT(lines_of("\none\n"), IsEmpty());
    EXPECT_THAT(lines_of("one\n\n"), ElementsAre("one"));
    EXPECT_THAT(lines_of(""), IsEmpty());
}

TEST_F(MrfiContext, FileThatCannotBeReadIsAnEmptyList) {
    EXPECT_THAT(lines(), IsEmpty());
    put(path_ + "/not/a/file", "");
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(MrfiContext, FailedReadEndsTheList) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "one\n");
    const auto count = [this] { return lines().size(); };
    expect_acts(recorder().fail(read_, EIO, 0), count, {open_to_read_, read_ + " = EIO", close_}, "0");
}

TEST_F(MrfiContext, IsASnapshot) {
    put(path_, "one\ntwo\n");
    mrfi_enum_ctx context(path_, &owner_);
    put(path_, "three\n");
    std::string line;
    EXPECT_TRUE(context.next(line));
    EXPECT_EQ(line, "one");
    remove(path_);
    EXPECT_TRUE(context.next(line));
    EXPECT_EQ(line, "two");
}

TEST_F(MrfiContext, StaysAtTheEndAndLeavesTheArgument) {
    put(path_, "one\n");
    mrfi_enum_ctx context(path_, &owner_);
    std::string line;
    EXPECT_TRUE(context.next(line));
    for (int i = 0; i < 3; ++i) {
        line = "untouched";
        EXPECT_FALSE(context.next(line));
        EXPECT_EQ(line, "untouched");
    }
}

TEST_F(MrfiContext, ContextsAreIndependent) {
    put(path_, "one\ntwo\n");
    mrfi_enum_ctx first(path_, &owner_);
    mrfi_enum_ctx second(path_, &owner_);
    std::string line;
    first.next(line);
    second.next(line);
    EXPECT_EQ(line, "one");
    first.next(line);
    EXPECT_EQ(line, "two");
}

TEST_F(MrfiContext, ReturnsItsOwner) {
    EXPECT_EQ(mrfi_enum_ctx(path_, &owner_).owner(), &owner_);
    EXPECT_EQ(mrfi_enum_ctx(path_, nullptr).owner(), nullptr);
}

}  // namespace
